// encode_numbers.h: writers of numeric columns, for sums, arithmetic and conversion.
//
//   canonical  IEEE 754 bits with the sign bit flipped, or all bits flipped if it was set, 4 or 8
//              bytes big-endian: scans compare them as fixed rows, and numeric order is kept
//   dsb        two's complement integers of 1, 2, 4 or 8 bytes, big-endian: sums read them;
//              scans would take negative numbers for large ones
//
//   1.0 as float  BF 80 00 00      -1.0  40 7F FF FF      dsb, 16 bits: -2  FF FE
#pragma once

#include <cstdint>
#include <span>

#include "host/column.h"
#include "host/result.h"

namespace colx::host {

// How floats and doubles are stored.
struct NumberOptions {
  uint32_t chunk_rows = max_chunk_rows;  // 1 to 65536
};

// How integers are stored.
struct DsbOptions {
  uint32_t width_bits = 0;               // 8, 16, 32 or 64; 0: the least that holds every number
  uint32_t chunk_rows = max_chunk_rows;  // 1 to 65536
};

// Canonical rows of 32 and 64 bits; every bit pattern is kept, NaNs too. Errors: chunk_rows.
Result<StoredColumn> store_floats(std::span<const float> numbers,
                                  const NumberOptions& options = {});
// The same in 8 bytes; errors as above.
Result<StoredColumn> store_doubles(std::span<const double> numbers,
                                   const NumberOptions& options = {});

// Errors: a width that is none of the four, a number that does not fit it (with its row),
// chunk_rows.
Result<StoredColumn> store_dsb(std::span<const int64_t> numbers, const DsbOptions& options = {});

}  // namespace colx::host
