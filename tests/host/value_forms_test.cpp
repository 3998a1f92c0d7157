#include "host/value_forms.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace colx::host {
namespace {

std::string canonical(double value) {
  std::string stored(8, '\0');
  store_canonical(reinterpret_cast<uint8_t*>(stored.data()), value);
  return stored;
}

std::string integer(int64_t value, size_t bytes) {
  std::string stored(bytes, '\0');
  store_integer(reinterpret_cast<uint8_t*>(stored.data()), value, bytes);
  return stored;
}

TEST(IntegerBytes, AreTheLeastThatHoldBoth) {
  EXPECT_EQ(integer_bytes(0, 0), 1u);
  EXPECT_EQ(integer_bytes(-128, 127), 1u);
  EXPECT_EQ(integer_bytes(-129, 0), 2u);
  EXPECT_EQ(integer_bytes(0, 128), 2u);
  EXPECT_EQ(integer_bytes(INT32_MIN, INT32_MAX), 4u);
  EXPECT_EQ(integer_bytes(int64_t{INT32_MIN} - 1, 0), 8u);
  EXPECT_EQ(integer_bytes(INT64_MIN, INT64_MAX), 8u);
}

TEST(Integers, ReadBackAtEveryWidthThatHoldsThem) {
  EXPECT_EQ(integer(-1, 1), "\xFF");
  EXPECT_EQ(integer(300, 2), "\x01\x2C");
  EXPECT_EQ(integer(-2, 4), "\xFF\xFF\xFF\xFE");
  for (const int64_t value : {INT64_MIN, int64_t{INT32_MIN}, int64_t{-1}, int64_t{0}, int64_t{1},
                              int64_t{127}, int64_t{128}, int64_t{INT32_MAX}, INT64_MAX})
    for (size_t bytes = integer_bytes(value, value); bytes <= 8; bytes *= 2)
      EXPECT_EQ(integer_of(integer(value, bytes)), value) << bytes;
  EXPECT_EQ(integer_of(""), 0);
  EXPECT_EQ(integer_of("\x80\x01\x02"), -8388608 + 0x0102);
}

TEST(CanonicalDoubles, HaveTheirLiteralBytes) {
  EXPECT_EQ(canonical(0.0), std::string("\x80\0\0\0\0\0\0\0", 8));
  EXPECT_EQ(canonical(-0.0), "\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
  EXPECT_EQ(canonical(2.0), std::string("\xC0\0\0\0\0\0\0\0", 8));
  EXPECT_EQ(canonical(-1.0), "\x40\x0F\xFF\xFF\xFF\xFF\xFF\xFF");
}

TEST(CanonicalDoubles, KeepTheirOrderAndTheirBits) {
  constexpr double inf = std::numeric_limits<double>::infinity();
  const double rising[] = {-inf, -1e300, -1.5, -5e-324, -0.0, 0.0, 5e-324, 1.5, 1e300, inf};
  for (size_t k = 0; k < std::size(rising); ++k) {
    EXPECT_EQ(std::bit_cast<uint64_t>(canonical_double_of(canonical(rising[k]))),
              std::bit_cast<uint64_t>(rising[k]));
    if (k) {
      EXPECT_LT(canonical(rising[k - 1]), canonical(rising[k])) << rising[k];
    }
  }
  EXPECT_TRUE(std::isnan(canonical_double_of(canonical(std::nan("")))));
}

std::string counted(int64_t value) {
  std::string stored(8, '\x55');
  stored.resize(store_counted(reinterpret_cast<uint8_t*>(stored.data()), value));
  return stored;
}

TEST(CountedIntegers, HaveTheirLiteralBytes) {
  EXPECT_EQ(counted(0), "\x80");
  EXPECT_EQ(counted(5), "\x81\x05");
  EXPECT_EQ(counted(255), "\x81\xFF");
  EXPECT_EQ(counted(256), "\x82\x01");
  EXPECT_EQ(counted(300), "\x82\x01\x2C");
  EXPECT_EQ(counted(-1), "\x7F\xFF");
  EXPECT_EQ(counted(-256), "\x7F");
  EXPECT_EQ(counted(-300), "\x7E\xFE\xD4");
  EXPECT_EQ(counted(max_counted), "\x87\xFF\xFF\xFF\xFF\xFF\xFF\xFF");
  EXPECT_EQ(counted(min_counted), "\x79");
}

TEST(CountedIntegers, KeepTheirOrderAndReadBackWithAndWithoutTrailingZeros) {
  std::vector<int64_t> rising{min_counted, min_counted + 1};
  for (int shift = 48; shift >= 0; shift -= 8)
    for (const int64_t around : {-257, -256, -255, -129, -128, -127, -2, -1})
      if (rising.back() < around << shift) rising.push_back(around << shift);
  for (int shift = 0; shift <= 48; shift += 8)
    for (const int64_t around : {0, 1, 2, 127, 128, 255, 256, 257})
      if (rising.back() < around << shift && around << shift <= max_counted)
        rising.push_back(around << shift);
  rising.push_back(max_counted);
  for (size_t k = 0; k < rising.size(); ++k) {
    const std::string stored = counted(rising[k]);
    EXPECT_EQ(counted_integer_of(stored), rising[k]);
    EXPECT_EQ(counted_integer_of(stored + std::string(8 - stored.size(), '\0')), rising[k]);
    if (k) {
      EXPECT_LT(counted(rising[k - 1]), stored) << rising[k];
    }
  }
  EXPECT_EQ(counted_integer_of(""), 0);
}

}  // namespace
}  // namespace colx::host
