// The scalar line of every scan: the loop that a careful engineer writes without vectors.
//
// One row at a time: the row's code is taken out of the big-endian stream, tested without a branch,
// and its bit gathered in a register; a full word of 64 bits is stored and counted once. Width and
// test are template arguments and the 64 rows of a word are written out, so every position, shift
// and mask in them is a constant, and neighbouring codes share the load of the 8 bytes that hold
// them. Codes of 8, 16, 32 and 64 bits are single reads, their bytes swapped into a number. A range
// is one subtraction and one comparison, and a predicate that leaves out code 0 is as a rule one
// with a higher lower bound (scalar_plan).
//
// Built for the kernels' instruction set with -O3 -fno-tree-vectorize (scalar_scans.cpp). Ratios
// are comparable over versions because this loop does not change: improve kernels, not this.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace colx::bench {

enum class ScalarTest {
  none,             // no row; a and b are not used
  equal,            // code == a
  unequal,          // code != a
  below,            // code < a
  above,            // code > a
  at_most,          // code <= a
  at_least,         // code >= a
  within,           // a <= code <= a + b
  unequal_nonzero,  // code != a and code != 0
};

// Stores ceil(rows / 64) words, bits from `rows` up clear; returns how many are set. May read 8
// bytes past the rows' bytes.
using ScalarScan = uint32_t (*)(const uint8_t* codes, uint64_t* out, uint32_t rows, uint64_t a,
                                uint64_t b);

// For widths of 1 to 20, 24, 32, 40, 48, 56 and 64 bits: packed codes and rows of whole bytes.
ScalarScan scalar_scan(unsigned width_bits, ScalarTest test);

// The test that a predicate comes to: `opc` is one of COLX_OPC_EQ to COLX_OPC_GE_LE, one-sided ones
// have their constant in `lo`.
struct ScalarPlan {
  ScalarTest test;
  uint64_t a;
  uint64_t b;
};
ScalarPlan scalar_plan(uint32_t opc, bool zero_is_null, uint64_t lo, uint64_t hi);

namespace scalar {

inline uint64_t big_endian_64(const uint8_t* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return __builtin_bswap64(word);
}

template <class T>
T swapped(T value) {
  if constexpr (sizeof(T) == 2) return __builtin_bswap16(value);
  if constexpr (sizeof(T) == 4) return __builtin_bswap32(value);
  if constexpr (sizeof(T) == 8) return __builtin_bswap64(value);
  return value;
}

constexpr bool is_native(unsigned width_bits) {
  return width_bits >= 8 && width_bits <= 64 && std::has_single_bit(width_bits);
}

// Eight codes end on a byte boundary. The byte from which row `row` of them takes 64 bits: codes
// share a load as long as it holds them whole.
constexpr unsigned load_at(unsigned width_bits, unsigned row) {
  unsigned at = 0;
  for (unsigned r = 0; r <= row; ++r)
    if ((r + 1) * width_bits > at * 8 + 64) at = r * width_bits / 8;
  return at;
}
static_assert(load_at(7, 7) == 0 && load_at(9, 6) == 0 && load_at(9, 7) == 7);

template <unsigned width_bits>
using Code = std::conditional_t<
    width_bits == 8, uint8_t,
    std::conditional_t<width_bits == 16, uint16_t,
                       std::conditional_t<(width_bits <= 32), uint32_t, uint64_t>>>;

template <unsigned width_bits, unsigned row>
__attribute__((always_inline)) inline Code<width_bits> code_of(const uint8_t* codes) {
  using T = Code<width_bits>;
  if constexpr (is_native(width_bits)) {
    T code;
    std::memcpy(&code, codes + row * sizeof(T), sizeof code);
    return swapped(code);
  } else {
    constexpr unsigned in_eight = row % 8;
    constexpr unsigned at = load_at(width_bits, in_eight);
    constexpr unsigned below = 64 + at * 8 - (in_eight + 1) * width_bits;
    static_assert(below < 64);
    return static_cast<T>(big_endian_64(codes + row / 8 * width_bits + at) >> below &
                          ((uint64_t{1} << width_bits) - 1));
  }
}

template <ScalarTest test, class T>
__attribute__((always_inline)) inline bool holds(T code, T a, T b) {
  if constexpr (test == ScalarTest::equal) return code == a;
  if constexpr (test == ScalarTest::unequal) return code != a;
  if constexpr (test == ScalarTest::below) return code < a;
  if constexpr (test == ScalarTest::above) return code > a;
  if constexpr (test == ScalarTest::at_most) return code <= a;
  if constexpr (test == ScalarTest::at_least) return code >= a;
  if constexpr (test == ScalarTest::within) return static_cast<T>(code - a) <= b;
  if constexpr (test == ScalarTest::unequal_nonzero) return (code != a) & (code != 0);
}

template <unsigned width_bits, ScalarTest test, size_t... row>
__attribute__((always_inline)) inline uint64_t word_of(const uint8_t* codes, Code<width_bits> a,
                                                       Code<width_bits> b,
                                                       std::index_sequence<row...>) {
  uint64_t bits = 0;
  ((bits |= uint64_t{holds<test>(code_of<width_bits, row>(codes), a, b)} << row), ...);
  return bits;
}

// The rows of a last word that is not full, each taken from its own byte.
template <unsigned width_bits, ScalarTest test>
uint64_t partial_word_of(const uint8_t* codes, unsigned rows, Code<width_bits> a,
                         Code<width_bits> b) {
  uint64_t bits = 0;
  for (unsigned row = 0; row < rows; ++row) {
    const unsigned bit = row * width_bits;
    const auto code = static_cast<Code<width_bits>>(big_endian_64(codes + bit / 8) << bit % 8 >>
                                                    (64 - width_bits));
    bits |= uint64_t{holds<test>(code, a, b)} << row;
  }
  return bits;
}

template <unsigned width_bits, ScalarTest test>
uint32_t scan(const uint8_t* __restrict codes, uint64_t* __restrict out, uint32_t rows,
              uint64_t wide_a, uint64_t wide_b) {
  const auto a = static_cast<Code<width_bits>>(wide_a);
  const auto b = static_cast<Code<width_bits>>(wide_b);
  uint32_t count = 0;
  for (const uint64_t* const end = out + rows / 64; out != end; ++out, codes += 8 * width_bits) {
    *out = word_of<width_bits, test>(codes, a, b, std::make_index_sequence<64>{});
    count += static_cast<uint32_t>(__builtin_popcountll(*out));
  }
  if (rows % 64 != 0) {
    *out = partial_word_of<width_bits, test>(codes, rows % 64, a, b);
    count += static_cast<uint32_t>(__builtin_popcountll(*out));
  }
  return count;
}

}  // namespace scalar
}  // namespace colx::bench
