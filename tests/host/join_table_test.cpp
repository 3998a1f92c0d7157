// Tables and probes together: what is built is found.
#include "host/join_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <thread>
#include <vector>

#include "host/join_probe.h"
#include "host/key_hash.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

constexpr BucketForm forms[] = {BucketForm::k2v8, BucketForm::k2v4, BucketForm::k4v8,
                                BucketForm::k4v4};
using Pairs = std::vector<std::pair<uint64_t, uint64_t>>;

struct JoinTables : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  test::Random random{3};

  std::vector<uint32_t> some_codes(size_t rows, uint64_t distinct) {
    std::vector<uint32_t> codes(rows);
    for (uint32_t& code : codes) code = static_cast<uint32_t>(random.below(distinct));
    return codes;
  }
  static KeyRows keys_of(const std::vector<uint32_t>& codes) {
    return KeyRows::fixed({reinterpret_cast<const uint8_t*>(codes.data()), codes.size() * 4}, 4)
        .value();
  }
  static Pairs expected(const std::vector<uint32_t>& probe, const std::vector<uint32_t>& build) {
    std::multimap<uint32_t, uint64_t> rows;
    for (size_t row = 0; row < build.size(); ++row) rows.emplace(build[row], row);
    Pairs pairs;
    for (size_t row = 0; row < probe.size(); ++row) {
      const auto [first, last] = rows.equal_range(probe[row]);
      for (auto at = first; at != last; ++at) pairs.emplace_back(row, at->second);
    }
    std::sort(pairs.begin(), pairs.end());
    return pairs;
  }
  static Pairs drain(JoinProbe& probe) {
    Pairs pairs;
    for (;;) {
      const auto matches = probe.next();
      EXPECT_TRUE(matches) << matches.message();
      if (!matches || matches->empty()) break;
      for (const Match& match : *matches) pairs.emplace_back(match.probe_value, match.build_value);
    }
    std::sort(pairs.begin(), pairs.end());
    return pairs;
  }
};

TEST_F(JoinTables, FindEveryPairOfEqualKeys) {
  const auto build = some_codes(3000, 2000), probe = some_codes(2500, 2500);
  const Pairs pairs = expected(probe, build);
  const SameKey same = [&](uint64_t a, uint64_t b) { return probe[a] == build[b]; };
  for (const BucketForm form : forms)
    for (const uint32_t partition_bits : {0u, 1u, 4u})
      for (const uint64_t expected_rows : {uint64_t{0}, uint64_t{3000}})
        for (const uint32_t room : {1u, 100u, 100000u}) {
          auto table = JoinTable::create(library, {expected_rows, form, false, partition_bits});
          ASSERT_TRUE(table->build(keys_of(build), RowValues::numbered_from(0)));
          auto matches = JoinProbe::open(library, *table, keys_of(probe),
                                         RowValues::numbered_from(0), same, room);
          ASSERT_EQ(drain(*matches), pairs)
              << tag_bits(form) << " " << value_bytes(form) << " room " << room;
          if (expected_rows == 0) {
            EXPECT_GT(table->overflow_regions(), table->partitions());
          }
        }
}

TEST_F(JoinTables, OfCodesNeedNoComparison) {
  const auto build = some_codes(500, 300), probe = some_codes(600, 400);
  for (const BucketForm form : {BucketForm::k4v4, BucketForm::k4v8}) {
    auto table = JoinTable::create(library, {500, form, true}).value();
    ASSERT_TRUE(table.build(KeyRows::codes(build).value(), RowValues::numbered_from(0)));
    auto matches =
        JoinProbe::open(library, table, KeyRows::codes(probe).value(), RowValues::numbered_from(0));
    EXPECT_EQ(drain(*matches), expected(probe, build));
  }
}

TEST_F(JoinTables, CarryValuesOfTheirOwn) {
  const std::vector<uint32_t> codes{5, 6}, values{50, 60}, probe_values{7, 8};
  auto table = JoinTable::create(library, {2, BucketForm::k4v4, true}).value();
  ASSERT_TRUE(table.build(KeyRows::codes(codes).value(), RowValues::of(values)));
  auto matches =
      JoinProbe::open(library, table, KeyRows::codes(codes).value(), RowValues::of(probe_values));
  EXPECT_EQ(drain(*matches), (Pairs{{7, 50}, {8, 60}}));
}

TEST_F(JoinTables, GrowByManyBatches) {
  const auto build = some_codes(4000, 500);
  auto table = JoinTable::create(library, {100, BucketForm::k2v4, false, 2}).value();
  for (size_t first = 0; first < build.size(); first += 1000) {
    const std::vector<uint32_t> batch(build.begin() + static_cast<std::ptrdiff_t>(first),
                                      build.begin() + static_cast<std::ptrdiff_t>(first + 1000));
    ASSERT_TRUE(table.build(keys_of(batch), RowValues::numbered_from(first)));
  }
  const std::vector<uint32_t> probe{build[17], 999};
  auto matches = JoinProbe::open(library, table, keys_of(probe), RowValues::numbered_from(0),
                                 [&](uint64_t a, uint64_t b) { return probe[a] == build[b]; });
  EXPECT_EQ(drain(*matches), expected(probe, build));
}

TEST_F(JoinTables, TakePartitionsFromThreadsAtOnce) {
  const auto build = some_codes(20000, 9000), probe = some_codes(20000, 9000);
  for (const BucketForm form : forms) {
    auto table = JoinTable::create(library, {200, form, false, 3}).value();
    const auto partition_of = [&](uint32_t code) {
      const uint64_t hash = hash_key(&code, 4, 0);
      return static_cast<uint32_t>((hash & ((uint64_t{2} << table.partition_hi()) - 1)) >>
                                   table.partition_shift());
    };
    std::vector<Pairs> found(8);
    std::vector<std::thread> threads;
    for (uint32_t partition = 0; partition < 8; ++partition)
      threads.emplace_back([&, partition] {
        const auto rows_of = [&](const std::vector<uint32_t>& codes) {
          std::pair<std::vector<uint32_t>, std::vector<uint64_t>> rows;
          for (size_t row = 0; row < codes.size(); ++row)
            if (partition_of(codes[row]) == partition) {
              rows.first.push_back(codes[row]);
              rows.second.push_back(row);
            }
          return rows;
        };
        const auto values = [&](const std::vector<uint64_t>& rows) {
          return std::vector<uint32_t>(rows.begin(), rows.end());
        };
        const auto [keys, rows] = rows_of(build);
        const auto narrow = values(rows);
        ASSERT_TRUE(table.build_partition(
            partition, keys_of(keys),
            value_bytes(form) == 4 ? RowValues::of(narrow) : RowValues::of(rows)));
        const auto [probe_keys, probe_rows] = rows_of(probe);
        const auto narrow_probe = values(probe_rows);
        auto matches = JoinProbe::open_partition(
            library, table, partition, keys_of(probe_keys),
            value_bytes(form) == 4 ? RowValues::of(narrow_probe) : RowValues::of(probe_rows),
            [&](uint64_t a, uint64_t b) { return probe[a] == build[b]; });
        found[partition] = drain(*matches);
      });
    for (std::thread& thread : threads) thread.join();
    Pairs all;
    for (const Pairs& pairs : found) all.insert(all.end(), pairs.begin(), pairs.end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all, expected(probe, build));
    // Rows of all partitions find theirs by their hashes, too.
    auto matches = JoinProbe::open(library, table, keys_of(probe), RowValues::numbered_from(0),
                                   [&](uint64_t a, uint64_t b) { return probe[a] == build[b]; });
    EXPECT_EQ(drain(*matches), all);
  }
}

TEST_F(JoinTables, SizeTheirBucketsByTheExpectedRows) {
  EXPECT_EQ(JoinTable::create(library, {0, BucketForm::k2v4})->buckets(), 1u);
  EXPECT_EQ(JoinTable::create(library, {6000, BucketForm::k2v4})->buckets(), 1024u);
  EXPECT_EQ(JoinTable::create(library, {6000, BucketForm::k2v4, false, 2})->buckets(), 256u);
}

TEST_F(JoinTables, RefuseWrongSetUps) {
  EXPECT_EQ(JoinTable::create(library, {1, BucketForm::k2v8, true}).message(),
            "codes are kept whole in forms k4v4 and k4v8 only");
  EXPECT_EQ(JoinTable::create(library, {1, BucketForm::k2v8, false, 17}).message(),
            "2^17 partitions: use up to 2^16");
  EXPECT_FALSE(JoinTable::create(library, {uint64_t{1} << 40, BucketForm::k4v8}));
}

TEST_F(JoinTables, RefuseKeysAndValuesThatDoNotGoWithThem) {
  const std::vector<uint32_t> codes{1, 2}, one{1};
  auto tags = JoinTable::create(library, {2, BucketForm::k2v4}).value();
  EXPECT_EQ(tags.build(KeyRows::codes(codes).value(), RowValues::numbered_from(0)).message(),
            "a table of hash tags takes keys or hash values, not codes");
  EXPECT_EQ(tags.build(keys_of(codes), RowValues::of(one)).message(), "1 values for 2 keys");
  EXPECT_EQ(tags.build_partition(1, keys_of(codes), RowValues::of(codes)).message(),
            "partition 1 of a table with 1");
  auto exact = JoinTable::create(library, {2, BucketForm::k4v4, true}).value();
  EXPECT_EQ(exact.build(keys_of(codes), RowValues::of(codes)).message(),
            "a table of exact codes takes KeyRows::codes()");
  EXPECT_EQ(JoinProbe::open(library, tags, keys_of(codes), RowValues::of(codes)).message(),
            "a table of hash tags finds other keys, too; pass a comparison of keys");
  EXPECT_EQ(
      JoinProbe::open(library, exact, KeyRows::codes(codes).value(), RowValues::of(codes), {}, 0)
          .message(),
      "room for no match: use 1 or more");
  EXPECT_FALSE(JoinProbe::open_partition(library, exact, 1, KeyRows::codes(codes).value(),
                                         RowValues::of(codes)));
}

}  // namespace
}  // namespace colx::host
