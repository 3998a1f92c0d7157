// Rows of byte-aligned dictionary codes of 8, 16, 32 and 64 bits, big-endian, back to back.
//
// A step reads 128 bytes, eight vectors, whatever the width. Equality compares the codes as they
// are stored with a constant that is byte-reversed once; order comparisons reverse each lane.
// Nothing past the last row is read, and exactly a code's width of each constant.
#pragma once

#include "kernels/frame/scan_frame.h"
#include "kernels/predicate/lanes.h"
#include "kernels/predicate/operations.h"

namespace colx {

template <Op op, unsigned width_bits, NullCodes nulls>
struct AlignedCodes {
  static constexpr unsigned lane = width_bits / 8;
  static constexpr uint32_t rows_per_step = 128 / lane;
  static constexpr Test test = test_of(op, nulls);
  static constexpr Order order = order_of(lane, true);
  static constexpr Marks marks = {mark_of(test, order) == Mark::zero, marks_misses(test, order)};
  using Code = Unsigned<lane>;

  // Tests a row by itself: the tail's way, and the selective scan's.
  struct Selected {
    const uint8_t* codes;
    Code lo;
    Code hi;
  };

  struct State {
    const uint8_t* codes;  // of the next step
    Selected single;
    LaneBounds bounds;
    bool nothing;
  };

  COLX_INLINE static Selected begin_selected(const uint8_t* data, const ScanArgs& args,
                                             const colx_cv*) {
    const Code lo = load_as<Code>(args.lo[0]);
    if constexpr (is_range(op)) return {data, lo, load_as<Code>(args.hi[0])};
    return {data, lo, 0};
  }

  COLX_INLINE static bool selected_row(const Selected& single, uint32_t r) {
    const Code code = load_big_endian<Code>(single.codes + size_t{r} * lane);
    return selects<op, nulls>(code, single.lo, single.hi);
  }

  COLX_INLINE static Vec spread(uint64_t number) {
    const Code code = static_cast<Code>(number);
    return splat<lane>(tests_order(test) ? code : byte_reversed(code));
  }

  COLX_INLINE static State begin(const ScanInput& in, const ScanArgs& args) {
    const Selected single = begin_selected(in.data, args, in.src);
    const TestBounds bounds = test_bounds<op, nulls>(single.lo, single.hi);
    return {in.data, single,
            lane_bounds<test, lane, order>(spread(bounds.first), spread(bounds.last)),
            bounds.nothing};
  }

  COLX_INLINE static bool finds_nothing(const State& state) { return state.nothing; }

  COLX_INLINE static uint32_t step(State& state, uint8_t* out) {
    const uint8_t* codes = state.codes;
    state.codes += 128;
    prefetch(codes + stream_prefetch_bytes);
    prefetch(codes + stream_prefetch_bytes + 64);
    return store_rows<lane, rows_per_step, marks>(
        out,
        [&](auto v) {
          Vec stored = load(codes + 16 * v);
          if constexpr (tests_order(test)) stored = lanes_byte_reversed<lane>(stored);
          return tested<test, lane, order>(stored, state.bounds);
        },
        state.bounds.second);
  }

  COLX_INLINE static bool row(const State& state, uint32_t r) {
    return selected_row(state.single, r);
  }
};

}  // namespace colx
