// write_tbl.h: the tables as the benchmark's files, and answers for another program to compare.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "examples/star/star_query.h"
#include "examples/star/tables.h"
#include "host/result.h"

namespace colx::star {

// Whether a file can be written, asked before the work whose outcome it is to hold: it is made if
// it is not there, and left as it is otherwise. An error says why it cannot.
host::Result<void> check_writable(const std::filesystem::path& file);

// The folder, and what is above it, made where it is missing. An error says why it cannot be.
host::Result<void> make_folder(const std::filesystem::path& folder);

// Writes lineorder.tbl and the others into `folder`, as read_tables() takes them. An error names
// the file that cannot be written, and why.
host::Result<void> write_tables(const Tables& tables, const std::filesystem::path& folder);

// What the engine found for one query, and in what time.
struct QueryRecord {
  StarQuery query;
  double milliseconds;
  std::vector<AnswerRow> rows;
};

// Writes them as JSON: [{"name", "sql", "milliseconds", "rows": [["1993", ..., "sum"], ...]}, ...].
// An error says why the file cannot be written.
host::Result<void> write_answers(const std::vector<QueryRecord>& records,
                                 const std::filesystem::path& file);

}  // namespace colx::star
