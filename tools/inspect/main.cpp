// colx-inspect: what an engineer asks of a library file on the command line.
//
// Exit status: 0 good, 1 a verification failed, 2 for options, files or a library that cannot be
// used, with one line on standard error that says why.

#include <fmt/format.h>

#include "host/loader.h"
#include "tools/console/program_run.h"
#include "tools/inspect/column_report.h"
#include "tools/inspect/command_line.h"
#include "tools/inspect/library_report.h"
#include "tools/inspect/time_kernel.h"

namespace {

using colx::host::Error;
using colx::host::Library;
using colx::host::Result;
using colx::inspect::Command;

Result<bool> done(const Result<void>& result) {
  if (!result) return result.error();
  return true;
}

// Whether what was to be verified holds; true for what verifies nothing.
Result<bool> obey(const Command& command) {
  switch (command.kind) {
    case Command::Kind::verify:
      return colx::inspect::verify_library(command.library);
    case Command::Kind::time:
      return colx::inspect::time_kernel(command);
    case Command::Kind::encode:
      return done(colx::inspect::print_encodings(command));
    case Command::Kind::families:
    case Command::Kind::list:
      break;
  }
  const auto library = Library::open(command.library);
  if (!library) return library.error();
  if (command.kind == Command::Kind::list)
    return done(colx::inspect::print_kernels(*library, command.pattern));
  colx::inspect::print_families(*library);
  return true;
}

Result<bool> run(int argc, const char* const* argv) {
  const auto parsed = colx::inspect::parse_command(argc, argv);
  if (parsed.exit_status == 0) return fmt::print("{}", parsed.text), true;
  if (parsed.exit_status) return Error{parsed.text};
  return obey(parsed.command);
}

}  // namespace

int main(int argc, char** argv) {
  return colx::console::run_program("colx-inspect", "try fewer rows",
                                    [=] { return run(argc, argv); });
}
