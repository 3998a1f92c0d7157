// A host that links the library: it defines the one function that the library imports.
#include <cstdio>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace {

// region: handle
// What colx_env_host points at: the host's own, and in it where to report.
struct Session {
  int internal_errors = 0;
};
// end

void* allocate_copy(void*, void*, uint32_t bytes, const char*, uint32_t, uint32_t, uint64_t) {
  static std::vector<uint8_t> copy;
  copy.assign(bytes + 16, 0);
  return copy.data();
}

uint32_t broken_decoder(colx_decode_env*, const void*, void*, uint32_t*, uint32_t) {
  return COLX_BAD_INPUT;
}

}  // namespace

// region: reporter
// Called from kernels, which are compiled without exceptions: return or end the process; never
// throw and never longjmp over them. After a return the kernel carries on.
extern "C" void host_raise_internal(void* host, void* /*error_frame*/, const char* text, uint64_t) {
  static_cast<Session*>(host)->internal_errors += 1;
  std::printf("reported: %s\n", text);
}
// end

int main() {
  // region: call
  Session session;
  colx_env env = {};
  env.colx_env_host = &session;
  env.colx_env_alloc_cached = allocate_copy;
  env.colx_env_decode = broken_decoder;

  uint8_t image[32] = {};
  void* slot = nullptr;
  colx_enc_ctx encoding = {};
  encoding.colx_enc_ctx_flags = COLX_DICT | COLX_COMPRESSED;
  encoding.colx_enc_ctx_key = colx_column_key(COLX_ENC_DICT, colx_width_code(8), COLX_FORM_PLAIN);
  colx_cv column = {};
  column.colx_cv_data = image;
  column.colx_cv_encoding_context = &encoding;
  column.colx_cv_image_len = 64;
  column.colx_cv_decomp_slot = &slot;
  uint64_t bits[1];
  colx_cv result = {};
  result.colx_cv_bits = bits;
  result.colx_cv_num_of_rows = 64;
  colx_kctx kctx = {};
  kctx.colx_kctx_env = &env;

  const uint8_t constant = 1;
  const void* args[] = {&constant};
  const uint32_t index = colx_column_index(COLX_OPC_EQ, encoding.colx_enc_ctx_key);
  const auto scan =
      reinterpret_cast<colx_scan_fn>(colx_global_specialized_ctx.colx_sctx_dispatch[index]);
  const uint32_t status = scan(&result, &column, args, &kctx);
  if (session.internal_errors) std::printf("status %u is not to be used\n", status);
  // end
}
