// wpak_writer.h: writes wpak streams, which kernels expand at the first touch of a column.
//
//   0  "WPAK"   4 version, 0   5 flags, 2   6 four bytes of 0   10 aux, 0 or 1   12 decoded length
//   16 symbol count S          18 symbol lengths, 4 bits each, even symbols in the high nibbles
//   then [2 * S bytes, if aux]  the symbols' bytes  code count C
//        [X, if aux: codes begin X >> 7 bytes behind C]  C codes of as many bits as S - 1 needs
//
// Numbers are big-endian. A code stands for its symbol of 1 to 8 bytes; all codes have one width.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "host/result.h"
#include "host/stream_buffer.h"
#include "host/wpak_symbols.h"

namespace colx::host {

// How a table of symbols is chosen.
struct WpakOptions {
  // 0 to 10: a table that needs codes of exactly that many bits, filled up with arbitrary strings
  // if need be. Not set: whatever gives the smallest stream.
  std::optional<uint32_t> code_bits{};
  // The two sections that decoders skip, filled with noise, this many bytes of them between X and
  // the codes. Nobody needs them; tests of decoders do.
  std::optional<uint32_t> section_gap_bytes{};
  // What is looked at to find symbols.
  size_t sample_bytes = WpakSearch{}.sample_bytes;
};

// The stream of `data`, with the readable slack that decoders need behind it. Not always smaller
// than the data. Errors: more than 2^32 - 1 bytes; code_bits above 10, or too few for the byte
// values that occur.
Result<StreamBuffer> write_wpak(std::span<const uint8_t> data, const WpakOptions& options = {});

// The stream of `data` under a given table, longest match first; of 0 bytes, too. Errors: no symbol
// or more than 1024, a symbol of length 0 or above 8, two equal symbols, a place in the data where
// no symbol fits.
Result<StreamBuffer> write_wpak_with(std::span<const uint8_t> data,
                                     std::span<const WpakSymbol> symbols,
                                     std::optional<uint32_t> section_gap_bytes = {});

}  // namespace colx::host
