// compressed_column.h: columns and dictionaries that rest as wpak streams.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "host/column.h"
#include "host/dictionary_image.h"
#include "host/result.h"
#include "host/stream_buffer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// Turns the data stream of a chunk into a wpak image if the image is smaller, and tells whether it
// was; the second stream, run data and reportable rows stay as they are. The first kernel that
// touches the chunk then expands it into its slot. Before the chunk is shared among threads. An
// error leaves the chunk as it is: it is compressed already.
Result<bool> compress_chunk(Chunk& chunk);

// The same for all chunks of a column that are not compressed yet. Returns the bytes saved.
uint64_t compress_column(StoredColumn& column);

// A dictionary at rest: the bytes of its symbols in one wpak stream, or as they are where that is
// no larger, and their lengths. Expanded whole: any code may be asked for. Threads may share it.
class CompressedDictionary {
 public:
  // `symbols[code]` is the value of a code, copied. Errors: a value above max_symbol_bytes, more
  // than 2^32 - 1 bytes or codes.
  static Result<CompressedDictionary> write(std::span<const std::string_view> symbols);

  // What kernels read, expanded by the decompression service of `env`. Errors: those of
  // expand_wpak().
  Result<DictionaryImage> expand(colx_env* env) const;

  // Codes that have a symbol.
  uint32_t num_symbols() const { return num_symbols_; }
  // Whether the symbols rest as a wpak stream.
  bool is_compressed() const { return is_compressed_; }
  uint64_t plain_bytes() const { return plain_bytes_; }  // of the symbols, without lengths
  uint64_t stored_bytes() const;                         // of the stream and the lengths

 private:
  uint16_t length_of(uint32_t code) const { return lengths_[lengths_.size() == 1 ? 0 : code]; }

  uint32_t num_symbols_ = 0;
  uint64_t plain_bytes_ = 0;
  bool is_compressed_ = false;
  StreamBuffer symbols_;
  std::vector<uint16_t> lengths_;  // one of them if all are equal
};

}  // namespace colx::host
