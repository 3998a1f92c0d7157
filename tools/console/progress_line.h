// progress_line.h: one line on the terminal that tells how far a long step is.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace colx::console {

// Shows "step  42 %" on standard error while it exists, and nothing at all if that is no terminal
// or the environment's TERM is missing or "dumb". The line is gone when the object is destroyed, or
// the program is ended by a signal and restore_terminal_on_signals() has been called. One at a
// time.
class ProgressLine {
 public:
  // `total`: what `done` counts up to; 0 counts as 1.
  ProgressLine(std::string step, uint64_t total);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  // Cheap enough for every few thousand rows: redraws ten times a second at most.
  void at(uint64_t done);

 private:
  std::string step_;
  uint64_t total_;
  bool shown_;
  std::chrono::steady_clock::time_point next_draw_{};
};

// From here on Ctrl-C, SIGTERM and SIGHUP clear an open progress line before they end the program
// in their usual way (the caller sees the signal, a shell the status 130).
void restore_terminal_on_signals();

}  // namespace colx::console
