// typed_column.h: columns that know what their values are, and the way in and out of them.
//
//   DecodedColumn  values one by one, as they come from elsewhere and as they leave
//   TypedColumn    the same values stored: codes, fixed rows or dynp rows
//
//   kind              decoded            dict codes           fixed rows            dynp rows
//   boolean           bits               integers 0 and 1     -                     -
//   integer, date,    int64_t            integers             value - base,         counted
//   decimal                                                   unsigned
//   floating          double             doubles              canonical             -
//   text              views of bytes     text                 -                     -
//
// All stored forms keep the order of the values, so that scans compare them as they are stored
// (typed_scan.h). A NULL row is code 0 of a dictionary column, and in a column of rows a row of
// no meaning that the column's reportable rows (colx_cv_nulls) leave out.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/column.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/row_bits.h"
#include "host/services.h"
#include "host/value_dictionary.h"

namespace colx::host {

// What a value is.
enum class ValueKind : uint8_t {
  boolean,
  integer,
  unsigned_integer,
  date,     // days since 1970-01-01
  decimal,  // an integer, 10^scale times the value
  floating,
  text  // bytes, as a rule UTF-8; nobody checks that
};

// What a value is and how wide.
struct ValueType {
  ValueKind kind = ValueKind::integer;  // what a value is
  // Of a value elsewhere: 8, 16, 32 or 64 for integers; 32 (days) or 64 (milliseconds) for dates;
  // 32, 64, 128 or 256 for decimals; 32 or 64 for floating; 1 for booleans. Of a text's offsets: 32
  // or 64; 128 for text that comes as views. Here, integers have 64 bits and are days for dates.
  uint32_t bits = 64;
  int32_t precision = 0;  // decimal: digits
  int32_t scale = 0;      // decimal: digits behind the point

  // Whether all four are equal.
  bool operator==(const ValueType&) const = default;
};

// Values, the one of row r at index r (booleans: bit r). The value of a NULL row means nothing.
// Text is seen, not owned: its bytes must outlive the record.
struct DecodedColumn {
  std::string name;  // what errors call it
  ValueType type;    // of every row
  // One of them, by the kind: see the table above.
  std::variant<std::vector<int64_t>, std::vector<double>, std::vector<std::string_view>, RowBits>
      values;
  std::optional<RowBits> present;  // rows that have a value; none: all of them

  // Rows, NULLs too.
  uint64_t rows() const;
  // `row` below rows().
  bool is_null(uint64_t row) const { return present && !present->test(row); }
  // Whether `values` holds what `type.kind` says.
  bool values_are_of_their_kind() const;
};

// A column of `rows` zeros, falses or empty texts, none of them NULL.
DecodedColumn make_decoded_column(std::string name, const ValueType& type, uint64_t rows);

// A stored column, its type and what reads its values. Read-only once made; threads may share it.
struct TypedColumn {
  std::string name;     // what errors call it
  ValueType type;       // as it was decoded
  StoredColumn column;  // the rows
  // Of a column of codes: integers (booleans, dates, decimals too), doubles or text.
  std::variant<std::monostate, Dictionary<int64_t>, Dictionary<double>, Dictionary<std::string>>
      dictionary;
  int64_t base = 0;    // fixed rows of integers hold value - base
  uint64_t nulls = 0;  // rows that are NULL
};

// How the values of a column are stored.
enum class StoredForm : uint8_t {
  smallest,  // codes, or fixed rows where they take fewer bytes than codes and dictionary
  codes,
  fixed,
  dynp
};

// What becomes of a text of no bytes, which a dictionary cannot tell from NULL.
enum class EmptyText : uint8_t { refused, made_null };

// How a column is stored.
struct TypedColumnOptions {
  StoredForm form = StoredForm::smallest;     // the form
  EmptyText empty_text = EmptyText::refused;  // only of text
  uint32_t chunk_rows = max_chunk_rows;       // 1 to 65536
};

// Stores the values of a column; nothing of `decoded` is referred to afterwards. In fixed rows -0.0
// becomes 0.0 and every NaN the one with the bits 7FF8.., above all numbers.
//
// Errors name the column, and the row where there is one: a form that does not exist for the kind;
// an integer outside what dynp rows count (value_forms.h); a NaN in a column of codes (smallest
// takes fixed rows then); an empty text, if refused, or one above max_symbol_bytes; values of
// another kind than the type says, or presence bits for another number of rows; chunk_rows.
Result<TypedColumn> store_typed_column(const DecodedColumn& decoded,
                                       const TypedColumnOptions& options = {});

// Reads values back, of all rows or of those that `hits` has set: a bit vector for each chunk, as
// PreparedScan::run() fills it. Text lies in the column's dictionary, which `column` shares; keep
// it. Codes are decoded by the library.
//
// Errors name the column: another number of bit vectors than chunks, or of bits than rows; a chunk
// of rows that rests compressed; codes that the library has no decoder for (64 bits).
Result<DecodedColumn> read_typed_column(const Library& library, HostServices& services,
                                        const TypedColumn& column,
                                        std::span<const RowBits> hits = {});

}  // namespace colx::host
