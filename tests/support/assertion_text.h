// The line that libc prints when one of the library's assertions fails, as a regular expression.
#pragma once

#include <cstring>
#include <string>

namespace colx::test {

inline std::string quoted_for_regex(const std::string& text) {
  std::string quoted;
  for (const char c : text) {
    if (std::strchr("\\^$.|?*+()[]{}", c) != nullptr) quoted += '\\';
    quoted += c;
  }
  return quoted;
}

inline std::string assertion_text(const char* expression, unsigned line, const char* function) {
  return ": colxc_x86:" + std::to_string(line) + ": " + function + ": Assertion `" +
         quoted_for_regex(expression) + "' failed\\.";
}

}  // namespace colx::test
