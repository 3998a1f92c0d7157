#include "host/value_dictionary.h"
#include "tests/host/comparisons.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace colx::host {
namespace {

using Matches = CodePredicate::Matches;

Dictionary<int64_t> integers(std::vector<int64_t> values, bool nullable = false) {
  return Dictionary<int64_t>::build(values, nullable).value();
}

TEST(Dictionary, CodesRiseWithTheValues) {
  const auto numbers = integers({30, -5, 10, 30, 20, -5});
  EXPECT_EQ(numbers.size(), 4u);
  EXPECT_EQ(numbers.first_code(), 0u);
  EXPECT_EQ(numbers.end_code(), 4u);
  EXPECT_EQ(numbers.value(0), -5);
  EXPECT_EQ(numbers.value(3), 30);
  EXPECT_EQ(numbers.narrowest_width_bits(), 2u);

  const std::vector<std::string_view> words{"b", "\xC3\xA4", "a", "ab", "b"};
  const auto text = Dictionary<std::string>::build(words).value();
  EXPECT_EQ(text.value(0), "a");
  EXPECT_EQ(text.value(1), "ab");
  EXPECT_EQ(text.value(2), "b");
  EXPECT_EQ(text.value(3), "\xC3\xA4");  // bytes compare unsigned

  const std::vector<double> reals{1.5, -INFINITY, 0.0, -0.0, INFINITY, -1e-310};
  const auto doubles = Dictionary<double>::build(reals).value();
  ASSERT_EQ(doubles.size(), 5u);
  EXPECT_EQ(doubles.value(0), -INFINITY);
  EXPECT_EQ(doubles.value(2), 0.0);
  EXPECT_FALSE(std::signbit(doubles.value(2)));
  EXPECT_EQ(doubles.code_of(-0.0), 2u);
}

TEST(Dictionary, OfManyBlocksOfNumbersIsSortedAndDistinct) {
  std::vector<int64_t> values((size_t{2} << 20) + 3);
  for (size_t row = 0; row < values.size(); ++row)
    values[row] = static_cast<int64_t>(row * 2654435761u % 1000003);
  const auto numbers = integers(values);
  for (uint64_t code = 1; code < numbers.size(); ++code)
    ASSERT_LT(numbers.value(code - 1), numbers.value(code));
  EXPECT_EQ(numbers.size(), 1000003u);
}

// Integers that lie close together are found by their distance, others by a search; the largest
// distance is that of the two ends of the type.
TEST(Dictionary, IntegersCloseTogetherAndFarApartHaveTheSameCodes) {
  constexpr int64_t least = std::numeric_limits<int64_t>::min();
  constexpr int64_t most = std::numeric_limits<int64_t>::max();
  for (const int64_t first : {int64_t{-20}, least, most - 40})
    for (const int64_t other : {first + 30, first + 40, first < 0 ? most : least}) {
      std::vector<int64_t> values(16, first + 7);  // distances below 40 are close for 20 rows
      values.insert(values.end(), {first, first + 9, first + 7, other});
      const auto dictionary = Dictionary<int64_t>::build(values).value();
      ASSERT_EQ(dictionary.size(), 4u);
      const auto codes = dictionary.encode(values).value();
      for (size_t row = 0; row < values.size(); ++row)
        EXPECT_EQ(dictionary.value(codes[row]), values[row]) << first << ", " << other;
      for (const int64_t absent : {first + 1, first + 8, first + 29, least + 1, most - 1}) {
        values.back() = absent;
        EXPECT_FALSE(dictionary.encode(values)) << absent << " among " << first << ", " << other;
      }
    }
}

TEST(Dictionary, ANullableOneStartsAtCodeOne) {
  const auto numbers = integers({7, 9}, true);
  EXPECT_EQ(numbers.first_code(), 1u);
  EXPECT_EQ(numbers.code_of(7), 1u);
  EXPECT_EQ(numbers.code_of(9), 2u);
  EXPECT_EQ(numbers.value(2), 9);
  EXPECT_EQ(numbers.narrowest_width_bits(), 2u);
  EXPECT_EQ(integers({}, true).end_code(), 1u);
}

TEST(Dictionary, BoundsOfValuesThatAreAndAreNotThere) {
  const auto numbers = integers({10, 20, 30});
  EXPECT_EQ(numbers.lower_bound(5), 0u);
  EXPECT_EQ(numbers.lower_bound(10), 0u);
  EXPECT_EQ(numbers.upper_bound(10), 1u);
  EXPECT_EQ(numbers.lower_bound(15), 1u);
  EXPECT_EQ(numbers.upper_bound(15), 1u);
  EXPECT_EQ(numbers.upper_bound(30), 3u);
  EXPECT_EQ(numbers.lower_bound(31), 3u);
  EXPECT_EQ(numbers.code_of(15), std::nullopt);
  EXPECT_EQ(numbers.code_of(31), std::nullopt);
}

TEST(Dictionary, RefusesValuesWithoutAPlaceAndNamesTheEntry) {
  EXPECT_EQ(Dictionary<double>::build(std::vector<double>{1, NAN}).message(),
            "entry 1 is NaN, which has no place in the order of a dictionary");
  EXPECT_EQ(Dictionary<std::string>::build(std::vector<std::string_view>{"a", ""}).message(),
            "entry 1 is an empty text, which decoders cannot tell from NULL; store it as NULL or "
            "give it a value");
  const std::string longer(65536, 'x');
  EXPECT_EQ(Dictionary<std::string>::build(std::vector<std::string_view>{longer}).message(),
            "entry 0 has 65536 bytes; a dictionary value has at most 65535");
}

// Every comparison with every constant in, between and around the values selects by codes what it
// selects by values, and its constants fit the dictionary's own width.
TEST(Dictionary, APredicateOnValuesBecomesOneOnCodes) {
  for (const bool nullable : {false, true})
    for (const int64_t values : {0, 1, 2, 3, 4, 5}) {
      std::vector<int64_t> tens;
      for (int64_t k = 0; k < values; ++k) tens.push_back(10 * (k + 1));
      const auto numbers = integers(tens, nullable);
      const uint64_t top = ~uint64_t{0} >> (64 - numbers.narrowest_width_bits());
      for (const Compare compare : comparisons)
        for (int64_t low = 5; low <= 65; low += 5)
          for (int64_t high = 5; high <= 65; high += 5) {
            const CodePredicate codes =
                is_range(compare) ? numbers.where(compare, low, high) : numbers.where(compare, low);
            SCOPED_TRACE(testing::Message()
                         << name_of(compare) << ' ' << low << ' ' << high << " on " << values
                         << " values, nullable " << nullable);
            ASSERT_LE(codes.low, top);
            ASSERT_LE(codes.high, top);
            size_t hits = 0;
            for (uint64_t code = numbers.first_code(); code < numbers.end_code(); ++code) {
              const bool hit =
                  holds(codes.compare, static_cast<int64_t>(code), static_cast<int64_t>(codes.low),
                        static_cast<int64_t>(codes.high));
              ASSERT_EQ(hit, holds(compare, numbers.value(code), low, high)) << "code " << code;
              hits += hit;
            }
            const Matches expected = hits == 0                ? Matches::none
                                     : hits == numbers.size() ? Matches::all
                                                              : Matches::some;
            ASSERT_EQ(codes.matches, expected);
          }
    }
}

TEST(Dictionary, TheWrongNumberOfConstantsAndNanSelectNothing) {
  const auto numbers = integers({10, 20});
  EXPECT_EQ(numbers.where(Compare::ge_le, 10).matches, Matches::none);
  EXPECT_EQ(numbers.where(Compare::eq, 10, 20).matches, Matches::none);
  const auto reals = Dictionary<double>::build(std::vector<double>{1, 2}).value();
  EXPECT_EQ(reals.where(Compare::lt, NAN).matches, Matches::none);
  EXPECT_EQ(reals.where(Compare::ge, NAN).matches, Matches::none);
  EXPECT_EQ(reals.where(Compare::ne, NAN).matches, Matches::all);
  EXPECT_EQ(reals.where(Compare::ge_le, 0, NAN).matches, Matches::none);
  EXPECT_EQ(reals.where(Compare::ge_le, NAN, 9).matches, Matches::none);
}

TEST(Dictionary, EncodesRowsAndNamesTheOneThatIsUnknown) {
  const auto numbers = integers({10, 20, 30});
  EXPECT_EQ(numbers.encode(std::vector<int64_t>{30, 10, 30}).value(),
            (std::vector<uint64_t>{2, 0, 2}));
  EXPECT_EQ(numbers.encode(std::vector<int64_t>{30, 11}).message(),
            "row 1: 11 is not in the dictionary");
  const auto text = Dictionary<std::string>::build(std::vector<std::string_view>{"a"}).value();
  EXPECT_EQ(text.encode(std::vector<std::string_view>{"b"}).message(),
            "row 0: \"b\" is not in the dictionary");
  const auto reals = Dictionary<double>::build(std::vector<double>{1}).value();
  EXPECT_EQ(reals.encode(std::vector<double>{0.5}).message(),
            "row 0: 0.5 is not in the dictionary");
}

TEST(Dictionary, EncodesNullAsCodeZero) {
  RowBits present(3);
  present.set(1);
  const std::vector<int64_t> values{99, 10, 99};
  EXPECT_EQ(integers({10}, true).encode(values, &present).value(),
            (std::vector<uint64_t>{0, 1, 0}));
  EXPECT_EQ(integers({10}).encode(values, &present).message(),
            "row 0 is NULL, and the dictionary has no NULL");
  RowBits too_short(2);
  EXPECT_EQ(integers({10}, true).encode(values, &too_short).message(),
            "3 values come with presence bits for 2 rows");
}

std::string image_symbol(const DictionaryImage& image, uint32_t code) {
  return std::string(image.symbol(code));
}

TEST(Dictionary, IntegersTakeTheLeastBytesThatHoldAll) {
  const auto width = [](int64_t low, int64_t high) {
    return integers({low, high}).image()->symbol(0).size();
  };
  EXPECT_EQ(width(-128, 127), 1u);
  EXPECT_EQ(width(0, 128), 2u);
  EXPECT_EQ(width(-129, 0), 2u);
  EXPECT_EQ(width(-32768, 32767), 2u);
  EXPECT_EQ(width(0, 32768), 4u);
  EXPECT_EQ(width(INT32_MIN, INT32_MAX), 4u);
  EXPECT_EQ(width(0, int64_t{1} << 31), 8u);
  EXPECT_EQ(width(INT64_MIN, INT64_MAX), 8u);
  const auto image = integers({-2, 300}).image().value();
  EXPECT_EQ(image.layout(), 0u);
  EXPECT_EQ(image_symbol(image, 0), "\xFF\xFE");
  EXPECT_EQ(image_symbol(image, 1), "\x01\x2C");
}

TEST(Dictionary, DoublesAreCanonicalSoThatBytesKeepTheirOrder) {
  const std::vector<double> values{2.0, -1.0, 0.0, -INFINITY, 1e-300, INFINITY};
  const auto image = Dictionary<double>::build(values)->image().value();
  EXPECT_EQ(image_symbol(image, 5), std::string("\xFF\xF0\0\0\0\0\0\0", 8));
  EXPECT_EQ(image_symbol(image, 4), std::string("\xC0\0\0\0\0\0\0\0", 8));
  EXPECT_EQ(image_symbol(image, 2), std::string("\x80\0\0\0\0\0\0\0", 8));
  EXPECT_EQ(image_symbol(image, 1), std::string("\x40\x0F\xFF\xFF\xFF\xFF\xFF\xFF", 8));
  for (uint32_t code = 1; code < 6; ++code)
    EXPECT_LT(image_symbol(image, code - 1), image_symbol(image, code)) << code;
}

TEST(Dictionary, NullIsASymbolOfLengthZero) {
  const auto image = integers({10, 20}, true).image().value();
  EXPECT_EQ(image.layout(), 1u);
  EXPECT_EQ(image.num_symbols(), 3u);
  EXPECT_EQ(image_symbol(image, 0), "");
  EXPECT_EQ(image_symbol(image, 1), "\x0A");
}

TEST(StoreDictionaryColumn, HoldsTheDictionaryAndTheCodesAtTheNarrowestWidth) {
  const std::vector<std::string_view> words{"RAIL", "AIR", "RAIL", "SHIP", "MAIL"};
  const auto stored = store_dictionary_column<std::string>(words);
  ASSERT_TRUE(stored) << stored.message();
  EXPECT_EQ(stored->column.format.width_bits, 2u);
  EXPECT_FALSE(stored->column.format.zero_is_null);
  EXPECT_EQ(stored->column.rows(), 5u);
  EXPECT_EQ(stored->column.dictionary->num_symbols(), 4u);
  EXPECT_EQ(stored->column.chunks[0].data.data()[0], 0x8Bu);  // codes 2 0 2 3
}

TEST(StoreDictionaryColumn, KeepsValuesOfNullRowsOutOfTheDictionary) {
  RowBits present(4);
  present.set(0);
  present.set(2);
  const std::vector<int64_t> values{5, 1000, 6, 2000};
  const auto stored = store_dictionary_column<int64_t>(values, {.present = &present});
  ASSERT_TRUE(stored) << stored.message();
  EXPECT_EQ(stored->dictionary.size(), 2u);
  EXPECT_TRUE(stored->column.format.zero_is_null);
  EXPECT_EQ(stored->column.chunks[0].data.data()[0], 0x48u);  // codes 1 0 2 0
}

TEST(StoreDictionaryColumn, RefusesAWidthThatIsTooNarrow) {
  const std::vector<int64_t> values{1, 2, 3, 4, 5};
  EXPECT_EQ(store_dictionary_column<int64_t>(values, {.width_bits = 2}).message(),
            "a dictionary of 5 codes does not fit 2 bits; it takes 3");
  EXPECT_EQ(store_dictionary_column<int64_t>(values, {.width_bits = 21}).message(),
            "codes of 21 bits have no kernel; use 1 to 20, 24, 32 or 64 bits");
  EXPECT_TRUE(store_dictionary_column<int64_t>(values, {.width_bits = 32}));
}

}  // namespace
}  // namespace colx::host
