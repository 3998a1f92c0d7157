// Columns of fixed rows: 1 to 8 bytes each, back to back, of one width. A row narrower than its
// kernel's word stands on top of it with zeros below, and so does its constant:
//
//   3-byte rows, 32-bit word   stored  12 34 56|AB CD EF|..   lanes  12 34 56 00  AB CD EF 00  ..
//
// A step's 16-byte loads lie a load's whole rows apart. Reads reach 4, 6, 4 and 2 bytes past the
// last row at 24, 40, 48 and 56 bits, and nowhere past it at 8, 16, 32 and 64.
//
// Bytes of a constant beyond the row's width ought to be zeros. Steps, selective scans and the
// equality tail of 32-bit words compare them with the zeros of the word; the other tails drop them.
#pragma once

#include "kernels/predicate/dynp_tables.h"
#include "kernels/predicate/value_rows.h"

namespace colx {

// Where a kernel learns its rows' width: one byte of colx_enc_ctx_width, of the record in the
// constant's place for one or of the column's own. Words of 8 and 16 bits have rows of their width.
enum class WidthSource { args, src };

constexpr bool has_narrow_rows(unsigned word_bits) {
  return word_bits >= 32;
}

COLX_INLINE uint32_t width_bits_of(const colx_enc_ctx* enc) {
  return static_cast<uint8_t>(enc->colx_enc_ctx_width);
}

COLX_INLINE uint32_t args_width_bits(const ScanArgs& args) {
  return width_bits_of(static_cast<const colx_enc_ctx*>(args.lo[3]));
}

template <unsigned word_bits, WidthSource source>
COLX_INLINE uint32_t row_width_bits(const ScanArgs& args, const colx_cv* src) {
  if constexpr (!has_narrow_rows(word_bits)) return word_bits;
  if constexpr (source == WidthSource::src) return width_bits_of(src->colx_cv_encoding_context);
  return args_width_bits(args);
}

// The shuffle from stored rows of 3, 5, 6 and 7 bytes, or of a whole word, to lanes: dynp groups of
// rows of that length.
template <unsigned word_bits>
COLX_INLINE const Mask& fixed_shuffle(uint32_t width_bits) {
  switch (width_bits) {
    case 24:
      return dynp_tables<4>.shuffles[0xAA];
    case 40:
      return dynp_tables<8>.shuffles[0x44];
    case 48:
      return dynp_tables<8>.shuffles[0x55];
    case 56:
      return dynp_tables<8>.shuffles[0x66];
    default:
      return byte_swap_mask<word_bits / 8>;
  }
}
static_assert(begins(dynp_tables<8>.shuffles[0x55], {0x80, 0x80, 5, 4, 3, 2, 1, 0,  //
                                                     0x80, 0x80, 11, 10, 9, 8, 7, 6}));
static_assert(begins(dynp_tables<8>.shuffles[0x66], {0x80, 6, 5, 4, 3, 2, 1, 0,  //
                                                     0x80, 13, 12, 11, 10, 9, 8, 7}));

// One row by itself, from a word that may reach past it.
template <unsigned word_bits>
struct FixedRow {
  const uint8_t* data;
  uint32_t bytes;
  uint64_t mask;  // what of 64 bits is the row's

  COLX_INLINE static FixedRow of(const uint8_t* data, uint32_t width_bits) {
    return {data, width_bits >> 3, ~uint64_t{0} << (-width_bits & 63)};
  }

  COLX_INLINE uint64_t value(size_t offset) const {
    return stored_value<word_bits / 8>(data + offset) & mask;
  }
};

// How a step sees its rows: whole words in stored order, whole words as numbers, or rows narrower
// than the word, as numbers.
enum class FixedLanes { stored, numbers, narrow };

template <unsigned word_bits, FixedLanes form, WidthSource source, unsigned step_vectors>
struct FixedColumn {
  static constexpr unsigned lane = word_bits / 8;
  static constexpr unsigned vectors_per_step = step_vectors;
  static constexpr uint32_t steps_at_once = lane == 2 ? 1 : 2;
  static constexpr bool stored_lanes = form == FixedLanes::stored;
  static constexpr bool spare_byte = form == FixedLanes::narrow;

  struct Rows {
    const uint8_t* next;
    FixedRow<word_bits> single;
    uint32_t load_bytes;  // of whole rows
    Vec shuffle;
  };

  COLX_INLINE static Rows open(const ScanInput& in, const ScanArgs& args) {
    const uint32_t width_bits = row_width_bits<word_bits, source>(args, in.src);
    return {in.data, FixedRow<word_bits>::of(in.data, width_bits), 16 / lane * (width_bits >> 3),
            load(fixed_shuffle<word_bits>(width_bits))};
  }

  struct Vectors {
    const uint8_t* rows;
    uint32_t load_bytes;
    Vec shuffle;
  };

  template <unsigned n>
  COLX_INLINE static Vectors next_vectors(Rows& rows) {
    const uint32_t load_bytes = form == FixedLanes::narrow ? rows.load_bytes : 16;
    const Vectors next = {rows.next, load_bytes, rows.shuffle};
    rows.next += size_t{n} * load_bytes;
    prefetch(next.rows + stream_prefetch_bytes);
    if constexpr (n > 4) prefetch(next.rows + stream_prefetch_bytes + 64);
    return next;
  }

  template <unsigned v>
  COLX_INLINE static Vec lanes(const Vectors& vectors) {
    const Vec stored = load(vectors.rows + size_t{v} * vectors.load_bytes);
    if constexpr (form == FixedLanes::stored) return stored;
    if constexpr (form == FixedLanes::numbers) return lanes_byte_reversed<lane>(stored);
    return shuffle(stored, vectors.shuffle);
  }

  COLX_INLINE static uint64_t value(const Rows& rows, uint32_t r) {
    return rows.single.value(size_t{r} * rows.single.bytes);
  }

  template <Op op>
  COLX_INLINE static uint64_t tail_constant(const Rows& rows, uint64_t c) {
    constexpr bool keeps_all = word_bits == 32 && (op == Op::eq || op == Op::ne);
    return keeps_all ? c : c & rows.single.mask;
  }

  // Selective scans take the width from `args`, whatever `source` says.
  using Walk = FixedRow<word_bits>;

  COLX_INLINE static Walk walk(const uint8_t* data, const ScanArgs& args, const colx_cv* src) {
    return Walk::of(data, row_width_bits<word_bits, WidthSource::args>(args, src));
  }

  COLX_INLINE static uint64_t value(const Walk& walk, uint32_t r) {
    return walk.value(r * walk.bytes);  // a product of 32 bits
  }
};

// How the kernels without codes scan; fixed_tz.cpp has the other way.
struct FixedByValue {
  template <Op op, class Column>
  using Rows = ValueRows<op, Column>;
  static constexpr WidthSource width_source = WidthSource::args;
  static constexpr unsigned vectors_per_step = 8;
};

template <class Way, unsigned word_bits, FixedLanes form>
using FixedColumnOf = FixedColumn<word_bits, form, Way::width_source, Way::vectors_per_step>;

// A full scan of a column whose rows fill their word or do not. Equality takes whole words as they
// are stored.
template <class Way, Op op, unsigned word_bits>
COLX_INLINE uint32_t scan_fixed(colx_cv* res, colx_cv* src, const ScanArgs& args, colx_kctx* kctx,
                                const DecompressionTexts& texts) {
  constexpr FixedLanes form = tests_order(test_of(op, NullCodes::none)) && word_bits > 8
                                  ? FixedLanes::numbers
                                  : FixedLanes::stored;
  using Whole = FixedColumnOf<Way, word_bits, form>;
  using Narrow = FixedColumnOf<Way, word_bits, FixedLanes::narrow>;
  const ScanInput in = open_scan(res, src, kctx, texts);
  uint32_t count;
  if (!has_narrow_rows(word_bits) ||
      row_width_bits<word_bits, Way::width_source>(args, src) == word_bits)
    count = scan_rows<typename Way::template Rows<op, Whole>>(in, args);
  else
    count = scan_rows<typename Way::template Rows<op, Narrow>>(in, args);
  return close_scan(res, src, kctx, in, count, predicate_rules);
}

template <class Way, Op op, unsigned word_bits>
COLX_INLINE uint32_t scan_fixed_selected(colx_cv* res, colx_cv* src, const ScanArgs& args,
                                         colx_kctx* kctx, const DecompressionTexts& texts) {
  using Column = FixedColumnOf<Way, word_bits, FixedLanes::narrow>;
  return scan_selected<typename Way::template Rows<op, Column>>(res, src, args, kctx, texts);
}

#define COLX_DEFINE_FIXED(Way, form, name, op, code)                                        \
  uint32_t name(COLX_PARAMS_##form) {                                                       \
    if (wants_selective(kctx)) return name##_selective(COLX_ARGS_##form);                   \
    return scan_fixed<Way, Op::op, code_width(code)>(res, src, COLX_CONSTANTS_##form, kctx, \
                                                     COLX_DECOMPRESSION_TEXTS(#name));      \
  }                                                                                         \
  uint32_t name##_selective(COLX_PARAMS_##form) {                                           \
    return scan_fixed_selected<Way, Op::op, code_width(code)>(                              \
        res, src, COLX_CONSTANTS_##form, kctx, COLX_DECOMPRESSION_TEXTS(#name));            \
  }

}  // namespace colx
