#include "host/compressed_column.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "host/encode_codes.h"
#include "host/encode_rows.h"
#include "host/prepared_scan.h"
#include "host/stream_decoders.h"
#include "host/stream_validation.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

using Symbols = std::vector<std::string_view>;

// Codes in runs of a few rows out of few values, so that images are smaller than streams.
std::vector<uint64_t> repetitive_codes(size_t rows, uint64_t values) {
  test::Random random(rows);
  std::vector<uint64_t> codes;
  while (codes.size() < rows) codes.insert(codes.end(), 8 + random.below(40), random.below(values));
  codes.resize(rows);
  return codes;
}

struct CompressedColumns : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};

  // Hits of the scan, a bit a row, chunk by chunk.
  std::vector<bool> hits(const PreparedScan& scan, const StoredColumn& column) {
    std::vector<bool> all;
    for (size_t chunk = 0; chunk < column.chunks.size(); ++chunk) {
      const uint32_t rows = column.chunks[chunk].rows;
      RowBits bits(rows);
      const auto count = scan.run(chunk, bits, services);
      EXPECT_TRUE(count) << count.message();
      uint32_t set = 0;
      for (uint32_t row = 0; row < rows; ++row) {
        all.push_back(bits.test(row));
        set += bits.test(row);
      }
      EXPECT_EQ(*count, set);
    }
    return all;
  }
};

TEST_F(CompressedColumns, ScansOfCodesFindTheSameRows) {
  for (const uint32_t width : {1, 3, 8, 13, 16, 20, 32}) {
    const auto codes = repetitive_codes(70000, std::min<uint64_t>(50, uint64_t{1} << width));
    const CodeOptions options = {.width_bits = width, .chunk_rows = 30000};
    const auto plain = store_codes(codes, options).value();
    auto column = store_codes(codes, options).value();
    const uint64_t saved = compress_column(column);
    EXPECT_EQ(saved, plain.stream_bytes() - column.stream_bytes());
    const CodePredicate predicate = {Compare::ge, width == 1 ? 1u : 3u};
    const auto expected = hits(PreparedScan::on_codes(library, plain, predicate).value(), plain);
    const auto scan = PreparedScan::on_codes(library, column, predicate).value();
    for (const Chunk& chunk : column.chunks) EXPECT_NE(chunk.image_bytes, 0u) << width;
    EXPECT_EQ(hits(scan, column), expected) << width;
    EXPECT_EQ(services.counters().cached_blocks, 3u);
    EXPECT_EQ(services.counters().scratch_blocks, 0u);
    EXPECT_EQ(hits(scan, column), expected) << width << ", second touch";
    EXPECT_EQ(services.counters().cached_blocks, 3u);
  }
  EXPECT_EQ(services.counters().cached_blocks, 0u);
  EXPECT_EQ(services.counters().cached_calls, 7u * 3);
}

TEST_F(CompressedColumns, ScansOfRunsFindTheSameRows) {
  // Codes of 16 bits that begin with the same byte, a run each.
  std::vector<uint64_t> codes;
  for (uint64_t run = 0; run < 2000; ++run) codes.insert(codes.end(), 1 + run % 30, run % 7);
  const CodeOptions options = {.width_bits = 16, .runs = RunLengthOptions{}};
  const auto plain = store_codes(codes, options).value();
  auto column = store_codes(codes, options).value();
  EXPECT_GT(compress_column(column), 0u);
  const CodePredicate predicate = {Compare::gt_le, 1, 4};
  EXPECT_EQ(hits(PreparedScan::on_codes(library, column, predicate).value(), column),
            hits(PreparedScan::on_codes(library, plain, predicate).value(), plain));
}

TEST_F(CompressedColumns, KeepWhatDoesNotGetSmaller) {
  test::Random random(1);
  std::vector<uint64_t> codes;
  for (int row = 0; row < 5000; ++row) codes.push_back(random.below(256));
  auto column = store_codes(codes).value();
  EXPECT_FALSE(compress_chunk(column.chunks[0]).value());
  EXPECT_EQ(compress_column(column), 0u);
  EXPECT_EQ(column.chunks[0].image_bytes, 0u);
  EXPECT_TRUE(std::ranges::equal(column.chunks[0].data.bytes(),
                                 store_codes(codes)->chunks[0].data.bytes()));
  Chunk empty;
  EXPECT_FALSE(compress_chunk(empty).value());
}

TEST_F(CompressedColumns, HoldSoundImagesOfTheirStreams) {
  const auto codes = repetitive_codes(5000, 20);
  const auto plain = store_codes(codes).value();
  auto column = store_codes(codes).value();
  Chunk& chunk = column.chunks[0];
  ASSERT_TRUE(compress_chunk(chunk).value());
  EXPECT_EQ(chunk.image_bytes, plain.chunks[0].data.size());
  EXPECT_LT(chunk.data.size(), plain.chunks[0].data.size());
  EXPECT_EQ(wpak_validate(chunk.data.data(), chunk.data.size())->decoded_bytes, chunk.image_bytes);
  EXPECT_EQ(compress_chunk(chunk).message(),
            "the chunk of 5000 rows is compressed already, from 3125 bytes");
  EXPECT_EQ(compress_column(column), 0u);
}

TEST_F(CompressedColumns, AreExpandedOnceWhicheverThreadComesFirst) {
  auto column = store_codes(repetitive_codes(60000, 200), {.width_bits = 8}).value();
  ASSERT_GT(compress_column(column), 0u);
  const auto scan = PreparedScan::on_codes(library, column, {Compare::lt, 100}).value();
  std::vector<uint32_t> counts(4);
  std::vector<std::thread> threads;
  for (uint32_t& count : counts)
    threads.emplace_back([&] {
      RowBits bits(60000);
      count = scan.run(0, bits, services).value();
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counts, std::vector<uint32_t>(4, counts[0]));
  EXPECT_EQ(services.counters().cached_calls, 1u);
}

TEST_F(CompressedColumns, HoldStoredRowsAndLeaveTheirLengths) {
  Symbols values;
  for (int row = 0; row < 20000; ++row) values.push_back(row % 13 < 9 ? "BUILDING" : "HOUSE");
  const auto expect_same = [&](const StoredColumn& plain, StoredColumn column) {
    EXPECT_GT(compress_column(column), 0u);
    const Chunk& chunk = column.chunks[0];
    const auto expanded = expand_wpak(chunk.data.bytes(), services.env(), chunk.image_bytes);
    ASSERT_TRUE(expanded) << expanded.message();
    EXPECT_TRUE(std::ranges::equal(expanded->bytes(), plain.chunks[0].data.bytes()));
    EXPECT_TRUE(std::ranges::equal(chunk.second.bytes(), plain.chunks[0].second.bytes()));
  };
  const FixedOptions with_ties = {.lengths = ValueLengths::kept};
  expect_same(store_fixed(values, with_ties).value(), store_fixed(values, with_ties).value());
  expect_same(store_dynp(values).value(), store_dynp(values).value());
}

TEST_F(CompressedColumns, DictionariesComeBackWhole) {
  std::vector<std::string> texts;
  for (int code = 0; code < 3000; ++code) texts.push_back("Customer#" + std::to_string(code * 7));
  const Symbols symbols(texts.begin(), texts.end());
  const auto stored = CompressedDictionary::write(symbols).value();
  EXPECT_TRUE(stored.is_compressed());
  EXPECT_EQ(stored.num_symbols(), 3000u);
  EXPECT_LT(stored.stored_bytes() - 2 * 3000, stored.plain_bytes() / 3);
  const auto image = stored.expand(services.env());
  ASSERT_TRUE(image) << image.message();
  ASSERT_EQ(image->num_symbols(), 3000u);
  for (uint32_t code = 0; code < 3000; ++code) ASSERT_EQ(image->symbol(code), symbols[code]);
  EXPECT_EQ(services.counters().scratch_blocks, 0u);
}

TEST_F(CompressedColumns, SmallDictionariesStayAsTheyAre) {
  for (const Symbols& symbols : {Symbols{}, Symbols{"a", "b"}, Symbols{"", "AIR", "SHIP"}}) {
    const auto stored = CompressedDictionary::write(symbols).value();
    EXPECT_FALSE(stored.is_compressed());
    const auto image = stored.expand(services.env());
    ASSERT_TRUE(image) << image.message();
    ASSERT_EQ(image->num_symbols(), symbols.size());
    for (uint32_t code = 0; code < symbols.size(); ++code)
      EXPECT_EQ(image->symbol(code), symbols[code]);
  }
  // One length is kept once.
  EXPECT_EQ(CompressedDictionary::write(Symbols{"a", "b", "c"})->stored_bytes(), 3u + 2);
}

TEST_F(CompressedColumns, RefuseSymbolsThatDictionariesCannotHold) {
  const std::string longest(max_symbol_bytes + 1, 'x');
  EXPECT_EQ(CompressedDictionary::write(Symbols{"a", longest}).message(),
            "the value of code 1 has 65536 bytes; the longest has 65535");
}

}  // namespace
}  // namespace colx::host
