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
  codes,    // a dictionary code a row
  runs,     // run-length coded: a dictionary code a run of equal rows
  numbers,  // big-endian numbers in rows of 3 bytes, 4 if one needs them, without a dictionary
  trimmed,  // the same without their trailing zero bytes
  days      // dates as rows of 3 bytes, without a dictionary
};

// The form that suits what queries do with a column of a table:
//   lo_orderdate   runs: the lines of an order share it, and it is only scanned; a column whose
//                  rows are fetched one by one would lose by runs
//   lo_commitdate  days
//   prices         numbers: a dictionary of nearly as many values as rows would not pay
//   lo_ordtotalprice  trimmed: it is only scanned; rows of several lengths are not fetched singly
Form form_of(TableId table, size_t column);

// Dates in days form are these 20 bits, in the order of the days:
//
//   | year, 11 bits | month, 4 bits | day, 5 bits |
constexpr uint32_t packed_day(uint32_t date_key) {
  return date_key / 10000 << 9 | date_key / 100 % 100 << 5 | date_key % 100;
}
constexpr uint32_t unpacked_day(uint32_t day) {
  return (day >> 9) * 10000 + (day >> 5 & 15) * 100 + (day & 31);
}
static_assert(packed_day(19920101) == (1992 << 9 | 1 << 5 | 1));
static_assert(unpacked_day(packed_day(19981230)) == 19981230);

struct EncodedColumn {
  std::string name;
  std::variant<std::monostate, host::Dictionary<int64_t>, host::Dictionary<std::string>> dictionary;
  host::StoredColumn stored;
  uint32_t number_bytes =
      0;                     // of a number before trailing zero bytes are dropped: numbers, trimmed
  uint64_t plain_bytes = 0;  // 4 for a number or date, the bytes of a text, for all rows

  // Of a column of numbers or dates in codes.
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
