#include "host/stored_constant.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/value_forms.h"
#include "tests/host/comparisons.h"

namespace colx::host {
namespace {

using namespace std::string_view_literals;

std::string bytes_of(const StoredConstant& constant) {
  return {reinterpret_cast<const char*>(constant.bytes.data()), constant.bytes.size()};
}

TEST(StoredConstant, IsTheValueWithZeroBytesBehind) {
  const auto constant = stored_constant("\x12\x34").value();
  EXPECT_EQ(bytes_of(constant), "\x12\x34\0\0\0\0\0\0"sv);
  EXPECT_EQ(constant.tie_code, 1);
  EXPECT_EQ(stored_constant("12345678")->tie_code, 7);
}

TEST(StoredConstant, RefusesWhatNoRowHolds) {
  EXPECT_EQ(stored_constant("").message(), "an empty constant has no stored form");
  EXPECT_EQ(stored_constant("123456789").message(), "a constant of 9 bytes; rows have at most 8");
}

TEST(FixedNumberConstant, IsTheNumberInTheRowsWidth) {
  const ColumnFormat rows{Encoding::fixed, 24};
  EXPECT_EQ(bytes_of(fixed_number_constant(rows, 0x1234)), "\0\x12\x34\0\0\0\0\0"sv);
  EXPECT_EQ(bytes_of(fixed_number_constant(rows, 0xFFFFFF)), "\xFF\xFF\xFF\0\0\0\0\0"sv);
  EXPECT_EQ(bytes_of(fixed_number_constant(rows, 0x1000000)), std::string(8, '\xFF'));
  EXPECT_EQ(bytes_of(fixed_number_constant({Encoding::fixed, 64}, UINT64_MAX)),
            std::string(8, '\xFF'));
}

TEST(CountedConstant, IsTheCountedFormOrLiesBeyondEveryRow) {
  EXPECT_EQ(bytes_of(counted_constant(300)), "\x82\x01\x2C\0\0\0\0\0"sv);
  EXPECT_EQ(counted_constant(300).tie_code, 2);
  EXPECT_EQ(bytes_of(counted_constant(max_counted + 1)), std::string(8, '\xFF'));
  EXPECT_EQ(bytes_of(counted_constant(min_counted - 1)), std::string(8, '\0'));
  EXPECT_LT(bytes_of(counted_constant(min_counted - 1)), bytes_of(counted_constant(min_counted)));
  EXPECT_LT(bytes_of(counted_constant(max_counted)), bytes_of(counted_constant(max_counted + 1)));
}

// A row or a constant as a comparison sees it.
struct Key {
  std::string bytes;  // 8, zeros behind
  int code;
};

std::partial_ordering order(const Key& a, const Key& b, bool ties) {
  if (const auto by_value = a.bytes <=> b.bytes; by_value != 0) return by_value;
  return ties ? a.code <=> b.code : std::strong_ordering::equal;
}

bool holds(const ValuePredicate& p, const Key& row) {
  const auto versus = [&](const StoredConstant& constant) {
    return order(row, {bytes_of(constant), constant.tie_code}, p.ties);
  };
  return holds(p.compare, versus(p.low), versus(p.high));
}

// Rows and constants around the edges: short, as long as the row, longer, all ones.
std::vector<StoredConstant> constants_around(uint32_t row_bytes) {
  std::vector<StoredConstant> constants;
  for (const std::string& start : {std::string(1, '\0'), std::string("\x12")})
    for (size_t length = 1; length <= 8; ++length)
      if (length == 1 || length == 2 || length + 1 == row_bytes || length == row_bytes ||
          length == row_bytes + 1 || length == 8)
        for (const char fill : {'\0', '\xFF'}) {
          std::string bytes = start;
          bytes.resize(length, fill);
          constants.push_back(stored_constant(bytes).value());
        }
  constants.push_back(stored_constant(std::string(8, '\xFF')).value());
  StoredConstant odd = constants[0];
  odd.tie_code = 9;
  constants.push_back(odd);
  return constants;
}

void check_rows(const ColumnFormat& format, bool ties, const ValuePredicate& predicate,
                const std::vector<Key>& rows) {
  const auto fitted = fit_to_rows(format, predicate);
  ASSERT_TRUE(fitted) << fitted.message();
  const uint32_t row_bytes = format.width_bits / 8;
  const int top = format.encoding == Encoding::dynp ? static_cast<int>(row_bytes) - 1
                                                    : (1 << format.length_code_bits()) - 1;
  for (const StoredConstant& constant : {fitted->low, fitted->high}) {
    if (&constant == &fitted->high && !is_range(fitted->compare)) break;
    ASSERT_EQ(bytes_of(constant).find_first_not_of('\0', row_bytes), std::string::npos);
    if (ties) {
      ASSERT_LE(constant.tie_code, top);
    }
  }
  for (const Key& row : rows)
    ASSERT_EQ(holds(*fitted, row), holds(predicate, row))
        << name_of(predicate.compare) << " became " << name_of(fitted->compare) << ", row "
        << testing::PrintToString(row.bytes) << " code " << row.code << ", low "
        << testing::PrintToString(bytes_of(predicate.low)) << " tie " << int{predicate.low.tie_code}
        << ", high " << testing::PrintToString(bytes_of(predicate.high));
}

TEST(FitToRows, SelectsTheSameRowsWithConstantsThatKernelsTake) {
  for (const ColumnFormat format :
       {ColumnFormat{Encoding::fixed, 8}, ColumnFormat{Encoding::fixed, 16},
        ColumnFormat{Encoding::fixed, 24}, ColumnFormat{Encoding::fixed, 40},
        ColumnFormat{Encoding::fixed, 64}, ColumnFormat{Encoding::dynp, 16},
        ColumnFormat{Encoding::dynp, 32}, ColumnFormat{Encoding::dynp, 64}})
    for (const bool ties : {false, true}) {
      if (ties && !format.length_code_bits()) continue;
      const uint32_t row_bytes = format.width_bits / 8;
      const auto constants = constants_around(row_bytes);
      std::vector<Key> rows;
      for (const StoredConstant& constant : constants) {
        std::string bytes = bytes_of(constant).substr(0, row_bytes);
        bytes.resize(8, '\0');
        for (int code = 0; code < static_cast<int>(row_bytes); ++code)
          rows.push_back({bytes, code});
      }
      for (const Compare compare : comparisons)
        for (const StoredConstant& low : constants)
          for (const StoredConstant& high : constants) {
            SCOPED_TRACE(testing::Message() << "format " << int(format.encoding) << ' '
                                            << format.width_bits << ", ties " << ties);
            ASSERT_NO_FATAL_FAILURE(check_rows(format, ties, {compare, low, high, ties}, rows));
            if (!is_range(compare)) break;
          }
    }
}

TEST(FitToRows, CutsALongConstantAndTakesInTheRowBelowIt) {
  const ColumnFormat two_bytes{Encoding::fixed, 16};
  const auto constant = stored_constant("\x12\x34\x56").value();
  const auto below = fit_to_rows(two_bytes, {Compare::lt, constant}).value();
  EXPECT_EQ(below.compare, Compare::le);
  EXPECT_EQ(bytes_of(below.low), "\x12\x34\0\0\0\0\0\0"sv);
  EXPECT_EQ(fit_to_rows(two_bytes, {Compare::ge, constant})->compare, Compare::gt);
}

TEST(FitToRows, RefusesTiesWhereRowsHaveNone) {
  EXPECT_EQ(fit_to_rows({Encoding::fixed, 8}, {.ties = true}).message(),
            "rows of 8 bits have no tie codes to compare");
}

}  // namespace
}  // namespace colx::host
