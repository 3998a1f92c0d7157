// The public header alone, as C++17.
#include "kernels/frame/colx_x86.h"

static_assert(COLX_OPC_COUNT == 22, "operations");
static_assert(sizeof(colx_kernel_fn) == sizeof(void*), "a slot is a plain function pointer");
