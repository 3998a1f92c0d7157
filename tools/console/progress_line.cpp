#include "tools/console/progress_line.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace colx::console {
namespace {

constexpr auto between_draws = std::chrono::milliseconds(100);
constexpr std::string_view clear_line = "\r\x1b[K";  // carriage return, erase to the line's end

volatile std::sig_atomic_t line_is_open = 0;

// Straight to the terminal, the only way that a signal handler may take as well.
void write_terminal(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;  // nobody is watching any more
    text.remove_prefix(static_cast<size_t>(written));
  }
}

// Installed to run once (SA_RESETHAND): the raise ends the program as if it had not been caught.
void clear_and_end(int signal) {
  if (line_is_open) write_terminal(clear_line);
  raise(signal);
}

bool terminal_shows_progress() {
  const char* const type = std::getenv("TERM");
  return isatty(STDERR_FILENO) == 1 && type != nullptr && std::string_view{type} != "dumb";
}

}  // namespace

ProgressLine::ProgressLine(std::string step, uint64_t total)
    : step_(std::move(step)),
      total_(std::max<uint64_t>(total, 1)),
      shown_(terminal_shows_progress()) {}

ProgressLine::~ProgressLine() {
  if (!line_is_open || !shown_) return;
  write_terminal(clear_line);
  line_is_open = 0;
}

void ProgressLine::at(uint64_t done) {
  if (!shown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_draw_) return;
  next_draw_ = now + between_draws;
  line_is_open = 1;
  const uint64_t percent = std::min(done, total_) * 100 / total_;
  write_terminal(fmt::format("{}{}  {} %", clear_line, step_, percent));
}

void restore_terminal_on_signals() {
  struct sigaction action {};
  action.sa_handler = clear_and_end;
  action.sa_flags = SA_RESETHAND | SA_NODEFER;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);  // nohup stays nohup
  }
}

}  // namespace colx::console
