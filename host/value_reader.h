// value_reader.h: from stored codes back to values, through the library's decoders.
//
//   ColumnReader reader = ColumnReader::open(library, services, column).value();
//   for (;;) {
//     const auto batch = reader.next();
//     if (!batch || batch->size() == 0) break;
//     for (size_t i = 0; i < batch->size(); ++i)
//       if (!batch->is_null(i)) use(batch->bytes(i));  // integer_of() and the like: value_forms.h
//   }
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "host/column.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/result.h"
#include "host/services.h"

namespace colx::host {

// Values in the order that was asked for. The arrays belong to the reader and hold until its next
// call; the values lie in the column's dictionary and hold as long as that.
struct ValueBatch {
  std::span<const uint32_t> codes;    // as unpacked; empty from ChunkReader::rows()
  std::span<const char* const> data;  // where each value begins
  std::span<const uint16_t> lengths;  // bytes
  std::span<const uint16_t> flags;    // 2: NULL

  // Values, NULLs too.
  size_t size() const { return data.size(); }
  // `i` below size().
  bool is_null(size_t i) const { return flags[i] != 0; }
  // `i` below size(); of a NULL no bytes.
  std::string_view bytes(size_t i) const { return {data[i], is_null(i) ? 0u : lengths[i]}; }
};

// Reads one chunk of dictionary codes, whether plain, run-length coded or compressed, in batches
// that go on where the last one ended. One thread at a time; library, services and column outlive
// it, a selection too.
class ChunkReader {
 public:
  // Rows of `selection`, or all of them. Errors: the column holds no codes, or codes of 64 bits,
  // which have no decoders; no such chunk; a selection of another length; a missing kernel.
  static Result<ChunkReader> open(const Library& library, HostServices& services,
                                  const StoredColumn& column, size_t chunk,
                                  Selection selection = {});

  // The next rows' codes, at most `at_most` of them; none at the end. They hold until the reader's
  // next call. Errors: `at_most` is 0; a status that the kernel should not return.
  Result<std::span<const uint32_t>> next_codes(uint32_t at_most);
  // Their values. Errors: as above, a column without a dictionary.
  Result<ValueBatch> next(uint32_t at_most);

  // Values of the rows listed, in that order, independent of next(). Errors: a row that the chunk
  // does not have; on a run-length chunk, rows that fall.
  Result<ValueBatch> rows(std::span<const uint32_t> rows);

 private:
  ChunkReader() = default;
  Result<void> resolve(uint32_t count);
  void make_room(size_t values);
  ValueBatch batch(size_t values) const;
  Result<void> call(colx_decode_fn kernel, colx_cv& res, colx_kctx& kctx);

  const StoredColumn* column_ = nullptr;
  std::unique_ptr<ChunkVector> vector_;
  colx_kctx kctx_{};
  uint32_t next_row_ = 0;
  colx_decode_fn unpack_ = nullptr;
  colx_decode_fn decode_ = nullptr;   // null without a dictionary
  colx_decode_fn symbols_ = nullptr;  // null without a dictionary

  std::vector<uint32_t> codes_;
  std::vector<const char*> data_;
  std::vector<uint16_t> lengths_;
  std::vector<uint16_t> flags_;
};

// Reads all chunks of a column in row order. Batches do not cross chunks. One thread at a time.
class ColumnReader {
 public:
  // `batch_rows`: 1 or more. Errors: as ChunkReader::open(); a column without a dictionary.
  static Result<ColumnReader> open(const Library& library, HostServices& services,
                                   const StoredColumn& column, uint32_t batch_rows = 4096);

  // The next values; an empty batch behind the last. Errors: those of a chunk's reader.
  Result<ValueBatch> next();

 private:
  ColumnReader() = default;

  const Library* library_ = nullptr;
  HostServices* services_ = nullptr;
  const StoredColumn* column_ = nullptr;
  uint32_t batch_rows_ = 0;
  size_t next_chunk_ = 0;
  std::unique_ptr<ChunkReader> chunk_;
};

}  // namespace colx::host
