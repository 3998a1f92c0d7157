// The dictionary in memory: values lie one after another, and a code finds its value in one of two
// layouts.
//
//   one length   values of L bytes each: that of code c begins at byte c * L
//   cumulative   big-endian offsets, one more than there are codes: the value of code c takes the
//                bytes from cla[c] up to cla[c + 1]
//
// A value without bytes is a NULL. A result has three arrays, for each row a pointer to its value,
// the value's length in 16 bits and an indicator of 16 bits. No value is copied.
#pragma once

#include <cstring>

#include "kernels/decode/inner_forms.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"

namespace colx {

inline constexpr uint16_t null_indicator = 2;

// The length of all values; 0 says that all are NULL.
COLX_INLINE uint32_t value_length(const colx_enc_ctx* enc) {
  return load_big_endian<uint16_t>(enc->colx_enc_ctx_one_len);
}

// `rows` rows of NULL: lengths and indicators, while pointers are left alone.
inline void store_null_rows(const colx_cv* res, uint64_t rows) {
  std::memset(res->colx_cv_aux, 0, rows * 2);
  colx_memset_ub2(res->colx_cv_row_flags, null_indicator, rows);
}

// What a kernel runs, by the dictionary's layout; neither form for an unknown one.
COLX_INLINE uint32_t decode_by_layout(colx_cv* res, colx_cv* src, colx_kctx* kctx,
                                      colx_decode_fn one_length, colx_decode_fn cumulative) {
  const uint32_t layout = src->colx_cv_encoding_context->colx_enc_ctx_layout;
  if (layout == COLX_DICT_ONE_LENGTH) return one_length(res, src, kctx);
  if (layout == COLX_DICT_CUMULATIVE) return cumulative(res, src, kctx);
  return COLX_BAD_INPUT;
}

}  // namespace colx
