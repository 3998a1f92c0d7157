// A C++17 host that links the library and supplies host_raise_internal: a column whose image does
// not decompress is reported to it, and the scan carries on when it returns. Prints what was
// reported and the rows found.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "kernels/frame/colx_x86.h"

namespace {

std::string reported;

void* allocate_cached(void* host, void*, uint32_t, const char*, uint32_t, uint32_t, uint64_t) {
  return host;
}

// Delivers the rows, and says that it failed.
uint32_t fail_to_decode(colx_decode_env*, const void* image, void* out, uint32_t*,
                        uint32_t capacity) {
  std::memcpy(out, image, capacity);
  return COLX_BAD_INPUT;
}

}  // namespace

extern "C" void host_raise_internal(void*, void*, const char* text, uint64_t) {
  reported = text;
}

int main() {
  constexpr uint32_t rows = 200;
  uint8_t image[rows + 16] = {};
  for (uint32_t row = 0; row < rows; ++row) image[row] = static_cast<uint8_t>(row % 10);
  uint8_t copy[rows + 16] = {};
  void* slot = nullptr;

  colx_env env{};
  env.colx_env_host = copy;
  env.colx_env_alloc_cached = allocate_cached;
  env.colx_env_decode = fail_to_decode;
  colx_kctx kctx{};
  kctx.colx_kctx_env = &env;
  colx_enc_ctx encoding{};
  encoding.colx_enc_ctx_flags = COLX_DICT | COLX_COMPRESSED;
  encoding.colx_enc_ctx_width = 8;
  encoding.colx_enc_ctx_key = colx_column_key(COLX_ENC_DICT, colx_width_code(8), COLX_FORM_PLAIN);
  colx_cv column{};
  column.colx_cv_data = image;
  column.colx_cv_encoding_context = &encoding;
  column.colx_cv_image_len = rows;
  column.colx_cv_decomp_slot = &slot;
  uint64_t bits[(rows + 63) / 64];
  colx_cv result{};
  result.colx_cv_bits = bits;
  result.colx_cv_num_of_rows = rows;

  const uint8_t seven = 7;
  const void* constants[] = {&seven};
  const auto scan = reinterpret_cast<colx_scan_fn>(
      colx_dispatch_table[colx_column_index(COLX_OPC_EQ, encoding.colx_enc_ctx_key)]);
  const uint32_t status = scan(&result, &column, constants, &kctx);
  uint32_t count = 0;
  colx_lbiwvpopcnt_dydi(&count, bits, rows);

  std::printf("%s; %u rows\n", reported.c_str(), count);
  return status == COLX_DONE && slot == copy && count == 20 && result.colx_cv_num_set == 20 &&
                 reported == "colx_eq_dict_8bit: colx_wpak_decode failed"
             ? 0
             : 1;
}
