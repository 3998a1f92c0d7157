// column_values.h: texts of a file as the values that a column stores.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/row_bits.h"

namespace colx::inspect {

enum class ValueKind {
  integers,  // of 64 bits, without leading zeros or a plus
  decimals,  // with up to 18 digits, kept as integers of the smallest unit
  doubles,
  texts
};

// The values of a column. An empty text is a NULL; its place in the vectors holds 0 or the empty
// text. `texts` belong to the file.
struct ColumnValues {
  ValueKind kind = ValueKind::texts;
  uint32_t decimal_places = 0;
  std::vector<int64_t> integers;  // integers and decimals
  std::vector<double> doubles;
  std::span<const std::string_view> texts;
  host::RowBits present;  // a bit a row
  uint64_t nulls = 0;
  uint64_t text_bytes = 0;  // of all fields, without separators

  uint64_t rows() const { return texts.size(); }
  // "integers from 1 to 50"
  std::string description() const;
};

// The first kind that every text but the empty ones is of; texts if all are empty.
ColumnValues parse_values(std::span<const std::string_view> texts);

}  // namespace colx::inspect
