// chunk_rows.h: the rows of a chunk that a query is left with, filter by filter, and what it reads
// of them.
//
//   ChunkRows rows(library, services);          one a thread
//   rows.start(chunk, chunk_rows);              all rows
//   rows.keep(days).ok() && rows.keep(prices).ok()
//   unpack.run(rows, codes)                     the codes of the rows that are left
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/call_meter.h"
#include "host/code_set.h"
#include "host/column.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/result.h"
#include "host/row_bits.h"
#include "host/services.h"

namespace colx::host {

// One thread at a time. Library and services must outlive it.
class ChunkRows {
 public:
  // No rows; start() gives it some.
  ChunkRows(const Library& library, HostServices& services)
      : library_(&library), services_(&services) {}
  // Counts the kernels that filter or read these rows from now on; the meter must outlive them.
  void count_calls(CallMeter& meter) { meter_ = &meter; }
  // Where calls are counted; null: nowhere.
  CallMeter* meter() const { return meter_; }

  // All `rows` rows of chunk `chunk`.
  void start(size_t chunk, uint32_t rows);
  // Drops the rows that the filter does not find; walks the rows that are left where they are few.
  // Errors as the filter's run().
  Result<void> keep(const PreparedScan& filter) { return keep_found(filter); }
  Result<void> keep(const CodeSet& filter) { return keep_found(filter); }
  // Drops all but those at `positions`, ascending, of the rows that are left.
  void keep_positions(std::span<const uint32_t> positions);

  // As start() was told.
  size_t chunk() const { return chunk_; }
  // Rows of the chunk, dropped ones too.
  uint32_t chunk_rows() const { return static_cast<uint32_t>(bits_.size()); }
  // Rows that are left.
  uint32_t count() const { return count_; }
  // Whether no row was dropped.
  bool all() const { return count_ == chunk_rows(); }
  // A bit a row; what it says while all() holds is open.
  const RowBits& bits() const { return bits_; }
  // The rows' numbers within the chunk, ascending; they hold until rows are dropped.
  std::span<const uint32_t> rows();
  // The rows to pass to a kernel that reads a column without runs.
  Selection selection(uint32_t rows_per_walked_row) const;

  // Whose kernels run.
  const Library& library() const { return *library_; }
  // Whose services the kernels get.
  HostServices& services() const { return *services_; }

 private:
  template <class Filter>
  Result<void> keep_found(const Filter& filter);
  void set_count(uint32_t count);

  const Library* library_;
  HostServices* services_;
  CallMeter* meter_ = nullptr;
  size_t chunk_ = 0;
  uint32_t count_ = 0;
  RowBits bits_;
  RowBits found_;
  std::vector<uint32_t> rows_;
  bool rows_listed_ = false;
};

// The unpacking kernel of a column of codes. The column must outlive it; threads may share it.
class CodeUnpack {
 public:
  // Errors: a column without codes, a width without a kernel.
  static Result<CodeUnpack> bind(const Library& library, const StoredColumn& column);

  // The codes of the rows that are left, in row order; `codes` is their memory and grows, a few
  // more than there are rows. The first touch of a compressed chunk is serialised here. Errors: the
  // column has no such chunk or other rows in it; a status that the kernel should not return.
  Result<std::span<const uint32_t>> run(const ChunkRows& rows, std::vector<uint32_t>& codes) const;

  // The column that it reads.
  const StoredColumn& column() const { return *column_; }
  // The kernel's, of the library's table.
  uint32_t slot() const { return slot_; }
  // As the library's table spells it.
  const char* kernel_name() const { return kernel_name_; }

 private:
  CodeUnpack() = default;
  const StoredColumn* column_ = nullptr;
  colx_decode_fn kernel_ = nullptr;
  const char* kernel_name_ = nullptr;
  uint32_t slot_ = 0;
};

// The numbers of the rows that are left, out of a column of unsigned fixed rows of 1 to 4 bytes
// that is neither compressed nor in runs, as sums read them: dsb, 8 bytes big-endian a number.
// `numbers` is their memory and grows. Errors: another column.
Result<std::span<const uint64_t>> pick_numbers(ChunkRows& rows, const StoredColumn& column,
                                               std::vector<uint64_t>& numbers);

}  // namespace colx::host
