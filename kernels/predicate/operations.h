// The ten comparisons: what each selects, and how a call turns its constants into one cheap test
// of a vector lane.
#pragma once

#include "kernels/frame/slot_index.h"
#include "kernels/frame/vectors.h"

namespace colx {

constexpr bool is_range(Op op) {
  return op >= Op::gt_lt && op <= Op::ge_le;
}

// Whether code 0 is the column's NULL, which no comparison selects.
enum class NullCodes : uint32_t { none, zero };

// The contract, row by row: unsigned comparison with `lo`, or with `lo` and `hi`.
template <Op op, class T>
COLX_INLINE constexpr bool holds(T x, T lo, T hi) {
  if constexpr (op == Op::eq) return x == lo;
  if constexpr (op == Op::ne) return x != lo;
  if constexpr (op == Op::lt) return x < lo;
  if constexpr (op == Op::gt) return x > lo;
  if constexpr (op == Op::le) return x <= lo;
  if constexpr (op == Op::ge) return x >= lo;
  if constexpr (op == Op::gt_lt) return (x > lo) & (x < hi);
  if constexpr (op == Op::gt_le) return (x > lo) & (x <= hi);
  if constexpr (op == Op::ge_lt) return (x >= lo) & (x < hi);
  if constexpr (op == Op::ge_le) return (x >= lo) & (x <= hi);
}

template <Op op, NullCodes nulls, class T>
COLX_INLINE constexpr bool selects(T x, T lo, T hi) {
  if constexpr (nulls == NullCodes::zero) return (x != 0) & holds<op>(x, lo, hi);
  return holds<op>(x, lo, hi);
}

// What a step asks of a lane.
enum class Test { equal, not_equal, not_equal_nor_zero, below, above, up_to, from, within };

// How lanes are ordered. The vector compare is signed, which is as good as unsigned while codes
// never use a lane's top bit. Lanes that may use it get it added on both sides of a comparison, or,
// in lanes of two bytes, are subtracted with saturation: x - c is 0 where x <= c.
enum class Order { plain, biased, saturated };

constexpr Order order_of(unsigned lane_bytes, bool top_bit_used) {
  if (!top_bit_used) return Order::plain;
  return lane_bytes == 2 ? Order::saturated : Order::biased;
}

constexpr bool tests_order(Test test) {
  return test >= Test::below;
}

// What a test leaves in a lane: a mask of ones, or a number that means something where it is 0.
// Numbers are cheaper to make; narrowing keeps them 0 or not 0, and one comparison for sixteen rows
// turns them into masks of the zeros.
enum class Mark { ones, zero };

constexpr Mark mark_of(Test test, Order order) {
  if (test == Test::not_equal_nor_zero) return Mark::zero;
  const bool one_sided_order = tests_order(test) && test != Test::within;
  return one_sided_order && order == Order::saturated ? Mark::zero : Mark::ones;
}

// Tests whose marks stand on the rows that fail: the stored bits are complemented, once a store.
constexpr bool marks_misses(Test test, Order order) {
  switch (test) {
    case Test::not_equal:
    case Test::not_equal_nor_zero:
    case Test::within:
      return true;
    case Test::up_to:
      return order != Order::saturated;
    case Test::above:
      return order == Order::saturated;
    case Test::below:
      return order == Order::plain;
    case Test::from:
      return order != Order::plain;
    default:
      return false;
  }
}

// A null-aware comparison costs nothing more wherever its bound already keeps 0 out or can be
// raised to 1 beforehand.
constexpr Test test_of(Op op, NullCodes nulls) {
  const bool zero_out = nulls == NullCodes::zero;
  switch (op) {
    case Op::eq:
      return Test::equal;
    case Op::ne:
      return zero_out ? Test::not_equal_nor_zero : Test::not_equal;
    case Op::lt:
      return zero_out ? Test::within : Test::below;
    case Op::le:
      return zero_out ? Test::within : Test::up_to;
    case Op::gt:
      return Test::above;
    case Op::ge:
      return Test::from;
    default:
      return Test::within;
  }
}

// The numbers of a test. `within` selects x from first to last; the others compare with `first`.
struct TestBounds {
  uint64_t first;
  uint64_t last;
  bool nothing;  // no code meets the bounds
};

template <Op op, NullCodes nulls>
constexpr TestBounds test_bounds(uint64_t lo, uint64_t hi) {
  constexpr bool zero_out = nulls == NullCodes::zero;
  if constexpr (test_of(op, nulls) == Test::within) {
    constexpr bool lo_open = op == Op::gt_lt || op == Op::gt_le;
    constexpr bool hi_open = op == Op::gt_lt || op == Op::ge_lt || op == Op::lt;
    uint64_t first = is_range(op) ? lo : 0;  // lt and le come here to leave code 0 out
    uint64_t last = is_range(op) ? hi : lo;
    if ((lo_open && first == UINT64_MAX) || (hi_open && last == 0)) return {0, 0, true};
    first += lo_open;
    last -= hi_open;
    if (zero_out && first == 0) first = 1;
    return {first, last, first > last};
  }
  if constexpr (op == Op::eq && zero_out) return {lo, lo, lo == 0};
  if constexpr (op == Op::ge && zero_out) return {lo == 0 ? 1 : lo, 0, false};
  return {lo, 0, false};
}
static_assert(test_bounds<Op::ge_le, NullCodes::none>(3, 3).last == 3);
static_assert(test_bounds<Op::gt_lt, NullCodes::none>(3, 4).nothing);
static_assert(test_bounds<Op::gt_le, NullCodes::none>(UINT64_MAX, UINT64_MAX).nothing);
static_assert(test_bounds<Op::lt, NullCodes::zero>(1, 0).nothing);
static_assert(test_bounds<Op::le, NullCodes::zero>(7, 0).first == 1);

// Bounds spread over the lanes, as `tested` wants them. For marks that mean something where they
// are 0, `second` is that 0.
struct LaneBounds {
  Vec first;
  Vec second;
};

template <unsigned L>
COLX_INLINE Vec top_bit_added(Vec x) {
  return sum<L>(x, splat<L>(uint64_t{1} << (8 * L - 1)));
}

// From a vector of each of a test's two numbers. `within` is one subtraction, which moves the range
// to the bottom of the signed order, and one comparison: whatever wraps lies above the range.
template <Test test, unsigned L, Order order>
COLX_INLINE LaneBounds lane_bounds(Vec first, Vec last) {
  if constexpr (test == Test::within)
    return {top_bit_added<L>(first), top_bit_added<L>(difference<L>(last, first))};
  constexpr bool from_below = test == Test::below || test == Test::from;
  // From c on is the range from c to the highest number.
  if constexpr (from_below && order == Order::biased)
    return {top_bit_added<L>(first), top_bit_added<L>(difference<L>(all_ones(), first))};
  if constexpr (tests_order(test) && order == Order::biased)
    return {top_bit_added<L>(first), zeros()};
  // x >= c as x > c - 1. It holds for 0 too in the signed order; with saturation no difference
  // would do, and the marks are compared with a number that none of them is.
  if constexpr (from_below)
    return {sum<L>(first, all_ones()),
            order == Order::saturated ? equal<L>(first, zeros()) : zeros()};
  return {first, zeros()};
}

// Marks on the lanes of `x` that meet the test, or on those that fail it where marks_misses says
// so.
template <Test test, unsigned L, Order order>
COLX_INLINE Vec tested(Vec x, const LaneBounds& bounds) {
  constexpr bool from_above = test == Test::above || test == Test::up_to;
  const Vec c = bounds.first;
  if constexpr (test == Test::within ||
                (order == Order::biased && tests_order(test) && !from_above)) {
    return above_signed<L>(difference<L>(x, c), bounds.second);
  } else if constexpr (test == Test::equal || test == Test::not_equal) {
    return equal<L>(x, c);
  } else if constexpr (test == Test::not_equal_nor_zero) {
    return without(x, equal<L>(x, c));
  } else if constexpr (order == Order::plain) {
    return above_signed<L>(x, c);
  } else if constexpr (order == Order::saturated) {
    return saturated_difference<L>(x, c);
  } else {
    return above_signed<L>(top_bit_added<L>(x), c);
  }
}

}  // namespace colx
