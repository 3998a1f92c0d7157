#include "tools/console/figures.h"

#include <fmt/format.h>

namespace colx::console {

std::string grouped(uint64_t number) {
  std::string digits = fmt::to_string(number);
  for (size_t left = digits.size(); left > 3; left -= 3) digits.insert(left - 3, 1, ',');
  return digits;
}

std::string bytes_text(uint64_t bytes) {
  if (bytes < 10'000) return fmt::format("{} bytes", grouped(bytes));
  if (bytes < 10'000'000) return fmt::format("{:.1f} kB", static_cast<double>(bytes) / 1e3);
  return fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1e6);
}

}  // namespace colx::console
