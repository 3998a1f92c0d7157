#include "examples/star/column_scan.h"

#include <gtest/gtest.h>

#include "examples/star/check.h"
#include "examples/star/generate.h"
#include "examples/star/row_values.h"
#include "tests/examples/star_host.h"

namespace colx::star {
namespace {

using host::Compare;

constexpr Compare all_comparisons[] = {
    Compare::eq, Compare::ne,    Compare::lt,    Compare::le,    Compare::gt,
    Compare::ge, Compare::gt_lt, Compare::gt_le, Compare::ge_lt, Compare::ge_le};

TEST(ColumnScan, NullRowsMatchNothing) {
  StarHost host(small());
  const Column& plain = host.tables()[TableId::lineorder][lo_discount];
  const auto nullable = encode_nullable(plain, 0, "discount_given");
  ASSERT_TRUE(nullable) << nullable.message();
  EXPECT_EQ(nullable->form(), "4-bit codes, nullable");
  const auto answer = run_column_scan(host.engine(), *nullable, {host::Compare::lt, 4}, 1);
  ASSERT_TRUE(answer) << answer.message();
  // Row 3 has discount 0.
  EXPECT_EQ(answer->rows, (Rows{0, 1, 2, 5, 6, 11}));
  EXPECT_TRUE(ran(*answer, "_null"));
}

// 72,000 rows: a full chunk and a part of one.
StarHost& two_chunks() {
  static StarHost host(generate_tables(0.012));
  return host;
}

struct Probe {
  Lineorder column;
  const char* form;
  const char* kernel_end;
};

class ColumnForms : public testing::TestWithParam<Probe> {
 protected:
  const Column& plain() const {
    return two_chunks().tables()[TableId::lineorder][GetParam().column];
  }
  const EncodedColumn& stored() const { return two_chunks().column(GetParam().column); }
};

TEST_P(ColumnForms, EveryComparisonAgreesWithThePlainEvaluation) {
  EXPECT_EQ(stored().form(), GetParam().form);
  for (const Compare compare : all_comparisons) {
    const NumberFilter filter{compare, plain().cells[1000], plain().cells[2000]};
    const auto answer = run_column_scan(two_chunks().engine(), stored(), filter, 1);
    ASSERT_TRUE(answer) << answer.message();
    EXPECT_EQ(difference(*answer, plain_scan(plain(), filter)), std::nullopt)
        << filter.text(plain().schema.name);
    EXPECT_TRUE(ran(*answer, GetParam().kernel_end)) << answer->steps[0].kernel;
  }
}

TEST_P(ColumnForms, ValuesOfRowsComeBack) {
  Rows rows = {0, 1, 2, 17, 4095, 65534, 65535, 65536, 65537, 71999};
  const auto values = values_at(two_chunks().engine(), stored(), rows);
  ASSERT_TRUE(values) << values.message();
  std::vector<uint32_t> expected;
  for (const uint32_t row : rows) expected.push_back(plain().cells[row]);
  EXPECT_EQ(*values, expected);
  const auto none = values_at(two_chunks().engine(), stored(), {});
  ASSERT_TRUE(none) << none.message();
  EXPECT_TRUE(none->empty());
}

INSTANTIATE_TEST_SUITE_P(
    , ColumnForms,
    testing::Values(Probe{lo_orderdate, "12-bit codes in runs", "dict_12bit, burst_rle_8bit"},
                    Probe{lo_commitdate, "rows of 3 bytes", "fixed_32bit"},
                    Probe{lo_quantity, "6-bit codes", "dict_6bit"},
                    Probe{lo_extendedprice, "rows of 3 bytes", "fixed_32bit"},
                    Probe{lo_ordtotalprice, "rows of 1 to 4 bytes", "dynp_32bit"},
                    Probe{lo_revenue, "rows of 3 bytes", "fixed_32bit"}),
    [](const auto& probe) {
      return std::string{table_schema(TableId::lineorder).columns[probe.param.column].name};
    });

TEST(ColumnScan, WalksTheRowsItIsGivenAndNoOthers) {
  StarHost& host = two_chunks();
  for (const Lineorder column : {lo_quantity, lo_revenue, lo_ordtotalprice, lo_commitdate}) {
    const Column& plain = host.tables()[TableId::lineorder][column];
    const Rows among = {3, 64, 65, 65535, 65536, 70001};
    const NumberFilter filter{Compare::ge, plain.cells[64]};
    const auto answer = run_column_scan(host.engine(), host.column(column), filter, 1, &among);
    ASSERT_TRUE(answer) << answer.message();
    EXPECT_EQ(difference(*answer, plain_scan(plain, filter, &among)), std::nullopt);
    EXPECT_FALSE(answer->rows.empty());
    EXPECT_TRUE(ran(*answer, "_selective"));
  }
}

TEST(ColumnScan, NumbersOfThreeBytesCompareWithLargerConstants) {
  StarHost& host = two_chunks();
  const Column& plain = host.tables()[TableId::lineorder][lo_revenue];
  const EncodedColumn& stored = host.column(lo_revenue);
  ASSERT_EQ(stored.number_bytes, 3u);
  ASSERT_EQ(host.column(lo_ordtotalprice).number_bytes, 4u);
  for (const Compare compare : all_comparisons)
    for (const uint32_t large : {0xFFFFFFu, 0x1000000u, 0x1000001u, 0x7FFFFFFFu, 0xFFFFFFFFu})
      for (const uint32_t low : {0u, 2'000'000u, large}) {
        const NumberFilter filter{compare, is_range(compare) ? low : large, large};
        const auto answer = run_column_scan(host.engine(), stored, filter, 1);
        ASSERT_TRUE(answer) << answer.message();
        EXPECT_EQ(difference(*answer, plain_scan(plain, filter)), std::nullopt)
            << filter.text("lo_revenue");
      }
}

TEST(PackedDay, KeepsTheOrderOfTheDays) {
  const std::vector<uint32_t>& days = two_chunks().tables()[TableId::date][d_datekey].cells;
  for (size_t day = 0; day < days.size(); ++day) {
    EXPECT_EQ(unpacked_day(packed_day(days[day])), days[day]);
    EXPECT_LT(packed_day(days[day]), 1u << 20);
    if (day > 0) {
      EXPECT_LT(packed_day(days[day - 1]), packed_day(days[day]));
    }
  }
}

TEST(NumberFilter, TheTenComparisonsMeanWhatTheirTextSays) {
  using host::Compare;
  struct Case {
    NumberFilter test;
    const char* text;
    std::vector<uint32_t> kept;  // of 1 to 5
  };
  const Case cases[] = {{{Compare::eq, 2}, "x = 2", {2}},
                        {{Compare::ne, 2}, "x <> 2", {1, 3, 4, 5}},
                        {{Compare::lt, 2}, "x < 2", {1}},
                        {{Compare::le, 2}, "x <= 2", {1, 2}},
                        {{Compare::gt, 2}, "x > 2", {3, 4, 5}},
                        {{Compare::ge, 2}, "x >= 2", {2, 3, 4, 5}},
                        {{Compare::gt_lt, 2, 4}, "x > 2 and x < 4", {3}},
                        {{Compare::gt_le, 2, 4}, "x > 2 and x <= 4", {3, 4}},
                        {{Compare::ge_lt, 2, 4}, "x >= 2 and x < 4", {2, 3}},
                        {{Compare::ge_le, 2, 4}, "x between 2 and 4", {2, 3, 4}}};
  for (const Case& one : cases) {
    std::vector<uint32_t> kept;
    for (uint32_t value = 1; value <= 5; ++value)
      if (one.test.holds(value)) kept.push_back(value);
    EXPECT_EQ(kept, one.kept) << one.text;
    EXPECT_EQ(one.test.text("x"), one.text);
  }
}

}  // namespace
}  // namespace colx::star
