#include "tests/oracle/addition_orders.h"

#include <array>

namespace colx::oracle {
namespace {

constexpr ComputedBits plus_zero = {0};

template <class Number>
constexpr size_t lanes = 16 / sizeof(Number);

template <class Number>
size_t rows_in_steps(std::span<const ComputedBits> rows) {
  return rows.size() / lanes<Number> * lanes<Number>;
}

template <class Number>
ComputedBits lane_sum(std::span<const ComputedBits> rows) {
  std::array<ComputedBits, 4> lane = {plus_zero, plus_zero, plus_zero, plus_zero};
  for (size_t row = 0; row < rows_in_steps<Number>(rows); ++row) {
    ComputedBits& own = lane[row % lanes<Number>];
    own = sum_of<Number>(own, rows[row]);
  }
  const ComputedBits low = sum_of<Number>(lane[0], lane[1]);
  if (lanes<Number> == 2) return low;
  return sum_of<Number>(low, sum_of<Number>(lane[2], lane[3]));
}

template <class Number>
ComputedBits added_in_order(ComputedBits sum, std::span<const ComputedBits> rows) {
  for (const ComputedBits& row : rows) sum = sum_of<Number>(sum, row);
  return sum;
}

}  // namespace

template <class Number>
ComputedBits lanes_then_rest(std::span<const ComputedBits> rows, ComputedBits element) {
  const ComputedBits sum =
      added_in_order<Number>(lane_sum<Number>(rows), rows.subspan(rows_in_steps<Number>(rows)));
  return sum_of<Number>(element, sum);
}

template <class Number>
ComputedBits lanes_and_rest(std::span<const ComputedBits> rows, ComputedBits element) {
  element = sum_of<Number>(lane_sum<Number>(rows), element);
  const ComputedBits rest =
      added_in_order<Number>(plus_zero, rows.subspan(rows_in_steps<Number>(rows)));
  return sum_of<Number>(rest, element);
}

template <class Number>
ComputedBits rows_then_element(std::span<const ComputedBits> rows, ComputedBits element) {
  return sum_of<Number>(added_in_order<Number>(plus_zero, rows), element);
}

template <class Number>
ComputedBits rows_into_element(std::span<const ComputedBits> rows, ComputedBits element) {
  return added_in_order<Number>(element, rows);
}

#define COLX_INSTANTIATE(order)                                                                 \
  template ComputedBits order<float>(std::span<const ComputedBits> rows, ComputedBits element); \
  template ComputedBits order<double>(std::span<const ComputedBits> rows, ComputedBits element);
COLX_INSTANTIATE(lanes_then_rest)
COLX_INSTANTIATE(lanes_and_rest)
COLX_INSTANTIATE(rows_then_element)
COLX_INSTANTIATE(rows_into_element)
#undef COLX_INSTANTIATE

}  // namespace colx::oracle
