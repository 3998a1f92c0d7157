// The words of a whole word bit vector that have any bit set, a list at a time, for kernels that
// visit the rows of a selection. How many rows a word has, if any, is as good as random: what a
// branch learns from one word is wrong at the next, and an error costs as much as testing a few
// rows.
#pragma once

#include <cstdint>

namespace colx {

// Words are taken in groups, and a list ends with the group in which it reaches words_per_list or
// with the last word, which the rows may cut short.
inline constexpr uint32_t words_per_list = 64;
inline constexpr uint32_t words_per_group = 32;

struct WordList {
  static constexpr uint32_t room = words_per_list - 1 + words_per_group + 1;

  uint64_t words[room + 1];    // a 0 behind the last
  uint32_t numbers[room + 1];  // of the words in the vector
  uint32_t rows;               // of all words
};

struct SelectedWords {
  const uint64_t* words;
  uint32_t next;  // of the words that lie whole below the number of rows
  uint32_t end;
  uint64_t cut;  // the rows of the word behind them, or 0
};

// Rows 0 to `rows` - 1; reads the words that hold them.
SelectedWords selected_words(const uint64_t* selection, uint32_t rows);

// Lists the next words, ascending, and returns how many; none only if there are no more.
uint32_t list_words(SelectedWords& from, WordList& list);

// How the rows of a word are best visited: one after the other, or the lowest and the highest
// first, which are both there in a word of one row, too.
enum class Visit { ascending, ends_first };

// Says so for a list, and may put its words in another order. The branch behind a word's last row
// is right where words of as many rows stand side by side. Where most have one row it is right
// anyway, and where they have many it does not matter.
Visit arrange(WordList& list, uint32_t listed);

}  // namespace colx
