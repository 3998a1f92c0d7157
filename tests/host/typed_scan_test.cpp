#include "host/typed_scan.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/host/comparisons.h"
#include "tests/host/typed_values.h"

namespace colx::host {
namespace {

TypedConstant constant_of(int64_t value) {
  return value;
}
TypedConstant constant_of(double value) {
  return value;
}
TypedConstant constant_of(const std::string& value) {
  return std::string_view(value);
}

struct TypedScans : testing::Test, TypedReading {
  // The rows of chunk 0 that the scan finds.
  std::vector<bool> found(const Result<PreparedScan>& scan, const TypedColumn& column) {
    if (!scan) {
      ADD_FAILURE() << scan.message();
      return {};
    }
    RowBits hits(column.column.rows());
    const auto count = scan->run(0, hits, services);
    EXPECT_TRUE(count) << count.message();
    std::vector<bool> rows;
    for (uint64_t row = 0; row < hits.size(); ++row) rows.push_back(hits.test(row));
    EXPECT_EQ(*count, hits.count());
    return rows;
  }

  // Every comparison with every constant finds the rows that it is true of.
  template <class Value>
  void check(const Optionals<Value>& values, const std::vector<Value>& constants, StoredForm form,
             ValueType type = type_for(Value{})) {
    const auto column = store_typed_column(decoded(values, type), {.form = form}).value();
    const auto expect = [&](Compare compare, const Value& low, const Value& high) {
      std::vector<bool> expected;
      for (const auto& value : values)
        expected.push_back(value && holds(compare, *value, low, high));
      const auto scan =
          is_range(compare)
              ? prepare_typed_scan(library, column, compare, constant_of(low), constant_of(high))
              : prepare_typed_scan(library, column, compare, constant_of(low));
      EXPECT_EQ(found(scan, column), expected)
          << name_of(compare) << ' ' << testing::PrintToString(low) << ' '
          << testing::PrintToString(high) << ", form " << static_cast<int>(form);
    };
    for (const Value& low : constants)
      for (const Compare compare : comparisons)
        if (!is_range(compare))
          expect(compare, low, low);
        else
          for (const Value& high : constants) expect(compare, low, high);
  }
};

constexpr int64_t least = std::numeric_limits<int64_t>::min();
constexpr int64_t most = std::numeric_limits<int64_t>::max();

TEST_F(TypedScans, FindIntegersInEveryForm) {
  Integers values;
  for (int64_t row = 0; row < 200; ++row)
    values.push_back(row % 9 == 4 ? std::nullopt : std::optional(row % 13 * 5 - 30));
  const std::vector<int64_t> constants{least, -31, -30, -29, 0, 7, 29, 30, 31, 224, 225, 226, most};
  for (const StoredForm form : {StoredForm::codes, StoredForm::fixed, StoredForm::dynp})
    check(values, constants, form);
}

TEST_F(TypedScans, FindIntegersAtBothEndsOfTheRange) {
  const Integers values{least, least + 1, -1, std::nullopt, 0, 1, most - 1, most};
  const std::vector<int64_t> constants{least, least + 1, -1, 0, 1, most - 1, most};
  for (const StoredForm form : {StoredForm::codes, StoredForm::fixed})
    check(values, constants, form);
  check(Integers{most - 255, most, std::nullopt}, {least, most - 256, most - 255, most - 1, most},
        StoredForm::fixed);
  check(Integers{least, least + 255}, {least, least + 1, least + 255, least + 256, most},
        StoredForm::fixed);
}

TEST_F(TypedScans, FindDoublesInBothForms) {
  const Doubles values{-INFINITY, -1e300, -1.5,         -1e-310, 0.0,
                       5e-324,    1.5,    std::nullopt, 1e300,   INFINITY};
  const std::vector<double> constants{-INFINITY, -1e301, -1.5,  -5e-324,  -0.0, 0.0,
                                      1e-320,    1.499,  1e300, INFINITY, NAN};
  for (const StoredForm form : {StoredForm::codes, StoredForm::fixed})
    check(values, constants, form);
}

TEST_F(TypedScans, ANanSatisfiesNothingButNe) {
  check(Doubles{NAN, -1.0, std::nullopt, 0.0, INFINITY, -NAN},
        {-INFINITY, -1.0, -0.0, 0.5, INFINITY, NAN}, StoredForm::fixed);
}

TEST_F(TypedScans, FloatsCompareWithDoublesBetweenThem) {
  const ValueType type{ValueKind::floating, 32};
  const Doubles values{-INFINITY, -3.4028234663852886e38, -1.5,          0.0, 0.1f,
                       NAN,       std::nullopt,           1.401298e-45f, 1.5, INFINITY};
  const std::vector<double> constants{-INFINITY, -1e300, -1.5, -1e-60, 0.0,      1e-60,
                                      0.1,       0.1f,   1.5,  1e39,   INFINITY, NAN};
  check(values, constants, StoredForm::fixed, type);
}

TEST_F(TypedScans, FindText) {
  check(Texts{"fig", "apple", std::nullopt, "pear", "fig"},
        {"a", "apple", "apples", "fig", "kiwi", "pear", "z"}, StoredForm::codes);
}

TEST_F(TypedScans, FindDatesDecimalsAndBooleans) {
  check(Integers{18262, std::nullopt, -1}, {-1, 0, 18262}, StoredForm::fixed,
        {ValueKind::date, 32});
  check(Integers{125, std::nullopt, -1}, {-1, 0, 125}, StoredForm::smallest,
        {ValueKind::decimal, 64, 10, 2});
  const auto column = store_typed_column(decoded(Truths{true, std::nullopt, false})).value();
  EXPECT_EQ(found(prepare_typed_scan(library, column, Compare::eq, int64_t{1}), column),
            (std::vector<bool>{true, false, false}));
  EXPECT_EQ(found(prepare_typed_scan(library, column, Compare::ne, int64_t{1}), column),
            (std::vector<bool>{false, false, true}));
}

TEST_F(TypedScans, ColumnsOfNullsFindNothing) {
  check(Integers(3), {least, 0, most}, StoredForm::codes);
  check(Integers(3), {least, 0, most}, StoredForm::fixed);
  check(Doubles(3), {-1.0, 0.0, NAN}, StoredForm::fixed);
  check(Texts(3), {"a"}, StoredForm::codes);
}

TEST_F(TypedScans, RefuseConstantsOfAnotherKind) {
  const auto numbers = store_typed_column(decoded(Integers{1})).value();
  const auto doubles = store_typed_column(decoded(Doubles{1.0})).value();
  const Texts words{"a"};
  const auto text = store_typed_column(decoded(words)).value();
  EXPECT_EQ(prepare_typed_scan(library, numbers, Compare::eq, 1.0).message(),
            "column \"made\": its values are compared with integers");
  EXPECT_EQ(prepare_typed_scan(library, doubles, Compare::eq, int64_t{1}).message(),
            "column \"made\": its values are compared with doubles");
  EXPECT_EQ(prepare_typed_scan(library, text, Compare::ge_le, std::string_view("a"), 1.0).message(),
            "column \"made\": its values are compared with text");
  EXPECT_EQ(prepare_typed_scan(library, numbers, Compare::gt_lt, int64_t{1}).message(),
            "column \"made\": gt_lt compares with two constants");
  EXPECT_EQ(prepare_typed_scan(library, numbers, Compare::eq, int64_t{1}, int64_t{2}).message(),
            "column \"made\": eq compares with one constant");
}

}  // namespace
}  // namespace colx::host
