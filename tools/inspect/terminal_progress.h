// terminal_progress.h: how far long work has come, on a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <string_view>

namespace colx::inspect {

// Shows "reading  42 %" on standard error while it exists; nothing if that is no terminal or TERM
// is "dumb". The line is gone when the object is destroyed. One at a time.
class TerminalProgress {
 public:
  TerminalProgress(std::string_view step, uint64_t total);
  ~TerminalProgress();
  TerminalProgress(const TerminalProgress&) = delete;
  TerminalProgress& operator=(const TerminalProgress&) = delete;

  // Redraws ten times a second at most.
  void at(uint64_t done);

 private:
  std::string_view step_;
  uint64_t total_;
  bool shown_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point next_draw_;
};

}  // namespace colx::inspect
