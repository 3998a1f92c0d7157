// Lists of the words that have rows, and the order in which they are visited.
#include "kernels/bitvec/selected_words.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>
#include <vector>

#include "tests/support/guarded_pages.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using Words = std::vector<uint64_t>;
using Listed = std::pair<uint32_t, uint64_t>;  // number and word

std::vector<Listed> listed_of(const WordList& list, uint32_t listed) {
  std::vector<Listed> all;
  for (uint32_t k = 0; k < listed; ++k) all.emplace_back(list.numbers[k], list.words[k]);
  return all;
}

std::vector<Listed> words_with_rows(const Words& words, uint32_t rows) {
  std::vector<Listed> all;
  for (uint32_t w = 0; w < words.size() && uint64_t{w} * 64 < rows; ++w) {
    const uint32_t left = rows - w * 64;
    const uint64_t word = left < 64 ? words[w] & ~(~uint64_t{0} << left) : words[w];
    if (word != 0) all.emplace_back(w, word);
  }
  return all;
}

uint32_t rows_of(const std::vector<Listed>& words) {
  uint32_t rows = 0;
  for (const Listed& word : words) rows += static_cast<uint32_t>(std::popcount(word.second));
  return rows;
}

// A list of words of so many rows each.
uint32_t list_of(WordList& list, const std::vector<unsigned>& rows) {
  Words words;
  for (const unsigned count : rows) words.push_back((uint64_t{1} << count) - 1);
  SelectedWords from = selected_words(words.data(), static_cast<uint32_t>(64 * words.size()));
  return list_words(from, list);
}

TEST(SelectedWords, EveryWordWithRowsIsListedOnceAndAscending) {
  GuardedPages pages;
  for (const uint32_t rows : {1u, 63u, 64u, 65u, 2047u, 2048u, 2049u, 4095u, 4096u, 10000u}) {
    for (unsigned sparsity = 1; sparsity <= 12; ++sparsity) {
      Random random(mixed_seed(rows, sparsity));
      const Words words = random.words((rows + 63) / 64, sparsity);
      uint8_t* const placed = pages.at_end(words.size() * 8);
      std::memcpy(placed, words.data(), words.size() * 8);
      SelectedWords from = selected_words(reinterpret_cast<const uint64_t*>(placed), rows);
      std::vector<Listed> all;
      WordList list;
      while (const uint32_t listed = list_words(from, list)) {
        const std::vector<Listed> part = listed_of(list, listed);
        ASSERT_EQ(list.rows, rows_of(part));
        ASSERT_EQ(list.words[listed], 0u) << "behind the last";
        all.insert(all.end(), part.begin(), part.end());
      }
      ASSERT_EQ(all, words_with_rows(words, rows)) << rows << " rows, sparsity " << sparsity;
      ASSERT_EQ(list_words(from, list), 0u) << "there are no more";
    }
  }
}

TEST(SelectedWords, ListsEndWithTheGroupInWhichTheyAreLongEnough) {
  const Words full(200, 1);
  SelectedWords from = selected_words(full.data(), 200 * 64);
  WordList list;
  EXPECT_EQ(list_words(from, list), 64u);
  const Words but_one = [] {
    Words words(200, 1);
    words[0] = 0;
    return words;
  }();
  from = selected_words(but_one.data(), 200 * 64);
  EXPECT_EQ(list_words(from, list), 95u);
  from = selected_words(but_one.data(), 96 * 64 + 1);
  EXPECT_EQ(list_words(from, list), 96u) << "with the word that is cut short";
}

TEST(SelectedWords, WordsOfMostlyOneRowAndThoseOfManyAreVisitedAsTheyStand) {
  WordList list;
  for (const std::vector<unsigned>& rows :
       {std::vector<unsigned>{1, 1, 1, 1, 1, 1, 1, 1, 1, 2}, std::vector<unsigned>{20, 3, 30, 9}}) {
    const uint32_t listed = list_of(list, rows);
    const std::vector<Listed> before = listed_of(list, listed);
    EXPECT_EQ(arrange(list, listed), Visit::ascending);
    EXPECT_EQ(listed_of(list, listed), before);
  }
}

TEST(SelectedWords, WordsOfOneOrTwoRowsAreVisitedFromBothEnds) {
  WordList list;
  const uint32_t listed = list_of(list, {1, 2, 1, 2, 1, 3, 1, 1});
  const std::vector<Listed> before = listed_of(list, listed);
  EXPECT_EQ(arrange(list, listed), Visit::ends_first);
  EXPECT_EQ(listed_of(list, listed), before);
}

TEST(SelectedWords, WordsOfSeveralRowsAreSortedByTheirRows) {
  WordList list;
  const uint32_t listed = list_of(list, {5, 1, 16, 3, 30, 5, 2, 3});
  std::vector<Listed> expected = listed_of(list, listed);
  std::stable_sort(expected.begin(), expected.end(), [](const Listed& a, const Listed& b) {
    return std::min(std::popcount(a.second), 16) < std::min(std::popcount(b.second), 16);
  });
  EXPECT_EQ(arrange(list, listed), Visit::ascending);
  EXPECT_EQ(listed_of(list, listed), expected);
  EXPECT_EQ(list.words[listed], 0u);
}

TEST(SelectedWords, AFullListIsSorted) {
  std::vector<unsigned> rows(96);
  Random random(7);
  rows[0] = 0;
  for (size_t k = 1; k < rows.size(); ++k) rows[k] = 1 + static_cast<unsigned>(random.below(16));
  WordList list;
  const uint32_t listed = list_of(list, rows);
  ASSERT_EQ(listed, 95u);
  const std::vector<Listed> before = listed_of(list, listed);
  EXPECT_EQ(arrange(list, listed), Visit::ascending);
  std::vector<Listed> after = listed_of(list, listed);
  EXPECT_TRUE(std::is_sorted(after.begin(), after.end(), [](const Listed& a, const Listed& b) {
    return std::popcount(a.second) < std::popcount(b.second);
  }));
  std::sort(after.begin(), after.end());
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace colx::test
