// command_line.h: what the program is asked to do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace colx::inspect {

inline constexpr uint64_t most_timed_rows = 200'000'000;

struct Command {
  enum class Kind { verify, families, list, time, encode } kind = Kind::verify;
  std::string library;
  // list: a pattern with * and ?, or a part of a name; empty: all.
  std::string pattern;
  // time
  std::string kernel;
  uint64_t rows = 10'000'000;
  uint64_t seed = 1;
  uint32_t passes = 9;
  // encode: `column` is a name of the header or a number from 1; empty: the file's columns are
  // told.
  std::string file;
  std::string column;
  std::optional<char> separator;
  std::optional<bool> has_header;
};

// `exit_status` is set if the program has nothing to do but to print `text`.
struct ParsedCommand {
  std::optional<int> exit_status;
  std::string text;
  Command command;
};

ParsedCommand parse_command(int argc, const char* const* argv);

}  // namespace colx::inspect
