// Predicates on values in stored form: a row is a string of bytes, compared from left to right as
// unsigned bytes; so is a constant, which always has the kernel's whole word. Rows are told apart
// from their comparison: a column, a struct without data, says how rows are reached,
//
//   lane                   bytes of the word, which holds a row's bytes on top and zeros below
//   vectors_per_step       of lanes
//   steps_at_once          of tied rows
//   stored_lanes           lanes come as they are stored; else as native numbers
//   spare_byte             rows are numbers whose last byte is always 0
//   Rows, open(in, args)   the rows of a full scan and the place in them
//   next_vectors<n>(rows)  takes the next n vectors
//   lanes<v>(vectors)      vector v of them
//   next_codes(rows)       the codes of the rows that are next, if they say where these lie
//   value(rows, r)         row r of the tail, ascending; its first byte on top of 64 bits
//   tail_constant<op>(rows, c)   what the tail compares it with
//   Walk, walk(data, args, src), value(walk, r)   the same for selective scans
//
// and is tested by ValueRows, or together with a code per row by TiedRows.
#pragma once

#include "kernels/frame/scan_frame.h"
#include "kernels/predicate/lanes.h"
#include "kernels/predicate/operations.h"

namespace colx {

// The word of L bytes at `stored`, its first byte on top of 64 bits.
template <unsigned L>
COLX_INLINE uint64_t stored_value(const void* stored) {
  return uint64_t{load_big_endian<Unsigned<L>>(stored)} << (64 - 8 * L);
}

template <Op op, unsigned L>
struct StoredConstants {
  uint64_t lo;
  uint64_t hi;

  COLX_INLINE static StoredConstants read(const ScanArgs& args) {
    const uint64_t lo = stored_value<L>(args.lo[0]);
    if constexpr (is_range(op)) return {lo, stored_value<L>(args.hi[0])};
    return {lo, 0};
  }
};

template <Op op, class Column>
struct ValueRows {
  static constexpr unsigned lane = Column::lane;
  static constexpr uint32_t rows_per_step = Column::vectors_per_step * 16 / lane;
  static constexpr Test test = test_of(op, NullCodes::none);
  static constexpr Order order = order_of(lane, true);
  static constexpr Marks marks = {mark_of(test, order) == Mark::zero, marks_misses(test, order)};
  using Constants = StoredConstants<op, lane>;

  struct State {
    typename Column::Rows rows;
    Constants tail;
    LaneBounds bounds;
    bool nothing;
  };

  COLX_INLINE static Vec spread(uint64_t number) {
    const auto word = static_cast<Unsigned<lane>>(number);
    return splat<lane>(Column::stored_lanes ? byte_reversed(word) : word);
  }

  COLX_INLINE static TestBounds bounds_of(const Constants& c) {
    constexpr unsigned below = 64 - 8 * lane;
    return test_bounds<op, NullCodes::none>(c.lo >> below, c.hi >> below);
  }

  COLX_INLINE static State begin(const ScanInput& in, const ScanArgs& args) {
    const auto rows = Column::open(in, args);
    const Constants c = Constants::read(args);
    const Constants tail = {Column::template tail_constant<op>(rows, c.lo),
                            Column::template tail_constant<op>(rows, c.hi)};
    TestBounds bounds = bounds_of(c);
    // The tail may find rows where steps find none: no row of theirs ends in a 1.
    if (Column::spare_byte && bounds.nothing) bounds = {1, 1, bounds_of(tail).nothing};
    return {rows, tail, lane_bounds<test, lane, order>(spread(bounds.first), spread(bounds.last)),
            bounds.nothing};
  }

  COLX_INLINE static bool finds_nothing(const State& state) { return state.nothing; }

  COLX_INLINE static uint32_t step(State& state, uint8_t* out) {
    const auto next = Column::template next_vectors<Column::vectors_per_step>(state.rows);
    return store_rows<lane, rows_per_step, marks>(
        out,
        [&](auto v) {
          return tested<test, lane, order>(Column::template lanes<v>(next), state.bounds);
        },
        state.bounds.second);
  }

  COLX_INLINE static bool row(State& state, uint32_t r) {
    return holds<op>(Column::value(state.rows, r), state.tail.lo, state.tail.hi);
  }

  struct Selected {
    typename Column::Walk rows;
    Constants constants;
  };

  COLX_INLINE static Selected begin_selected(const uint8_t* data, const ScanArgs& args,
                                             const colx_cv* src) {
    return {Column::walk(data, args, src), Constants::read(args)};
  }

  COLX_INLINE static bool selected_row(Selected& state, uint32_t r) {
    return holds<op>(Column::value(state.rows, r), state.constants.lo, state.constants.hi);
  }
};

}  // namespace colx
