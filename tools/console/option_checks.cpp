#include "tools/console/option_checks.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>

namespace colx::console {

std::string check_name(const std::string& text) {
  return text.empty() ? "a name is missing" : std::string();
}

std::string check_number(const std::string& text) {
  uint64_t number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure == std::errc{} && end == text.data() + text.size()) return {};
  return fmt::format("{} is not a whole number from 0 to {}", text, UINT64_MAX);
}

}  // namespace colx::console
