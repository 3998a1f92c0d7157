#include "bench/support/unpack_limit.h"

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

// A store of its own: the compiler may not make a fill out of several.
inline void put(uint8_t* to, __m128i bytes) {
  asm volatile("movups %1, %0" : "=m"(*reinterpret_cast<__m128i_u*>(to)) : "x"(bytes));
}

// Of 128 rows: as many loads as a code has bits, each followed by its share of the stores.
template <unsigned loads, unsigned stores, size_t... load>
inline void pass_rows(const uint8_t* codes, uint8_t* out, __m128i bytes,
                      std::index_sequence<load...>) {
  const auto put_all = [=](size_t from, size_t to) {
    for (size_t s = from; s < to; ++s) put(out + 16 * s, bytes);
  };
  ((fetch(codes + 16 * load), put_all(stores * load / loads, stores * (load + 1) / loads)), ...);
}

template <unsigned width_bits, unsigned element_bytes>
void unpack_limit_of(const uint8_t* codes, uint8_t* out, uint64_t rows) {
  const __m128i bytes = _mm_set1_epi8(1);
  constexpr unsigned stores = 8 * element_bytes;
  for (uint64_t row = 0; row < rows; row += 128, codes += 16 * width_bits, out += 16 * stores)
    pass_rows<width_bits, stores>(codes, out, bytes, std::make_index_sequence<width_bits>{});
}

template <unsigned element_bytes, size_t... width>
constexpr std::array<UnpackLimit, 32> limits_of(std::index_sequence<width...>) {
  return {unpack_limit_of<width + 1, element_bytes>...};
}

constexpr auto widths = std::make_index_sequence<32>{};
constexpr std::array limits = {limits_of<1>(widths), limits_of<2>(widths), limits_of<4>(widths)};

}  // namespace

UnpackLimit unpack_limit(unsigned width_bits, unsigned element_bytes) {
  return limits[element_bytes / 2][width_bits - 1];
}

}  // namespace colx::bench
