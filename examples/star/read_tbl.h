// read_tbl.h: the benchmark's tables from its own text files.
#pragma once

#include <filesystem>

#include "examples/star/tables.h"
#include "host/result.h"

namespace colx::star {

// Reads lineorder.tbl, customer.tbl, supplier.tbl, part.tbl and date.tbl in `directory`. A line is
// a row: the fields in the order of the schema, each ended by '|', then LF or CR LF (the last line
// may end without). Numbers are decimal and fit 32 bits, dates are days of the calendar as
// yyyymmdd, texts have no control characters and at most 255 bytes.
//
// Either all five tables are read or none: the first thing that is wrong is the error, as
// "FILE, line N: reason". Wrong are also a key that stands in two rows of customer, supplier, part
// or date, and a key in lineorder that its table does not have. Shows its progress on a terminal.
host::Result<Tables> read_tables(const std::filesystem::path& directory);

// One such file. Keys are not looked at.
host::Result<Table> read_table(const std::filesystem::path& file, TableId id);

}  // namespace colx::star
