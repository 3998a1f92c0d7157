#include "host/encode_numbers.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "host/prepared_scan.h"

namespace colx::host {
namespace {

std::vector<uint8_t> stored(const StoredColumn& column, size_t chunk = 0) {
  const auto bytes = column.chunks[chunk].data.bytes();
  return {bytes.begin(), bytes.end()};
}
using Bytes = std::vector<uint8_t>;

TEST(EncodeNumbers, FloatsAreCanonical) {
  const std::vector<float> numbers{0.0f, -0.0f, 1.0f, -1.0f};
  const auto column = store_floats(numbers).value();
  EXPECT_EQ(stored(column), (Bytes{0x80, 0, 0, 0, 0x7F, 0xFF, 0xFF, 0xFF, 0xBF, 0x80, 0, 0, 0x40,
                                   0x7F, 0xFF, 0xFF}));
  EXPECT_EQ(column.format.value_type, uint32_t{COLX_TYPE_FLOAT});
  EXPECT_EQ(column.format.width_bits, 32u);
}

TEST(EncodeNumbers, DoublesAreCanonical) {
  const std::vector<double> numbers{2.0, -1.0};
  EXPECT_EQ(stored(store_doubles(numbers).value()),
            (Bytes{0xC0, 0, 0, 0, 0, 0, 0, 0, 0x40, 0x0F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST(EncodeNumbers, TheBitsOfASignallingNanAreKept) {
  const std::vector<float> numbers{std::bit_cast<float>(0x7FA00001u)};
  EXPECT_EQ(stored(store_floats(numbers).value()), (Bytes{0xFF, 0xA0, 0x00, 0x01}));
}

TEST(EncodeNumbers, DsbTakesTheLeastWidthThatHoldsEveryNumber) {
  const struct {
    int64_t low, high;
    uint32_t bits;
  } cases[] = {{-128, 127, 8},
               {-129, 0, 16},
               {0, 128, 16},
               {-32769, 0, 32},
               {0, int64_t{1} << 31, 64},
               {std::numeric_limits<int64_t>::min(), 0, 64}};
  for (const auto& [low, high, bits] : cases) {
    const std::vector<int64_t> numbers{low, high};
    EXPECT_EQ(store_dsb(numbers)->format.width_bits, bits) << low << " to " << high;
  }
  EXPECT_EQ(stored(store_dsb(std::vector<int64_t>{-2, 256}).value()), (Bytes{0xFF, 0xFE, 1, 0}));
  EXPECT_EQ(store_dsb({})->rows(), 0u);
}

TEST(EncodeNumbers, ChunksHoldTheirRows) {
  const std::vector<int64_t> numbers{1, 2, 3, 4, 5};
  const auto column = store_dsb(numbers, {.width_bits = 8, .chunk_rows = 2}).value();
  ASSERT_EQ(column.chunks.size(), 3u);
  EXPECT_EQ(stored(column, 1), (Bytes{3, 4}));
  EXPECT_EQ(stored(column, 2), (Bytes{5}));
}

TEST(EncodeNumbers, WrongOptionsAreRefused) {
  EXPECT_EQ(store_dsb({}, {.width_bits = 24}).message(),
            "dsb numbers of 24 bits: use 8, 16, 32 or 64");
  EXPECT_EQ(store_dsb(std::vector<int64_t>{1, -129}, {.width_bits = 8}).message(),
            "row 1: -129 does not fit dsb numbers of 8 bits");
  EXPECT_FALSE(store_floats({}, {.chunk_rows = 0}));
  EXPECT_FALSE(store_doubles({}, {.chunk_rows = 65537}));
}

TEST(EncodeNumbers, CanonicalRowsAreScannedInNumericOrder) {
  const Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};
  const std::vector<double> numbers{-INFINITY, -2.5, -0.0, 0.0, 1e-310, 3.5, INFINITY};
  const auto column = store_doubles(numbers).value();
  const auto constant = store_doubles(std::vector<double>{0.0}).value();
  const std::string_view bytes(reinterpret_cast<const char*>(constant.chunks[0].data.data()), 8);
  const auto scan =
      PreparedScan::on_values(library, column, {Compare::lt, stored_constant(bytes).value()});
  RowBits hits(7);
  EXPECT_EQ(scan->run(0, hits, services).value(), 3u);
  EXPECT_EQ(hits.words()[0], 0b111u);
}

}  // namespace
}  // namespace colx::host
