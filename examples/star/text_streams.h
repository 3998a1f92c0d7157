// text_streams.h: the texts of the tables as a database would keep them at rest, and the proof that
// the library gives them back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "examples/star/tables.h"
#include "host/loader.h"
#include "host/services.h"

namespace colx::star {

// One column's texts, or part of them.
struct TextStream {
  std::string column;
  std::string form;
  uint32_t texts = 0;
  uint64_t plain_bytes = 0;            // of the texts alone
  uint64_t stored_bytes = 0;           // of the stream, with the lengths of texts that have several
  std::optional<std::string> wrong{};  // how what came back differs; nothing if it is the same
};

// The distinct texts of every text column, in the order of a dictionary, as one wpak stream; the
// same texts as they are if that is no smaller. An error is a stream that cannot be expanded.
host::Result<std::vector<TextStream>> store_texts(const Table& table, host::HostServices& services);

// The last 8 digits of a column's cells, row by row, as prefix groups: numbers that rise share
// most of them. Nothing for a column with a cell that does not end so.
host::Result<std::optional<TextStream>> store_digits(const Table& table, size_t column,
                                                     const host::Library& library);

// Stores all texts, and the digits of the names and keys that rise; prints their sizes. True if all
// of them came back.
host::Result<bool> run_text_streams(const Tables& tables, const host::Library& library,
                                    host::HostServices& services);

}  // namespace colx::star
