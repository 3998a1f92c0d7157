// A scan of a run-length column: the callback that a host supplies, and the records around it.
#include <cstdio>
#include <vector>

#include "host/loader.h"

using namespace colx::host;

namespace {

// region: callback
// `run_hits` has a bit a run; the burst kernel turns it into a bit a row of `res`.
uint32_t expand(colx_env* env, colx_cv* res, colx_cv* src, colx_kctx* run_hits) {
  const auto* table = static_cast<const colx_kernel_fn*>(env->colx_env_host);
  const uint32_t slot =
      colx_slot_index(COLX_OPC_BURST, COLX_ENC_RLE, COLX_WIDTH_BURST_8BIT, COLX_FORM_PLAIN);
  return reinterpret_cast<colx_decode_fn>(table[slot])(res, src, run_hits);
}
// end

}  // namespace

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();

  // region: column
  // Rows 7 7 7 7 2 2 9: a code a run, a length a run, and 16 readable bytes behind the codes.
  uint8_t codes[3 + 16] = {7, 2, 9};
  uint8_t lengths[3] = {4, 2, 1};
  uint64_t run_bits[1];
  colx_enc_ctx encoding = {};
  encoding.colx_enc_ctx_key = colx_column_key(COLX_ENC_DICT, colx_width_code(8), COLX_FORM_PLAIN);
  encoding.colx_enc_ctx_flags = COLX_DICT | COLX_RLE;
  encoding.colx_enc_ctx_width = 8;
  encoding.colx_enc_ctx_rle_runs = lengths;
  encoding.colx_enc_ctx_rle_width = 8;
  encoding.colx_enc_ctx_rle_rows = 3;
  encoding.colx_enc_ctx_rle_bits = run_bits;  // the scan's own output: a bit a run
  encoding.colx_enc_ctx_rle_expand = expand;
  colx_cv column = {};
  column.colx_cv_data = codes;
  column.colx_cv_encoding_context = &encoding;
  column.colx_cv_num_of_rows = 7;
  // end

  // region: scan
  colx_env env = {};  // this scan needs no memory
  env.colx_env_host = const_cast<colx_kernel_fn*>(library.record().colx_sctx_dispatch);
  colx_kctx kctx = {};
  kctx.colx_kctx_env = &env;
  uint64_t bits[2];  // 7 bits, and 7 spare bytes behind their word
  colx_cv result = {};
  result.colx_cv_bits = bits;
  result.colx_cv_num_of_rows = 7;
  const uint8_t low = 5;
  const void* args[4] = {&low, nullptr, nullptr, &encoding};
  const colx_scan_fn scan = library.scan_kernel(COLX_OPC_GE, encoding.colx_enc_ctx_key).value();
  const uint32_t status = scan(&result, &column, args, &kctx);
  std::printf("status %u, %u rows:", status, result.colx_cv_num_set);
  for (int row = 0; row < 7; ++row) std::printf(" %d", int(bits[0] >> row & 1));
  std::printf("\n");
  // end
}
