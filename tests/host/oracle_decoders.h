// Decoders made of the oracles, in a dispatch table of their own: what reads values through the
// library is tested against what decoders must do, apart from how the library does it.
#pragma once

#include <cstring>
#include <vector>

#include "host/loader.h"
#include "tests/oracle/unpack_oracle.h"
#include "tests/oracle/value_decode_oracle.h"

namespace colx::host {

// The packed stream of a vector that is not compressed, with the slack behind it.
inline std::span<const uint8_t> stream_of(const colx_cv& src) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const bool runs = encoding.colx_enc_ctx_flags & COLX_RLE;
  const size_t codes = runs ? encoding.colx_enc_ctx_rle_rows : src.colx_cv_num_of_rows;
  return {static_cast<const uint8_t*>(src.colx_cv_data),
          (codes * encoding.colx_enc_ctx_width + 7) / 8 + 16};
}

inline uint32_t unpack_by_oracle(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t width = src->colx_cv_encoding_context->colx_enc_ctx_width;
  const auto outcome = oracle::unpack_outcome(width, stream_of(*src), *res, *src, *kctx);
  const unsigned bytes = oracle::unpacked_bytes(width, kctx->colx_kctx_flags);
  auto* out = static_cast<uint8_t*>(res->colx_cv_data);
  for (const uint32_t code : outcome.codes) {
    std::memcpy(out, &code, bytes);
    out += bytes;
  }
  res->colx_cv_num_set = outcome.num_set;
  kctx->colx_kctx_position = outcome.position;
  kctx->colx_kctx_state1 = outcome.state1;
  kctx->colx_kctx_state2 = outcome.state2;
  kctx->colx_kctx_flags_out = outcome.flags_out;
  return outcome.status;
}

inline void store_rows(colx_cv& res, const std::vector<oracle::DecodedRow>& rows,
                       const oracle::WrittenArrays& written) {
  for (size_t i = 0; i < rows.size(); ++i) {
    if (written.values) static_cast<const uint8_t**>(res.colx_cv_data)[i] = rows[i].value;
    if (written.lengths) static_cast<uint16_t*>(res.colx_cv_aux)[i] = rows[i].length;
    if (written.flags) res.colx_cv_row_flags[i] = rows[i].flag;
  }
}

inline uint32_t decode_by_oracle(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const auto outcome = oracle::decode_outcome(src->colx_cv_encoding_context->colx_enc_ctx_width,
                                              stream_of(*src), *res, *src, *kctx);
  store_rows(*res, outcome.rows, outcome.written);
  res->colx_cv_num_set = outcome.num_set;
  kctx->colx_kctx_position = outcome.position;
  kctx->colx_kctx_flags_out = outcome.flags_out;
  return outcome.status;
}

inline uint32_t symbols_by_oracle(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const auto outcome = oracle::symbol_outcome(32, *res, *src, *kctx);
  store_rows(*res, outcome.rows, outcome.written);
  res->colx_cv_num_set = outcome.num_set;
  return outcome.status;
}

// A library of these alone. Must outlive what is taken from it.
struct OracleDecoders {
  std::vector<colx_kernel_fn> slots = std::vector<colx_kernel_fn>(COLX_DISPATCH_SLOTS);
  std::vector<const char*> names = std::vector<const char*>(COLX_DISPATCH_SLOTS, "oracle");
  colx_specialized_ctx record{};

  OracleDecoders() {
    for (uint32_t code = 0; code < 22; ++code) {
      put(COLX_OPC_DECODE_UNPACK, code, unpack_by_oracle);
      put(COLX_OPC_DECODE, code, decode_by_oracle);
    }
    put(COLX_OPC_DECODE_SYMBOL, colx_width_code(32), symbols_by_oracle);
    record.colx_sctx_magic = COLX_SCTX_MAGIC;
    record.colx_sctx_version = COLX_SCTX_VERSION;
    record.colx_sctx_name = COLX_SCTX_NAME;
    record.colx_sctx_dispatch = slots.data();
  }
  void put(uint32_t opc, uint32_t width_code, colx_decode_fn kernel) {
    slots[colx_slot_index(opc, COLX_ENC_DICT, width_code, 0)] =
        reinterpret_cast<colx_kernel_fn>(kernel);
  }
  Library library() const { return Library::attach(record, names.data(), "oracles").value(); }
};

}  // namespace colx::host
