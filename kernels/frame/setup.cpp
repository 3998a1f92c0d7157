// The entries that set the library up and the size of its table. The library has no state and no
// tracing, so there is nothing to set up.
#include "kernels/frame/colx_x86.h"

extern "C" {

uint32_t colx_dispatch_table_size(void) {
  return COLX_DISPATCH_SLOTS;
}

void colx_init_sharedlib_dydi(uint64_t) {}
void colx_set_trace_level_dydi(uint64_t) {}

uint32_t colx_thread_ctx_init_dydi(void) {
  return 0;
}

uint32_t colx_thread_ctx_fini_dydi(void) {
  return 0;
}

}  // extern "C"
