// options.h: the program's command line.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace colx::star {

struct Options {
  double scale = 0.1;
  std::optional<std::filesystem::path> data;  // read .tbl files there instead of generating
  bool sort = false;                          // lineorder by orderdate before it is stored
  std::filesystem::path library;
  unsigned listed_rows = 5;   // matching rows that are printed for each query
  unsigned repeats = 3;       // timed runs of each query
  unsigned threads = 1;       // that share the chunks of lineorder out among themselves
  bool check_sqlite = false;  // run the benchmark's queries in SQLite as well
  bool list = false;          // only tell which query and command uses which part of the library
  std::optional<std::filesystem::path> export_folder;  // write the tables there, and end
  std::optional<std::filesystem::path> answers;        // write the queries' answers there as JSON
  bool stats = false;  // print calls and rows a second of the kernels
};

struct ParsedOptions {
  Options options;
  std::optional<int> exit_status;  // set: end with it, `text` has been asked for or is what's wrong
  std::string text;
};

// Status 0 with the help text for --help, 2 with one line for anything that is wrong.
ParsedOptions parse_options(int argc, const char* const* argv);

}  // namespace colx::star
