// The frame around every scan, once for all row policies. A kernel is its row policy inside this
// frame; what the frame does is done per call, never per row.
//
// A row policy of full scans, a struct without data, has
//   rows_per_step            rows that one step covers; a multiple of 8
//   State                    what the loops keep: bounds in registers, cursors
//   begin(in, args)          makes it; reads the constants, or what else a family compares with
//   step(state, out)         tests the next rows_per_step rows, stores their bits at `out` without
//                            reading it, returns how many are set
//   row(state, r)            tests row r; called for ascending r behind the last step
// and may have
//   finds_nothing(state)     bounds that no row can meet: nothing is read
//   steps_at_once            then step<n>(state, out) does n steps, that many or one
//   Tables                   what steps look up; begin(in, args, tables) fills it. A state that is
//                            looked up in would not stay in registers
//
// A row policy of selective scans has
//   Selected, begin_selected(data, args, src)
//   selected_row(state, r)   tests row r; called for ascending r if it takes a state to change
#pragma once

#include <cstring>

#include "kernels/bitvec/selected_words.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/decompression.h"
#include "kernels/frame/platform.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

namespace colx {

// Arrays of pointers to constants; `hi` is null for one-sided operations.
struct ScanArgs {
  const void* const* lo;
  const void* const* hi;
};
#define COLX_CONSTANTS_one_sided \
  colx::ScanArgs {               \
    args, nullptr                \
  }
#define COLX_CONSTANTS_range \
  colx::ScanArgs {           \
    lo_args, hi_args         \
  }

// What the prologue settles. Under run-length encoding rows are runs and `out` has a bit per run.
struct ScanInput {
  const uint8_t* data;
  uint64_t* out;
  uint32_t rows;
  const colx_cv* src;
};

// What families do differently at the end of a scan.
struct ScanRules {
  bool ands_nulls;
  uint32_t selected_flag;  // ORed into colx_kctx_flags_out when a selection was applied
};
inline constexpr ScanRules predicate_rules = {true, COLX_OUT_SCAN_SELECTED};

COLX_INLINE bool wants_selective(const colx_kctx* kctx) {
  return kctx && kctx->colx_kctx_selection && kctx->colx_kctx_flags & COLX_KCTX_SELECTIVE;
}

ScanInput open_scan(const colx_cv* res, const colx_cv* src, const colx_kctx* kctx,
                    const DecompressionTexts& texts);

// ANDs nulls and selection, stores the count, returns the status; under run-length encoding the
// status is that of the host's expansion.
uint32_t close_scan(colx_cv* res, colx_cv* src, colx_kctx* kctx, const ScanInput& in,
                    uint32_t count, const ScanRules& rules);

constexpr size_t words_of(uint32_t rows) {
  return (size_t{rows} + 63) >> 6;
}

// Clears the output from row `done`, a multiple of 8, to the end of its last word.
inline void clear_rest(uint64_t* out, uint32_t rows, uint32_t done) {
  std::memset(bytes_at(out, done >> 3), 0, words_of(rows) * 8 - (size_t{done} >> 3));
}

COLX_INLINE void set_bit(uint64_t* out, uint32_t row) {
  out[row >> 6] |= uint64_t{1} << (row & 63);
}

template <class Rows>
COLX_INLINE uint32_t scan_from(const ScanInput& in, typename Rows::State state) {
  uint32_t steps = in.rows / Rows::rows_per_step;
  uint32_t rows = in.rows;
  if constexpr (requires { Rows::finds_nothing(state); }) {
    if (Rows::finds_nothing(state)) steps = rows = 0;
  }
  const uint32_t done = steps * Rows::rows_per_step;
  uint8_t* out = bytes_at(in.out, 0);
  uint32_t count = 0;
  constexpr size_t bytes_per_step = Rows::rows_per_step / 8;
  if constexpr (requires { Rows::steps_at_once; }) {
    constexpr uint32_t n = Rows::steps_at_once;
    for (; steps >= n; steps -= n, out += n * bytes_per_step)
      count += Rows::template step<n>(state, out);
    for (; steps != 0; --steps, out += bytes_per_step) count += Rows::template step<1>(state, out);
  } else {
    for (; steps != 0; --steps, out += bytes_per_step) count += Rows::step(state, out);
  }
  clear_rest(in.out, in.rows, done);
  for (uint32_t r = done; r < rows; ++r) {
    if (Rows::row(state, r)) {
      set_bit(in.out, r);
      ++count;
    }
  }
  return count;
}

template <class Rows, class Args>
COLX_INLINE uint32_t scan_rows(const ScanInput& in, const Args& args) {
  if constexpr (requires { typename Rows::Tables; }) {
    typename Rows::Tables tables;
    return scan_from<Rows>(in, Rows::begin(in, args, tables));
  } else {
    return scan_from<Rows>(in, Rows::begin(in, args));
  }
}

// A full scan: all rows of `res` are tested, then nulls and selection are ANDed in.
template <class Rows>
COLX_INLINE uint32_t scan(colx_cv* res, colx_cv* src, const ScanArgs& args, colx_kctx* kctx,
                          const DecompressionTexts& texts) {
  const ScanInput in = open_scan(res, src, kctx, texts);
  return close_scan(res, src, kctx, in, scan_rows<Rows>(in, args), predicate_rules);
}

// What a selective scan shares with its siblings, and the rows to visit.
struct SelectedRows {
  const uint8_t* data;
  uint64_t* out;
  SelectedWords words;
};

// Rows from `src`, bits from `res`; run-length encoding is not consulted. Clears the output and
// sets `selected_flag` before any row is read.
SelectedRows open_selected(const colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                           uint32_t selected_flag, const DecompressionTexts& texts);

// ANDs the nulls if the rules say so, stores the count and returns the status. The selection is
// not ANDed: only its rows were tested.
uint32_t close_selected(colx_cv* res, const colx_cv* src, uint64_t* out, uint32_t count,
                        const ScanRules& rules);

template <class Rows>
COLX_INLINE uint64_t selected_bit(typename Rows::Selected& state, uint32_t base, uint32_t bit) {
  return uint64_t{Rows::selected_row(state, base + bit)} << bit;
}

// The hits among the rows of a word that has any.
template <class Rows, Visit visit>
COLX_INLINE uint64_t hits_of(typename Rows::Selected& state, uint64_t word, uint32_t base) {
  if (word == 0) __builtin_unreachable();
  uint64_t hits = 0;
  if constexpr (visit == Visit::ends_first) {
    const uint32_t highest = highest_set_bit_apart(word);
    hits = selected_bit<Rows>(state, base, lowest_set_bit_apart(word)) |
           selected_bit<Rows>(state, base, highest);
    word &= (word - 1) & ~(uint64_t{1} << highest);
  }
  for (; word != 0; word &= word - 1)
    hits |= selected_bit<Rows>(state, base, lowest_set_bit_apart(word));
  return hits;
}

// The next word is read ahead: so a branch that erred on the rows of this one is found out sooner.
template <class Rows, Visit visit>
COLX_INLINE uint32_t test_listed(uint64_t* out, typename Rows::Selected& state,
                                 const WordList& list, uint32_t listed) {
  uint32_t count = 0;
  uint64_t next = list.words[0];
  for (uint32_t k = 0; k < listed; ++k) {
    const uint32_t number = list.numbers[k];
    const uint64_t word = next;
    next = list.words[k + 1];
    const uint64_t hits = hits_of<Rows, visit>(state, word, 64 * number);
    out[number] = hits;
    count += population(hits);
  }
  return count;
}

// Policies that can test rows in any order.
template <class Rows>
inline constexpr bool in_any_order = requires(const typename Rows::Selected& state) {
  Rows::selected_row(state, uint32_t{});
};

template <class Rows>
COLX_INLINE uint32_t test_selected(SelectedRows& in, typename Rows::Selected& state) {
  WordList list;
  uint32_t count = 0;
  while (const uint32_t listed = list_words(in.words, list)) {
    if (in_any_order<Rows> && arrange(list, listed) == Visit::ends_first)
      count += test_listed<Rows, Visit::ends_first>(in.out, state, list, listed);
    else
      count += test_listed<Rows, Visit::ascending>(in.out, state, list, listed);
  }
  return count;
}

// A selective scan: only the selection's rows are read and tested.
template <class Rows>
COLX_INLINE uint32_t scan_selected(colx_cv* res, colx_cv* src, const ScanArgs& args,
                                   colx_kctx* kctx, const DecompressionTexts& texts) {
  SelectedRows in = open_selected(res, src, kctx, predicate_rules.selected_flag, texts);
  typename Rows::Selected state = Rows::begin_selected(in.data, args, src);
  return close_selected(res, src, in.out, test_selected<Rows>(in, state), predicate_rules);
}

}  // namespace colx
