// colx-inspect: what an engineer asks of a library file on the command line.
//
// Exit status: 0 good, 1 a verification failed, 2 for options, files or a library that cannot be
// used, with one line on standard error that says why.

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <new>

#include "host/loader.h"
#include "tools/inspect/column_report.h"
#include "tools/inspect/command_line.h"
#include "tools/inspect/library_report.h"
#include "tools/inspect/time_kernel.h"

namespace {

using colx::host::Library;
using colx::host::Result;
using colx::inspect::Command;

int fail(const char* message) {
  std::fprintf(stderr, "colx-inspect: %s\n", message);
  return 2;
}

Result<bool> done(const Result<void>& result) {
  if (!result) return result.error();
  return true;
}

// Whether what was to be verified holds; true for what verifies nothing.
Result<bool> run(const Command& command) {
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

}  // namespace

int main(int argc, char** argv) try {
  const auto parsed = colx::inspect::parse_command(argc, argv);
  if (parsed.exit_status == 0) return fmt::print("{}", parsed.text), 0;
  if (parsed.exit_status) return fail(parsed.text.c_str());
  const auto holds = run(parsed.command);
  if (!holds) return fail(holds.message().c_str());
  if (std::fflush(stdout) != 0) return fail("standard output cannot be written");
  return *holds ? 0 : 1;
} catch (const std::bad_alloc&) {
  return fail("out of memory; try fewer rows");
} catch (const std::exception& failure) {
  return fail(failure.what());  // as a rule: standard output cannot be written
}
