#include "host/bloom_filter.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "host/encode_rows.h"
#include "host/key_rows.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

struct Filters : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  test::Random random{9};

  std::vector<uint64_t> some_hashes(size_t rows) {
    std::vector<uint64_t> hashes(rows);
    for (uint64_t& hash : hashes) hash = random.next();
    return hashes;
  }
};

TEST_F(Filters, LetEveryAddedValuePass) {
  for (const uint32_t partition_bits : {0u, 1u, 5u})
    for (const size_t rows : {0, 1, 7, 100, 5000}) {
      auto filter =
          BloomFilter::create(library, {.expected_rows = rows, .partition_bits = partition_bits})
              .value();
      const auto hashes = some_hashes(rows);
      ASSERT_TRUE(filter.add(HashColumn::of(hashes)));
      RowBits hits(rows);
      const auto passed = filter.test(HashColumn::of(hashes), hits).value();
      EXPECT_EQ(passed.count, rows);
      EXPECT_EQ(hits.count(), rows);
      EXPECT_EQ(passed.first, rows ? 0 : UINT32_MAX);
      EXPECT_EQ(passed.last, rows ? rows - 1 : UINT32_MAX);
    }
}

TEST_F(Filters, KeepOutAsManyOthersAsWasAsked) {
  for (const double share : {0.5, 0.1, 0.01}) {
    auto filter =
        BloomFilter::create(library, {.expected_rows = 20000, .false_positives = share}).value();
    ASSERT_TRUE(filter.add(HashColumn::of(some_hashes(20000))));
    RowBits hits(50000);
    const auto others = some_hashes(50000);
    const auto passed = filter.test(HashColumn::of(others), hits).value();
    EXPECT_LT(passed.count, 50000 * share * 1.1);
    EXPECT_NEAR(passed.count / 50000.0, filter.fill(), 0.02);
    EXPECT_LE(filter.fill(), share);
  }
}

TEST_F(Filters, TakeStoredColumnsOfBothWidthsAsTheyAre) {
  std::vector<uint64_t> numbers;
  for (uint64_t number = 0; number < 300; ++number) numbers.push_back(number * 0x00010107);
  for (const uint32_t bytes : {4u, 8u}) {
    const auto column = store_fixed_numbers(numbers, {.width_bytes = bytes}).value();
    const HashColumn all{column.chunks[0].data.data(), 300, 8 * bytes};
    const HashColumn half{column.chunks[0].data.data(), 150, 8 * bytes};
    auto filter =
        BloomFilter::create(library, {.expected_rows = 150, .false_positives = 1e-6}).value();
    ASSERT_TRUE(filter.add(half));
    RowBits hits(300);
    const auto passed = filter.test(all, hits).value();
    EXPECT_EQ(passed.count, 150u) << bytes;
    EXPECT_EQ(passed.last, 149u) << bytes;
  }
}

TEST_F(Filters, TakeTheHashesOfKeysAsTheyAreWritten) {
  const std::vector<uint8_t> keys{1, 2, 3, 4, 5, 6, 7, 8};
  std::vector<uint64_t> hashes(8);
  ASSERT_TRUE(hash_keys(library, KeyRows::fixed(keys, 1).value(), hashes));
  auto filter = BloomFilter::create(library, {.expected_rows = 4, .false_positives = 1e-6}).value();
  ASSERT_TRUE(filter.add(HashColumn::of(std::span(hashes).first(4))));
  RowBits hits(8);
  EXPECT_EQ(filter.test(HashColumn::of(hashes), hits)->count, 4u);
  EXPECT_EQ(hits.words()[0], 0b1111u);
}

TEST_F(Filters, TestSelectedRowsFromAStartRow) {
  const auto hashes = some_hashes(200);
  auto filter = BloomFilter::create(library, {.expected_rows = 200}).value();
  ASSERT_TRUE(filter.add(HashColumn::of(hashes)));
  RowBits selection(200), hits(200);
  for (uint32_t row = 0; row < 200; row += 2) selection.set(row);
  hits.set_all();
  const auto passed = filter.test(HashColumn::of(hashes), hits, &selection, 51).value();
  EXPECT_EQ(passed.count, 74u);
  EXPECT_EQ(passed.first, 52u);
  EXPECT_EQ(passed.last, 198u);
  EXPECT_FALSE(hits.test(50));
  EXPECT_EQ(filter.test(HashColumn::of(hashes), hits, nullptr, 200)->count, 0u);
}

TEST_F(Filters, AreReadByManyThreadsAtOnce) {
  const auto hashes = some_hashes(30000);
  auto filter = BloomFilter::create(library, {.expected_rows = 15000}).value();
  ASSERT_TRUE(filter.add(HashColumn::of(std::span(hashes).first(15000))));
  RowBits alone(30000);
  const uint32_t count = filter.test(HashColumn::of(hashes), alone)->count;
  std::vector<uint32_t> counts(4);
  std::vector<std::thread> threads;
  for (uint32_t& found : counts)
    threads.emplace_back([&] {
      RowBits hits(30000);
      found = filter.test(HashColumn::of(hashes), hits)->count;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counts, std::vector<uint32_t>(4, count));
}

TEST_F(Filters, RefuseWrongParameters) {
  for (const double share : {0.0, 1.0, -1.0})
    EXPECT_FALSE(BloomFilter::create(library, {.false_positives = share}));
  EXPECT_EQ(BloomFilter::create(library, {.partition_bits = 17}).message(),
            "2^17 partitions: use up to 2^16");
  EXPECT_FALSE(BloomFilter::create(library, {uint64_t{1} << 40, 0.01}));
  auto filter = BloomFilter::create(library, {}).value();
  const HashColumn narrow{nullptr, 0, 16};
  EXPECT_EQ(filter.add(narrow).message(), "hash values of 16 bits: use 32 or 64");
  RowBits hits(1);
  EXPECT_FALSE(filter.test(narrow, hits));
  const std::vector<uint64_t> two{1, 2};
  EXPECT_FALSE(filter.test(HashColumn::of(two), hits));
  RowBits right(2);
  EXPECT_EQ(filter.test(HashColumn::of(two), right, nullptr, 3).message(), "start row 3 of 2 rows");
  const HashColumn many{two.data(), uint64_t{1} << 32, 64};
  EXPECT_EQ(filter.add(many).message(), "4294967296 hash values at once: pass up to 2^32 - 1");
  EXPECT_FALSE(filter.test(many, right));
}

}  // namespace
}  // namespace colx::host
