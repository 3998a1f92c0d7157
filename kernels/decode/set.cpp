// Set kernels: the rows that hold one of a set of codes. The set is a bit per code value, the
// colx_cv_bits of the third argument, with room for every code of the width.
//
// A scan with rules of its own: nulls are ignored, and an applied selection sets COLX_OUT_SET. Up
// to 7 bits the whole set stands in a vector, and two shuffles look up sixteen rows; above, codes
// are unpacked a block at a time and looked up row by row.
#include "kernels/bitvec/bit_tables.h"
#include "kernels/decode/one_bit_stream.h"
#include "kernels/decode/packed_code.h"
#include "kernels/decode/unpack_lanes.h"
#include "kernels/frame/kernels.h"
#include "kernels/frame/scan_frame.h"

namespace colx {
namespace {

constexpr ScanRules set_rules = {false, COLX_OUT_SET};

COLX_INLINE bool in_set(const uint64_t* set, uint32_t code) {
  return set[code >> 6] >> (code & 63) & 1;
}

constexpr bool fits_vector(unsigned width) {
  return width <= 7;
}

template <unsigned width>
struct SetRows {
  using Lanes = CodeLanes<width>;
  static constexpr uint32_t rows_per_step = 2 * Lanes::group_rows >= 32 ? 32 : 16;
  static constexpr unsigned groups = rows_per_step / Lanes::group_rows;

  struct Selected {
    const uint8_t* codes;
    const uint64_t* set;
  };

  struct State {
    const uint8_t* codes;  // of the next step
    Selected single;
    Vec set;  // up to 7 bits: all of it
  };

  COLX_INLINE static State begin(const ScanInput& in, const uint64_t* const& set) {
    Vec whole = zeros();
    if (width == 7 && in.rows >= rows_per_step) whole = load(set);  // read for rows alone
    if constexpr (width < 7) whole = load_low_half(set);
    return {in.data, {in.data, set}, whole};
  }

  // Sixteen rows: the set's byte for each code, and in it the code's bit.
  COLX_INLINE static uint32_t looked_up(const uint8_t* group, Vec set) {
    const Vec codes = narrowed<2>(Lanes::template at<0>(group), Lanes::template at<1>(group));
    const Vec byte_number = both(shifted_right<2, 3>(codes), splat<1>(0x0F));
    const Vec bit = shuffle(load(colx_bit_possible), both(codes, splat<1>(0x07)));
    return top_bits(equal<1>(both(shuffle(set, byte_number), bit), bit));
  }

  COLX_INLINE static uint32_t step(State& state, uint8_t* out) {
    using Unit = Unsigned<rows_per_step / 8>;
    Unit bits = 0;
    if constexpr (fits_vector(width)) {
      for (unsigned g = 0; g < groups; ++g)
        bits |= looked_up(state.codes + g * Lanes::group_bytes, state.set) << g * Lanes::group_rows;
    } else {
      using Number = Unsigned<Lanes::lane>;
      alignas(16) Number codes[rows_per_step];
      for (unsigned g = 0; g < groups; ++g) {
        const uint8_t* const group = state.codes + g * Lanes::group_bytes;
        store_aligned(codes + g * Lanes::group_rows, number_lanes<0>(group));
        store_aligned(codes + g * Lanes::group_rows + Lanes::rows, number_lanes<1>(group));
      }
#pragma GCC unroll 32
      for (unsigned r = 0; r < rows_per_step; ++r)
        bits |= static_cast<Unit>(in_set(state.single.set, codes[r])) << r;
    }
    prefetch(state.codes + stream_prefetch_bytes);
    state.codes += groups * Lanes::group_bytes;
    store_as<Unit>(out, bits);
    return population(bits);
  }

  template <unsigned vector>
  COLX_INLINE static Vec number_lanes(const uint8_t* group) {
    return Lanes::template at<vector>(group);
  }

  COLX_INLINE static bool selected_row(const Selected& single, uint32_t r) {
    return in_set(single.set, code_at<width>(single.codes, r));
  }

  COLX_INLINE static bool row(const State& state, uint32_t r) {
    return selected_row(state.single, r);
  }
};

template <unsigned width>
COLX_INLINE uint32_t set_rows(colx_cv* res, colx_cv* src, const colx_cv* other, colx_kctx* kctx,
                              const DecompressionTexts& texts) {
  const ScanInput in = open_scan(res, src, kctx, texts);
  const uint32_t count = scan_rows<SetRows<width>>(in, other->colx_cv_bits);
  return close_scan(res, src, kctx, in, count, set_rules);
}

template <unsigned width>
COLX_INLINE uint32_t set_selected(colx_cv* res, colx_cv* src, const colx_cv* other, colx_kctx* kctx,
                                  const DecompressionTexts& texts) {
  SelectedRows in = open_selected(res, src, kctx, set_rules.selected_flag, texts);
  typename SetRows<width>::Selected single = {in.data, other->colx_cv_bits};
  const uint32_t count = test_selected<SetRows<width>>(in, single);
  return close_selected(res, src, in.out, count, set_rules);
}

// Which of the two one-bit codes are wanted.
enum : uint64_t { no_code = 0, code_0 = 1, code_1 = 2, both_codes = 3 };

COLX_INLINE uint64_t wanted_codes(const colx_cv* other) {
  return other->colx_cv_bits[0] & 3;
}

// One-bit codes are the answer themselves. Both wanted: whole words are filled, and the bits behind
// the rows stay set.
template <>
COLX_INLINE uint32_t set_rows<1>(colx_cv* res, colx_cv* src, const colx_cv* other, colx_kctx* kctx,
                                 const DecompressionTexts& texts) {
  const ScanInput in = open_scan(res, src, kctx, texts);
  const uint64_t wanted = wanted_codes(other);
  uint32_t count = 0;
  if (wanted == no_code) {
    clear_rest(in.out, in.rows, 0);
  } else if (wanted == both_codes) {
    std::memset(in.out, 0xFF, words_of(in.rows) * 8);
    count = in.rows;
  } else {
    count = one_bit_codes(in.out, in.data, in.rows, wanted == code_0);
  }
  return close_scan(res, src, kctx, in, count, set_rules);
}

// With both codes wanted the selection's whole words are the answer.
template <>
COLX_INLINE uint32_t set_selected<1>(colx_cv* res, colx_cv* src, const colx_cv* other,
                                     colx_kctx* kctx, const DecompressionTexts& texts) {
  SelectedRows in = open_selected(res, src, kctx, set_rules.selected_flag, texts);
  const uint64_t wanted = wanted_codes(other);
  uint32_t count = 0;
  if (wanted == both_codes) {
    const uint64_t* const selection = kctx->colx_kctx_selection;
    colx_lbiwvand_dydi(in.out, &count, selection, selection, src->colx_cv_num_of_rows);
  } else if (wanted != no_code) {
    typename SetRows<1>::Selected single = {in.data, other->colx_cv_bits};
    count = test_selected<SetRows<1>>(in, single);
  }
  return close_selected(res, src, in.out, count, set_rules);
}

}  // namespace

extern "C" {

#define COLX_DEFINE(form, name, op, enc, code, flag)                                          \
  uint32_t name(COLX_PARAMS_##form) {                                                         \
    if (wants_selective(kctx)) return name##_selective(COLX_ARGS_##form);                     \
    return set_rows<code_width(code)>(COLX_ARGS_##form, COLX_DECOMPRESSION_TEXTS(#name));     \
  }                                                                                           \
  uint32_t name##_selective(COLX_PARAMS_##form) {                                             \
    return set_selected<code_width(code)>(COLX_ARGS_##form, COLX_DECOMPRESSION_TEXTS(#name)); \
  }
COLX_SET(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
