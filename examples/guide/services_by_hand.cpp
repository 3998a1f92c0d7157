// The services that a host hands to the library, and the first touch of a compressed column.
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "host/compressed_column.h"
#include "host/encode_codes.h"
#include "host/loader.h"

using namespace colx::host;

namespace {

// region: services
// Outlives the call: the library stores it in the column's slot, the host releases it.
void* allocate_copy(void*, void*, uint32_t bytes, const char* label, uint32_t, uint32_t, uint64_t) {
  std::printf("%u bytes for \"%s\"\n", bytes, label);
  return std::calloc(bytes + 16, 1);  // kernels read whole steps: 16 readable bytes follow
}

// Scratch: released by the same kernel before it returns.
void* allocate_scratch(void*, uint64_t bytes, const char*, uint32_t, uint32_t, uint64_t* cookie) {
  *cookie = bytes;
  return std::calloc(bytes + 16, 1);
}

void release_scratch(void*, void* buffer, uint64_t) {
  std::free(buffer);
}

colx_env make_env(const Library& library, void* host) {
  return {.colx_env_host = host,
          .colx_env_heap = nullptr,
          .colx_env_alloc_cached = allocate_copy,
          .colx_env_alloc = allocate_scratch,
          .colx_env_free = release_scratch,
          .colx_env_decode = library.record().colx_sctx_wpak_decode};
}
// end

}  // namespace

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  colx_env env = make_env(library, nullptr);

  // region: compressed
  std::vector<uint64_t> codes;
  for (uint64_t row = 0; row < 10'000; ++row) codes.push_back(row / 100 % 40);
  StoredColumn stored = store_codes(codes, {.width_bits = 8}).value();
  compress_column(stored);
  Chunk& chunk = stored.chunks[0];

  void* copy = nullptr;  // the slot: null until a kernel has touched the column
  colx_enc_ctx encoding = {};
  encoding.colx_enc_ctx_key = stored.format.key();
  encoding.colx_enc_ctx_flags = COLX_DICT | COLX_COMPRESSED;
  encoding.colx_enc_ctx_width = 8;
  colx_cv column = {};
  column.colx_cv_data = chunk.data.data();
  column.colx_cv_encoding_context = &encoding;
  column.colx_cv_num_of_rows = chunk.rows;
  column.colx_cv_image_len = chunk.image_bytes;
  column.colx_cv_decomp_slot = &copy;
  // end

  // region: touch
  std::vector<uint64_t> bits((chunk.rows + 63) / 64);
  colx_cv result = {};
  result.colx_cv_bits = bits.data();
  result.colx_cv_num_of_rows = chunk.rows;
  colx_kctx kctx = {};
  kctx.colx_kctx_env = &env;
  const uint8_t constant = 7;
  const void* args[4] = {&constant, nullptr, nullptr, &encoding};
  const colx_scan_fn scan = library.scan_kernel(COLX_OPC_EQ, stored.format.key()).value();
  for (int touch = 1; touch <= 2; ++touch) {
    const uint32_t status = scan(&result, &column, args, &kctx);
    std::printf("touch %d: status %u, %u rows\n", touch, status, result.colx_cv_num_set);
  }
  std::free(copy);
  // end
}
