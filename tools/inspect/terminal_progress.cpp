#include "tools/inspect/terminal_progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace colx::inspect {
namespace {

constexpr auto between_draws = std::chrono::milliseconds(100);
constexpr std::string_view clear_line = "\r\x1b[K";  // carriage return, erase to the line's end

bool terminal_shows_progress() {
  const char* const type = std::getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && type != nullptr && std::string_view{type} != "dumb";
}

}  // namespace

TerminalProgress::TerminalProgress(std::string_view step, uint64_t total)
    : step_(step),
      total_(std::max<uint64_t>(total, 1)),
      shown_(terminal_shows_progress()),
      next_draw_(std::chrono::steady_clock::now() + between_draws) {}

TerminalProgress::~TerminalProgress() {
  if (drawn_) std::fwrite(clear_line.data(), 1, clear_line.size(), stderr);  // must not throw
}

void TerminalProgress::at(uint64_t done) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_draw_) return;
  next_draw_ = now + between_draws;
  drawn_ = true;
  fmt::print(stderr, "{}{}  {} %", clear_line, step_, std::min(done, total_) * 100 / total_);
}

}  // namespace colx::inspect
