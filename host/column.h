// column.h: stored columns, and the call records that kernels get of them.
//
//   StoredColumn     one column of a table: its format, its dictionary and its chunks
//     Chunk          up to 65536 rows as one complete vector: streams with their slack, run data,
//                    reportable rows, the slot of the decompressed copy
//       ChunkVector  a thread's own colx_cv and colx_enc_ctx over one chunk
//
// Scans start at row 0 of a vector, so the chunk is the unit of scheduling: threads take chunks,
// and row r of the table is row r % chunk_rows of chunk r / chunk_rows.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "host/dictionary_image.h"
#include "host/encode_runs.h"
#include "host/result.h"
#include "host/row_bits.h"
#include "host/stream_buffer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// Rows of a chunk at most.
inline constexpr uint32_t max_chunk_rows = 65536;
// Writers take chunk sizes of 1 to max_chunk_rows rows; an error says so of any other.
Result<void> check_chunk_rows(uint32_t rows);

// What the entries of a column are.
enum class Encoding : uint8_t {
  fixed = COLX_ENC_FIXED,  // rows of one width, unsigned big-endian, back to back
  dict = COLX_ENC_DICT,    // dictionary codes, big-endian packed
  dynp = COLX_ENC_DYNP     // rows of 1 to 8 bytes with a stream of lengths
};

// How the rows of a column are stored.
struct ColumnFormat {
  // What a row is.
  Encoding encoding = Encoding::dict;
  // dict: bits of a code, 1 to 20, 24, 32, 64. fixed: bits of a row, 8 to 64 in whole bytes.
  // dynp: bits of the longest row, 16, 32 or 64.
  uint32_t width_bits = 8;
  // dict: code 0 is NULL, values start at code 1, scans use the _null forms.
  bool zero_is_null = false;
  // COLX_TYPE_... of a numeric column for sums and conversion; 0: not numeric.
  uint32_t value_type = 0;

  // Bits of the kernels' word: for fixed rows the next of 8, 16, 32, 64, else width_bits.
  uint32_t kernel_bits() const;
  // Bits of a row's length code (dynp) or tie code (fixed) in the second stream: 1, 2 or 4 at a
  // kernel word of 16, 32 or 64 bits; 0 at 8 bits and for dict.
  uint32_t length_code_bits() const;
  // The column's part of a dispatch index. `variant` asks for the _null or _tz form; the records
  // always carry the plain key, as decoders and group keys need it.
  uint8_t key(bool variant = false) const;
  // An error that says which width has no kernel.
  Result<void> check() const;
};

// Holds the decompressed copy of a compressed chunk: empty until the first kernel that touches the
// chunk fills it, unsynchronised. Releases the copy.
class DecompressionSlot {
 public:
  DecompressionSlot() = default;
  ~DecompressionSlot();
  DecompressionSlot(const DecompressionSlot&) = delete;
  DecompressionSlot& operator=(const DecompressionSlot&) = delete;

  // What colx_cv_decomp_slot is to point at.
  void** address() { return &copy_; }

  // Serialises the first touch: hold the result over the kernel call. The first holder has the
  // slot to itself; once it has let go of a filled slot, later calls return at once, unlocked.
  class Touch {
   public:
    // Waits while another thread has an empty slot to itself.
    explicit Touch(DecompressionSlot& slot);
    ~Touch();
    Touch(const Touch&) = delete;
    Touch& operator=(const Touch&) = delete;

   private:
    DecompressionSlot& slot_;
    std::unique_lock<std::mutex> lock_;
  };
  // See Touch; from any thread.
  Touch touch() { return Touch(*this); }

 private:
  void* copy_ = nullptr;
  std::atomic<bool> filled_{false};
  std::mutex first_touch_;
};

// Rows of a column that scans take at once, with all that is stored of them.
struct Chunk {
  // 1 to max_chunk_rows.
  uint32_t rows = 0;
  StreamBuffer data;    // codes, rows or dynp values; the compressed image if image_bytes is not 0
  StreamBuffer second;  // dynp lengths, or tie codes beside fixed rows
  std::optional<Runs> runs;  // run-length form: `data` holds one code a run
  // Rows that may be reported at all (colx_cv_nulls), a bit a row; a bit a run if there are runs.
  std::optional<RowBits> reportable;
  uint32_t image_bytes = 0;  // bytes of the decompressed stream; 0: not compressed
  // Where kernels leave the decompressed copy; never null.
  std::unique_ptr<DecompressionSlot> slot = std::make_unique<DecompressionSlot>();

  // Entries of the code stream: runs if there are any, else rows.
  uint32_t entries() const { return runs ? runs->count : rows; }
};

// Read-only after it was written, and then free to be shared among threads.
struct StoredColumn {
  // The same for all chunks.
  ColumnFormat format;
  // Null: codes without values, or no codes. Decoders do not check that a code has a symbol.
  std::shared_ptr<const DictionaryImage> dictionary;
  std::vector<Chunk> chunks;  // none for a column of 0 rows

  // Of all chunks.
  uint64_t rows() const;
  // Bytes of all streams, slack and dictionary excluded.
  uint64_t stream_bytes() const;

  // Lets scans report only the rows whose bit in `reportable` is set, a bit a row of the column.
  // Before the column is shared. Errors leave the column as it is: another number of rows; a
  // run-length chunk, where the library would take the bits as runs.
  Result<void> set_reportable(const RowBits& reportable);
};

// One thread's records over one chunk: make it on the stack for a call or a series of calls. The
// column must outlive it. Kernels change a record in the run-length paths and write the bits per
// run into run_bits(), so two threads never share a ChunkVector; each makes its own.
//
// The kernel gets the chunk's rows, streams, reportable rows, run data with expand_runs() as the
// expansion, and the slot; on a compressed chunk hold chunk().slot->touch() over the first call.
class ChunkVector {
 public:
  // `index` below column.chunks.size().
  ChunkVector(const StoredColumn& column, size_t index);
  ChunkVector(const ChunkVector&) = delete;
  ChunkVector& operator=(const ChunkVector&) = delete;

  // The record that kernels take as source; it refers to this object and to the chunk.
  colx_cv* cv() { return &cv_; }
  // The record behind cv().
  colx_enc_ctx* encoding() { return &encoding_; }
  // The chunk that the records describe.
  const Chunk& chunk() const { return chunk_; }
  // A bit per run, written by scans of a run-length chunk; empty otherwise.
  RowBits& run_bits() { return run_bits_; }

 private:
  const Chunk& chunk_;
  RowBits run_bits_;
  colx_enc_ctx encoding_{};
  colx_cv cv_{};
};

}  // namespace colx::host
