/* The public header alone, as C11; and what a C host does with a slot. */
#include "kernels/frame/colx_x86.h"

uint32_t call_scan(colx_kernel_fn slot, colx_cv* res, colx_cv* src, const void* const* args);

uint32_t call_scan(colx_kernel_fn slot, colx_cv* res, colx_cv* src, const void* const* args) {
  return ((colx_scan_fn)slot)(res, src, args, NULL);
}

_Static_assert(COLX_OPC_COUNT == 22, "operations");
