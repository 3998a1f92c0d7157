// The stored forms of numbers.
//
//   native       float or double in the machine's byte order
//   canonical    float or double whose stored bytes, compared from the left as unsigned, have the
//                order of the values: the IEEE bits with the sign bit set if it was clear, else
//                with all bits inverted, big-endian. 80 00 00 00 is +0.0f, 7F FF FF FF is -0.0f.
//   dsb          signed integers in two's complement of 8, 16, 32 or 64 bits, big-endian
//
// Decoding works on the bits alone: zeros, infinities and NaNs, signalling ones too, come through
// as they are.
#pragma once

#include <bit>
#include <cstdint>
#include <type_traits>

#include "kernels/frame/bytes.h"
#include "kernels/frame/vectors.h"

namespace colx {

enum class NumberForm { native, canonical };

template <class Number>
using NumberBits = Unsigned<sizeof(Number)>;

template <class Number>
inline constexpr NumberBits<Number> sign_bit = NumberBits<Number>{1} << (8 * sizeof(Number) - 1);

// Numbers in a vector.
template <class Number>
inline constexpr uint32_t lanes_of = 16 / sizeof(Number);

// IEEE bits of a canonical number that was read big-endian.
template <class Number>
constexpr NumberBits<Number> number_bits(NumberBits<Number> stored) {
  const NumberBits<Number> ones_below_zero = (stored >> (8 * sizeof(Number) - 1)) - 1;
  return stored ^ (ones_below_zero | sign_bit<Number>);
}
static_assert(number_bits<float>(0x80000000) == 0 && number_bits<float>(0x7FFFFFFF) == 0x80000000);
static_assert(number_bits<float>(0xBF800000) == 0x3F800000);                   // 1.0
static_assert(number_bits<float>(0x407FFFFF) == 0xBF800000);                   // -1.0
static_assert(number_bits<double>(0xC000000000000000) == 0x4000000000000000);  // 2.0

template <class Number, NumberForm form>
COLX_INLINE NumberBits<Number> bits_at(const uint8_t* from) {
  if constexpr (form == NumberForm::native) return load_as<NumberBits<Number>>(from);
  return number_bits<Number>(load_big_endian<NumberBits<Number>>(from));
}

template <class Number, NumberForm form>
COLX_INLINE Number number_at(const uint8_t* from) {
  return std::bit_cast<Number>(bits_at<Number, form>(from));
}

// A vector of numbers, native.
template <class Number, NumberForm form>
COLX_INLINE Vec numbers_at(const uint8_t* from) {
  const Vec stored = load(from);
  if constexpr (form == NumberForm::native) return stored;
  constexpr unsigned lane = sizeof(Number);
  const Vec number = lanes_byte_reversed<lane>(stored);
  const Vec top = splat<lane>(sign_bit<Number>);
  return differ(number, chosen_lanes<lane>(number, top, all_ones()));
}

// A vector's lanes one by one, for sums in row order.
template <class Number>
struct NumberLanes {
  alignas(16) Number at[lanes_of<Number>];
};

template <class Number>
COLX_INLINE NumberLanes<Number> lanes_in(Vec numbers) {
  NumberLanes<Number> lanes;
  store_aligned(lanes.at, numbers);
  return lanes;
}

// (l0 + l1) + (l2 + l3), or l0 + l1 of two.
template <class Number>
COLX_INLINE Number pairwise_sum(Vec numbers) {
  const NumberLanes<Number> lanes = lanes_in<Number>(numbers);
  if constexpr (lanes_of<Number> == 2)
    return lanes.at[0] + lanes.at[1];
  else
    return (lanes.at[0] + lanes.at[1]) + (lanes.at[2] + lanes.at[3]);
}

// A dsb row, sign-extended; sums of it wrap.
template <unsigned bytes>
COLX_INLINE uint64_t dsb_at(const uint8_t* from) {
  using Row = std::make_signed_t<Unsigned<bytes>>;
  return static_cast<uint64_t>(int64_t{static_cast<Row>(load_big_endian<Unsigned<bytes>>(from))});
}

// A vector of dsb rows as two numbers of 64 bits to sum up. Rows narrower than that are raised by
// the value of their sign bit, which leaves them without a sign.
template <unsigned bytes>
COLX_INLINE Vec raised_dsb_sums(Vec stored) {
  if constexpr (bytes == 8) return lanes_byte_reversed<8>(stored);
  if constexpr (bytes == 4) {
    const Vec raised = differ(lanes_byte_reversed<4>(stored), splat<4>(0x80000000));
    return sum<8>(both(raised, splat<8>(0xFFFFFFFF)), shifted_right<8, 32>(raised));
  }
  if constexpr (bytes == 2) {
    const Vec raised = differ(stored, splat<2>(0x0080));
    const Vec high_bytes = byte_sums(both(raised, splat<2>(0x00FF)));
    return sum<8>(shifted_left<8, 8>(high_bytes), byte_sums(shifted_right<2, 8>(raised)));
  }
  if constexpr (bytes == 1) return byte_sums(differ(stored, splat<1>(0x80)));
}

// In any order: four sums do not wait for each other.
template <unsigned bytes>
COLX_INLINE uint64_t dsb_sum(const uint8_t* from, uint32_t rows) {
  constexpr uint32_t rows_of_vector = 16 / bytes;
  constexpr uint64_t raised_by = bytes == 8 ? 0 : uint64_t{1} << (8 * bytes - 1);
  const uint32_t whole = rows / rows_of_vector;
  Vec sums[4] = {zeros(), zeros(), zeros(), zeros()};
  for (uint32_t four = whole / 4; four != 0; --four, from += 64) {
#pragma GCC unroll 4
    for (unsigned k = 0; k < 4; ++k)
      sums[k] = sum<8>(sums[k], raised_dsb_sums<bytes>(load(from + 16 * k)));
  }
  for (uint32_t one = whole % 4; one != 0; --one, from += 16)
    sums[0] = sum<8>(sums[0], raised_dsb_sums<bytes>(load(from)));
  const Vec pair = sum<8>(sum<8>(sums[0], sums[1]), sum<8>(sums[2], sums[3]));
  uint64_t total = low_half(pair) + high_half(pair) - raised_by * rows_of_vector * whole;
  for (uint32_t rest = rows % rows_of_vector; rest != 0; --rest, from += bytes)
    total += dsb_at<bytes>(from);
  return total;
}

// Calls serve(bytes of a row) for the widths that dsb rows have; does nothing for others.
template <class Serve>
COLX_INLINE void serve_dsb_width(uint32_t width_bits, const Serve& serve) {
  if (width_bits == 8) serve(std::integral_constant<unsigned, 1>{});
  if (width_bits == 16) serve(std::integral_constant<unsigned, 2>{});
  if (width_bits == 32) serve(std::integral_constant<unsigned, 4>{});
  if (width_bits == 64) serve(std::integral_constant<unsigned, 8>{});
}

// acc[at] = that + value: a read and a write in row order, at any address.
template <class Number>
COLX_INLINE void add_to(uint8_t* accumulators, uint32_t at, Number value) {
  uint8_t* const to = accumulators + size_t{at} * sizeof(Number);
  store_as<Number>(to, load_as<Number>(to) + value);
}

}  // namespace colx
