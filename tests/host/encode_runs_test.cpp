#include "host/encode_runs.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/encode_codes.h"

namespace colx::host {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytes_of(const StreamBuffer& stream) {
  return {stream.bytes().begin(), stream.bytes().end()};
}

std::vector<std::pair<uint64_t, uint32_t>> pairs(const std::vector<CodeRun>& runs) {
  std::vector<std::pair<uint64_t, uint32_t>> pairs;
  for (const CodeRun& run : runs) pairs.emplace_back(run.code, run.rows);
  return pairs;
}

using Pairs = std::vector<std::pair<uint64_t, uint32_t>>;

TEST(FindRuns, JoinsNeighboursOnly) {
  EXPECT_EQ(pairs(find_runs(std::vector<uint64_t>{7, 7, 7, 7, 2, 2, 9, 7}, 255)),
            (Pairs{{7, 4}, {2, 2}, {9, 1}, {7, 1}}));
  EXPECT_EQ(pairs(find_runs({}, 255)), Pairs{});
}

TEST(FindRuns, SplitsWhatALengthCannotSay) {
  EXPECT_EQ(pairs(find_runs(std::vector<uint64_t>(255, 3), 255)), (Pairs{{3, 255}}));
  EXPECT_EQ(pairs(find_runs(std::vector<uint64_t>(256, 3), 255)), (Pairs{{3, 255}, {3, 1}}));
  EXPECT_EQ(pairs(find_runs(std::vector<uint64_t>(510, 3), 255)), (Pairs{{3, 255}, {3, 255}}));
  EXPECT_EQ(pairs(find_runs(std::vector<uint64_t>(65536, 3), 65535)), (Pairs{{3, 65535}, {3, 1}}));
}

TEST(WriteRuns, WritesLengthsAndFirstRows) {
  const std::vector<CodeRun> runs{{7, 4}, {2, 255}, {9, 1}};
  const auto narrow = write_runs(runs, 8, false);
  ASSERT_TRUE(narrow) << narrow.message();
  EXPECT_EQ(narrow->count, 3u);
  EXPECT_EQ(bytes_of(narrow->lengths), (Bytes{4, 255, 1}));
  EXPECT_EQ(narrow->positions.data(), nullptr);
  const auto wide = write_runs(runs, 16, true);
  ASSERT_TRUE(wide) << wide.message();
  EXPECT_EQ(wide->length_bits, 16u);
  EXPECT_EQ(bytes_of(wide->lengths), (Bytes{0, 4, 0, 255, 0, 1}));
  EXPECT_EQ(bytes_of(wide->positions), (Bytes{0, 0, 0, 0, 0, 0, 0, 4, 0, 0, 1, 3, 0, 0, 1, 4}));
}

TEST(WriteRuns, OfNoRunsHasOneFirstRow) {
  const auto none = write_runs({}, 8, true);
  ASSERT_TRUE(none);
  EXPECT_EQ(none->count, 0u);
  EXPECT_EQ(bytes_of(none->positions), (Bytes{0, 0, 0, 0}));
}

TEST(WriteRuns, FirstRowsAreWhatTheLibraryBuildsFromTheLengths) {
  std::vector<CodeRun> runs;
  for (uint32_t run = 0; run < 300; ++run) runs.push_back({run, 1 + run * 37 % 255});
  const auto narrow = write_runs(runs, 8, true).value();
  const auto wide = write_runs(runs, 16, true).value();
  Bytes built((runs.size() + 1) * 4);
  ASSERT_EQ(colx_build_cla_1_ub1(built.data(), 301, narrow.lengths.data(), 300), 301u);
  EXPECT_EQ(bytes_of(narrow.positions), built);
  std::fill(built.begin(), built.end(), uint8_t{0});
  ASSERT_EQ(colx_build_cla_1_ub2(built.data(), 301, wide.lengths.data(), 300), 301u);
  EXPECT_EQ(bytes_of(wide.positions), built);
}

TEST(WriteRuns, RefusesWhatALengthCannotSay) {
  EXPECT_EQ(write_runs(std::vector<CodeRun>{{0, 1}, {1, 256}}, 8, false).message(),
            "run 1 has 256 rows; a length of 8 bits says 1 to 255");
  EXPECT_EQ(write_runs(std::vector<CodeRun>{{0, 65536}}, 16, false).message(),
            "run 0 has 65536 rows; a length of 16 bits says 1 to 65535");
  EXPECT_EQ(write_runs(std::vector<CodeRun>{{0, 0}}, 8, false).message(),
            "run 0 has 0 rows; a length of 8 bits says 1 to 255");
  EXPECT_EQ(write_runs({}, 12, false).message(), "run lengths of 12 bits: use 8 or 16");
  EXPECT_EQ(write_runs({}, 0, false).message(), "run lengths of 0 bits: use 8 or 16");
}

TEST(ChooseLengthBits, TakesWhatIsSmaller) {
  const std::vector<uint64_t> short_runs{1, 1, 2, 2, 3, 3};
  EXPECT_EQ(choose_length_bits(short_runs, 65536, 8, false), 8u);
  const std::vector<uint64_t> long_run(60000, 1);  // 236 runs of 255 rows against one
  EXPECT_EQ(choose_length_bits(long_run, 65536, 8, false), 16u);
  // One run of 256 rows: two entries of 8 + 8 bits against one of 16 + 8.
  const std::vector<uint64_t> just_split(256, 1);
  EXPECT_EQ(choose_length_bits(just_split, 65536, 8, false), 16u);
  EXPECT_EQ(choose_length_bits(just_split, 128, 8, false), 8u);  // chunks cut the run anyway
  EXPECT_EQ(choose_length_bits({}, 65536, 8, false), 8u);
}

TEST(StoreCodes, WritesRunsChunkByChunk) {
  const std::vector<uint64_t> codes{5, 5, 5, 6, 6, 6, 6, 2};
  const auto column =
      store_codes(codes, {.chunk_rows = 5, .runs = RunLengthOptions{.positions = true}});
  ASSERT_TRUE(column) << column.message();
  ASSERT_EQ(column->chunks.size(), 2u);
  const Chunk& first = column->chunks[0];
  EXPECT_EQ(first.rows, 5u);
  EXPECT_EQ(first.entries(), 2u);
  EXPECT_EQ(bytes_of(first.data), (Bytes{5 << 5 | 6 << 2}));
  EXPECT_EQ(bytes_of(first.runs->lengths), (Bytes{3, 2}));
  const Chunk& second = column->chunks[1];
  EXPECT_EQ(second.rows, 3u);
  EXPECT_EQ(bytes_of(second.runs->lengths), (Bytes{2, 1}));
  EXPECT_EQ(bytes_of(second.runs->positions), (Bytes{0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 3}));
}

TEST(StoreCodes, SplitsAChunkOfOneCode) {
  const std::vector<uint64_t> codes(65536, 1);
  const auto wide = store_codes(codes, {.runs = RunLengthOptions{.length_bits = 16}}).value();
  EXPECT_EQ(wide.chunks[0].entries(), 2u);
  const auto narrow = store_codes(codes, {.runs = RunLengthOptions{.length_bits = 8}}).value();
  EXPECT_EQ(narrow.chunks[0].entries(), 258u);
  const auto chosen = store_codes(codes, {.runs = RunLengthOptions{}}).value();
  EXPECT_EQ(chosen.chunks[0].runs->length_bits, 16u);
}

TEST(StoreCodes, RefusesOtherLengthWidths) {
  EXPECT_EQ(store_codes(std::vector<uint64_t>{1}, {.runs = RunLengthOptions{.length_bits = 32}})
                .message(),
            "run lengths of 32 bits: use 8 or 16");
}

}  // namespace
}  // namespace colx::host
