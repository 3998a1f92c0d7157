#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include "kernels/frame/colx_x86.h"

/* The library imports this one function from its host. */
void host_raise_internal(void* host, void* error_frame, const char* text, uint64_t zero) {
  (void)host, (void)error_frame, (void)zero;
  fprintf(stderr, "internal error: %s\n", text);
  abort();
}

int main(int argc, char** argv) {
  void* library = dlopen(argc > 1 ? argv[1] : "libcolx_x86.so", RTLD_NOW);
  const colx_specialized_ctx* colx = library ? dlsym(library, "colx_global_specialized_ctx") : NULL;
  if (!colx || colx->colx_sctx_magic != COLX_SCTX_MAGIC)
    return fprintf(stderr, "%s\n", library ? "not this library" : dlerror()), 2;

  uint8_t codes[10] = {7, 3, 5, 9, 4, 2, 5, 8, 6, 1}; /* a column: one dictionary code a row */
  uint64_t bits[1];                                   /* the answer: one bit a row */
  colx_enc_ctx encoding = {.colx_enc_ctx_flags = COLX_DICT, .colx_enc_ctx_width = 8};
  encoding.colx_enc_ctx_key = colx_column_key(COLX_ENC_DICT, colx_width_code(8), COLX_FORM_PLAIN);
  colx_cv column = {.colx_cv_data = codes, .colx_cv_encoding_context = &encoding};
  colx_cv result = {.colx_cv_bits = bits, .colx_cv_num_of_rows = 10};

  uint8_t low = 4, high = 6; /* rows with 4 <= code <= 6 */
  const void *from[] = {&low}, *to[] = {&high};
  uint32_t slot = colx_column_index(COLX_OPC_GE_LE, encoding.colx_enc_ctx_key);
  colx_range_scan_fn scan = (colx_range_scan_fn)colx->colx_sctx_dispatch[slot];
  if (scan(&result, &column, from, to, NULL) == COLX_NOTHING_FOUND) return puts("no row"), 0;

  printf("%u rows:", result.colx_cv_num_set);
  colx_lbiwv_ictx rows;
  colx->colx_sctx_lbiwv_ictx_ini2(&rows, bits, 10, 0, 0);
  for (uint64_t row; (row = colx->colx_sctx_lbiwviter(&rows)) != UINT64_MAX;)
    printf(" %llu", (unsigned long long)row);
  return puts(""), 0;
}
