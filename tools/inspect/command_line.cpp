#include "tools/inspect/command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>

#include "tools/console/library_file.h"
#include "tools/console/option_checks.h"

namespace colx::inspect {
namespace {

#ifndef COLX_INSTALLED_LIBRARY
#define COLX_INSTALLED_LIBRARY ""
#endif

// "10m" is 10,000,000: k, m and g stand for thousands, millions and billions.
std::optional<uint64_t> row_count(const std::string& text) {
  uint64_t rows = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), rows);
  const std::string_view unit{end, static_cast<size_t>(text.data() + text.size() - end)};
  const uint64_t factor = unit.empty()                 ? 1
                          : unit == "k" || unit == "K" ? 1'000
                          : unit == "m" || unit == "M" ? 1'000'000
                          : unit == "g" || unit == "G" ? 1'000'000'000
                                                       : 0;
  if (failure != std::errc{} || !factor || rows < 1 || rows > most_timed_rows / factor) return {};
  return rows * factor;
}

std::string check_row_count(const std::string& text) {
  if (row_count(text)) return {};
  return fmt::format("{} is not a number of rows from 1 to 200m, as 5000, 64k or 10m", text);
}

std::string check_separator(const std::string& text) {
  if (text == "tab" || (text.size() == 1 && text != "\"" && text != "\n" && text != "\r"))
    return {};
  return fmt::format("{} is not one character; a tab is written tab", text);
}

// Options that are more than their text.
struct SpokenOptions {
  std::string rows = "10m";
  std::string separator;
  bool header = false;
  CLI::Option* header_option = nullptr;
};

void add_time(CLI::App& app, Command& command, std::string& rows) {
  auto* time = app.add_subcommand("time", "Time one kernel of the table on made data");
  time->add_option("KERNEL", command.kernel, "Its name, as list prints it")->required();
  time->add_option("--rows", rows, "Rows, with k, m or g for thousands, millions, billions")
      ->check(check_row_count)
      ->capture_default_str();
  time->add_option("--seed", command.seed, "Of the made data")
      ->check(console::check_number)
      ->capture_default_str();
  time->add_option("--passes", command.passes, "Timed passes; best and median count")
      ->check(CLI::Range(1u, 1000u))
      ->capture_default_str();
  time->callback([&command] { command.kind = Command::Kind::time; });
}

void add_encode(CLI::App& app, Command& command, SpokenOptions& spoken) {
  auto* encode = app.add_subcommand(
      "encode",
      "Encode a column of a .csv or .tbl file in each form that fits, and tell the sizes");
  encode->add_option("FILE", command.file, "Rows of fields, .tbl with | behind each")
      ->check(console::check_name)
      ->required();
  encode->add_option(
      "COLUMN", command.column,
      "Its name in the header, or its number from 1; without it the columns are told");
  encode
      ->add_option("--separator", spoken.separator,
                   "Between fields; else | for .tbl, a comma otherwise")
      ->type_name("CHARACTER")
      ->check(check_separator);
  spoken.header_option =
      encode->add_flag("--header,!--no-header", spoken.header,
                       "The first line names the columns, or does not; else it does but in .tbl");
  encode->callback([&command] { command.kind = Command::Kind::encode; });
}

}  // namespace

ParsedCommand parse_command(int argc, const char* const* argv) {
  ParsedCommand parsed;
  Command& command = parsed.command;
  command.library = console::default_library_file(COLX_INSTALLED_LIBRARY);
  SpokenOptions spoken;

  CLI::App app{
      "Looks into a library of colx kernels.\n"
      "Exit status: 0 good, 1 a verification failed, 2 wrong use or an unusable file."};
  app.name("colx-inspect");
  app.require_subcommand(1);
  app.set_version_flag("--version", "colx-inspect " COLX_INSPECT_VERSION);
  app.add_option("--library", command.library, "Library file to open")
      ->type_name("FILE")
      ->check(console::check_name)
      ->capture_default_str();
  app.fallthrough();
  app.add_subcommand("verify", "Verify the library's record, functions, table and names")
      ->callback([&command] { command.kind = Command::Kind::verify; });
  app.add_subcommand("families", "Print the families of kernels and how many there are of each")
      ->callback([&command] { command.kind = Command::Kind::families; });
  auto* list = app.add_subcommand("list", "List kernels with their index and arguments");
  list->add_option("PATTERN", command.pattern, "With * and ?, or a part of a name; else all");
  list->callback([&command] { command.kind = Command::Kind::list; });
  add_time(app, command, spoken.rows);
  add_encode(app, command, spoken);
  for (CLI::App* subcommand : app.get_subcommands({})) subcommand->fallthrough();

  try {
    app.parse(argc, argv);
    command.rows = row_count(spoken.rows).value_or(command.rows);
    if (!spoken.separator.empty())
      command.separator = spoken.separator == "tab" ? '\t' : spoken.separator[0];
    if (spoken.header_option->count()) command.has_header = spoken.header;
  } catch (const CLI::CallForVersion& version) {
    parsed.exit_status = 0;
    parsed.text = fmt::format("{}\n", version.what());
  } catch (const CLI::CallForHelp&) {
    parsed.exit_status = 0;
    parsed.text = app.help();
  } catch (const CLI::ParseError& wrong) {
    parsed.exit_status = 2;
    parsed.text = fmt::format("{}; see colx-inspect --help", wrong.what());
  }
  return parsed;
}

}  // namespace colx::inspect
