#include "host/encode_codes.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace colx::host {
namespace {

constexpr uint32_t served_widths[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                      13, 14, 15, 16, 17, 18, 19, 20, 24, 32, 64};

uint64_t top(uint32_t width_bits) {
  return ~uint64_t{0} >> (64 - width_bits);
}

// Bit by bit from the definition of the stream.
uint64_t code_at(const uint8_t* stream, size_t row, uint32_t width_bits) {
  uint64_t code = 0;
  for (size_t bit = row * width_bits; bit < (row + 1) * width_bits; ++bit)
    code = code << 1 | (stream[bit / 8] >> (7 - bit % 8) & 1);
  return code;
}

std::vector<uint8_t> stream_of(std::vector<uint64_t> codes, uint32_t width_bits) {
  const auto stream = pack_codes(codes, width_bits);
  EXPECT_TRUE(stream) << stream.message();
  return {stream->bytes().begin(), stream->bytes().end()};
}

TEST(NarrowestCodeWidth, IsTheLeastWithKernels) {
  EXPECT_EQ(narrowest_code_width(0), 1u);
  EXPECT_EQ(narrowest_code_width(1), 1u);
  EXPECT_EQ(narrowest_code_width(2), 2u);
  EXPECT_EQ(narrowest_code_width((1u << 20) - 1), 20u);
  EXPECT_EQ(narrowest_code_width(1u << 20), 24u);  // 21 bits have no kernels
  EXPECT_EQ(narrowest_code_width((1u << 24) - 1), 24u);
  EXPECT_EQ(narrowest_code_width(1u << 24), 32u);
  EXPECT_EQ(narrowest_code_width(UINT32_MAX), 32u);
  EXPECT_EQ(narrowest_code_width(uint64_t{1} << 32), 64u);
  EXPECT_EQ(narrowest_code_width(UINT64_MAX), 64u);
}

TEST(PackCodes, WritesLiteralStreams) {
  EXPECT_EQ(stream_of({1, 0, 1}, 1), (std::vector<uint8_t>{0xA0}));
  EXPECT_EQ(stream_of({7, 0, 5}, 3), (std::vector<uint8_t>{0xE2, 0x80}));
  EXPECT_EQ(stream_of({0x7FF, 1}, 11), (std::vector<uint8_t>{0xFF, 0xE0, 0x04}));
  EXPECT_EQ(stream_of({0x12, 0xFF}, 8), (std::vector<uint8_t>{0x12, 0xFF}));
  EXPECT_EQ(stream_of({0x0102}, 16), (std::vector<uint8_t>{1, 2}));
  EXPECT_EQ(stream_of({0x010203, 4}, 24), (std::vector<uint8_t>{1, 2, 3, 0, 0, 4}));
  EXPECT_EQ(stream_of({0x01020304}, 32), (std::vector<uint8_t>{1, 2, 3, 4}));
  EXPECT_EQ(stream_of({0x0102030405060708}, 64), (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(stream_of({}, 7), (std::vector<uint8_t>{}));
}

TEST(PackCodes, EveryWidthReadsBackBitByBit) {
  std::mt19937_64 random(1);
  for (const uint32_t width : served_widths)
    for (const size_t rows : {1, 7, 8, 9, 100}) {
      std::vector<uint64_t> codes(rows);
      for (uint64_t& code : codes) code = random() & top(width);
      codes.front() = top(width);
      const auto stream = pack_codes(codes, width);
      ASSERT_TRUE(stream) << stream.message();
      ASSERT_EQ(stream->size(), (rows * width + 7) / 8);
      for (size_t row = 0; row < rows; ++row)
        ASSERT_EQ(code_at(stream->data(), row, width), codes[row]) << width << " bits, row " << row;
      for (size_t bit = rows * width; bit < 8 * (stream->size() + 16); ++bit)
        ASSERT_EQ(stream->data()[bit / 8] >> (7 - bit % 8) & 1, 0) << width << " bits, bit " << bit;
    }
}

TEST(PackCodes, RefusesACodeThatDoesNotFitAndNamesItsRow) {
  for (const uint32_t width : served_widths) {
    if (width == 64) continue;
    const std::vector<uint64_t> codes{0, top(width), top(width) + 1};
    const auto refused = pack_codes(codes, width);
    ASSERT_FALSE(refused) << width;
    EXPECT_EQ(refused.message(), "row 2: code " + std::to_string(top(width) + 1) +
                                     " does not fit " + std::to_string(width) +
                                     " bits; the largest that does is " +
                                     std::to_string(top(width)));
  }
}

TEST(PackCodes, RefusesWidthsWithoutKernels) {
  for (const uint32_t width : {0u, 21u, 22u, 23u, 25u, 31u, 33u, 63u, 65u, 1000u}) {
    const auto refused = pack_codes(std::vector<uint64_t>{0}, width);
    ASSERT_FALSE(refused) << width;
    EXPECT_EQ(refused.message(), "codes of " + std::to_string(width) +
                                     " bits have no kernel; use 1 to 20, 24, 32 or 64 bits");
  }
}

TEST(StoreCodes, CutsChunksThatAreCompleteVectors) {
  std::vector<uint64_t> codes(2 * 100 + 1);
  for (size_t row = 0; row < codes.size(); ++row) codes[row] = row % 7;
  const auto column = store_codes(codes, {.chunk_rows = 100});
  ASSERT_TRUE(column) << column.message();
  EXPECT_EQ(column->format.width_bits, 3u);
  EXPECT_EQ(column->rows(), codes.size());
  ASSERT_EQ(column->chunks.size(), 3u);
  EXPECT_EQ(column->chunks[2].rows, 1u);
  EXPECT_EQ(column->stream_bytes(), 38u + 38u + 1u);
  for (size_t row = 0; row < codes.size(); ++row)
    ASSERT_EQ(code_at(column->chunks[row / 100].data.data(), row % 100, 3), codes[row]) << row;
}

TEST(StoreCodes, TheWidthMayBeWiderThanNeeded) {
  const auto column = store_codes(std::vector<uint64_t>{1, 2}, {.width_bits = 16});
  ASSERT_TRUE(column);
  EXPECT_EQ(column->format.width_bits, 16u);
  EXPECT_EQ(column->stream_bytes(), 4u);
}

TEST(StoreCodes, NoRowsAreNoChunks) {
  const auto column = store_codes({});
  ASSERT_TRUE(column);
  EXPECT_EQ(column->rows(), 0u);
  EXPECT_TRUE(column->chunks.empty());
  EXPECT_EQ(column->format.width_bits, 1u);
}

TEST(StoreCodes, RefusesChunkSizesAndNamesTheRowInTheColumn) {
  const std::vector<uint64_t> codes{0, 0, 0, 9};
  EXPECT_EQ(store_codes(codes, {.chunk_rows = 0}).message(), "chunks of 0 rows: use 1 to 65536");
  EXPECT_EQ(store_codes(codes, {.chunk_rows = 65537}).message(),
            "chunks of 65537 rows: use 1 to 65536");
  EXPECT_EQ(store_codes(codes, {.width_bits = 3, .chunk_rows = 2}).message(),
            "row 3: code 9 does not fit 3 bits; the largest that does is 7");
}

}  // namespace
}  // namespace colx::host
