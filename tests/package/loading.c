/* A C11 host that loads the library at run time by its unversioned name, as far as the system's
 * search finds it, and scans codes of 13 bits. Prints the version and the rows found. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include "kernels/frame/colx_x86.h"

void host_raise_internal(void* host, void* error_frame, const char* text, uint64_t zero) {
  (void)host, (void)error_frame, (void)zero;
  fprintf(stderr, "internal error: %s\n", text);
  abort();
}

enum { ROWS = 1000, WIDTH = 13, SLACK = 16 };

/* Code `row` stands at bit 13 * row of a big-endian bit stream. */
static void put_code(uint8_t* stream, uint32_t row, uint32_t code) {
  for (uint32_t bit = 0; bit < WIDTH; ++bit) {
    const uint32_t at = row * WIDTH + bit;
    if (code >> (WIDTH - 1 - bit) & 1) stream[at / 8] |= (uint8_t)(0x80 >> at % 8);
  }
}

int main(void) {
  void* library = dlopen("libcolx_x86.so", RTLD_NOW);
  if (!library) return fprintf(stderr, "%s\n", dlerror()), 1;
  const colx_specialized_ctx* colx = dlsym(library, "colx_global_specialized_ctx");
  if (!colx || colx->colx_sctx_magic != COLX_SCTX_MAGIC) return 2;

  static uint8_t stream[ROWS * WIDTH / 8 + 1 + SLACK];
  uint32_t expected = 0;
  for (uint32_t row = 0; row < ROWS; ++row) {
    const uint32_t code = row * 37 % 8192;
    put_code(stream, row, code);
    expected += code >= 100 && code <= 4000;
  }
  colx_enc_ctx encoding = {.colx_enc_ctx_flags = COLX_DICT, .colx_enc_ctx_width = WIDTH};
  encoding.colx_enc_ctx_key =
      colx_column_key(COLX_ENC_DICT, colx_width_code(WIDTH), COLX_FORM_PLAIN);
  uint64_t bits[(ROWS + 63) / 64];
  colx_cv column = {.colx_cv_data = stream, .colx_cv_encoding_context = &encoding};
  colx_cv result = {.colx_cv_bits = bits, .colx_cv_num_of_rows = ROWS};
  const uint32_t low = 100, high = 4000;
  const void *from[] = {&low}, *to[] = {&high};
  const uint32_t slot = colx_column_index(COLX_OPC_GE_LE, encoding.colx_enc_ctx_key);
  const colx_range_scan_fn scan = (colx_range_scan_fn)colx->colx_sctx_dispatch[slot];
  if (!scan || scan(&result, &column, from, to, NULL) != COLX_DONE) return 3;

  printf("%s: %u rows\n", colx->colx_sctx_version, result.colx_cv_num_set);
  return result.colx_cv_num_set == expected ? 0 : 4;
}
