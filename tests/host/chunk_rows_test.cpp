// Filters on the rows of a chunk, and what is read of the rows that are left.
#include "host/chunk_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <map>
#include <vector>

#include "host/code_join.h"
#include "host/encode_rows.h"
#include "host/key_filter.h"
#include "host/value_dictionary.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

using Rows = std::vector<uint32_t>;

struct ChunkRowsTest : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};
  test::Random random{11};

  // Values of 0 to `distinct` - 1, every one of them there: code and value are the same.
  struct Column {
    std::vector<int64_t> values;
    StoredColumn stored;
  };
  Column column(uint32_t rows, uint32_t distinct, bool in_runs = false) {
    Column made;
    for (uint32_t row = 0; row < rows; ++row)
      made.values.push_back(in_runs          ? (row / 37) % distinct
                            : row < distinct ? row
                                             : static_cast<int64_t>(random.below(distinct)));
    DictionaryColumnOptions options{.chunk_rows = 3000};
    if (in_runs) options.runs.emplace();
    made.stored = std::move(store_dictionary_column<int64_t>(made.values, options).value().column);
    return made;
  }
  RowBits codes_where(const Column& column, auto holds) {
    RowBits codes(column.stored.dictionary->num_symbols());
    for (uint64_t code = 0; code < codes.size(); ++code)
      if (holds(code)) codes.set(code);
    return codes;
  }
  KeyFilter filter(const Column& column, const RowBits& codes) {
    return KeyFilter::bind(library, column.stored, codes).value();
  }
};

TEST_F(ChunkRowsTest, KeepWhatEveryFilterFindsOfEveryWidthAndChunk) {
  for (const uint32_t distinct : {1u, 2u, 7u, 60u, 300u, 1000u, 2500u}) {
    const Column wide = column(7001, distinct);
    const Column runs = column(7001, 12, true);
    ChunkRows rows(library, services);
    const auto odd = [](uint64_t code) { return code % 2 == 0; };  // a set
    const auto low = [](uint64_t code) { return code <= 8; };      // bounds
    const KeyFilter filters[] = {filter(wide, codes_where(wide, odd)),
                                 filter(runs, codes_where(runs, low)),
                                 filter(wide, codes_where(wide, low))};
    uint32_t first = 0;
    for (size_t chunk = 0; chunk < wide.stored.chunks.size(); ++chunk) {
      const uint32_t count = wide.stored.chunks[chunk].rows;
      rows.start(chunk, count);
      EXPECT_TRUE(rows.all());
      for (const KeyFilter& each : filters) ASSERT_TRUE(each.apply(rows));
      Rows expected;
      for (uint32_t row = 0; row < count; ++row)
        if (const int64_t code = wide.values[first + row];
            odd(code) && low(code) && low(runs.values[first + row]))
          expected.push_back(row);
      EXPECT_EQ(Rows(rows.rows().begin(), rows.rows().end()), expected) << distinct << " codes";
      EXPECT_EQ(rows.count(), expected.size());
      first += count;
    }
  }
}

TEST_F(ChunkRowsTest, FewRowsAreWalkedToTheSameResult) {
  const Column one = column(3000, 200), other = column(3000, 90);
  ChunkRows rows(library, services);
  rows.start(0, 3000);
  ASSERT_TRUE(
      filter(one, codes_where(one, [](uint64_t c) { return c == 3 || c == 5; })).apply(rows));
  ASSERT_LT(rows.count() * 64, 3000u);
  ASSERT_TRUE(filter(other, codes_where(other, [](uint64_t c) { return c % 3 == 0; })).apply(rows));
  Rows expected;
  for (uint32_t row = 0; row < 3000; ++row)
    if ((one.values[row] == 3 || one.values[row] == 5) && other.values[row] % 3 == 0)
      expected.push_back(row);
  EXPECT_EQ(Rows(rows.rows().begin(), rows.rows().end()), expected);
}

TEST_F(ChunkRowsTest, CodesOfTheRowsThatAreLeftComeInRowOrder) {
  for (const bool in_runs : {false, true})
    for (const uint64_t every : {1u, 2u, 40u, 150u}) {
      const Column choice = column(3000, 150), read = column(3000, 70, in_runs);
      ChunkRows rows(library, services);
      rows.start(0, 3000);
      ASSERT_TRUE(filter(choice, codes_where(choice, [&](uint64_t c) { return c % every == 0; }))
                      .apply(rows));
      std::vector<uint32_t> memory;
      const auto codes = CodeUnpack::bind(library, read.stored).value().run(rows, memory);
      ASSERT_TRUE(codes) << codes.message();
      Rows expected;
      for (uint32_t row = 0; row < 3000; ++row)
        if (choice.values[row] % static_cast<int64_t>(every) == 0)
          expected.push_back(static_cast<uint32_t>(read.values[row]));
      EXPECT_EQ(Rows(codes->begin(), codes->end()), expected) << "every " << every;
    }
}

TEST_F(ChunkRowsTest, NumbersArePickedInEveryWidth) {
  for (const uint32_t bytes : {1u, 2u, 3u, 4u}) {
    std::vector<uint64_t> numbers(3000);
    for (uint64_t& number : numbers) number = random.below(uint64_t{1} << (8 * bytes));
    const StoredColumn stored = store_fixed_numbers(numbers, {.width_bytes = bytes}).value();
    const Column choice = column(3000, 5);
    ChunkRows rows(library, services);
    rows.start(0, 3000);
    std::vector<uint64_t> memory;
    const auto all = pick_numbers(rows, stored, memory).value();
    for (uint32_t row = 0; row < 3000; ++row)
      ASSERT_EQ(__builtin_bswap64(all[row]), numbers[row]) << bytes << " bytes, row " << row;
    ASSERT_TRUE(filter(choice, codes_where(choice, [](uint64_t c) { return c == 2; })).apply(rows));
    const auto some = pick_numbers(rows, stored, memory).value();
    ASSERT_EQ(some.size(), rows.count());
    for (size_t i = 0; i < some.size(); ++i)
      EXPECT_EQ(__builtin_bswap64(some[i]), numbers[rows.rows()[i]]);
  }
}

TEST_F(ChunkRowsTest, NothingIsLeftOfNothing) {
  const Column one = column(3000, 10);
  ChunkRows rows(library, services);
  rows.start(0, 3000);
  ASSERT_TRUE(filter(one, codes_where(one, [](uint64_t c) { return c == 1; })).apply(rows));
  ASSERT_TRUE(filter(one, codes_where(one, [](uint64_t c) { return c == 2; })).apply(rows));
  EXPECT_EQ(rows.count(), 0u);
  EXPECT_TRUE(rows.rows().empty());
  std::vector<uint32_t> memory;
  EXPECT_TRUE(CodeUnpack::bind(library, one.stored).value().run(rows, memory).value().empty());
  ASSERT_TRUE(filter(one, codes_where(one, [](uint64_t c) { return c == 2; })).apply(rows));
}

TEST_F(ChunkRowsTest, RefuseWhatDoesNotFit) {
  const Column one = column(3000, 10);
  EXPECT_EQ(CodeSet::bind(library, one.stored, RowBits(9)).message(),
            "bits for 9 codes, but the dictionary has 10");
  EXPECT_EQ(KeyFilter::bind(library, one.stored, RowBits(10)).message(),
            "no code is wanted: there is nothing to look for");
  const StoredColumn fixed = store_fixed_numbers(std::vector<uint64_t>{1, 2}).value();
  EXPECT_EQ(CodeUnpack::bind(library, fixed).message(),
            "only columns of dictionary codes are unpacked");
  EXPECT_EQ(CodeSet::bind(library, fixed, RowBits(2)).message(),
            "a set of codes needs a column with a dictionary");
  ChunkRows rows(library, services);
  rows.start(0, 3000);
  std::vector<uint64_t> memory;
  EXPECT_EQ(pick_numbers(rows, fixed, memory).message(),
            "the column's chunk 0 is compressed, in runs or has other rows than the filtered one");
  EXPECT_EQ(pick_numbers(rows, one.stored, memory).message(),
            "numbers are picked out of columns of fixed rows of 1 to 4 bytes");
  rows.start(1, 3000);
  EXPECT_EQ(rows.keep(CodeSet::bind(library, one.stored, RowBits(10)).value()).message(),
            "chunk 1 of a column with 1 chunks");
  EXPECT_TRUE(rows.all()) << "an error drops no row";
  std::vector<uint32_t> codes;
  EXPECT_EQ(CodeUnpack::bind(library, one.stored)->run(rows, codes).message(),
            "the column's chunk 1 has other rows than the filtered one");
}

TEST_F(ChunkRowsTest, JoinNoKeyTwice) {
  const std::vector<KeyCode> pairs = {{5, 0}, {9, 1}, {5, 2}};
  EXPECT_EQ(CodeJoin::build(library, pairs).message(),
            "pairs 0 and 2 have one key, 5; a join finds one code for each");
}

TEST_F(ChunkRowsTest, AJoinKeepsTheRowsOfItsKeysWithWhatItFindsForThem) {
  const Column keys = column(3000, 2000), choice = column(3000, 3);
  std::vector<KeyCode> pairs;
  std::map<uint32_t, uint32_t> values;
  for (uint32_t key = 5; key < 2000; key += 91) {
    pairs.push_back({key, key * 3});
    values[key] = key * 3;
  }
  const auto join = CodeJoin::build(library, pairs);
  ASSERT_TRUE(join) << join.message();
  const CodeUnpack unpack = CodeUnpack::bind(library, keys.stored).value();
  CodeJoin::Scratch scratch;
  ChunkRows rows(library, services);
  for (const bool filtered : {false, true}) {
    rows.start(0, 3000);
    if (filtered) {
      ASSERT_TRUE(
          filter(choice, codes_where(choice, [](uint64_t c) { return c == 1; })).apply(rows));
    }
    std::vector<uint32_t> found;
    ASSERT_TRUE(join->run(rows, unpack, scratch, found));
    Rows expected_rows, expected_found;
    for (uint32_t row = 0; row < 3000; ++row) {
      const auto value = values.find(static_cast<uint32_t>(keys.values[row]));
      if (value == values.end() || (filtered && choice.values[row] != 1)) continue;
      expected_rows.push_back(row);
      expected_found.push_back(value->second);
    }
    EXPECT_EQ(Rows(rows.rows().begin(), rows.rows().end()), expected_rows);
    EXPECT_EQ(found, expected_found);
    EXPECT_FALSE(found.empty());
  }
}

}  // namespace
}  // namespace colx::host
