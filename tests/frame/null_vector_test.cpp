// colx_null: the complement of a vector's bits, whole words.
#include <gtest/gtest.h>

#include <cstring>

#include "kernels/frame/colx_x86.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/row_counts.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using Words = std::vector<uint64_t>;

struct Complement {
  uint32_t status;
  Words words;
  std::string damage;
};

// `rows` rows of `source` at the end of a page; the result likewise or between canaries. The two
// arguments that are not read are unreadable.
Complement complement(const Words& source, uint32_t rows, Place place) {
  static GuardedPages pages, nowhere;
  static GuardedOutput output;
  const std::span<const uint8_t> bytes(reinterpret_cast<const uint8_t*>(source.data()),
                                       8 * source.size());
  colx_cv src = {};
  src.colx_cv_bits = reinterpret_cast<uint64_t*>(pages.place(bytes, 0, Edge::end));
  src.colx_cv_num_of_rows = rows;
  colx_cv res = {};
  res.colx_cv_bits = output.words(source.size(), place);
  res.colx_cv_num_of_rows = rows;
  res.colx_cv_num_set = 0x5EED;
  const colx_cv src_before = src;
  const colx_cv res_before = res;

  Complement result = {};
  result.status = colx_null(nowhere.unreadable(), &res, &src, nowhere.unreadable());
  result.words.assign(res.colx_cv_bits, res.colx_cv_bits + source.size());
  result.damage = output.damage();
  if (std::memcmp(&src, &src_before, sizeof src) != 0) result.damage = "src changed";
  if (std::memcmp(&res, &res_before, sizeof res) != 0) result.damage = "res changed";
  return result;
}

TEST(NullVector, ComplementsWholeWordsAtEveryRowCount) {
  Random random(1);
  for (const uint32_t rows : row_counts(128)) {
    for (const Place place : {Place::end, Place::begin, Place::middle}) {
      const Words source = random.words(words_of(rows));
      Words expected = source;
      for (uint64_t& word : expected) word = ~word;
      const Complement got = complement(source, rows, place);
      EXPECT_EQ(got.words, expected) << rows;
      EXPECT_EQ(got.damage, "") << rows;
      EXPECT_EQ(got.status, 0u);
    }
  }
}

TEST(NullVector, SixtyFiveRowsAreTwoWordsAndBit1OfTheSecondComesOutSet) {
  const Complement got = complement({0, 0}, 65, Place::middle);
  EXPECT_EQ(got.words, (Words{~uint64_t{0}, ~uint64_t{0}}));
  EXPECT_EQ(got.words[1] >> 1 & 1, 1u);
}

TEST(NullVector, OneRowIsOneWholeWord) {
  EXPECT_EQ(complement({1}, 1, Place::middle).words, Words{~uint64_t{1}});
}

TEST(NullVector, NoRowsWriteNothing) {
  const Complement got = complement({}, 0, Place::middle);
  EXPECT_EQ(got.status, 0u);
  EXPECT_EQ(got.damage, "");
}

TEST(NullVector, DoesNotWriteTheCount) {
  // complement() compares every field of both records, colx_cv_num_set among them.
  EXPECT_EQ(complement({5, 6, 7}, 130, Place::middle).damage, "");
}

TEST(NullVectorDeathTest, AssertsEqualRowCountsInTheSourcesOwnWords) {
  uint64_t word = 0;
  colx_cv src = {};
  colx_cv res = {};
  src.colx_cv_bits = res.colx_cv_bits = &word;
  src.colx_cv_num_of_rows = 64;
  res.colx_cv_num_of_rows = 63;
  EXPECT_DEATH(colx_null(nullptr, &res, &src, nullptr),
               ": colxc_x86:1609: colx_null: Assertion "
               "`\\(\\(src\\)->colx_cv_num_of_rows\\) == \\(\\(res\\)->colx_cv_num_of_rows\\)' "
               "failed\\.");
}

TEST(NullVectorDeathTest, AssertsBeforeAnythingIsWritten) {
  static GuardedPages nowhere;
  colx_cv src = {};
  colx_cv res = {};
  src.colx_cv_bits = res.colx_cv_bits = reinterpret_cast<uint64_t*>(nowhere.unreadable());
  src.colx_cv_num_of_rows = 0;
  res.colx_cv_num_of_rows = 640;
  EXPECT_DEATH(colx_null(nullptr, &res, &src, nullptr), "colxc_x86:1609");
}

}  // namespace
}  // namespace colx::test
