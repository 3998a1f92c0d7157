// colx_star: the Star Schema Benchmark on libcolx_x86.so.
//
// Exit status: 0 if every answer is right, 1 if one is wrong, 2 for options, files, lines or a
// library that cannot be used, with one line on standard error that says why.

#include <fmt/format.h>

#include <cstdio>
#include <exception>

#include "examples/star/demo.h"
#include "examples/star/options.h"
#include "examples/star/progress.h"

namespace {

int fail(const char* message) {
  std::fprintf(stderr, "colx_star: %s\n", message);
  return 2;
}

}  // namespace

int main(int argc, char** argv) try {
  const auto parsed = colx::star::parse_options(argc, argv);
  if (parsed.exit_status == 0) return fmt::print("{}", parsed.text), 0;
  if (parsed.exit_status) return fail(parsed.text.c_str());
  colx::star::restore_terminal_on_signals();
  const auto right = colx::star::run_demo(parsed.options);
  if (!right) return fail(right.message().c_str());
  if (!*right) fmt::print(stderr, "colx_star: an answer is wrong\n");
  if (std::fflush(stdout) != 0) return fail("standard output cannot be written");
  return *right ? 0 : 1;
} catch (const std::bad_alloc&) {
  return fail("out of memory; try a smaller --scale");
} catch (const std::exception& failure) {
  return fail(failure.what());  // as a rule: standard output cannot be written
}
