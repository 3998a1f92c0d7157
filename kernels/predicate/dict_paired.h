// Rows of packed dictionary codes that pair up: half as many lanes to shuffle, mask and narrow as
// one lane a code.
//
// A lane of the paired form is half of what PackedCodes gives a code. Most codes lie within the
// bytes of such a half already. One that straddles them is brought, with its successor, into a
// whole lane of two halves, and one product moves the border between the two codes to the border
// between the halves:
//
//   w = 3   byte 0    byte 1                    the lane of rows 2 and 3: bytes 0 and 1, times 2
//           00011122  23334445                  00011122 23334445  ->  00111222 33344450
//
// Rows that stay whole take the other halves, two a lane. So halves are not in the order of rows,
// and the row bytes are put in order once every sixteen rows. Widths at which some straddling code
// and its successor do not fit a lane cannot be had this way.
#pragma once

#include "kernels/predicate/dict_packed.h"

namespace colx {

// One vector of halves for consecutive rows that begin on a byte boundary.
struct PairedVector {
  unsigned half;  // bytes
  unsigned rows;
  bool fits;     // every code and pair has its place
  Mask shuffle;  // stream bytes of the halves
  Mask factors;  // of the lanes, two halves each
  Mask codes;    // bits of the code in each half
  Mask shifts;   // how far above the half's lowest bit its code stands, in its first byte
  Mask order;    // of sixteen row bytes: the halves' place of each row
};

constexpr void put_number(Mask& mask, unsigned at, unsigned bytes, uint64_t number) {
  for (unsigned k = 0; k < bytes; ++k) mask.bytes[at + k] = static_cast<uint8_t>(number >> 8 * k);
}

// A big-endian number of `bytes` stream bytes from `first` on.
constexpr void put_stream_bytes(Mask& mask, unsigned at, unsigned bytes, unsigned first) {
  for (unsigned k = 0; k < bytes; ++k)
    mask.bytes[at + k] = static_cast<uint8_t>(first + bytes - 1 - k);
}

constexpr PairedVector paired_vector(unsigned width) {
  const unsigned half = lane_bytes(width) / 2;
  const unsigned half_bits = 8 * half;
  const uint64_t code = (uint64_t{1} << width) - 1;
  PairedVector v{half, 16 / half, true, {}, {}, {}, {}, {}};

  const auto put_half = [&](unsigned at, unsigned row, unsigned shift) {
    put_number(v.codes, at, half, code << shift);
    put_number(v.shifts, at, half, shift);
    v.order.bytes[row] = static_cast<uint8_t>(at / half);
  };
  unsigned next_lane = 0;
  unsigned open_half = 16;  // of a lane that has one whole code so far
  for (unsigned row = 0; row < v.rows; ++row) {
    const unsigned first = row * width / 8;
    const unsigned behind = row * width % 8 + width;  // bits from the first byte to the code's end
    if (behind > half_bits) {
      put_stream_bytes(v.shuffle, next_lane, 2 * half, first);
      put_number(v.factors, next_lane, 2 * half, uint64_t{1} << (behind - half_bits));
      put_half(next_lane + half, row, 0);
      put_half(next_lane, row + 1, half_bits - width);
      v.fits = v.fits && row + 1 < v.rows && behind + width <= 2 * half_bits;
      next_lane += 2 * half;
      ++row;
    } else if (open_half != 16) {
      put_stream_bytes(v.shuffle, open_half, half, first);
      put_half(open_half, row, half_bits - behind);
      open_half = 16;
    } else {
      put_stream_bytes(v.shuffle, next_lane, half, first);
      put_number(v.factors, next_lane, 2 * half, 1);
      put_half(next_lane, row, half_bits - behind);
      open_half = next_lane + half;
      next_lane += 2 * half;
    }
    if (next_lane > 16) v.fits = false;
    if (!v.fits) return v;
  }
  // Sixteen rows are `half` vectors.
  for (unsigned k = v.rows; k < 16; ++k)
    v.order.bytes[k] = static_cast<uint8_t>(v.order.bytes[k - v.rows] + v.rows);
  v.fits = open_half == 16;
  return v;
}

// Whether a width has the paired form: a code fits a half, and every pair a lane.
constexpr bool pairs_up(unsigned width) {
  return width < 4 * lane_bytes(width) && lane_bytes(width) > 1 && paired_vector(width).fits;
}
static_assert(pairs_up(3) && pairs_up(11));
static_assert(!pairs_up(5) && !pairs_up(6) && !pairs_up(7) && !pairs_up(9) && !pairs_up(13));
static_assert(begins(paired_vector(3).shuffle, {0, 0, 1, 0, 1, 2, 2, 1, 3, 3, 4, 3, 4, 5, 5, 4}));
static_assert(begins(paired_vector(3).factors, {1, 0, 2, 0, 1, 0, 4, 0, 1, 0, 2, 0, 1, 0, 4, 0}));
static_assert(begins(paired_vector(11).shuffle, {1, 0, 2, 1, 5, 4, 3, 2, 6, 5, 10, 9, 9, 8, 7, 6}));
static_assert(begins(paired_vector(11).order,
                     {0, 1, 3, 2, 4, 7, 6, 5, 8, 9, 11, 10, 12, 15, 14, 13}));

template <Op op, unsigned width, NullCodes nulls>
struct PairedCodes {
  using Single = PackedCodes<op, width, nulls>;
  static constexpr PackedStep shape = packed_step(width);
  static constexpr uint32_t rows_per_step = shape.rows;
  static constexpr PairedVector vector = paired_vector(width);
  static constexpr unsigned half = vector.half;
  static constexpr unsigned vectors = rows_per_step / vector.rows;
  static constexpr unsigned vector_bytes = vector.rows * width / 8;
  static constexpr Test test = test_of(op, nulls);
  static constexpr Order order = order_of(half, true);
  static constexpr Marks marks = {mark_of(test, order) == Mark::zero, marks_misses(test, order),
                                  true, vector.order};
  static_assert(vector.fits);

  using Selected = typename Single::Selected;

  struct State {
    const uint8_t* codes;  // of the next step
    Selected single;
    LaneBounds bounds;
    bool nothing;
  };

  COLX_INLINE static State begin(const ScanInput& in, const ScanArgs& args) {
    const Selected single = begin_selected(in.data, args, in.src);
    const TestBounds bounds = test_bounds<op, nulls>(single.lo, single.hi);
    return {in.data, single,
            lane_bounds<test, half, order>(
                shifted_up<half>(static_cast<uint32_t>(bounds.first), vector.shifts),
                shifted_up<half>(static_cast<uint32_t>(bounds.last), vector.shifts)),
            bounds.nothing};
  }

  COLX_INLINE static bool finds_nothing(const State& state) { return state.nothing; }

  static constexpr unsigned load_of(unsigned v) { return v * shape.loads / vectors; }

  template <unsigned v>
  static constexpr Mask vector_shuffle = rebased(vector.shuffle,
                                                 shape.load_at(load_of(v)) - v * vector_bytes);

  template <unsigned v>
  COLX_INLINE static Vec tested_vector(const uint8_t* codes, const State& state) {
    const Vec stream = load(codes + shape.load_at(load_of(v)));
    const Vec halves =
        both(product<2 * half>(shuffle(stream, load(vector_shuffle<v>)), load(vector.factors)),
             load(vector.codes));
    return tested<test, half, order>(halves, state.bounds);
  }

  COLX_INLINE static uint32_t step(State& state, uint8_t* out) {
    const uint8_t* codes = state.codes;
    state.codes += shape.bytes;
    prefetch(codes + 640);
    prefetch(codes + 704);
    prefetch(codes + stream_prefetch_bytes);
    return store_rows<half, rows_per_step, marks>(
        out, [&](auto v) { return tested_vector<v>(codes, state); }, state.bounds.second);
  }

  COLX_INLINE static bool row(const State& state, uint32_t r) {
    return selected_row(state.single, r);
  }

  COLX_INLINE static Selected begin_selected(const uint8_t* data, const ScanArgs& args,
                                             const colx_cv* src) {
    return Single::begin_selected(data, args, src);
  }

  COLX_INLINE static bool selected_row(const Selected& single, uint32_t r) {
    return Single::selected_row(single, r);
  }
};

// Rows of packed codes in the form that suits their width.
template <Op op, unsigned width, NullCodes nulls, bool paired = pairs_up(width)>
struct PackedForm {
  using Rows = PackedCodes<op, width, nulls>;
};
template <Op op, unsigned width, NullCodes nulls>
struct PackedForm<op, width, nulls, true> {
  using Rows = PairedCodes<op, width, nulls>;
};

// The kernels of a width: the names; the work is in the patterns.
#define COLX_DEFINE_PACKED(form, name, op, enc, code, flag)                            \
  uint32_t name(COLX_PARAMS_##form) {                                                  \
    if (wants_selective(kctx)) return name##_selective(COLX_ARGS_##form);              \
    return scan<PackedForm<Op::op, code_width(code), NullCodes{flag}>::Rows>(          \
        res, src, COLX_CONSTANTS_##form, kctx, COLX_DECOMPRESSION_TEXTS(#name));       \
  }                                                                                    \
  uint32_t name##_selective(COLX_PARAMS_##form) {                                      \
    return scan_selected<PackedForm<Op::op, code_width(code), NullCodes{flag}>::Rows>( \
        res, src, COLX_CONSTANTS_##form, kctx, COLX_DECOMPRESSION_TEXTS(#name));       \
  }

}  // namespace colx
