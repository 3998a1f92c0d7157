// From bits per run to bits per row: each run's bit is given to all rows of the run.
//
// The result is written once, from its first word to its last. All that counts are the rows where
// it changes sides, the `flips`: where a run is hit and the one before is not, or the other way
// round. Between two flips lie words of one side. An inverted form does the same with the sides
// exchanged: the result begins with every row set and the runs that are not hit are taken out.
//
//   run     0   1   2   3   4      runs 1, 2 and 4 hit: flips at the first rows of runs 1, 3 and
//   hit     0   1   1   0   1      4, and behind run 4
//   rows    000 111 111 000 1111
//
// Rows behind the last run keep the side that the form began with. Exactly the words of the
// result's rows are written. Rows behind the last word are cut off.
#pragma once

#include <bit>
#include <cstring>

#include "kernels/decode/run_lengths.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/scan_frame.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

namespace colx {

// What the result holds before the first flip: no row, or every row.
enum class Begin : uint64_t { clear = 0, set = ~uint64_t{0} };

// The writer of a result, fed with flips in ascending order.
struct FlippedRows {
  // A flip stores whole vectors of its side without asking how many words there are; what went too
  // far is overwritten later. Behind the flip's own word, `reach` bytes may be touched.
  static constexpr size_t reach = 64;

  uint8_t* begin;
  uint8_t* end;
  uint8_t* word;     // where `pending` goes
  uint64_t pending;  // the word of the last flip: what lies behind the flip is on the side after it
  uint64_t side;     // of the rows behind the last flip, all bits
  uint32_t between;  // rows from each odd flip to the next even one

  COLX_INLINE static FlippedRows from(uint64_t* bits, uint32_t rows, Begin side) {
    uint8_t* const begin = bytes_at(bits, 0);
    const uint64_t all = static_cast<uint64_t>(side);
    return {begin, begin + words_of(rows) * 8, begin, all, all, 0};
  }

  // Words up to `target` are done, and `pending` is that of `target`.
  COLX_INLINE void move_near_end(uint8_t* target) {
    if (target == word) return;
    store_as(word, pending);
    std::memset(word + 8, static_cast<uint8_t>(side), static_cast<size_t>(target - word) - 8);
    word = target;
    pending = side;
  }

  COLX_INLINE void move(uint8_t* target) {
    store_as(word, pending);
    const Vec sides = splat<8>(side);
    uint8_t* at = word + 8;
    do {
      for (unsigned k = 0; k < reach; k += 16) store(at + k, sides);
      at += reach;
    } while (at < target);
    // By arithmetic: whether a flip shares the word of the last one is as good as random.
    const uint64_t same_word = uint64_t{target != word} - 1;
    pending = side ^ ((side ^ pending) & same_word);
    word = target;
  }

  COLX_INLINE void flip(uint64_t row) {
    const size_t left = static_cast<size_t>(end - begin);
    const size_t at = row >> 6 << 3;
    if (at + 8 + reach <= left) [[likely]]
      move(begin + at);
    else
      move_near_end(at < left ? begin + at : end);
    pending ^= ~uint64_t{0} << (row & 63);
    side = ~side;
    between = static_cast<uint32_t>(row) - between;
  }

  COLX_INLINE void finish() { move_near_end(end); }
};

// Runs whose first rows are sums of lengths, block by block of 64. `sparse` is for few flips: a
// block without one is only added up.
template <unsigned length_bytes, bool sparse>
struct CountedRuns {
  using Start = typename RunStarts<length_bytes>::Start;

  RunLengths<length_bytes> lengths;
  RunStarts<length_bytes> starts;  // of the block's runs, relative to its first row
  uint64_t block_row = 0;

  COLX_INLINE explicit CountedRuns(const colx_enc_ctx* enc)
      : lengths{bytes_at(enc->colx_enc_ctx_rle_runs, 0)} {}

  COLX_INLINE void enter(uint32_t run, uint32_t runs, uint64_t flips) {
    if (runs < 64) {
      uint8_t padded[64 * length_bytes] = {};
      std::memcpy(padded, lengths.at(run), size_t{runs} * length_bytes);
      find_starts<length_bytes>(starts, padded);
    } else if (sparse && flips == 0) {
      starts.row[64] = static_cast<Start>(rows_in_runs(lengths, run, run + 64));
    } else {
      find_starts<length_bytes>(starts, lengths.at(run));
    }
  }
  COLX_INLINE uint64_t row_of(uint32_t run_of_block) const {
    return block_row + starts.row[run_of_block];
  }
  COLX_INLINE void leave() { block_row += starts.row[64]; }
  COLX_INLINE uint64_t next_row() const { return block_row; }
};

// Runs whose first rows are listed, big-endian, with the row behind the last run at the end.
struct ListedRuns {
  const uint8_t* block;

  COLX_INLINE explicit ListedRuns(const colx_enc_ctx* enc)
      : block(bytes_at(enc->colx_enc_ctx_rle_cla, 0)) {}

  COLX_INLINE void enter(uint32_t, uint32_t, uint64_t) {}
  COLX_INLINE uint64_t row_of(uint32_t run_of_block) const {
    return load_big_endian<uint32_t>(block + run_of_block * 4);
  }
  COLX_INLINE void leave() { block += 64 * 4; }
  COLX_INLINE uint64_t next_row() const { return row_of(0); }
};

// Flips the rows of `out` at the runs that are hit; run bits behind the last run are ignored.
template <class Runs, Begin begin>
COLX_INLINE void flip_runs(FlippedRows& out, const colx_enc_ctx* enc, const uint64_t* hits) {
  const uint32_t runs = enc->colx_enc_ctx_rle_rows;
  Runs source(enc);
  uint64_t last = 0;  // whether the run before the block is one to flip
  for (uint64_t run = 0; run < runs; run += 64) {
    const uint32_t first = static_cast<uint32_t>(run);
    const uint32_t block_runs = runs - first < 64 ? runs - first : 64;
    uint64_t flipped = load_as<uint64_t>(bytes_at(hits, run / 8));
    if constexpr (begin == Begin::set) flipped = ~flipped;
    if (block_runs < 64) flipped &= (uint64_t{1} << block_runs) - 1;
    uint64_t flips = flipped ^ (flipped << 1 | last);
    last = flipped >> 63;
    source.enter(first, block_runs, flips);
    for (; flips != 0; flips &= flips - 1) out.flip(source.row_of(lowest_set_bit(flips)));
    source.leave();
  }
  if (last) out.flip(source.next_row());
}

// One form of a burst kernel. The record of hits is that of a run-length scan's end.
template <class Runs, Begin begin>
COLX_INLINE uint32_t burst(colx_cv* res, const colx_cv* src, const colx_kctx* run_hits) {
  const uint32_t rows = res->colx_cv_num_of_rows;
  FlippedRows out = FlippedRows::from(res->colx_cv_bits, rows, begin);
  flip_runs<Runs, begin>(out, src->colx_cv_encoding_context, run_hits->colx_kctx_selection);
  out.finish();

  uint32_t count = out.between;
  if constexpr (begin == Begin::set) {
    count = rows - count;
    if (rows & 63) {
      uint8_t* const last_word = out.end - 8;
      store_as(last_word, load_as<uint64_t>(last_word) & ~uint64_t{0} >> (64 - (rows & 63)));
    }
  }
  res->colx_cv_num_set = count;
  return count == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
}

}  // namespace colx
