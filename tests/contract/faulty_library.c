/* Has one of every fault that the check of the shared object looks for. */
#include <immintrin.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

int colx_not_listed = 1; /* an export too many, and writable */

__attribute__((constructor)) static void at_load(void) {
  colx_not_listed = atoi("2");
}

double colx_wide(const double* x) {
  const __m256d sum = _mm256_add_pd(_mm256_loadu_pd(x), _mm256_loadu_pd(x + 4));
  double out[4];
  _mm256_storeu_pd(out, sum);
  return cos(out[0]) + out[3];
}

unsigned colx_leading(unsigned x) {
  return _lzcnt_u32(x) + (unsigned)colx_not_listed;
}

/* Calls through the PLT. */
unsigned colx_null(unsigned x) {
  return colx_leading(x) + 1;
}
