// dictionary_image.h: a dictionary as kernels read it.
//
//   one length   symbols: | value 0 | value 1 | ...       every value `length` bytes
//   cumulative   symbols: | value 0 | value 1 | ...       offsets: | 0 | end of 0 | end of 1 | ...
//
// Lengths (2 bytes) and offsets (4 bytes) are big-endian. A value of length 0 is a NULL.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "host/result.h"
#include "host/stream_buffer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// Longest value: decoders hand lengths out as 16 bits.
inline constexpr size_t max_symbol_bytes = 65535;

// Owns the bytes of a dictionary. Read-only after it was written; share it among threads.
class DictionaryImage {
 public:
  // `symbols[code]` is the value of a code, copied. Written with one length if all values have the
  // same, else with cumulative offsets; an empty dictionary has the cumulative form. Errors: a
  // value above max_symbol_bytes, more than 2^32 - 1 bytes or codes.
  static Result<DictionaryImage> write(std::span<const std::string_view> symbols);
  // The cumulative form whatever the lengths are; errors as above.
  static Result<DictionaryImage> write_cumulative(std::span<const std::string_view> symbols);

  // Sets the dictionary fields of `encoding`, which must not outlive the image.
  void describe(colx_enc_ctx& encoding) const;

  // Codes that have a symbol: 0 to num_symbols() - 1.
  uint32_t num_symbols() const { return num_symbols_; }
  uint32_t layout() const { return layout_; }  // COLX_DICT_...
  // The bytes of a code below num_symbols().
  std::string_view symbol(uint32_t code) const;
  // Bytes of symbols and offsets.
  uint64_t bytes() const { return symbols_.size() + offsets_.size(); }

 private:
  uint32_t num_symbols_ = 0;
  uint32_t layout_ = COLX_DICT_CUMULATIVE;
  uint32_t one_length_ = 0;
  StreamBuffer one_length_bytes_;
  StreamBuffer offsets_;
  StreamBuffer symbols_;
};

}  // namespace colx::host
