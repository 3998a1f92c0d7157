// Set kernels: the rows that hold one of a set of codes. The set is a bit per code value, the
// colx_cv_bits of the third argument, with room for every code of the width.
//
// A scan with rules of its own: nulls are ignored, and an applied selection sets COLX_OUT_SET.
// Sixteen rows are looked up at once: each gets the set's byte that has its code's bit. Up to 3
// bits the set has a single byte; up to 7 the whole set stands in a vector, at 8 in two, and
// shuffles fetch the bytes; above, they are loaded one by one.
#include <utility>

#include "kernels/bitvec/bit_tables.h"
#include "kernels/decode/one_bit_stream.h"
#include "kernels/decode/packed_code.h"
#include "kernels/decode/unpack_lanes.h"
#include "kernels/frame/kernels.h"
#include "kernels/frame/scan_frame.h"
#include "kernels/frame/word_bits.h"

namespace colx {
namespace {

constexpr ScanRules set_rules = {false, COLX_OUT_SET};

template <unsigned Value>
using Constant = std::integral_constant<unsigned, Value>;

COLX_INLINE bool in_set(const uint64_t* set, uint32_t code) {
  return set[code >> 6] >> (code & 63) & 1;
}

// Vectors that the whole set takes.
constexpr unsigned set_vectors(unsigned width) {
  return width <= 7 ? 1 : width == 8 ? 2 : 0;
}

template <unsigned width>
struct SetRows {
  using Lanes = CodeLanes<width>;
  static constexpr unsigned lane = Lanes::lane;
  static constexpr uint32_t rows_per_step = lane == 2 ? 32 : 16;
  static constexpr unsigned bytes_of_16 = 2 * width;

  struct Selected {
    const uint8_t* codes;
    const uint64_t* set;
  };

  struct State {
    const uint8_t* codes;  // of the next step
    Selected single;
    Vec set[2];
  };

  COLX_INLINE static State begin(const ScanInput& in, const uint64_t* const& set) {
    State state = {in.data, {in.data, set}, {zeros(), zeros()}};
    if constexpr (width <= 3)
      state.set[0] = splat<1>(static_cast<uint8_t>(set[0]));
    else if constexpr (width < 7)
      state.set[0] = load_low_half(set);
    if (in.rows < rows_per_step) return state;  // a vector is read for steps alone
    if constexpr (width == 7 || width == 8) state.set[0] = load(set);
    if constexpr (width == 8) state.set[1] = load(set + 2);
    return state;
  }

  // Of sixteen rows a vector of lanes.
  template <unsigned v>
  COLX_INLINE static Vec codes_at(const uint8_t* codes) {
    return Lanes::template at<v % 2>(codes + v / 2 * Lanes::group_bytes);
  }

  // A byte a row of numbers up to 127.
  template <class Numbers>
  COLX_INLINE static Vec row_bytes(const Numbers& numbers) {
    const Vec low = numbers(Constant<0>{});
    const Vec high = numbers(Constant<1>{});
    if constexpr (lane == 2) return narrowed<2>(low, high);
    return narrowed<2>(narrowed<4>(low, high),
                       narrowed<4>(numbers(Constant<2>{}), numbers(Constant<3>{})));
  }

  // The byte of the set for each of sixteen codes, by its number. A control with the top bit makes
  // a 0: numbers beyond the vector get it by addition.
  COLX_INLINE static Vec shuffled(const State& state, Vec numbers) {
    if constexpr (set_vectors(width) == 1) return shuffle(state.set[0], numbers);
    const Vec beyond = splat<1>(0x70);
    const Vec low = shuffle(state.set[0], sum<1>(numbers, beyond));
    return either(low, shuffle(state.set[1], sum<1>(differ(numbers, splat<1>(0x10)), beyond)));
  }

  template <size_t... row>
  COLX_INLINE static Vec loaded(const uint8_t* set, const uint8_t* codes,
                                std::index_sequence<row...>) {
    alignas(16) Unsigned<lane> numbers[16];
    store_aligned(numbers, shifted_right<lane, 3>(codes_at<0>(codes)));
    store_aligned(numbers + 16 / lane, shifted_right<lane, 3>(codes_at<1>(codes)));
    if constexpr (lane == 4) {
      store_aligned(numbers + 8, shifted_right<lane, 3>(codes_at<2>(codes)));
      store_aligned(numbers + 12, shifted_right<lane, 3>(codes_at<3>(codes)));
    }
    Vec bytes = zeros();
    ((bytes = with_lane<1, row>(bytes, set[numbers[row]])), ...);
    return bytes;
  }

  // A bit a row for sixteen rows: the set's byte for each code, and in it the code's bit.
  COLX_INLINE static uint32_t looked_up(const State& state, const uint8_t* codes) {
    Vec bytes, places;
    if constexpr (set_vectors(width) != 0) {
      const Vec numbers =
          width == 8 ? load(codes) : row_bytes([&](auto v) { return codes_at<v>(codes); });
      if constexpr (width <= 3) {
        bytes = state.set[0];
        places = numbers;
      } else {
        bytes = shuffled(state, both(shifted_right<2, 3>(numbers), splat<1>(0x1F)));
        places = both(numbers, splat<1>(0x07));
      }
    } else {
      bytes = loaded(bytes_at(state.single.set, 0), codes, std::make_index_sequence<16>{});
      places = row_bytes([&](auto v) { return both(codes_at<v>(codes), splat<lane>(0x07)); });
    }
    const Vec bit = shuffle(load(colx_bit_possible), places);
    return top_bits(equal<1>(both(bytes, bit), bit));
  }

  COLX_INLINE static uint32_t step(State& state, uint8_t* out) {
    using Unit = Unsigned<rows_per_step / 8>;
    uint32_t bits = looked_up(state, state.codes);
    if constexpr (rows_per_step == 32) bits |= looked_up(state, state.codes + bytes_of_16) << 16;
    prefetch(state.codes + stream_prefetch_bytes);
    state.codes += rows_per_step / 16 * bytes_of_16;
    store_as<Unit>(out, static_cast<Unit>(bits));
    return population(static_cast<Unit>(bits));
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
