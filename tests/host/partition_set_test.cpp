#include "host/partition_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "host/join_probe.h"
#include "host/join_table.h"
#include "host/key_hash.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

struct Partitions : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  test::Random random{11};

  std::vector<uint32_t> some_codes(size_t rows) {
    std::vector<uint32_t> codes(rows);
    for (uint32_t& code : codes) code = static_cast<uint32_t>(random.below(900));
    return codes;
  }
  static KeyRows keys_of(const std::vector<uint32_t>& codes) {
    return KeyRows::fixed({reinterpret_cast<const uint8_t*>(codes.data()), codes.size() * 4}, 4)
        .value();
  }
  static uint64_t hash_of(uint32_t code) { return hash_key(&code, 4, 0); }
};

TEST_F(Partitions, HoldTheRowsOfTheirHashBitsInOrder) {
  const auto codes = some_codes(3000);
  for (const uint32_t region_bytes : {16u, 0u}) {
    auto set =
        PartitionSet::create(library, {.highest_bit = 12, .shift = 9, .region_bytes = region_bytes})
            .value();
    ASSERT_EQ(set.partitions(), 16u);
    ASSERT_TRUE(set.add(keys_of(codes), RowValues::numbered_from(100)));
    for (uint32_t partition = 0; partition < 16; ++partition) {
      std::vector<uint64_t> hashes, values, expected_hashes, expected_values;
      for (uint32_t row = 0; row < codes.size(); ++row)
        if ((hash_of(codes[row]) >> 9 & 15) == partition) {
          expected_hashes.push_back(hash_of(codes[row]));
          expected_values.push_back(100 + row);
        }
      ASSERT_TRUE(set.split(partition, hashes, values));
      EXPECT_EQ(hashes, expected_hashes);
      EXPECT_EQ(values, expected_values);
      EXPECT_EQ(set.rows(partition), values.size());
    }
  }
}

TEST_F(Partitions, AreSplitAgainByOtherBits) {
  const auto codes = some_codes(2000);
  auto coarse = PartitionSet::create(library, {.highest_bit = 63, .shift = 62}).value();
  ASSERT_TRUE(coarse.add(keys_of(codes), RowValues::numbered_from(0)));
  auto fine = PartitionSet::create(library, {.highest_bit = 61, .shift = 60}).value();
  for (size_t region = 0; region < coarse.regions(2); ++region)
    ASSERT_TRUE(fine.add(coarse.keys(2, region).value(), RowValues::numbered_from(0)));
  std::vector<uint64_t> hashes, values, expected;
  ASSERT_TRUE(fine.split(3, hashes, values));
  for (uint32_t row = 0; row < codes.size(); ++row)
    if (hash_of(codes[row]) >> 60 == 0b1011) expected.push_back(row);
  EXPECT_EQ(values, expected);
}

// Hashes and payloads of a partition of payload records.
std::vector<std::pair<uint64_t, std::string>> payloads_of(const PartitionSet& set,
                                                          uint32_t partition) {
  std::vector<std::pair<uint64_t, std::string>> rows;
  for (size_t region = 0; region < set.regions(partition); ++region) {
    const auto records = set.records(partition, region);
    for (size_t at = 0; at < records.size();) {
      uint16_t length;
      uint64_t hash;
      std::memcpy(&length, records.data() + at, 2);
      std::memcpy(&hash, records.data() + at + 2, 8);
      rows.emplace_back(
          hash, std::string(reinterpret_cast<const char*>(records.data()) + at + 10, length - 8u));
      at += 2u + length;
    }
  }
  return rows;
}

TEST_F(Partitions, CarryPayloadsOfAnyLengthAndAreSplitAgain) {
  const auto codes = some_codes(1500);
  std::vector<std::string> texts;
  std::vector<const char*> data;
  std::vector<uint16_t> lengths;
  for (size_t row = 0; row < codes.size(); ++row)
    texts.emplace_back(random.below(60), static_cast<char>('a' + row % 26));
  for (const std::string& text : texts) {
    data.push_back(text.data());
    lengths.push_back(static_cast<uint16_t>(text.size()));
  }
  const KeyRows payloads = KeyRows::pointers(data, lengths).value();
  auto coarse =
      PartitionSet::create(
          library,
          {.form = RecordForm::payloads, .highest_bit = 63, .shift = 63, .region_bytes = 1})
          .value();
  ASSERT_TRUE(coarse.add(keys_of(codes), payloads));
  auto fine =
      PartitionSet::create(
          library, {.form = RecordForm::payloads, .highest_bit = 1, .shift = 0, .region_bytes = 1})
          .value();
  ASSERT_TRUE(fine.add(coarse, 0));
  ASSERT_TRUE(fine.add(coarse, 1));
  for (uint32_t partition = 0; partition < 4; ++partition) {
    std::vector<std::pair<uint64_t, std::string>> expected;
    for (const uint64_t top : {0, 1})
      for (size_t row = 0; row < codes.size(); ++row)
        if (hash_of(codes[row]) >> 63 == top && (hash_of(codes[row]) & 3) == partition)
          expected.emplace_back(hash_of(codes[row]), texts[row]);
    EXPECT_EQ(payloads_of(fine, partition), expected) << partition;
  }
}

TEST_F(Partitions, CarryPayloadsOfOneWidth) {
  const std::vector<uint32_t> codes{1, 2, 3};
  const std::vector<uint8_t> bytes{'a', 'b', 'c', 'd', 'e', 'f'};
  auto set =
      PartitionSet::create(
          library, {.form = RecordForm::fixed, .highest_bit = 0, .shift = 0, .fixed_bytes = 2})
          .value();
  ASSERT_TRUE(set.add(keys_of(codes), KeyRows::fixed(bytes, 2).value()));
  for (uint32_t partition = 0; partition < 2; ++partition) {
    std::string expected;
    for (uint32_t row = 0; row < 3; ++row)
      if (const uint64_t hash = hash_of(codes[row]); (hash & 1) == partition)
        expected += std::string(reinterpret_cast<const char*>(&hash), 8) +
                    std::string(bytes.begin() + 2 * row, bytes.begin() + 2 * row + 2);
    const auto records = set.records(partition, 0);
    EXPECT_EQ(std::string(records.begin(), records.end()), expected);
  }
  EXPECT_EQ(set.add(keys_of(codes), KeyRows::fixed(std::vector<uint8_t>(9), 3).value()).message(),
            "row 0 has a payload of 3 bytes; this form takes 2");
}

using Pairs = std::vector<std::pair<uint64_t, uint64_t>>;

// Both sides partitioned by the table's bits, built and probed partition by partition.
TEST_F(Partitions, AreJoinedOneByOne) {
  const auto build = some_codes(3000), probe = some_codes(2000);
  Pairs expected;
  for (uint32_t p = 0; p < probe.size(); ++p)
    for (uint32_t b = 0; b < build.size(); ++b)
      if (probe[p] == build[b]) expected.emplace_back(p, b);
  std::sort(expected.begin(), expected.end());
  for (const BucketForm form : {BucketForm::k2v8, BucketForm::k4v8}) {
    auto table = JoinTable::create(library, {3000, form, false, 4}).value();
    const PartitionOptions by_table{.highest_bit = table.partition_hi(),
                                    .shift = table.partition_shift()};
    auto build_set = PartitionSet::create(library, by_table).value();
    auto probe_set = PartitionSet::create(library, by_table).value();
    ASSERT_TRUE(build_set.add(keys_of(build), RowValues::numbered_from(0)));
    ASSERT_TRUE(probe_set.add(keys_of(probe), RowValues::numbered_from(0)));
    Pairs found;
    for (uint32_t partition = 0; partition < table.partitions(); ++partition) {
      for (size_t region = 0; region < build_set.regions(partition); ++region)
        ASSERT_TRUE(table.build_partition(partition, build_set.keys(partition, region).value(),
                                          RowValues::numbered_from(0)));
      std::vector<uint64_t> hashes, values;
      ASSERT_TRUE(probe_set.split(partition, hashes, values));
      auto matches = JoinProbe::open_partition(
          library, table, partition, KeyRows::hashes(hashes).value(), RowValues::of(values),
          [&](uint64_t p, uint64_t b) { return probe[p] == build[b]; });
      for (;;) {
        const auto some = matches->next().value();
        if (some.empty()) break;
        for (const Match& match : some) found.emplace_back(match.probe_value, match.build_value);
      }
    }
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, expected);
  }
}

TEST_F(Partitions, OfCodesBuildATableOfExactCodes) {
  const auto codes = some_codes(500);
  auto table = JoinTable::create(library, {500, BucketForm::k4v8, true, 2}).value();
  auto set = PartitionSet::create(library, {.form = RecordForm::codes,
                                            .highest_bit = table.partition_hi(),
                                            .shift = table.partition_shift()})
                 .value();
  ASSERT_TRUE(set.add(KeyRows::codes(codes).value(), RowValues::numbered_from(0)));
  for (uint32_t partition = 0; partition < 4; ++partition)
    for (size_t region = 0; region < set.regions(partition); ++region)
      ASSERT_TRUE(table.build_partition(partition, set.keys(partition, region).value(),
                                        RowValues::numbered_from(0)));
  auto matches = JoinProbe::open(library, table, KeyRows::codes(codes).value(),
                                 RowValues::numbered_from(0), nullptr, 100000);
  uint64_t expected = 0;
  for (const uint32_t a : codes) expected += std::count(codes.begin(), codes.end(), a);
  EXPECT_EQ(matches->next()->size(), expected);
}

TEST_F(Partitions, RefuseWrongSetUps) {
  EXPECT_FALSE(PartitionSet::create(library, {.highest_bit = 64, .shift = 60}));
  EXPECT_FALSE(PartitionSet::create(library, {.highest_bit = 3, .shift = 4}));
  EXPECT_EQ(PartitionSet::create(library, {.highest_bit = 63, .shift = 40}).message(),
            "2^24 partitions: use up to 2^16");
  EXPECT_FALSE(PartitionSet::create(library, {.form = RecordForm::fixed}));
  EXPECT_FALSE(PartitionSet::create(library, {.fixed_bytes = 4}));
}

TEST_F(Partitions, RefuseRowsThatDoNotGoWithTheForm) {
  const std::vector<uint32_t> codes{1, 2};
  const std::vector<uint64_t> one{1};
  auto row_ids = PartitionSet::create(library, {}).value();
  auto of_codes = PartitionSet::create(library, {.form = RecordForm::codes}).value();
  auto payloads = PartitionSet::create(library, {.form = RecordForm::payloads}).value();
  EXPECT_FALSE(row_ids.add(KeyRows::codes(codes).value(), RowValues::numbered_from(0)));
  EXPECT_FALSE(of_codes.add(keys_of(codes), RowValues::numbered_from(0)));
  EXPECT_FALSE(row_ids.add(keys_of(codes), keys_of(codes)));
  EXPECT_FALSE(payloads.add(keys_of(codes), RowValues::numbered_from(0)));
  EXPECT_EQ(row_ids.add(keys_of(codes), RowValues::of(one)).message(), "1 values for 2 keys");
  EXPECT_FALSE(row_ids.add(payloads, 0));
  const std::string large(65528, 'x');
  const std::vector<const char*> data{large.data()};
  const std::vector<uint16_t> lengths{65528};
  EXPECT_FALSE(
      payloads.add(KeyRows::hashes(one).value(), KeyRows::pointers(data, lengths).value()));
  EXPECT_FALSE(payloads.keys(0, 0));
  std::vector<uint64_t> hashes, values;
  EXPECT_EQ(payloads.split(0, hashes, values).message(),
            "only records of row ids are split into hashes and values");
  EXPECT_FALSE(row_ids.split(row_ids.partitions(), hashes, values));
  EXPECT_TRUE(hashes.empty());
}

}  // namespace
}  // namespace colx::host
