#include "kernels/bitvec/row_batches.h"

#include "kernels/bitvec/iteration.h"

namespace colx {

namespace {

// Rows of a word that are written without asking whether there are as many.
constexpr uint32_t unasked_rows = 2;
constexpr uint32_t next_rows = 6;

// Appends the rows of a word to a batch of `count` and returns how many there are then.
COLX_INLINE uint32_t with_word(uint64_t word, uint32_t base, uint32_t* batch, uint32_t count) {
  const uint32_t bits = population(word);
  uint32_t* const out = batch + count;
  put_lowest<unasked_rows>(word, base, out);
  if (bits > unasked_rows) {
    if (bits <= next_rows)
      put_lowest<next_rows>(word, base, out);
    else
      put_bytes<8>(word, splat<4>(base), out);
  }
  return count + bits;
}

// Whether a word has any row is as good as random in a sparse selection, so no branch asks: the
// group's words with rows are listed first. `rows` is a copy: what the caller has could be written
// over by a batch.
COLX_INLINE uint32_t with_group(RowBatches rows, uint32_t words, uint32_t* batch, uint32_t count) {
  uint32_t with_rows[words_per_group];
  uint32_t listed = 0;
#pragma GCC unroll 8
  for (uint32_t w = 0; w < words; ++w) {
    with_rows[listed] = w;
    listed += load_as<uint64_t>(rows.next + w) != 0;
  }
  for (uint32_t k = 0; k < listed; ++k) {
    const uint32_t w = with_rows[k];
    count = with_word(load_as<uint64_t>(rows.next + w), rows.base + 64 * w, batch, count);
  }
  return count;
}

}  // namespace

RowBatches batches_of(const uint64_t* selection, uint32_t rows) {
  const uint64_t* const end = selection + rows / 64;
  const uint64_t cut = rows % 64 != 0 ? load_as<uint64_t>(end) & ~(~uint64_t{0} << rows % 64) : 0;
  return {selection, end, cut, 0};
}

uint32_t next_batch(RowBatches& rows, uint32_t* batch) {
  uint32_t count = 0;
  while (count < batch_rows && rows.next != rows.end) {
    const size_t left = static_cast<size_t>(rows.end - rows.next);
    const uint32_t words = left < words_per_group ? static_cast<uint32_t>(left) : words_per_group;
    count = with_group(rows, words, batch, count);
    rows.next += words;
    rows.base += 64 * words;
  }
  if (rows.next == rows.end && count < batch_rows) {
    count = with_word(rows.cut, rows.base, batch, count);
    rows.cut = 0;
  }
  return count;
}

}  // namespace colx
