#include "tests/oracle/value_decode_oracle.h"

#include <algorithm>
#include <cstring>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/stored_numbers.h"

namespace colx::oracle {
namespace {

constexpr uint16_t null_row = 2;

const uint8_t* symbols_of(const colx_enc_ctx& encoding) {
  return static_cast<const uint8_t*>(encoding.colx_enc_ctx_symbols);
}

uint16_t one_length(const colx_enc_ctx& encoding) {
  return static_cast<uint16_t>(big_endian_at(encoding.colx_enc_ctx_one_len, 2));
}

uint32_t offset_of(const colx_enc_ctx& encoding, uint64_t code) {
  const auto* const cla = static_cast<const uint8_t*>(encoding.colx_enc_ctx_cla);
  return static_cast<uint32_t>(big_endian_at(cla + 4 * code, 4));
}

uint32_t full_length(const colx_enc_ctx& encoding, uint64_t code) {
  return offset_of(encoding, code + 1) - offset_of(encoding, code);
}

DecodedRow row_of_length(const uint8_t* value, uint16_t length) {
  return {value, length, length == 0 ? null_row : uint16_t{0}};
}

bool known_layout(const colx_enc_ctx& encoding) {
  return encoding.colx_enc_ctx_layout == COLX_DICT_ONE_LENGTH ||
         encoding.colx_enc_ctx_layout == COLX_DICT_CUMULATIVE;
}

}  // namespace

DecodeOutcome decode_outcome(unsigned width_bits, std::span<const uint8_t> stream,
                             const colx_cv& res, const colx_cv& src, const colx_kctx& kctx) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  DecodeOutcome outcome = {};
  outcome.num_set = res.colx_cv_num_set;
  outcome.position = kctx.colx_kctx_position;
  outcome.flags_out = kctx.colx_kctx_flags_out;
  if (!known_layout(encoding)) {
    outcome.status = COLX_BAD_INPUT;
    return outcome;
  }

  const uint32_t count = kctx.colx_kctx_num_rows;
  const bool cumulative = encoding.colx_enc_ctx_layout == COLX_DICT_CUMULATIVE;
  const bool all_null = !cumulative && one_length(encoding) == 0;
  outcome.written = {.values = !all_null, .lengths = true, .flags = true};
  outcome.reads_codes = !all_null;
  for (uint32_t i = 0; i < count; ++i) {
    if (all_null) {
      outcome.rows.push_back(row_of_length(nullptr, 0));
      continue;
    }
    const uint64_t code = packed_code(stream, width_bits, kctx.colx_kctx_rows[i]);
    if (cumulative) {
      outcome.rows.push_back(row_of_length(symbols_of(encoding) + offset_of(encoding, code),
                                           static_cast<uint16_t>(full_length(encoding, code))));
    } else {
      const uint16_t length = one_length(encoding);
      outcome.rows.push_back(row_of_length(symbols_of(encoding) + code * length, length));
    }
  }
  outcome.num_set = count;
  outcome.position = kctx.colx_kctx_rows[count - 1];  // 32-bit, also of an empty list
  outcome.flags_out |= COLX_OUT_DECODE;
  outcome.status = COLX_DONE;
  return outcome;
}

unsigned symbol_code_bytes(unsigned width_bits, uint32_t kctx_flags) {
  return (kctx_flags & COLX_KCTX_WIDE_CODES) != 0 ? 4 : width_bits / 8;
}

SymbolOutcome symbol_outcome(unsigned width_bits, const colx_cv& res, const colx_cv& src,
                             const colx_kctx& kctx) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const uint32_t count = src.colx_cv_num_of_rows;
  SymbolOutcome outcome = {};
  outcome.num_set = res.colx_cv_num_set;
  if (!known_layout(encoding)) {
    outcome.status = COLX_BAD_INPUT;
    return outcome;
  }
  outcome.num_set = count;

  const bool cumulative = encoding.colx_enc_ctx_layout == COLX_DICT_CUMULATIVE;
  const uint16_t length = cumulative ? 0 : one_length(encoding);
  outcome.copies =
      !cumulative && width_bits == 32 && (kctx.colx_kctx_flags & COLX_KCTX_COPY_VALUES) != 0;
  const bool all_null = !cumulative && length == 0;
  if (!outcome.copies) {
    outcome.written = {.values = !all_null,
                       .lengths = true,
                       .flags = all_null || res.colx_cv_row_flags != nullptr};
  }

  const uint32_t in_blocks = count / 8 * 8;
  const unsigned code_bytes = symbol_code_bytes(width_bits, kctx.colx_kctx_flags);
  for (uint32_t row = 0; row < count; ++row) {
    uint32_t code = 0;
    std::memcpy(&code, static_cast<const uint8_t*>(src.colx_cv_data) + size_t{row} * code_bytes,
                code_bytes);
    if (cumulative) {
      // Blocks saturate a length, the rows behind them cut it off.
      const uint32_t full = full_length(encoding, code);
      const uint32_t stored = row < in_blocks ? std::min<uint32_t>(full, 0xFFFF) : full & 0xFFFF;
      outcome.rows.push_back(row_of_length(symbols_of(encoding) + offset_of(encoding, code),
                                           static_cast<uint16_t>(stored)));
    } else {
      const uint8_t* const value = symbols_of(encoding) + uint32_t{code * length};
      if (outcome.copies) outcome.bytes.insert(outcome.bytes.end(), value, value + length);
      outcome.rows.push_back(row_of_length(value, length));
    }
  }
  return outcome;
}

}  // namespace colx::oracle
