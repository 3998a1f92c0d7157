// Floats and doubles as columns hold them, bit by bit, and what is known of a computed one.
//
//   native     IEEE 754 in the machine's byte order
//   canonical  big-endian; the top bit flipped if the sign is clear, all bits if it is set
//
//   float     0.0  80 00 00 00     1.0  BF 80 00 00
//            -0.0  7F FF FF FF    -1.0  40 7F FF FF
#pragma once

#include <bit>
#include <cfloat>
#include <cstdint>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace colx::oracle {

static_assert(FLT_EVAL_METHOD == 0, "floats and doubles are added in their own precision");

enum class NumberForm { native, canonical };

// IEEE bits are carried as 64-bit words, those of a float in the low half.
template <class Number>
uint64_t bits_of(Number number) {
  return std::bit_cast<std::conditional_t<sizeof(Number) == 4, uint32_t, uint64_t>>(number);
}

template <class Number>
Number number_of(uint64_t bits) {
  if constexpr (sizeof(Number) == 4) {
    return std::bit_cast<float>(static_cast<uint32_t>(bits));
  } else {
    return std::bit_cast<double>(bits);
  }
}

// The IEEE bits of the stored row of 4 or 8 bytes at `at`.
uint64_t stored_bits(const void* at, unsigned bytes, NumberForm form);

// The stored rows of those IEEE bits, one behind the other.
std::vector<uint8_t> stored_rows(std::span<const uint64_t> bits, unsigned bytes, NumberForm form);

bool is_nan(uint64_t bits, unsigned bytes);

// A result. Where a NaN has met another NaN, the order of operands decides which one's payload
// comes out, and no order is promised.
struct ComputedBits {
  uint64_t bits;
  bool any_nan = false;

  // Whether `got` is that result.
  bool allows(uint64_t got, unsigned bytes) const {
    return any_nan ? is_nan(got, bytes) : got == bits;
  }
};

// One operation in the precision of its operands, rounded once.
template <class Number>
ComputedBits sum_of(ComputedBits a, ComputedBits b);
template <class Number>
ComputedBits difference_of(ComputedBits a, ComputedBits b);
template <class Number>
ComputedBits product_of(ComputedBits a, ComputedBits b);

}  // namespace colx::oracle
