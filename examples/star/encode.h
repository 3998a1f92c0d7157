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
  uint64_t stored_bytes() const;  // streams and dictionary
  std::string form() const;       // "12-bit codes"
};

// An error is a limit of the stored forms, with the column's name.
host::Result<EncodedColumn> encode_column(const Column& column);

// The column with NULL for every row whose number is `null_number`, under another name.
host::Result<EncodedColumn> encode_nullable(const Column& column, uint32_t null_number,
                                            std::string name);

// All columns, in the order of the schema. Shows its progress on a terminal.
host::Result<std::vector<EncodedColumn>> encode_table(const Table& table);

}  // namespace colx::star
