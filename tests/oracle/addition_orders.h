// The four orders in which the library adds a column up. Rounding makes them differ, so each
// function that sums is held to its own.
//
// Lanes: 4 for floats, 2 for doubles, from +0.0; row r of the whole steps goes to lane r mod lanes,
// and in the end ((l0 + l1) + (l2 + l3)), or (l0 + l1). The rows behind the steps are the rest.
//
//   lanes_then_rest     lanes; the rest onto that sum row by row; the element once     arithmetic
//   lanes_and_rest      lanes into the element; the rest from +0.0 into the element    conversion
//   rows_then_element   all rows from +0.0; the element once                  groups without keys
//   rows_into_element   every row into the element                               groups with keys
#pragma once

#include <span>

#include "tests/oracle/number_rows_oracle.h"

namespace colx::oracle {

template <class Number>
ComputedBits lanes_then_rest(std::span<const ComputedBits> rows, ComputedBits element);
template <class Number>
ComputedBits lanes_and_rest(std::span<const ComputedBits> rows, ComputedBits element);
template <class Number>
ComputedBits rows_then_element(std::span<const ComputedBits> rows, ComputedBits element);
template <class Number>
ComputedBits rows_into_element(std::span<const ComputedBits> rows, ComputedBits element);

}  // namespace colx::oracle
