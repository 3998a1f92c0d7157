#include "bench/support/transpose_limit.h"

#include <x86intrin.h>

#include <cstring>

namespace colx::bench {
namespace {

// As a call whatever the length: inlined, GCC makes something else of it.
void* (*const volatile plain_memcpy)(void*, const void*, size_t) = std::memcpy;

}  // namespace

void store_limit(uint8_t* matrix, uint64_t rows, uint64_t stride_bytes) {
  const __m128i record = _mm_set1_epi8(1);
  for (uint64_t row = 0; row < rows; ++row, matrix += stride_bytes)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(matrix), record);
}

uint8_t* memcpy_calls(const uint8_t* records, uint64_t count, uint8_t* out) {
  auto* const copy = plain_memcpy;
  for (uint64_t i = 0; i < count; ++i) {
    uint16_t length;
    const uint8_t* value;
    std::memcpy(&length, records + 16 * i, sizeof length);
    std::memcpy(&value, records + 16 * i + 8, sizeof value);
    copy(out, value, length);
    out += length;
  }
  return out;
}

}  // namespace colx::bench
