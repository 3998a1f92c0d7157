// encode_rows.h: writers of columns that store values, not codes: fixed rows and dynp rows.
//
// A row is a string of bytes, compared from the left as unsigned bytes; shorter rows count as if
// zero bytes followed. Three rows 12, 12 34 and AA BB CC:
//
//   fixed, 24 bits   12 00 00 | 12 34 00 | AA BB CC         rows of one width, zero bytes behind
//   dynp, 32 bits    12 | 12 34 | AA BB CC                  rows back to back
//                    00 01 10 ..                            length - 1 of each, from the top bit
//                                                           down: 2 bits at 32, 1 at 16, 4 at 64
//
// What tells 12 from 12 00 is the length: dynp rows have it, fixed rows may have a stream of tie
// codes beside them, packed like dynp lengths. Only scans that compare ties look at it.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "host/column.h"
#include "host/result.h"

namespace colx::host {

// What becomes of the length that a value came with.
enum class ValueLengths {
  shortest,  // dynp drops trailing zero bytes; fixed stores no tie codes
  kept       // dynp stores every byte; fixed stores length - 1 as the row's tie code
};

// How rows of one width are stored.
struct FixedOptions {
  uint32_t width_bytes = 0;                       // 1 to 8; 0: the least that holds every value
  ValueLengths lengths = ValueLengths::shortest;  // kept: with tie codes
  uint32_t chunk_rows = max_chunk_rows;           // 1 to 65536
};

// How rows of varying length are stored.
struct DynpOptions {
  uint32_t max_bytes = 0;                         // 2, 4 or 8; 0: the least that holds every value
  ValueLengths lengths = ValueLengths::shortest;  // kept: with all zero bytes
  uint32_t chunk_rows = max_chunk_rows;           // 1 to 65536
};

// Errors of the four writers name the row: a value longer than the width or than 8 bytes; an empty
// value, for which no length exists; and options out of range. Tie codes exist for rows of 2 bytes
// and up: at one byte there is nothing to tell apart, and ValueLengths::kept stores none.
Result<StoredColumn> store_fixed(std::span<const std::string_view> values,
                                 const FixedOptions& options = {});
// Values one behind the other; errors as above.
Result<StoredColumn> store_dynp(std::span<const std::string_view> values,
                                const DynpOptions& options = {});

// Unsigned numbers, big-endian in the row's width; the length is the width. Errors as above.
Result<StoredColumn> store_fixed_numbers(std::span<const uint64_t> numbers,
                                         const FixedOptions& options = {});
// Signed numbers in counted form (value_forms.h); `lengths` kept or not, trailing zero bytes go.
// Errors as above, a number outside min_counted to max_counted.
Result<StoredColumn> store_dynp_numbers(std::span<const int64_t> numbers,
                                        const DynpOptions& options = {});

}  // namespace colx::host
