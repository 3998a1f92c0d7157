// The entries that set the library up. It has no state and no tracing, so there is nothing to set
// up.
#include "kernels/frame/colx_x86.h"

extern "C" {

void colx_init_sharedlib_dydi(uint64_t) {}
void colx_set_trace_level_dydi(uint64_t) {}

uint32_t colx_thread_ctx_init_dydi(void) {
  return 0;
}

uint32_t colx_thread_ctx_fini_dydi(void) {
  return 0;
}

}  // extern "C"
