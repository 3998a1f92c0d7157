#include "examples/star/options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>

#include "examples/star/schema.h"
#include "tools/console/library_file.h"
#include "tools/console/option_checks.h"

namespace colx::star {
namespace {

// Says what is wrong with a scale, nothing if it is one. A NaN is in no range.
std::string check_scale(const std::string& text) {
  double scale = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), scale);
  if (failure == std::errc{} && end == text.data() + text.size() && scale >= smallest_scale &&
      scale <= largest_scale)
    return {};
  return fmt::format("{} is not a number from {} to {}", text, smallest_scale, largest_scale);
}

}  // namespace

ParsedOptions parse_options(int argc, const char* const* argv) {
  ParsedOptions parsed;
  Options& options = parsed.options;
  options.library = console::default_library_file();
  CLI::App app{
      "Loads the Star Schema Benchmark into compressed column vectors, runs its queries through\n"
      "libcolx_x86.so and checks every answer row by row."};
  app.name("colx_star");
  CLI::Option* const scale =
      app.add_option("--scale", options.scale, "Generate this scale factor (1: 6,000,000 rows)")
          ->check(check_scale)
          ->capture_default_str();
  app.add_option("--data", options.data, "Read lineorder.tbl, customer.tbl, ... in this folder")
      ->type_name("DIR")
      ->check(console::check_name)
      ->excludes(scale);
  app.add_flag("--sort", options.sort, "Store lineorder in the order of its dates");
  app.add_option("--library", options.library, "Kernel library to open")
      ->type_name("FILE")
      ->check(console::check_name)
      ->capture_default_str();
  app.add_option("--rows", options.listed_rows, "Matching rows to print for each query")
      ->check(CLI::Range(0u, 1000u))
      ->capture_default_str();
  app.add_option("--repeat", options.repeats, "Timed runs of each query; the best one counts")
      ->check(CLI::Range(1u, 1000u))
      ->capture_default_str();
  app.add_option("--threads", options.threads, "Threads that share each query's chunks")
      ->check(CLI::Range(1u, 256u))
      ->capture_default_str();
  std::string check = "plain";
  app.add_option("--check", check, "What answers are compared with: plain rows, or SQLite too")
      ->check(CLI::IsMember({"plain", "sqlite"}))
      ->take_last()
      ->capture_default_str();
  app.add_option("--export", options.export_folder, "Write the tables as .tbl files, and end")
      ->type_name("DIR")
      ->check(console::check_name);
  app.add_option("--answers", options.answers, "Write the benchmark's answers as JSON, and end")
      ->type_name("FILE")
      ->check(console::check_name);
  app.add_flag("--list", options.list, "Tell which query and command uses which kernels, and end");
  app.add_flag("--stats", options.stats, "Print the calls and the speed of the queries' kernels");
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    parsed.exit_status = 0;
    parsed.text = app.help();
  } catch (const CLI::ParseError& wrong) {
    parsed.exit_status = 2;
    parsed.text = fmt::format("{}; see colx_star --help", wrong.what());
  }
  options.check_sqlite = check == "sqlite";
  return parsed;
}

}  // namespace colx::star
