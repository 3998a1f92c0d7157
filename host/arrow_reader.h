// arrow_reader.h: arrays of the Arrow C data interface as plain values.
#pragma once

#include <cstdint>
#include <span>

#include "host/arrow_abi.h"
#include "host/result.h"
#include "host/typed_column.h"

namespace colx::host {

// Rows of an array, counted from its own offset.
struct ArrowSlice {
  const ArrowArray* array = nullptr;      // whose rows; it outlives the slice
  int64_t first = 0;                      // row of the array, 0 or more
  int64_t rows = 0;                       // how many
  const uint8_t* row_validity = nullptr;  // a bitmap of the rows' parent, or null
  int64_t row_validity_offset = 0;        // its bit of row 0 of the slice
};

// The whole array.
ArrowSlice whole_array(const ArrowArray& array);

// The values of slices of one type, one behind the other. Arrays are read, never changed, moved or
// released; buffers need no alignment. Text refers to the arrays' buffers. Dictionaries are looked
// up: a row is NULL where its index is or the value that the index points at.
//
// The interface does not say how long buffers are, so a producer is trusted with that, and with the
// validity bitmap. What can be checked is, and an error names the row, counted over all slices:
//   a format that is not taken (arrow_format.h), at any depth
//   a released array or schema; a length or offset below 0, rows behind the array's end; a missing
//   buffer or dictionary, another number of buffers
//   an unsigned integer above 2^63 - 1 or a decimal outside 64 bits; milliseconds that are no whole
//   days; text offsets that fall, a view outside its buffer; a dictionary index without a value
Result<DecodedColumn> read_arrow(const ArrowSchema& schema, std::span<const ArrowSlice> slices);

}  // namespace colx::host
