#include "kernels/bitvec/selected_words.h"

#include "kernels/frame/bytes.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

namespace colx {

namespace {

// No branch asks whether a word has a row: the number of each is written, and counts if it has one.
COLX_INLINE size_t with_group(const uint64_t* words, uint32_t first, uint32_t count, WordList& list,
                              size_t listed) {
  const uint64_t* const group = words + first;
#pragma GCC unroll 8
  for (uint32_t w = 0; w < count; ++w) {
    list.numbers[listed] = first + w;
    listed += load_as<uint64_t>(group + w) != 0;
  }
  return listed;
}

// Counts of words of 1, 2, .., 15 and 16 or more rows, a byte each.
struct RowCounts {
  alignas(16) uint8_t bytes[16];
};

COLX_INLINE uint32_t count_place(uint64_t word) {
  const uint32_t rows = population(word);
  return (rows < 16 ? rows : 16) - 1;
}

// Each count replaced by the sum of those before it.
COLX_INLINE void add_up(RowCounts& counts) {
  const Vec own = load_aligned(counts.bytes);
  Vec sums = sum<1>(own, moved_up<1>(own));
  sums = sum<1>(sums, moved_up<2>(sums));
  sums = sum<1>(sums, moved_up<4>(sums));
  sums = sum<1>(sums, moved_up<8>(sums));
  store_aligned(counts.bytes, difference<1>(sums, own));
}

void sort_by_rows(WordList& list, uint32_t listed) {
  const WordList unsorted = list;
  RowCounts counts = {};
  for (uint32_t k = 0; k < listed; ++k) ++counts.bytes[count_place(unsorted.words[k])];
  add_up(counts);
  for (uint32_t k = 0; k < listed; ++k) {
    const uint32_t to = counts.bytes[count_place(unsorted.words[k])]++;
    list.words[to] = unsorted.words[k];
    list.numbers[to] = unsorted.numbers[k];
  }
}

}  // namespace

SelectedWords selected_words(const uint64_t* selection, uint32_t rows) {
  const uint32_t end = rows / 64;
  const bool cut = rows % 64 != 0;
  return {selection, 0, end,
          cut ? load_as<uint64_t>(selection + end) & ~(~uint64_t{0} << rows % 64) : 0};
}

uint32_t list_words(SelectedWords& from, WordList& list) {
  const uint64_t* const words = from.words;
  uint32_t next = from.next;
  size_t listed = 0;
  while (listed < words_per_list && next != from.end) {
    const uint32_t left = from.end - next;
    if (left >= words_per_group) {
      listed = with_group(words, next, words_per_group, list, listed);
      next += words_per_group;
    } else {
      listed = with_group(words, next, left, list, listed);
      next = from.end;
    }
  }
  from.next = next;
  uint32_t rows = 0;
  for (size_t k = 0; k < listed; ++k) {
    list.words[k] = load_as<uint64_t>(words + list.numbers[k]);
    rows += population(list.words[k]);
  }
  if (next == from.end && from.cut != 0) {
    list.words[listed] = from.cut;
    list.numbers[listed++] = next;
    rows += population(from.cut);
    from.cut = 0;
  }
  list.words[listed] = 0;
  list.rows = rows;
  return static_cast<uint32_t>(listed);
}

Visit arrange(WordList& list, uint32_t listed) {
  if (5 * list.rows < 6 * listed) return Visit::ascending;
  if (list.rows < 2 * listed) return Visit::ends_first;
  if (list.rows < 12 * listed) sort_by_rows(list, listed);
  return Visit::ascending;
}

}  // namespace colx
