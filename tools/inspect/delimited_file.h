// delimited_file.h: one column out of a text file of rows and fields.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/result.h"
#include "tools/inspect/command_line.h"

namespace colx::inspect {

// The fields of one column. Views into the file's bytes, or into the unquoted texts.
struct FileColumn {
  std::unique_ptr<const std::string> bytes;  // of the file, in a place that does not move
  std::deque<std::string> unquoted;          // fields whose quotes held quotes
  std::string name;                          // of the header, or "column 6"
  std::vector<std::string_view> fields;
};

// Reads command.file. A line is a row; fields stand between separators; a field in double quotes
// may hold separators, line ends and doubled quotes. In files named .tbl a separator ends each row,
// there are no quotes, and no header. Errors as "FILE, line N: reason": a file that cannot be read
// or has no rows, a row without the column, an open quote; and a column that is not there, or none
// asked for, with the columns that are.
host::Result<FileColumn> read_column(const Command& command);

}  // namespace colx::inspect
