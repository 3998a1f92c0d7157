// Dictionary decode: pointer, length and indicator for each row of a list. The arrays of the result
// have room for all of them, and the list has a row at least: the position is that of its entry
// count - 1 in 32 bits. Run-length encoding is not looked at.
#include "kernels/decode/dictionary.h"
#include "kernels/decode/inner_forms.h"
#include "kernels/decode/listed_codes.h"
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
  colx_memset_ub2(list.lengths, static_cast<uint16_t>(length), list.count);
  const uint8_t* const codes = stored_rows(src, kctx, texts);
  const uint8_t* const symbols = bytes_at(enc->colx_enc_ctx_symbols, 0);
  const Vec base = splat<8>(reinterpret_cast<uintptr_t>(symbols));
  const Vec lengths = splat<8>(length);
  uint32_t i = 0;
  for (; list.count - i >= 4; i += 4) {
    const Vec four = ListedCodes<width>::four(codes, list.rows + i);
    uint8_t* const to = list.values + size_t{i} * 8;
    store(to, sum<8>(base, whole_product(widened_low<4>(four), lengths)));
    store(to + 16, sum<8>(base, whole_product(widened_high<4>(four), lengths)));
  }
  for (; i < list.count; ++i)
    store_as(list.values + size_t{i} * 8, symbols + code_at<width>(codes, list.rows[i]) * length);
  close_decode(res, kctx);
}

// Entries of the offsets and the entries behind them, for four codes, in lanes of 4 bytes.
struct FourEntries {
  Vec begins;
  Vec ends;

  COLX_INLINE static FourEntries of(const uint8_t* offsets, Vec codes) {
    const uint64_t low = low_half(codes), high = high_half(codes);
    const auto pair = [offsets](uint64_t two) {
      const Vec first = load_low_half(offsets + (two & UINT32_MAX) * 4);
      return lanes_byte_reversed<4>(with_high_half_at(first, offsets + (two >> 32) * 4));
    };
    const Vec a = pair(low), b = pair(high);
    return {low_halves(a, b), high_halves(a, b)};
  }
};

// The low halves of lanes of 4 bytes, in the low half of the vector.
constexpr Mask low_words = {
    {0, 1, 4, 5, 8, 9, 12, 13, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80}};

// Where the listed rows' values go. Lengths are cut to their low 16 bits, and what they are then
// says whether a value is NULL.
template <unsigned width>
struct CumulativeRows {
  ListedRows list;
  const uint8_t* codes;
  const uint8_t* symbols;
  const uint8_t* offsets;

  // Stores four pointers; returns the lengths in the low half.
  COLX_INLINE Vec put_four(uint32_t i) const {
    const auto entries = FourEntries::of(offsets, ListedCodes<width>::four(codes, list.rows + i));
    const Vec base = splat<8>(reinterpret_cast<uintptr_t>(symbols));
    store(list.values + size_t{i} * 8, sum<8>(base, widened_low<4>(entries.begins)));
    store(list.values + size_t{i} * 8 + 16, sum<8>(base, widened_high<4>(entries.begins)));
    return shuffle(difference<4>(entries.ends, entries.begins), load(low_words));
  }

  COLX_INLINE void put_one(uint32_t i) const {
    const uint8_t* const entry = offsets + size_t{code_at<width>(codes, list.rows[i])} * 4;
    const uint32_t begin = load_big_endian<uint32_t>(entry);
    const auto length = static_cast<uint16_t>(load_big_endian<uint32_t>(entry + 4) - begin);
    store_as(list.values + size_t{i} * 8, symbols + begin);
    store_as(list.lengths + size_t{i} * 2, length);
    store_as<uint16_t>(list.flags + size_t{i} * 2, length == 0 ? null_indicator : 0);
  }

  COLX_INLINE void put_all() const {
    uint32_t i = 0;
    for (; list.count - i >= 8; i += 8) {
      const Vec low = put_four(i);
      const Vec lengths = alternated_low<8>(low, put_four(i + 4));
      store(list.lengths + size_t{i} * 2, lengths);
      const Vec flags = both(equal<2>(lengths, zeros()), splat<2>(null_indicator));
      store(list.flags + size_t{i} * 2, flags);
    }
    for (; i < list.count; ++i) put_one(i);
  }
};

template <unsigned width>
COLX_INLINE void decode_cumulative(colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                                   const DecompressionTexts& texts) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  const uint8_t* const codes = stored_rows(src, kctx, texts);
  const CumulativeRows<width> rows = {ListedRows(res, kctx), codes,
                                      bytes_at(enc->colx_enc_ctx_symbols, 0),
                                      bytes_at(enc->colx_enc_ctx_cla, 0)};
  rows.put_all();
  close_decode(res, kctx);
}

}  // namespace

extern "C" {

#define COLX_DEFINE_LAYOUTS(form, name, width)                                   \
  uint32_t name##_one_len(COLX_PARAMS_##form) {                                  \
    decode_one_length<width>(COLX_ARGS_##form, COLX_DECOMPRESSION_TEXTS(#name)); \
    return COLX_DONE;                                                            \
  }                                                                              \
  uint32_t name##_cla_stride_one(COLX_PARAMS_##form) {                           \
    decode_cumulative<width>(COLX_ARGS_##form, COLX_DECOMPRESSION_TEXTS(#name)); \
    return COLX_DONE;                                                            \
  }
#define COLX_DEFINE(form, name, op, enc, code, flag)                                  \
  COLX_DEFINE_LAYOUTS(form, name, code_width(code))                                   \
  uint32_t name(COLX_PARAMS_##form) {                                                 \
    return decode_by_layout(COLX_ARGS_##form, name##_one_len, name##_cla_stride_one); \
  }
COLX_DECODE(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
