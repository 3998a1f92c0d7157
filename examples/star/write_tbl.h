// write_tbl.h: the tables as the benchmark's files, and answers for another program to compare.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "examples/star/star_query.h"
#include "examples/star/tables.h"
#include "host/result.h"

namespace colx::star {

// Writes lineorder.tbl and the others into `folder`, as read_tables() takes them. An error names
// the file that cannot be written.
host::Result<void> write_tables(const Tables& tables, const std::filesystem::path& folder);

// What the engine found for one query, and in what time.
struct QueryRecord {
  StarQuery query;
  double milliseconds;
  std::vector<AnswerRow> rows;
};

// Writes them as JSON: [{"name", "sql", "milliseconds", "rows": [["1993", ..., "sum"], ...]}, ...].
// An error says that the file cannot be written.
host::Result<void> write_answers(const std::vector<QueryRecord>& records,
                                 const std::filesystem::path& file);

}  // namespace colx::star
