#include "tests/support/crash_note.h"

#include <signal.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace colx::test {
namespace {

char note[512];
struct sigaction handler_before_segv;
struct sigaction handler_before_bus;

// Prints the note, then lets whoever was in charge before see the same fault again.
void report(int signal_number) {
  const char heading[] = "memory fault in: ";
  [[maybe_unused]] ssize_t written = write(STDERR_FILENO, heading, sizeof heading - 1);
  written = write(STDERR_FILENO, note, std::strlen(note));
  written = write(STDERR_FILENO, "\n", 1);
  sigaction(SIGSEGV, &handler_before_segv, nullptr);
  sigaction(SIGBUS, &handler_before_bus, nullptr);
  (void)signal_number;
}

bool install() {
  struct sigaction action = {};
  action.sa_handler = report;
  sigemptyset(&action.sa_mask);
  sigaction(SIGSEGV, &action, &handler_before_segv);
  sigaction(SIGBUS, &action, &handler_before_bus);
  return true;
}

}  // namespace

void set_crash_note(const char* format, ...) {
  [[maybe_unused]] static const bool installed = install();
  va_list args;
  va_start(args, format);
  std::vsnprintf(note, sizeof note, format, args);
  va_end(args);
}

}  // namespace colx::test
