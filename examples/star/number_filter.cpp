#include "examples/star/number_filter.h"

#include <fmt/format.h>

namespace colx::star {

std::string NumberFilter::text(std::string_view column) const {
  using host::Compare;
  const auto one_sided = [&](std::string_view sign) {
    return fmt::format("{} {} {}", column, sign, low);
  };
  const auto range = [&](std::string_view from, std::string_view to) {
    return fmt::format("{} {} {} and {} {} {}", column, from, low, column, to, high);
  };
  switch (compare) {
    case Compare::eq:
      return one_sided("=");
    case Compare::ne:
      return one_sided("<>");
    case Compare::lt:
      return one_sided("<");
    case Compare::le:
      return one_sided("<=");
    case Compare::gt:
      return one_sided(">");
    case Compare::ge:
      return one_sided(">=");
    case Compare::gt_lt:
      return range(">", "<");
    case Compare::gt_le:
      return range(">", "<=");
    case Compare::ge_lt:
      return range(">=", "<");
    case Compare::ge_le:
      return fmt::format("{} between {} and {}", column, low, high);
  }
  return {};
}

}  // namespace colx::star
