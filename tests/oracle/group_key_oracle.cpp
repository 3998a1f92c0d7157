#include "tests/oracle/group_key_oracle.h"

#include <algorithm>

#include "tests/oracle/unpack_oracle.h"

namespace colx::oracle {
namespace {

constexpr size_t remembered_columns = 32;

// Bits of a code by the upper bits of the column's dispatch index.
unsigned code_bits(const colx_enc_ctx& encoding) {
  const unsigned width_code = encoding.colx_enc_ctx_key >> 2 & 31;
  return width_code < 20 ? width_code + 1 : width_code == 20 ? 24 : 32;
}

struct Place {
  uint32_t state1 = 0;
  uint32_t state2 = 0;
};

// Decodes one chunk of one column after the other. What a decoder leaves in the record is there for
// the next one; a run-length column among the first 32 has a place of its own.
class Chunks {
 public:
  Chunks(std::span<const colx_cv> columns, std::span<const std::vector<uint8_t>> streams,
         const colx_kctx& kctx)
      : columns_(columns), streams_(streams), places_(columns.size()), kctx_(kctx) {
    kctx_.colx_kctx_flags |= COLX_KCTX_WIDE_CODES;
  }

  std::vector<uint32_t> codes(size_t column, uint32_t position, uint32_t capacity) {
    const colx_enc_ctx& encoding = *columns_[column].colx_cv_encoding_context;
    const bool remembered =
        (encoding.colx_enc_ctx_flags & COLX_RLE) != 0 && column < remembered_columns;
    kctx_.colx_kctx_position = position;
    if (remembered) {
      kctx_.colx_kctx_state1 = places_[column].state1;
      kctx_.colx_kctx_state2 = places_[column].state2;
    }
    colx_cv result = {};
    result.colx_cv_num_of_rows = capacity;
    UnpackOutcome outcome =
        unpack_outcome(code_bits(encoding), streams_[column], result, columns_[column], kctx_);
    kctx_.colx_kctx_position = outcome.position;
    kctx_.colx_kctx_state1 = outcome.state1;
    kctx_.colx_kctx_state2 = outcome.state2;
    kctx_.colx_kctx_flags_out = outcome.flags_out;
    if (remembered) places_[column] = {outcome.state1, outcome.state2};
    return std::move(outcome.codes);
  }

  uint32_t last_row() const { return kctx_.colx_kctx_position; }

 private:
  std::span<const colx_cv> columns_;
  std::span<const std::vector<uint8_t>> streams_;
  std::vector<Place> places_;
  colx_kctx kctx_;
};

uint32_t composed(uint32_t key, uint32_t code, const colx_enc_ctx& encoding, bool multiplied) {
  return multiplied ? key * encoding.colx_enc_ctx_num_symbols + code
                    : (key << (encoding.colx_enc_ctx_width & 31)) + code;
}

}  // namespace

KeySpace key_space_of(std::span<const colx_cv> columns, bool multiplied) {
  uint64_t size = 1;
  for (const colx_cv& column : columns) {
    const colx_enc_ctx& encoding = *column.colx_cv_encoding_context;
    if ((encoding.colx_enc_ctx_flags & COLX_DICT) == 0) return {COLX_NOT_SERVED, 0};
    const uint64_t symbols = encoding.colx_enc_ctx_num_symbols;
    size = multiplied ? size * symbols : ((size - 1) << encoding.colx_enc_ctx_width) + symbols;
    if (size > 0xFFFFFFFF) return {COLX_KEY_SPACE_TOO_BIG, 0};
  }
  return {COLX_DONE, static_cast<uint32_t>(size)};
}

GroupKeyOutcome group_key_outcome(const colx_cv& res, std::span<const colx_cv> columns,
                                  std::span<const std::vector<uint8_t>> streams,
                                  const colx_cv& scratch, const colx_kctx& kctx) {
  const bool multiplied = (kctx.colx_kctx_flags & COLX_KCTX_MULTIPLY_KEYS) != 0;
  const KeySpace space = key_space_of(columns, multiplied);
  GroupKeyOutcome outcome = {space.status != COLX_DONE, space.status, space.size, {}};
  if (outcome.refused) return outcome;

  Chunks chunks(columns, streams, kctx);
  const uint32_t total = columns[0].colx_cv_num_of_rows;
  uint32_t position = kctx.colx_kctx_position;
  uint32_t room = res.colx_cv_num_of_rows;
  std::vector<uint32_t> held(scratch.colx_cv_num_of_rows);  // what the scratch holds
  while (position < total && room != 0) {
    const uint32_t capacity = std::min(room, scratch.colx_cv_num_of_rows);
    std::vector<uint32_t> keys = chunks.codes(0, position, capacity);
    for (size_t column = 1; column < columns.size(); ++column) {
      const std::vector<uint32_t> codes = chunks.codes(column, position, capacity);
      if (codes.size() > held.size()) held.resize(codes.size());
      std::copy(codes.begin(), codes.end(), held.begin());
      const colx_enc_ctx& encoding = *columns[column].colx_cv_encoding_context;
      for (size_t i = 0; i < keys.size(); ++i) {
        keys[i] = composed(keys[i], held[i], encoding, multiplied);
      }
    }
    outcome.keys.insert(outcome.keys.end(), keys.begin(), keys.end());
    room -= static_cast<uint32_t>(keys.size());
    position = chunks.last_row() + 1;
  }
  outcome.status = room == 0 && position < total ? COLX_OUT_OF_ROOM : COLX_DONE;
  return outcome;
}

}  // namespace colx::oracle
