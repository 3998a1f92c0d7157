// What codes resolve to: `decode` for a list of rows of packed codes, `decode_symbol` for all rows
// of an array of codes. No value is read; results are addresses into the dictionary, but for the
// one form that copies.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

struct DecodedRow {
  const uint8_t* value;
  uint16_t length;
  uint16_t flag;  // 2 for a NULL
};

// Which of the result's arrays are written; the others stay as they are.
struct WrittenArrays {
  bool values;
  bool lengths;
  bool flags;
};

struct DecodeOutcome {
  uint32_t status;
  WrittenArrays written;
  std::vector<DecodedRow> rows;
  bool reads_codes;  // otherwise not even a compressed column is decompressed
  uint32_t num_set;
  uint32_t position;
  uint32_t flags_out;
};

// `stream` holds the packed codes of the rows, decompressed.
DecodeOutcome decode_outcome(unsigned width_bits, std::span<const uint8_t> stream,
                             const colx_cv& res, const colx_cv& src, const colx_kctx& kctx);

struct SymbolOutcome {
  uint32_t status;
  WrittenArrays written;
  std::vector<DecodedRow> rows;
  bool copies;                 // colx_cv_data is a byte area instead
  std::vector<uint8_t> bytes;  // what it receives
  uint32_t num_set;
};

// Bytes of one code of the source.
unsigned symbol_code_bytes(unsigned width_bits, uint32_t kctx_flags);

SymbolOutcome symbol_outcome(unsigned width_bits, const colx_cv& res, const colx_cv& src,
                             const colx_kctx& kctx);

}  // namespace colx::oracle
