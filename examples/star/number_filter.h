// number_filter.h: a comparison of one numeric column, for the scans and for their check.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/value_dictionary.h"

namespace colx::star {

// `high` counts only in a two-sided comparison.
struct NumberFilter {
  host::Compare compare;
  uint32_t low = 0;
  uint32_t high = 0;

  // What the comparison means, for the row-by-row evaluation.
  constexpr bool holds(uint32_t value) const {
    switch (compare) {
      case host::Compare::eq:
        return value == low;
      case host::Compare::ne:
        return value != low;
      case host::Compare::lt:
        return value < low;
      case host::Compare::le:
        return value <= low;
      case host::Compare::gt:
        return value > low;
      case host::Compare::ge:
        return value >= low;
      case host::Compare::gt_lt:
        return value > low && value < high;
      case host::Compare::gt_le:
        return value > low && value <= high;
      case host::Compare::ge_lt:
        return value >= low && value < high;
      case host::Compare::ge_le:
        return value >= low && value <= high;
    }
    return false;
  }

  // As SQL: "lo_discount between 1 and 3".
  std::string text(std::string_view column) const;
};

}  // namespace colx::star
