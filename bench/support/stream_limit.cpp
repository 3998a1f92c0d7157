#include "bench/support/stream_limit.h"

#include <x86intrin.h>

#include <array>
#include <cstddef>
#include <utility>

namespace colx::bench {
namespace {

// The load happens though nobody looks at it.
inline void fetch(const uint8_t* from) {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  asm volatile("" : : "x"(bytes));
}

template <size_t... Load>
inline void fetch_all(const uint8_t* from, std::index_sequence<Load...>) {
  (fetch(from + 16 * Load), ...);
}

inline void put(uint8_t* to, __m128i bytes) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bytes);
}

// 128 rows are as many loads as a code has bits, and one store.
template <unsigned width_bits, size_t... Block>
inline void pass_blocks(const uint8_t* codes, uint8_t* out, std::index_sequence<Block...>) {
  ((fetch_all(codes + 16 * width_bits * Block, std::make_index_sequence<width_bits>{}),
    put(out + 16 * Block, _mm_set1_epi8(1))),
   ...);
}

template <unsigned width_bits>
void scan_limit_of(const uint8_t* codes, uint8_t* out, uint64_t rows) {
  for (uint64_t row = 0; row < rows; row += 512, codes += 64 * width_bits, out += 64)
    pass_blocks<width_bits>(codes, out, std::make_index_sequence<4>{});
}

template <size_t... Width>
constexpr std::array<ScanLimit, sizeof...(Width)> limits_of(std::index_sequence<Width...>) {
  return {scan_limit_of<Width + 1>...};
}
constexpr auto scan_limits = limits_of(std::make_index_sequence<64>{});

}  // namespace

ScanLimit scan_limit(unsigned width_bits) {
  return scan_limits[width_bits - 1];
}

void read_limit(const uint8_t* from, uint64_t bytes) {
  for (const uint8_t* const end = from + bytes; from != end; from += 128)
    fetch_all(from, std::make_index_sequence<8>{});
}

void combine_limit(uint8_t* dst, const uint8_t* a, const uint8_t* b, uint64_t bytes) {
  const __m128i bits = _mm_set1_epi8(1);
  for (uint64_t at = 0; at < bytes; at += 64)
    for (uint64_t part = 0; part < 64; part += 16) {
      fetch(a + at + part);
      fetch(b + at + part);
      put(dst + at + part, bits);
    }
}

void spread_limit(const uint8_t* from, uint64_t bytes, uint8_t* room, uint64_t out_bytes) {
  const __m128i numbers = _mm_set1_epi8(1);
  const uint64_t due_per_block = (out_bytes << 16) / (bytes / 128);  // in 1/65536 byte
  uint64_t due = 0;
  uint64_t written = 0;
  for (const uint8_t* const end = from + bytes; from != end; from += 128) {
    fetch_all(from, std::make_index_sequence<8>{});
    for (due += due_per_block; due >= 16 << 16; due -= 16 << 16, written += 16)
      put(room + written % 1024, numbers);
  }
}

}  // namespace colx::bench
