// stream_validation.h: proofs, before a decode, that a stream of unknown origin is decoded within
// its bounds.
//
// The decoders trust their streams. A host that reads streams from disk or network validates each
// of them once, when it comes in; what passes may be decoded as often as one likes. A check reads
// the stream only, takes some nanoseconds a code or a group, and accepts bytes behind the stream's
// end: compare `stream_bytes` where there must be none. Errors say what is wrong and at which
// offset; the stream should then be thrown away, for none of it can be trusted.
#pragma once

#include <cstddef>
#include <cstdint>

#include "host/result.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// What a sound wpak stream is.
struct WpakStream {
  uint32_t decoded_bytes = 0;  // what decoding writes, exactly; compare it with colx_cv_image_len
  uint32_t symbols = 0;        // 1 to 1024
  uint32_t code_bits = 0;      // 0 to 10
  uint32_t codes = 0;          // in the stream
  size_t codes_at = 0;         // offset of the codes
  size_t stream_bytes = 0;     // offset behind the last code
};

// Proves that colx_wpak_decode_dydi, given a capacity of decoded_bytes or more,
//   reads only the `length` bytes of the stream and 16 readable bytes behind them,
//   writes the first decoded_bytes bytes of its output, each of them, and nothing else,
//   looks up existing symbols only, and returns COLX_DONE.
//
// A stream may expand to 4 GB whatever its length, since codes can have 0 bits: look at
// decoded_bytes before making room.
Result<WpakStream> wpak_validate(const void* stream, size_t length);

// What describes prefix groups beside the stream: fields of colx_cv and colx_enc_ctx.
struct PrefixShape {
  uint32_t groups = 0;         // colx_cv_num_of_rows of the source
  uint32_t values = 0;         // colx_enc_ctx_prefix_values
  int32_t value_bytes = 0;     // colx_enc_ctx_prefix_value_len
  uint32_t group_values = 16;  // colx_enc_ctx_prefix_stride
};

// What sound prefix groups are.
struct PrefixStream {
  uint64_t decoded_bytes = 0;  // of the values; decoding may overwrite 15 bytes behind them
  size_t stream_bytes = 0;     // offset behind the last suffix
};

// Proves that colx_prefix_decode_dydi, given that shape,
//   reads only the `length` bytes of the stream and 16 readable bytes behind them,
//   writes each of decoded_bytes bytes, and at most 15 behind them,
//   fills `values` descriptors if it is asked to, and returns COLX_DONE.
Result<PrefixStream> prefix_validate(const void* stream, size_t length, const PrefixShape& shape);

// The same for records as the decoder gets them; encoding context and data must be there. Errors as
// above.
Result<PrefixStream> prefix_validate(const colx_cv& source, size_t length);

}  // namespace colx::host
