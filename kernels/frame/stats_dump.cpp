// The host's call statistics on standard output, a line per dispatch slot.
#include <cstdio>

#include "kernels/frame/colx_x86.h"
#include "kernels/frame/operation_names.h"

namespace {

// A name of more than 30 characters runs on into the text. Counts above 2^31 print as negative.
void print_slot(const colx_stats_ctx* ctx, uint32_t slot) {
  std::printf("%-30s", colx_dispatch_func_names[slot]);
  std::printf("Call Freq: %d\tMrowsPerSec: %0.0f\n",
              static_cast<int32_t>(ctx->colx_stats_calls[slot]), ctx->colx_stats_mrows[slot]);
}

}  // namespace

extern "C" {

// Not in the order of slots: the width code moves fastest, then the operation. The operation's name
// is looked up once per encoding; nothing of it is printed, a line bears its kernel's name.
void colx_stats_dump(const colx_stats_ctx* ctx, int32_t only_called) {
  for (uint32_t form = COLX_FORM_PLAIN; form <= COLX_FORM_VARIANT; ++form)
    for (uint32_t enc = COLX_ENC_FIXED; enc <= COLX_ENC_RLE; ++enc)
      for (uint32_t opc = 0; opc < 32; ++opc) {
        static_cast<void>(colx_overload_opc_name(opc, enc));
        for (uint32_t width_code = 0; width_code < 32; ++width_code) {
          const uint32_t slot = colx_slot_index(opc, enc, width_code, form);
          if (only_called == 0 || ctx->colx_stats_calls[slot] != 0) print_slot(ctx, slot);
        }
      }
}

}  // extern "C"
