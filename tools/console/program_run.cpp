#include "tools/console/program_run.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "tools/console/progress_line.h"

namespace colx::console {
namespace {

using host::Result;

Result<bool> run_without_exceptions(const char* when_out_of_memory,
                                    const std::function<Result<bool>()>& work) try {
  return work();
} catch (const std::bad_alloc&) {
  return host::make_error("out of memory; %s", when_out_of_memory);
} catch (const std::exception& failure) {
  return host::Error{failure.what()};  // as a rule: standard output cannot be written
}

}  // namespace

int run_program(const char* name, const char* when_out_of_memory,
                const std::function<Result<bool>()>& work) {
  restore_terminal_on_signals();
  Result<bool> well = run_without_exceptions(when_out_of_memory, work);
  if (well && std::fflush(stdout) != 0)
    well = host::make_error("standard output cannot be written: %s", std::strerror(errno));
  if (well) return *well ? 0 : 1;
  std::fprintf(stderr, "%s: %s\n", name, well.message().c_str());
  return 2;
}

}  // namespace colx::console
