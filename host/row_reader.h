// row_reader.h: reads stored rows back, one after the other, without the library.
#pragma once

#include <cstdint>
#include <string_view>

#include "host/column.h"

namespace colx::host {

// Walks the rows of one chunk of fixed or dynp rows from the first on: a dynp row lies where the
// lengths before it end. For checks and small results; it reads a row at a time. The column must
// outlive it; the chunk must not be compressed or run-length coded.
class RowReader {
 public:
  // `chunk` below column.chunks.size().
  RowReader(const StoredColumn& column, size_t chunk);

  // Whether next() has delivered the last row.
  bool at_end() const { return row_ == chunk_.rows; }
  // The next row's stored bytes, in the chunk's own memory. Only before the end.
  std::string_view next();
  // Length or tie code of the row that next() delivered last; 0 if the column stores none.
  uint32_t code() const { return code_; }

 private:
  const Chunk& chunk_;
  const ColumnFormat format_;
  uint32_t row_ = 0;
  uint32_t code_ = 0;
  size_t offset_ = 0;
};

}  // namespace colx::host
