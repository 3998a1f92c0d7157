// Symbol decode: dictionary values for codes that were unpacked to a plain array, all rows of it.
// The result is as in dictionary.h; its indicators may be left out, except where all values are
// NULL. One form can copy values out instead of pointing at them.
#include <algorithm>

#include "kernels/decode/dictionary.h"
#include "kernels/decode/inner_forms.h"
#include "kernels/frame/kernels.h"
#include "kernels/frame/vectors.h"

namespace colx {
namespace {

constexpr uint32_t block_rows = 8;
constexpr size_t prefetch_bytes = 0x280;

// Four codes in lanes of 4 bytes.
template <class Code>
COLX_INLINE Vec four_codes(const uint8_t* codes) {
  if constexpr (sizeof(Code) == 4) return load(codes);
  if constexpr (sizeof(Code) == 2) return widened_low<2>(load_low_half(codes));
  if constexpr (sizeof(Code) == 1)
    return widened_low<2>(widened_low<1>(from_halves(load_as<uint32_t>(codes), 0)));
}

// Pointers to values of one length; offsets are products of 32 bits.
template <class Code>
COLX_INLINE void store_pointers(uint8_t* values, const uint8_t* codes, uint32_t rows,
                                const uint8_t* symbols, uint32_t length) {
  const Vec lengths = splat<4>(length);
  const Vec base = splat<8>(reinterpret_cast<uintptr_t>(symbols));
  uint32_t r = 0;
  for (; rows - r >= block_rows; r += block_rows) {
    prefetch(codes + size_t{r} * sizeof(Code) + prefetch_bytes);
    prefetch(values + size_t{r} * 8 + prefetch_bytes);
    for (unsigned four = 0; four < block_rows; four += 4) {
      uint8_t* const to = values + size_t{r + four} * 8;
      const Vec offsets =
          product<4>(four_codes<Code>(codes + size_t{r + four} * sizeof(Code)), lengths);
      store(to, sum<8>(widened_low<4>(offsets), base));
      store(to + 16, sum<8>(widened_high<4>(offsets), base));
    }
  }
  for (; r < rows; ++r) {
    const uint32_t offset = uint32_t{load_as<Code>(codes + size_t{r} * sizeof(Code))} * length;
    store_as(values + size_t{r} * 8, symbols + offset);
  }
}

template <class Code>
COLX_INLINE void point_at_one_length(colx_cv* res, const colx_cv* src) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t length = value_length(enc);
  if (length == 0) return store_null_rows(res, rows);
  colx_memset_ub2(res->colx_cv_aux, static_cast<uint16_t>(length), rows);
  if (res->colx_cv_row_flags) std::memset(res->colx_cv_row_flags, 0, size_t{rows} * 2);
  store_pointers<Code>(bytes_at(res->colx_cv_data, 0), bytes_at(src->colx_cv_data, 0), rows,
                       bytes_at(enc->colx_enc_ctx_symbols, 0), length);
}

// Where the values of a cumulative dictionary go, row by row. A length of 65536 bytes or more is
// cut to 65535 in a block of eight rows, and to its low 16 bits behind the last block.
template <class Code, bool indicated>
struct CumulativeRows {
  const uint8_t* codes;
  const uint8_t* symbols;
  const uint8_t* offsets;
  uint8_t* values;
  uint8_t* lengths;
  uint8_t* flags;

  template <bool saturated>
  COLX_INLINE void put(uint32_t r) const {
    const Code code = load_as<Code>(codes + size_t{r} * sizeof(Code));
    const uint8_t* const entry = offsets + size_t{code} * 4;
    const uint32_t start = load_big_endian<uint32_t>(entry);
    const uint32_t bytes = load_big_endian<uint32_t>(entry + 4) - start;
    const auto length = static_cast<uint16_t>(saturated ? std::min(bytes, 0xFFFFu) : bytes);
    store_as(values + size_t{r} * 8, symbols + start);
    store_as(lengths + size_t{r} * 2, length);
    if constexpr (indicated)
      store_as<uint16_t>(flags + size_t{r} * 2, length == 0 ? null_indicator : 0);
  }

  COLX_INLINE void put_all(uint32_t rows) const {
    uint32_t r = 0;
    for (; rows - r >= block_rows; r += block_rows) {
      prefetch(codes + size_t{r} * sizeof(Code) + 0x200);
#pragma GCC unroll 8
      for (unsigned k = 0; k < block_rows; ++k) put<true>(r + k);
    }
    for (; r < rows; ++r) put<false>(r);
  }
};

template <class Code, bool indicated>
COLX_INLINE void point_at_cumulative(colx_cv* res, const colx_cv* src) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  const CumulativeRows<Code, indicated> all = {
      bytes_at(src->colx_cv_data, 0),     bytes_at(enc->colx_enc_ctx_symbols, 0),
      bytes_at(enc->colx_enc_ctx_cla, 0), bytes_at(res->colx_cv_data, 0),
      bytes_at(res->colx_cv_aux, 0),      bytes_at(res->colx_cv_row_flags, 0)};
  all.put_all(src->colx_cv_num_of_rows);
}

template <class Code>
COLX_INLINE void point_at_cumulative(colx_cv* res, const colx_cv* src) {
  if (res->colx_cv_row_flags) return point_at_cumulative<Code, true>(res, src);
  point_at_cumulative<Code, false>(res, src);
}

// A dictionary of up to 16 values of one byte, repeated over a vector. Reads no more than the next
// power of two of its values.
Vec small_dictionary(const uint8_t* symbols, uint32_t values) {
  if (values <= 1) return splat<1>(symbols[0]);
  if (values <= 2) return splat<2>(load_as<uint16_t>(symbols));
  if (values <= 4) return splat<4>(load_as<uint32_t>(symbols));
  if (values <= 8) return splat<8>(load_as<uint64_t>(symbols));
  return load(symbols);
}

void copy_small_dictionary(uint8_t* to, const uint8_t* codes, uint32_t rows, const uint8_t* symbols,
                           uint32_t values) {
  uint32_t r = 0;
  const Vec dictionary = rows >= 16 ? small_dictionary(symbols, values) : zeros();
  for (; rows - r >= 16; r += 16) {
    const uint8_t* const from = codes + size_t{r} * 4;
    const Vec low = narrowed<4>(load(from), load(from + 16));
    const Vec high = narrowed<4>(load(from + 32), load(from + 48));
    store(to + r, shuffle(dictionary, narrowed<2>(low, high)));
  }
  for (; r < rows; ++r) to[r] = symbols[load_as<uint32_t>(codes + size_t{r} * 4)];
}

template <class Value>
void copy_values(uint8_t* to, const uint8_t* codes, uint32_t rows, const uint8_t* symbols) {
  for (uint32_t r = 0; r < rows; ++r) {
    const uint32_t code = load_as<uint32_t>(codes + size_t{r} * 4);
    const auto offset = static_cast<uint32_t>(code * sizeof(Value));
    store_as(to + size_t{r} * sizeof(Value), load_as<Value>(symbols + offset));
  }
}

// The values themselves, one behind the other; lengths and indicators are left alone. Values
// without bytes copy nothing.
void copy_out(colx_cv* res, const colx_cv* src) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t length = value_length(enc);
  const uint8_t* const symbols = bytes_at(enc->colx_enc_ctx_symbols, 0);
  const uint8_t* const codes = bytes_at(src->colx_cv_data, 0);
  uint8_t* const to = bytes_at(res->colx_cv_data, 0);
  switch (length) {
    case 1:
      if (enc->colx_enc_ctx_num_symbols <= 16)
        return copy_small_dictionary(to, codes, rows, symbols, enc->colx_enc_ctx_num_symbols);
      return copy_values<uint8_t>(to, codes, rows, symbols);
    case 2:
      return copy_values<uint16_t>(to, codes, rows, symbols);
    case 4:
      return copy_values<uint32_t>(to, codes, rows, symbols);
    case 8:
      return copy_values<uint64_t>(to, codes, rows, symbols);
    default:
      for (uint32_t r = 0; r < rows; ++r)
        std::memcpy(to + size_t{r} * length,
                    symbols + load_as<uint32_t>(codes + size_t{r} * 4) * length, length);
  }
}

// A form for codes of their own size, or of 4 bytes if the call says that they were widened.
template <class Code>
COLX_INLINE uint32_t one_length(colx_cv* res, const colx_cv* src, const colx_kctx* kctx) {
  if (sizeof(Code) == 4 && kctx->colx_kctx_flags & COLX_KCTX_COPY_VALUES)
    copy_out(res, src);
  else if (kctx->colx_kctx_flags & COLX_KCTX_WIDE_CODES)
    point_at_one_length<uint32_t>(res, src);
  else
    point_at_one_length<Code>(res, src);
  res->colx_cv_num_set = src->colx_cv_num_of_rows;
  return COLX_DONE;
}

template <class Code>
COLX_INLINE uint32_t cumulative(colx_cv* res, const colx_cv* src, const colx_kctx* kctx) {
  if (kctx->colx_kctx_flags & COLX_KCTX_WIDE_CODES)
    point_at_cumulative<uint32_t>(res, src);
  else
    point_at_cumulative<Code>(res, src);
  res->colx_cv_num_set = src->colx_cv_num_of_rows;
  return COLX_DONE;
}

}  // namespace

extern "C" {

#define COLX_DEFINE(form, name, op, enc, code, flag)                                  \
  uint32_t name##_one_len(COLX_PARAMS_##form) {                                       \
    return one_length<Unsigned<code_width(code) / 8>>(COLX_ARGS_##form);              \
  }                                                                                   \
  uint32_t name##_cla_stride_one(COLX_PARAMS_##form) {                                \
    return cumulative<Unsigned<code_width(code) / 8>>(COLX_ARGS_##form);              \
  }                                                                                   \
  uint32_t name(COLX_PARAMS_##form) {                                                 \
    return decode_by_layout(COLX_ARGS_##form, name##_one_len, name##_cla_stride_one); \
  }
COLX_DECODE_SYMBOL(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
