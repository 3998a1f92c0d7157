// stored_constant.h: predicates on columns that store values, not codes.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "host/column.h"
#include "host/result.h"
#include "host/value_dictionary.h"

namespace colx::host {

// A constant as rows store their values: first byte most significant, zero bytes behind. A kernel
// reads its whole word from the start of `bytes`, 1, 2, 4 or 8 bytes, and one byte of tie code.
struct StoredConstant {
  alignas(8) std::array<uint8_t, 8> bytes{};  // the word as it is stored
  uint8_t tie_code = 0;                       // length - 1
};

// A constant for fixed or dynp rows; its tie code is its length - 1. Errors: an empty value, a
// value of more than 8 bytes.
Result<StoredConstant> stored_constant(std::string_view value);

// A constant for store_fixed_numbers() columns of `format`. Numbers too large for the rows become a
// constant above every row.
StoredConstant fixed_number_constant(const ColumnFormat& format, uint64_t number);
// A constant for store_dynp_numbers() columns. Numbers outside the counted range become a constant
// above or below every row.
StoredConstant counted_constant(int64_t number);

// A predicate on stored values; `low` is the constant of a one-sided comparison, `high` counts only
// in a range. Without ties rows compare by their value alone, and 12 equals 12 00; with ties the
// shorter of two equal values comes first, by the rows' lengths (dynp) or tie codes (fixed).
struct ValuePredicate {
  Compare compare = Compare::eq;  // on stored values
  StoredConstant low{};           // the one constant, or the lower one
  StoredConstant high{};          // only in a range
  bool ties = false;              // whether lengths break ties
};

// The same predicate with constants that fit the rows of `format`: kernels want zero bytes behind a
// row's width and codes that a row can have. A constant longer than the rows lies between two of
// them, so it is cut and the comparison changed: x < 12 34 56 on rows of two bytes is x <= 12 34.
// A tie code above the largest is one that no row reaches. Error: ties on rows that have none.
Result<ValuePredicate> fit_to_rows(const ColumnFormat& format, const ValuePredicate& predicate);

}  // namespace colx::host
