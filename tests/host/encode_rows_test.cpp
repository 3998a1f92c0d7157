#include "host/encode_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/row_reader.h"
#include "host/value_forms.h"

namespace colx::host {
namespace {

using Bytes = std::vector<uint8_t>;
using Values = std::vector<std::string_view>;
using namespace std::string_view_literals;

Bytes bytes_of(const StreamBuffer& stream) {
  return {stream.bytes().begin(), stream.bytes().end()};
}

// All rows of all chunks, each with its code.
std::vector<std::pair<std::string, uint32_t>> rows_of(const StoredColumn& column) {
  std::vector<std::pair<std::string, uint32_t>> rows;
  for (size_t chunk = 0; chunk < column.chunks.size(); ++chunk)
    for (RowReader reader(column, chunk); !reader.at_end();) {
      const std::string row(reader.next());
      rows.emplace_back(row, reader.code());
    }
  return rows;
}

TEST(StoreDynp, WritesFourRowsUnderALengthByteAt32Bits) {
  const auto column =
      store_dynp(Values{"\x12", "\x12\x34", "\xAA\xBB\xCC", "\x01\x02\x03\x04"}).value();
  EXPECT_EQ(column.format.width_bits, 32u);
  EXPECT_EQ(bytes_of(column.chunks[0].second), (Bytes{0x1B}));
  EXPECT_EQ(bytes_of(column.chunks[0].data),
            (Bytes{0x12, 0x12, 0x34, 0xAA, 0xBB, 0xCC, 1, 2, 3, 4}));
}

TEST(StoreDynp, WritesTwoRowsUnderALengthByteAt64Bits) {
  const auto column = store_dynp(Values{"\x11", "\x22\x33\x44"}, {.max_bytes = 8}).value();
  EXPECT_EQ(bytes_of(column.chunks[0].second), (Bytes{0x02}));
  EXPECT_EQ(bytes_of(column.chunks[0].data), (Bytes{0x11, 0x22, 0x33, 0x44}));
}

// Kernels take codes of 8 and more at 64 bits for more than a row has.
TEST(StoreDynp, WritesNoCodeAbove7At64Bits) {
  const std::string longest = "12345678";
  for (size_t first = 1; first <= 8; ++first)
    for (size_t second = 1; second <= 8; ++second) {
      const Values rows{std::string_view(longest).substr(0, first),
                        std::string_view(longest).substr(0, second), longest};
      const auto column = store_dynp(rows, {.max_bytes = 8}).value();
      const auto codes = static_cast<uint8_t>((first - 1) << 4 | (second - 1));
      EXPECT_EQ(bytes_of(column.chunks[0].second), (Bytes{codes, 0x70}));
    }
  EXPECT_EQ(store_dynp(Values{"123456789"}, {.max_bytes = 8}).message(),
            "row 0: a value of 9 bytes; rows have at most 8");
}

TEST(StoreDynp, WritesEightRowsUnderALengthByteAt16Bits) {
  const auto column = store_dynp(Values{"a", "bc", "d", "e", "f", "g", "h", "i"}).value();
  EXPECT_EQ(column.format.width_bits, 16u);
  EXPECT_EQ(bytes_of(column.chunks[0].second), (Bytes{0x40}));
  EXPECT_EQ(bytes_of(column.chunks[0].data), (Bytes{'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i'}));
}

TEST(StoreDynp, DropsTrailingZerosOrKeepsThemToTellRowsApart) {
  const Values values{"\x12\0"sv, "\0\0"sv, "\x12"sv, "\0\x01"sv};
  const auto shortest = store_dynp(values).value();
  EXPECT_EQ(bytes_of(shortest.chunks[0].second), (Bytes{0x10}));
  EXPECT_EQ(bytes_of(shortest.chunks[0].data), (Bytes{0x12, 0, 0x12, 0, 1}));
  const auto kept = store_dynp(values, {.lengths = ValueLengths::kept}).value();
  EXPECT_EQ(bytes_of(kept.chunks[0].second), (Bytes{0xD0}));
  EXPECT_EQ(bytes_of(kept.chunks[0].data), (Bytes{0x12, 0, 0, 0, 0x12, 0, 1}));
}

TEST(StoreDynp, TakesTheLeastRowThatHoldsEveryStoredValue) {
  EXPECT_EQ(store_dynp(Values{"abc"})->format.width_bits, 32u);
  EXPECT_EQ(store_dynp(Values{"abcde"})->format.width_bits, 64u);
  EXPECT_EQ(store_dynp(Values{"ab\0\0\0"sv})->format.width_bits, 16u);
  EXPECT_EQ(store_dynp(Values{"ab\0\0\0"sv}, {.lengths = ValueLengths::kept})->format.width_bits,
            64u);
  EXPECT_EQ(store_dynp(Values{})->format.width_bits, 16u);
}

TEST(StoreDynp, ReadsBackAtEveryLengthOverChunks) {
  std::vector<std::string> values;
  for (size_t row = 0; row < 500; ++row) values.emplace_back(1 + row * 7 % 8, char('a' + row % 26));
  const Values views(values.begin(), values.end());
  const auto column = store_dynp(views, {.chunk_rows = 33}).value();
  EXPECT_EQ(column.chunks.size(), 16u);
  EXPECT_EQ(column.rows(), 500u);
  const auto rows = rows_of(column);
  ASSERT_EQ(rows.size(), values.size());
  for (size_t row = 0; row < rows.size(); ++row) {
    EXPECT_EQ(rows[row].first, values[row]) << row;
    EXPECT_EQ(rows[row].second, values[row].size() - 1) << row;
  }
}

TEST(StoreFixed, PadsShorterValuesBehind) {
  const auto column = store_fixed(Values{"\x12", "\x12\x34", "\xAA\xBB\xCC"}).value();
  EXPECT_EQ(column.format.width_bits, 24u);
  EXPECT_EQ(bytes_of(column.chunks[0].data), (Bytes{0x12, 0, 0, 0x12, 0x34, 0, 0xAA, 0xBB, 0xCC}));
  EXPECT_EQ(column.chunks[0].second.size(), 0u);
}

TEST(StoreFixed, KeepsLengthsAsTieCodesPackedForTheKernelsWord) {
  const FixedOptions kept{.lengths = ValueLengths::kept};
  const auto narrow = store_fixed(Values{"a", "ab", "a"}, kept).value();
  EXPECT_EQ(bytes_of(narrow.chunks[0].second), (Bytes{0x40}));  // 1 bit a row
  const auto middle = store_fixed(Values{"a", "abc", "ab", "a", "ab"}, kept).value();
  EXPECT_EQ(bytes_of(middle.chunks[0].second), (Bytes{0x24, 0x40}));  // 2 bits a row
  const auto wide = store_fixed(Values{"abcde", "a", "abc"}, kept).value();
  EXPECT_EQ(bytes_of(wide.chunks[0].second), (Bytes{0x40, 0x20}));  // 4 bits a row
  const auto bytes = store_fixed(Values{"a", "b"}, kept).value();
  EXPECT_EQ(bytes.chunks[0].second.size(), 0u);  // nothing to tell apart
}

TEST(StoreFixed, ReadsBackAtEveryWidthOverChunks) {
  for (uint32_t width = 1; width <= 8; ++width) {
    std::vector<std::string> values;
    for (size_t row = 0; row < 100; ++row)
      values.emplace_back(1 + row % width, static_cast<char>(200 + row % 50));
    const Values views(values.begin(), values.end());
    const auto column =
        store_fixed(views, {.width_bytes = width, .lengths = ValueLengths::kept, .chunk_rows = 17})
            .value();
    EXPECT_EQ(column.format.width_bits, 8 * width);
    const auto rows = rows_of(column);
    ASSERT_EQ(rows.size(), values.size());
    for (size_t row = 0; row < rows.size(); ++row) {
      std::string padded = values[row];
      padded.resize(width, '\0');
      EXPECT_EQ(rows[row].first, padded) << width << " bytes, row " << row;
      EXPECT_EQ(rows[row].second, width == 1 ? 0 : values[row].size() - 1) << width << ' ' << row;
    }
  }
}

TEST(StoreFixedNumbers, AreBigEndianInTheLeastWidth) {
  const auto column = store_fixed_numbers(std::vector<uint64_t>{0x123456, 7}).value();
  EXPECT_EQ(column.format.width_bits, 24u);
  EXPECT_EQ(bytes_of(column.chunks[0].data), (Bytes{0x12, 0x34, 0x56, 0, 0, 7}));
  EXPECT_EQ(store_fixed_numbers(std::vector<uint64_t>{0})->format.width_bits, 8u);
  EXPECT_EQ(store_fixed_numbers(std::vector<uint64_t>{UINT64_MAX})->format.width_bits, 64u);
  EXPECT_EQ(store_fixed_numbers(std::vector<uint64_t>{19920101}, {.width_bytes = 4})
                ->chunks[0]
                .data.size(),
            4u);
}

TEST(StoreDynpNumbers, AreCountedSoThatSmallOnesAreShort) {
  const auto column = store_dynp_numbers(std::vector<int64_t>{5, 300, 256, 0, -1}).value();
  EXPECT_EQ(column.format.width_bits, 32u);
  EXPECT_EQ(bytes_of(column.chunks[0].data),
            (Bytes{0x81, 5, 0x82, 1, 0x2C, 0x82, 1, 0x80, 0x7F, 0xFF}));
  EXPECT_EQ(bytes_of(column.chunks[0].second), (Bytes{0x64, 0x40}));
  for (const auto& [row, code] : rows_of(column)) EXPECT_EQ(row.size(), code + 1);
  EXPECT_EQ(counted_integer_of(rows_of(column)[1].first), 300);
}

TEST(StoreRows, RefuseValuesWithoutARowAndNameThem) {
  EXPECT_EQ(store_fixed(Values{"a", ""}).message(),
            "row 1: an empty value has no stored form; a row has at least one byte");
  EXPECT_EQ(store_dynp(Values{"123456789"}).message(),
            "row 0: a value of 9 bytes; rows have at most 8");
  EXPECT_EQ(store_fixed(Values{"a", "abc"}, {.width_bytes = 2}).message(),
            "row 1: a value of 3 bytes does not fit rows of 2");
  EXPECT_EQ(store_dynp(Values{"a", "abcde"}, {.max_bytes = 4}).message(),
            "row 1: a value of 5 bytes does not fit rows of 4");
  EXPECT_EQ(store_fixed_numbers(std::vector<uint64_t>{1, 256}, {.width_bytes = 1}).message(),
            "row 1: 256 does not fit rows of 1 bytes");
  EXPECT_EQ(store_dynp_numbers(std::vector<int64_t>{max_counted, max_counted + 1}).message(),
            "row 1: 72057594037927936 is outside -2^56 to 2^56 - 1, what 8 bytes count");
  EXPECT_EQ(store_dynp_numbers(std::vector<int64_t>{min_counted - 1}).message(),
            "row 0: -72057594037927937 is outside -2^56 to 2^56 - 1, what 8 bytes count");
  EXPECT_EQ(store_dynp_numbers(std::vector<int64_t>{256}, {.max_bytes = 2})->format.width_bits,
            16u);
  EXPECT_EQ(store_dynp_numbers(std::vector<int64_t>{257}, {.max_bytes = 2}).message(),
            "row 0: a value of 3 bytes does not fit rows of 2");
}

TEST(StoreRows, RefuseOptionsOutOfRange) {
  EXPECT_EQ(store_fixed(Values{"a"}, {.width_bytes = 9}).message(),
            "fixed rows of 9 bytes: use 1 to 8");
  EXPECT_EQ(store_fixed_numbers(std::vector<uint64_t>{1}, {.width_bytes = 9}).message(),
            "fixed rows of 9 bytes: use 1 to 8");
  EXPECT_EQ(store_dynp(Values{"a"}, {.max_bytes = 3}).message(),
            "dynp rows of up to 3 bytes: use 2, 4 or 8");
  EXPECT_EQ(store_dynp(Values{"a"}, {.chunk_rows = 0}).message(),
            "chunks of 0 rows: use 1 to 65536");
  EXPECT_EQ(store_fixed(Values{"a"}, {.chunk_rows = 70000}).message(),
            "chunks of 70000 rows: use 1 to 65536");
}

}  // namespace
}  // namespace colx::host
