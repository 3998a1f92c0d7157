// comparisons.h: what the ten comparisons of the scans mean, on values as they are.
#pragma once

#include <compare>

#include "host/value_dictionary.h"

namespace colx::host {

inline constexpr Compare comparisons[] = {
    Compare::eq, Compare::lt,    Compare::gt,    Compare::le,    Compare::ge,
    Compare::ne, Compare::gt_lt, Compare::gt_le, Compare::ge_lt, Compare::ge_le};

// By how a value stands to both constants; a comparison with one constant looks at `to_low` alone.
inline bool holds(Compare compare, std::partial_ordering to_low, std::partial_ordering to_high) {
  switch (compare) {
    case Compare::eq:
      return to_low == 0;
    case Compare::ne:
      return to_low != 0;
    case Compare::lt:
      return to_low < 0;
    case Compare::le:
      return to_low <= 0;
    case Compare::gt:
      return to_low > 0;
    case Compare::ge:
      return to_low >= 0;
    case Compare::gt_lt:
      return to_low > 0 && to_high < 0;
    case Compare::gt_le:
      return to_low > 0 && to_high <= 0;
    case Compare::ge_lt:
      return to_low >= 0 && to_high < 0;
    case Compare::ge_le:
      return to_low >= 0 && to_high <= 0;
  }
  return false;
}

template <class Value>
bool holds(Compare compare, const Value& value, const Value& low, const Value& high) {
  return holds(compare, value <=> low, value <=> high);
}

}  // namespace colx::host
