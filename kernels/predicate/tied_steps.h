// How a step of a tz kernel tests its rows: tests with the same shape,
//
//   Tables                           what a step looks up, apart from the test itself
//   of(bounds, stored_lanes, tables) from the constants of a call
//   marks<Rows, First>(lanes, code_bytes)   a bit a row for `Rows` rows, 8 or 16, whose vectors and
//                                    whose code bytes begin at number First
//   flip()                           all ones if marks are on the rows that miss, else 0
//
// The scheme of codes is that of row_codes.h: a code byte has the codes of a vector's rows. They
// are compared in place: a row's code stays in its bits of its code byte, and the constant's is
// shifted there in eight bits. A constant's code above the largest loses bits by that, in a step
// and only there.
#pragma once

#include <algorithm>
#include <type_traits>

#include "kernels/predicate/lanes.h"
#include "kernels/predicate/operations.h"
#include "kernels/predicate/row_codes.h"

namespace colx {

// The constants of a call: values as numbers of a lane; `hi` for ranges alone.
struct TiedBounds {
  uint64_t lo;
  uint64_t hi;
  uint8_t lo_code;
  uint8_t hi_code;
};

constexpr bool opens_lo(Op op) {
  return op == Op::gt_lt || op == Op::gt_le;
}

// Of the upper bound of a range or of lt and le. The tests know no gt and no ge: they are what le
// and lt miss.
constexpr bool closes_hi(Op op) {
  return op == Op::le || op == Op::gt || op == Op::gt_le || op == Op::ge_le;
}

constexpr bool is_complement(Op op) {
  return op == Op::gt || op == Op::ge;
}

// Which code byte goes to each of sixteen bytes, `Copies` of each from number First on.
template <unsigned Copies, unsigned First>
inline constexpr Mask code_byte_copies = [] {
  Mask mask{};
  for (unsigned k = 0; k < 16; ++k) mask.bytes[k] = static_cast<uint8_t>(First + k / Copies);
  return mask;
}();

constexpr uint8_t in_place(unsigned code, unsigned place) {
  return static_cast<uint8_t>(code << place);
}

// The bits that row `row`'s code has in its code byte.
template <unsigned L>
constexpr uint8_t code_field(unsigned row) {
  return in_place((1u << code_bits(L)) - 1, code_place(L, row));
}

// The fields of sixteen rows, a byte each.
template <unsigned L>
inline constexpr Mask code_fields = [] {
  Mask mask{};
  for (unsigned r = 0; r < 16; ++r) mask.bytes[r] = code_field<L>(r);
  return mask;
}();

template <unsigned L, unsigned First>
COLX_INLINE Vec row_fields(Vec code_bytes) {
  const Vec bytes = shuffle(code_bytes, load(code_byte_copies<rows_per_code_byte(L), First>));
  return both(bytes, load(code_fields<L>));
}

// The vector compare is signed. Code bytes get 0x80 added before their fields are taken, so that a
// field on top of its byte is ordered as signed, while the others are never negative. A constant
// meets them likewise: order_place is above a row's field where `code`, or the code after it if
// `inclusive`, is.
template <unsigned L>
constexpr uint8_t order_place(uint8_t code, unsigned row, bool inclusive) {
  const uint8_t number = in_place(code, code_place(L, row));
  if (code_field<L>(row) & 0x80) return static_cast<uint8_t>((number ^ 0x80) + inclusive);
  return static_cast<uint8_t>(std::min(number + inclusive, 0x7F));
}

// `eq` and `ne`: value and code are the constant's.
template <Op op, unsigned L>
struct TiedEquality {
  struct Tables {};

  Vec value;
  Vec code;

  COLX_INLINE static TiedEquality of(const TiedBounds& c, bool stored_lanes, Tables&) {
    const auto word = static_cast<Unsigned<L>>(c.lo);
    Mask codes;
    for (unsigned r = 0; r < 16; ++r) codes.bytes[r] = in_place(c.lo_code, code_place(L, r));
    return {splat<L>(stored_lanes ? byte_reversed(word) : word), load(codes)};
  }

  template <unsigned Rows, unsigned First, class Lanes>
  COLX_INLINE uint32_t marks(const Lanes& lanes, Vec code_bytes) const {
    const Vec same =
        row_bytes<L, Rows, First, false>([&](auto v) { return equal<L>(lanes(v), value); });
    return top_bits(both(same, equal<1>(row_fields<L, First>(code_bytes), code)));
  }

  COLX_INLINE uint64_t flip() const { return op == Op::ne ? ~uint64_t{0} : 0; }
};

// Order in lanes whose last byte no row has: it has room for the code, and the two are compared as
// one number. A constant that has something there is above the rows that begin like it. No code
// takes the whole byte, so there is always a next key.
template <Op op, unsigned L>
struct TiedKey {
  struct Tables {};

  // Of the keys that are hits; a number of the signed order.
  Vec begin;
  Vec length;

  // A vector has the same fields at the same places as the next one.
  COLX_INLINE static Vec keys(uint64_t value, uint8_t code, bool next) {
    alignas(16) Unsigned<L> keys[16 / L];
    for (unsigned r = 0; r < 16 / L; ++r) {
      const uint8_t last = value & 0xFF ? 0xFE : in_place(code, code_place(L, r));
      keys[r] = static_cast<Unsigned<L>>((value & ~uint64_t{0xFF}) +
                                         std::min<uint64_t>(last, 0xFE) + next);
    }
    return load_aligned(keys);
  }

  COLX_INLINE static TiedKey of(const TiedBounds& c, bool, Tables&) {
    if constexpr (!is_range(op))
      return {top_bit_added<L>(zeros()), top_bit_added<L>(keys(c.lo, c.lo_code, closes_hi(op)))};
    const Vec begin = keys(c.lo, c.lo_code, opens_lo(op));
    const Vec end = keys(c.hi, c.hi_code, closes_hi(op));
    const Vec some = above_signed<L>(top_bit_added<L>(end), top_bit_added<L>(begin));
    return {top_bit_added<L>(begin), top_bit_added<L>(both(difference<L>(end, begin), some))};
  }

  // To the last byte of each lane.
  template <unsigned Vector>
  static constexpr Mask codes_of_lanes = [] {
    Mask mask{};
    for (unsigned k = 0; k < 16; ++k)
      mask.bytes[k] = static_cast<uint8_t>(k % L == 0 ? Vector * (16 / L) + k / L : 0x80);
    return mask;
  }();

  template <unsigned Rows, unsigned First, class Lanes>
  COLX_INLINE uint32_t marks(const Lanes& lanes, Vec code_bytes) const {
    const Vec codes = row_fields<L, First>(code_bytes);
    return top_bits(row_bytes<L, Rows, First, false>([&](auto v) {
      const Vec key = either(lanes(v), shuffle(codes, load(codes_of_lanes<v - First>)));
      return above_signed<L>(length, difference<L>(key, begin));
    }));
  }

  COLX_INLINE uint64_t flip() const { return is_complement(op) ? ~uint64_t{0} : 0; }
};

// Order in lanes of 2 and 4 bytes. The values that are hits whatever their code form a range, and
// how far a row's value lies from it says all but the code: 0 inside, 1 at the constant, more
// beyond. Distances are narrowed to a byte a row and meet the codes there.
template <Op op, unsigned L>
struct TiedDistance {
  struct Tables {};

  Vec first;  // of the range
  Vec last;
  Vec farthest;  // distance of a hit
  Vec lo_code;
  Vec hi_code;

  COLX_INLINE static Vec order_codes(uint8_t code, bool inclusive) {
    Mask codes;
    for (unsigned r = 0; r < 16; ++r) codes.bytes[r] = order_place<L>(code, r, inclusive);
    return load(codes);
  }

  // One-sided: the range ends below the constant. Below 0 there is none; then constant and range
  // are at distance 0.
  COLX_INLINE static TiedDistance one_sided(const TiedBounds& c) {
    const bool empty = c.lo == 0;
    return {zeros(), splat<L>(c.lo - !empty), splat<1>(empty ? 0xFF : 0), zeros(),
            order_codes(c.lo_code, closes_hi(op))};
  }

  // Two constants: the values between them; a row at `lo` is 1 below it, one at `hi` -1. With
  // neighbours or equal constants the range is the value below `hi`, and what lies there or beneath
  // may be too far. No row is near enough where `lo` is above `hi`.
  COLX_INLINE static TiedDistance range(const TiedBounds& c) {
    const uint64_t width = c.hi - c.lo;
    const uint64_t last = c.hi - 1;
    const uint64_t farthest = c.lo > c.hi ? 0x80 : std::min<uint64_t>(width, 2) - 1;
    return {splat<L>(width >= 2 ? c.lo + 1 : last), splat<L>(last), splat<1>(farthest),
            order_codes(c.lo_code, opens_lo(op)), order_codes(c.hi_code, closes_hi(op))};
  }

  COLX_INLINE static TiedDistance of(const TiedBounds& c, bool, Tables&) {
    if constexpr (is_range(op)) return range(c);
    return one_sided(c);
  }

  // Misses have the top bit. A code below the constant's brings a row nearer.
  COLX_INLINE Vec beyond(Vec distances, Vec fields) const {
    const Vec nearer = sum<1>(distances, above_signed<1>(hi_code, fields));
    return either(distances, above_signed<1>(nearer, farthest));
  }

  // The same on both sides. A code below that of `lo` takes a row farther, at `hi` it saves it.
  COLX_INLINE Vec around(Vec distances, Vec fields) const {
    const Vec above = above_signed<1>(above_signed<1>(hi_code, fields), distances);
    const Vec farther = signed_saturated_difference<1>(distances, above_signed<1>(lo_code, fields));
    return either(above, above_signed<1>(farther, farthest));
  }

  template <unsigned Rows, unsigned First, class Lanes>
  COLX_INLINE uint32_t marks(const Lanes& lanes, Vec code_bytes) const {
    const Vec fields = row_fields<L, First>(top_bit_added<1>(code_bytes));
    if constexpr (is_range(op)) {
      const Vec distances = row_bytes<L, Rows, First, true>([&](auto v) {
        const Vec x = lanes(v);
        return difference<L>(lower_of<L>(higher_of<L>(x, first), last), x);
      });
      return top_bits(around(distances, fields));
    } else {
      const Vec distances = row_bytes<L, Rows, First, true>([&](auto v) {
        const Vec x = lanes(v);
        if constexpr (L == 2) return saturated_difference<2>(x, last);
        return difference<L>(x, lower_of<L>(x, last));
      });
      return top_bits(beyond(distances, fields));
    }
  }

  COLX_INLINE uint64_t flip() const { return is_complement(op) ? 0 : ~uint64_t{0}; }
};

// Order in lanes of 8 bytes, which no instruction clamps. A row's code decides which of its
// constants' values it may have, that is, the interval of values that are hits for it. There are
// two ways for each constant, hence sixteen pairs of intervals for the two rows of a vector.
template <Op op>
struct TiedInterval {
  // By four bits, of the even row, the odd row, and both again: whether the code is below that of
  // the lower constant, and whether it is below that of the upper one. Numbers of the signed order:
  // a value is in it if its difference from `begin` is below `length`.
  struct Tables {
    Mask begins[16];
    Mask lengths[16];
  };

  const Tables* tables;
  Vec begin;  // of all intervals, if there is no lower constant
  Vec codes;  // of the lower constant for two rows and of the upper one, four times
  uint64_t flipped;

  struct Interval {
    uint64_t begin;
    uint64_t length;
  };

  // From `lo` to `hi`. An interval of all values could not be told from an empty one: where the
  // constants span all values the interval is what lies outside.
  COLX_INLINE static Interval interval(const TiedBounds& c, bool spans_all, bool above_lo,
                                       bool at_hi) {
    constexpr uint64_t top_bit = uint64_t{1} << 63;
    const uint64_t begin = c.lo + above_lo;
    const uint64_t end = c.hi + at_hi;
    if (spans_all) return {end + top_bit, begin - end + top_bit};
    const bool empty = c.lo > c.hi || (c.lo == c.hi && above_lo && !at_hi);
    return {begin + top_bit, (empty ? 0 : end - begin) + top_bit};
  }

  COLX_INLINE static TiedInterval of(const TiedBounds& bounds, bool, Tables& tables) {
    const TiedBounds c = is_range(op) ? bounds : TiedBounds{0, bounds.lo, 0, bounds.lo_code};
    const bool spans_all = c.lo == 0 && c.hi == UINT64_MAX;
    Interval intervals[4];
    for (unsigned way = 0; way < 4; ++way)
      intervals[way] = interval(c, spans_all, way & 1, way >> 1);
    for (unsigned ways = 0; ways < 16; ++ways) {
      const Interval& even = intervals[(ways & 1) | (ways >> 1 & 2)];
      const Interval& odd = intervals[(ways >> 1 & 1) | (ways >> 2 & 2)];
      store_aligned(&tables.begins[ways], from_halves(even.begin, odd.begin));
      store_aligned(&tables.lengths[ways], from_halves(even.length, odd.length));
    }
    Mask codes;
    for (unsigned k = 0; k < 16; ++k) {
      const bool upper = k & 2;
      codes.bytes[k] = order_place<8>(upper ? c.hi_code : c.lo_code, k % 2,
                                      upper ? closes_hi(op) : opens_lo(op));
    }
    return {&tables, load(tables.begins[0]), load(codes),
            spans_all != is_complement(op) ? ~uint64_t{0} : 0};
  }

  // Of eight rows, four bits a vector, from bit 4 on: so they count tables in bytes.
  template <unsigned First>
  COLX_INLINE size_t ways_of(Vec code_bytes) const {
    const Vec bytes = shuffle(top_bit_added<1>(code_bytes), load(code_byte_copies<4, First>));
    return size_t{top_bits(above_signed<1>(codes, both(bytes, load(code_fields<8>))))} << 4;
  }

  template <unsigned Rows, unsigned First, class Lanes>
  COLX_INLINE uint32_t marks(const Lanes& lanes, Vec code_bytes) const {
    const size_t ways[] = {ways_of<First>(code_bytes),
                           Rows == 16 ? ways_of<First + 4>(code_bytes) : 0};
    return top_bits(row_bytes<8, Rows, First, false>([&](auto v) {
      const size_t at = ways[(v - First) / 4] >> 4 * (v % 4) & 0xF0;
      const Vec from = is_range(op) ? load_aligned(bytes_at(tables->begins, at)) : begin;
      return above_signed<8>(load_aligned(bytes_at(tables->lengths, at)),
                             difference<8>(lanes(v), from));
    }));
  }

  COLX_INLINE uint64_t flip() const { return flipped; }
};

template <Op op, unsigned L>
using TiedOrder = std::conditional_t<L == 8, TiedInterval<op>, TiedDistance<op, L>>;

// `spare_byte`: no row has the last byte of its lane.
template <Op op, unsigned L, bool spare_byte>
using TiedTest =
    std::conditional_t<op == Op::eq || op == Op::ne, TiedEquality<op, L>,
                       std::conditional_t<spare_byte, TiedKey<op, L>, TiedOrder<op, L>>>;

}  // namespace colx
