#include "host/result.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace colx::host {

Error make_error(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return Error{std::move(text)};
}

void stop_on_unchecked_error(const std::string& message) {
  std::fprintf(stderr, "colx host: an error was opened as a value: %s\n", message.c_str());
  std::abort();
}

}  // namespace colx::host
