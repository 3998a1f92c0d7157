// encode.h: tables as compressed column vectors.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "examples/star/tables.h"
#include "host/value_dictionary.h"

namespace colx::star {

// How a column is stored.
enum class Form : uint8_t {
  codes,  // a dictionary code a row
  runs    // run-length coded: a dictionary code a run of equal rows
};

// The form that suits what queries do with a column of a table. The lines of an order share their
// order date, which queries only scan: it is kept in runs. A column whose rows are fetched one by
// one would lose by that.
Form form_of(TableId table, size_t column);

// A column as codes of its order-preserving dictionary, at the narrowest width that holds them.
struct EncodedColumn {
  std::string name;
  std::variant<host::Dictionary<int64_t>, host::Dictionary<std::string>> dictionary;
  host::StoredColumn stored;
  uint64_t plain_bytes = 0;  // 4 for a number or date, the bytes of a text, for all rows

  // Of a column of numbers or dates.
  const host::Dictionary<int64_t>& numbers() const {
    return std::get<host::Dictionary<int64_t>>(dictionary);
  }
  uint64_t stored_bytes() const;   // streams and dictionary
  std::string form() const;        // "12-bit codes", "12-bit codes in runs"
  const host::Runs* runs() const;  // of the first chunk; null if the column is not in runs
};

// An error is a limit of the stored forms, with the column's name.
host::Result<EncodedColumn> encode_column(const Column& column, Form form = Form::codes);

// The column with NULL for every row whose number is `null_number`, under another name.
host::Result<EncodedColumn> encode_nullable(const Column& column, uint32_t null_number,
                                            std::string name);

// All columns, in the order of the schema, each in its form. Shows its progress on a terminal.
host::Result<std::vector<EncodedColumn>> encode_table(const Table& table);

}  // namespace colx::star
