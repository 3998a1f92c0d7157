// Dictionary decode: pointer, length and indicator for each row of a list. The arrays of the result
// have room for all of them, and the list has a row at least: the position is that of its entry
// count - 1 in 32 bits. Run-length encoding is not looked at.
#include "kernels/decode/dictionary.h"
#include "kernels/decode/inner_forms.h"
#include "kernels/decode/packed_code.h"
#include "kernels/frame/decompression.h"
#include "kernels/frame/kernels.h"

namespace colx {
namespace {

struct ListedRows {
  const uint32_t* rows;
  uint32_t count;
  uint8_t* values;
  uint8_t* lengths;
  uint8_t* flags;

  COLX_INLINE ListedRows(const colx_cv* res, const colx_kctx* kctx)
      : rows(kctx->colx_kctx_rows),
        count(kctx->colx_kctx_num_rows),
        values(bytes_at(res->colx_cv_data, 0)),
        lengths(bytes_at(res->colx_cv_aux, 0)),
        flags(bytes_at(res->colx_cv_row_flags, 0)) {}

  COLX_INLINE void store(uint32_t i, const uint8_t* value, uint32_t length) const {
    store_as(values + size_t{i} * 8, value);
    store_as(lengths + size_t{i} * 2, static_cast<uint16_t>(length));
  }
};

void close_decode(colx_cv* res, colx_kctx* kctx) {
  const uint32_t count = kctx->colx_kctx_num_rows;
  kctx->colx_kctx_position = kctx->colx_kctx_rows[count - 1];
  kctx->colx_kctx_flags_out |= COLX_OUT_DECODE;
  res->colx_cv_num_set = count;
}

template <unsigned width>
COLX_INLINE void decode_one_length(colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                                   const DecompressionTexts& texts) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  const ListedRows list(res, kctx);
  const uint64_t length = value_length(enc);
  if (length == 0) {
    store_null_rows(res, list.count);
    return close_decode(res, kctx);
  }
  std::memset(list.flags, 0, size_t{list.count} * 2);
  const uint8_t* const codes = stored_rows(src, kctx, texts);
  const uint8_t* const symbols = bytes_at(enc->colx_enc_ctx_symbols, 0);
  for (uint32_t i = 0; i < list.count; ++i)
    list.store(i, symbols + code_at<width>(codes, list.rows[i]) * length,
               static_cast<uint32_t>(length));
  close_decode(res, kctx);
}

template <unsigned width>
COLX_INLINE void decode_cumulative(colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                                   const DecompressionTexts& texts) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  const ListedRows list(res, kctx);
  std::memset(list.flags, 0, size_t{list.count} * 2);
  const uint8_t* const codes = stored_rows(src, kctx, texts);
  const uint8_t* const symbols = bytes_at(enc->colx_enc_ctx_symbols, 0);
  const uint8_t* const offsets = bytes_at(enc->colx_enc_ctx_cla, 0);
  for (uint32_t i = 0; i < list.count; ++i) {
    const uint8_t* const entry = offsets + size_t{code_at<width>(codes, list.rows[i])} * 4;
    const uint32_t start = load_big_endian<uint32_t>(entry);
    const uint32_t length = load_big_endian<uint32_t>(entry + 4) - start;
    list.store(i, symbols + start, length);
    store_as<uint16_t>(list.flags + size_t{i} * 2,
                       static_cast<uint16_t>(length) ? 0 : null_indicator);
  }
  close_decode(res, kctx);
}

}  // namespace

extern "C" {

#define COLX_DEFINE(form, name, op, enc, code, flag)                                        \
  uint32_t name##_one_len(COLX_PARAMS_##form) {                                             \
    decode_one_length<code_width(code)>(COLX_ARGS_##form, COLX_DECOMPRESSION_TEXTS(#name)); \
    return COLX_DONE;                                                                       \
  }                                                                                         \
  uint32_t name##_cla_stride_one(COLX_PARAMS_##form) {                                      \
    decode_cumulative<code_width(code)>(COLX_ARGS_##form, COLX_DECOMPRESSION_TEXTS(#name)); \
    return COLX_DONE;                                                                       \
  }                                                                                         \
  uint32_t name(COLX_PARAMS_##form) {                                                       \
    return decode_by_layout(COLX_ARGS_##form, name##_one_len, name##_cla_stride_one);       \
  }
COLX_DECODE(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
