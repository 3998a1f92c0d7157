#include "tools/inspect/figures.h"

#include <fmt/format.h>

namespace colx::inspect {

std::string grouped(uint64_t number) {
  std::string text = std::to_string(number);
  for (size_t at = text.size(); at > 3;) text.insert(at -= 3, 1, ',');
  return text;
}

std::string bytes_text(uint64_t bytes) {
  if (bytes < 10'000) return fmt::format("{} bytes", grouped(bytes));
  if (bytes < 10'000'000) return fmt::format("{:.1f} kB", static_cast<double>(bytes) / 1e3);
  return fmt::format("{:.1f} MB", static_cast<double>(bytes) / 1e6);
}

}  // namespace colx::inspect
