// colx_star: the Star Schema Benchmark on libcolx_x86.so.
//
// Exit status: 0 if every answer is right, 1 if one is wrong, 2 for options, files, lines or a
// library that cannot be used, with one line on standard error that says why.

#include <fmt/format.h>

#include "examples/star/demo.h"
#include "examples/star/options.h"
#include "tools/console/program_run.h"

namespace {

using colx::host::Error;
using colx::host::Result;

// Whether every answer is right.
Result<bool> run(int argc, const char* const* argv) {
  const auto parsed = colx::star::parse_options(argc, argv);
  if (parsed.exit_status == 0) return fmt::print("{}", parsed.text), true;
  if (parsed.exit_status) return Error{parsed.text};
  auto right = colx::star::run_demo(parsed.options);
  if (right && !*right) fmt::print(stderr, "colx_star: an answer is wrong\n");
  return right;
}

}  // namespace

int main(int argc, char** argv) {
  return colx::console::run_program("colx_star", "try a smaller --scale",
                                    [=] { return run(argc, argv); });
}
