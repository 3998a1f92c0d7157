// The set bits of a whole word bit vector as row numbers, a batch at a time, for kernels that visit
// the rows of a selection. The batch is the kernel's own array with room behind its rows, so a word
// is taken without asking how many bits it has: numbers written too much are written over.
#pragma once

#include <cstdint>

namespace colx {

// Words are taken in groups, and a batch ends with the group in which it reaches batch_rows. Its
// array has room for the last group and for what the last byte of a word is written too much.
inline constexpr uint32_t batch_rows = 256;
inline constexpr uint32_t words_per_group = 32;
inline constexpr uint32_t batch_numbers = batch_rows - 1 + 64 * words_per_group + 16;

struct RowBatches {
  const uint64_t* next;
  const uint64_t* end;  // of the words that lie whole below the number of rows
  uint64_t cut;         // the rows of the word behind them, or 0
  uint32_t base;        // row of the next word's bit 0
};

// Rows 0 to `rows` - 1; reads the words that hold them.
RowBatches batches_of(const uint64_t* selection, uint32_t rows);

// The next rows, ascending; none only if there are no more.
uint32_t next_batch(RowBatches& rows, uint32_t* batch);

}  // namespace colx
