#include "examples/star/generate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "examples/star/calendar.h"
#include "examples/star/domains.h"
#include "examples/star/table_keys.h"

namespace colx::star {
namespace {

constexpr double scale = 0.01;

const Tables& generated() {
  static const Tables tables = generate_tables(scale);
  return tables;
}
const Table& lineorder() {
  return generated()[TableId::lineorder];
}

// FNV-1a (Fowler, Noll, Vo) over every cell as the benchmark's files spell it.
uint64_t digest(const Table& table) {
  uint64_t hash = 0xCBF29CE484222325;
  for (size_t row = 0; row < table.rows(); ++row)
    for (size_t column = 0; column < table.columns().size(); ++column)
      for (const unsigned char letter : table.cell(column, row) + "|")
        hash = (hash ^ letter) * 0x100000001B3;
  return hash;
}

TEST(Generate, RowCountsFollowTheScale) {
  EXPECT_EQ(row_count(TableId::lineorder, 1), 6'000'000u);
  EXPECT_EQ(row_count(TableId::customer, 1), 30'000u);
  EXPECT_EQ(row_count(TableId::supplier, 1), 2'000u);
  EXPECT_EQ(row_count(TableId::part, 1), 200'000u);
  EXPECT_EQ(row_count(TableId::part, 2), 400'000u);
  EXPECT_EQ(row_count(TableId::part, 4), 600'000u);
  EXPECT_EQ(row_count(TableId::part, 10), 864'386u);
  EXPECT_EQ(row_count(TableId::part, 0.5), 100'000u);
  EXPECT_EQ(row_count(TableId::date, 0.01), 2556u);
  EXPECT_EQ(row_count(TableId::date, 100), 2556u);
  for (const TableId id : table_ids) EXPECT_EQ(generated()[id].rows(), row_count(id, scale));
}

TEST(Generate, ColumnsAreAllFilled) {
  for (const TableId id : table_ids)
    for (const Column& column : generated()[id].columns())
      EXPECT_EQ(column.cells.size(), generated()[id].rows()) << column.schema.name;
}

// The tables are the same on every machine and with every compiler.
TEST(Generate, TheSameScaleGivesTheSameTables) {
  const Tables again = generate_tables(scale);
  for (const TableId id : table_ids) EXPECT_EQ(digest(again[id]), digest(generated()[id]));
  EXPECT_EQ(digest(lineorder()), 1718422925296590828u);
  EXPECT_EQ(digest(generated()[TableId::customer]), 416302512666230720u);
  EXPECT_EQ(digest(generated()[TableId::supplier]), 10019848247354309465u);
  EXPECT_EQ(digest(generated()[TableId::part]), 642665393960210927u);
  EXPECT_EQ(digest(generated()[TableId::date]), 17997905405549332280u);
}

TEST(Generate, KeysFitTogether) {
  for (const TableId id : table_ids)
    if (id != TableId::lineorder) {
      EXPECT_FALSE(find_repeated_key(generated()[id]));
    }
  for (const ForeignKey& reference : foreign_keys)
    EXPECT_FALSE(find_missing_key(lineorder()[reference.column], generated()[reference.table]))
        << lineorder()[reference.column].schema.name;
}

TEST(Generate, NumbersTakeTheirWholeDomain) {
  const auto domain = [](Lineorder column) {
    const auto [low, high] = std::ranges::minmax(lineorder()[column].cells);
    return std::pair(low, high);
  };
  EXPECT_EQ(domain(lo_linenumber), std::pair(1u, 7u));
  EXPECT_EQ(domain(lo_quantity), std::pair(1u, 50u));
  EXPECT_EQ(domain(lo_discount), std::pair(0u, 10u));
  EXPECT_EQ(domain(lo_tax), std::pair(0u, 8u));
  EXPECT_EQ(domain(lo_orderdate), std::pair(19920101u, 19980802u));
  EXPECT_EQ(lineorder()[lo_orderpriority].texts.size(), 5u);
  EXPECT_EQ(lineorder()[lo_shipmode].texts.size(), 7u);
  EXPECT_EQ(lineorder()[lo_shippriority].texts.size(), 1u);
}

TEST(Generate, MoneyFollowsItsRules) {
  const Table& rows = lineorder();
  for (size_t row = 0; row < rows.rows(); ++row) {
    const uint64_t part = rows[lo_partkey].cells[row];
    const uint64_t price = 90000 + part / 10 % 20001 + 100 * (part % 1000);
    ASSERT_EQ(rows[lo_extendedprice].cells[row], rows[lo_quantity].cells[row] * price);
    ASSERT_EQ(rows[lo_revenue].cells[row], rows[lo_extendedprice].cells[row] *
                                               uint64_t{100 - rows[lo_discount].cells[row]} / 100);
    ASSERT_EQ(rows[lo_supplycost].cells[row], price * 6 / 10);
  }
}

TEST(Generate, LinesOfAnOrderShareWhatTheOrderHas) {
  const Table& rows = lineorder();
  uint64_t total = 0;
  for (size_t row = 0; row < rows.rows(); ++row) {
    const uint32_t line = rows[lo_linenumber].cells[row];
    ASSERT_LE((rows[lo_orderkey].cells[row] - 1) % 32, 7u);
    ASSERT_NE(rows[lo_custkey].cells[row] % 3, 0u);
    if (line > 1) {
      for (const Lineorder shared :
           {lo_orderkey, lo_custkey, lo_orderdate, lo_orderpriority, lo_ordtotalprice})
        ASSERT_EQ(rows[shared].cells[row], rows[shared].cells[row - 1]) << row;
    }
    total = (line == 1 ? 0 : total) +
            uint64_t{rows[lo_revenue].cells[row]} * (100 + rows[lo_tax].cells[row]) / 100;
    const bool order_ends = row + 1 == rows.rows() || rows[lo_linenumber].cells[row + 1] == 1;
    if (order_ends) {
      ASSERT_EQ(rows[lo_ordtotalprice].cells[row], total) << row;
    }
  }
}

TEST(Generate, CommitDatesFollowTheOrderBy30To90Days) {
  const std::vector<uint32_t>& days = generated()[TableId::date][d_datekey].cells;
  const auto day_number = [&](uint32_t key) {
    return std::ranges::lower_bound(days, key) - days.begin();
  };
  std::set<int64_t> gaps;
  for (size_t row = 0; row < lineorder().rows(); ++row)
    gaps.insert(day_number(lineorder()[lo_commitdate].cells[row]) -
                day_number(lineorder()[lo_orderdate].cells[row]));
  EXPECT_EQ(*gaps.begin(), 30);
  EXPECT_EQ(*gaps.rbegin(), 90);
}

TEST(Generate, CitiesAreTenLettersOfTheNationAndADigit) {
  const Table& customer = generated()[TableId::customer];
  for (size_t row = 0; row < customer.rows(); ++row) {
    const std::string& city = customer[c_city].text(row);
    const std::string padded = customer[c_nation].text(row) + "         ";
    ASSERT_EQ(city.substr(0, 9), padded.substr(0, 9));
    ASSERT_TRUE(city.size() == 10 && city[9] >= '0' && city[9] <= '9') << city;
  }
}

TEST(Generate, BrandsNestInCategoriesAndTheseInManufacturers) {
  const Table& part = generated()[TableId::part];
  for (size_t row = 0; row < part.rows(); ++row) {
    ASSERT_TRUE(part[p_category].text(row).starts_with(part[p_mfgr].text(row)));
    ASSERT_TRUE(part[p_brand1].text(row).starts_with(part[p_category].text(row)));
  }
  EXPECT_EQ(part[p_mfgr].texts.size(), 5u);
  EXPECT_EQ(part[p_category].texts.size(), 25u);
}

std::string date_row(size_t row) {
  const Table& date = generated()[TableId::date];
  std::string text;
  for (size_t column = 0; column < date_columns; ++column) text += date.cell(column, row) + "|";
  return text;
}

TEST(Generate, DatesAre2556DaysFromNewYear1992) {
  EXPECT_EQ(date_row(0),
            "19920101|January 1, 1992|Wednesday|January|1992|199201|Jan1992|4|1|1|1|1|Winter|0|0|"
            "1|1|");
  EXPECT_EQ(date_row(59),  // 1992 is a leap year
            "19920229|February 29, 1992|Saturday|February|1992|199202|Feb1992|7|29|60|2|9|Winter|"
            "1|1|0|0|");
  EXPECT_EQ(date_row(2555),
            "19981230|December 30, 1998|Wednesday|December|1998|199812|Dec1998|4|30|364|12|52|"
            "Christmas|0|0|0|1|");
}

TEST(Calendar, KnowsWhichNumbersAreDays) {
  EXPECT_TRUE(is_date_key(19920229));
  EXPECT_FALSE(is_date_key(19930229));
  EXPECT_FALSE(is_date_key(19930431));
  EXPECT_FALSE(is_date_key(19931301));
  EXPECT_FALSE(is_date_key(19930001));
  EXPECT_FALSE(is_date_key(19930100));
  EXPECT_FALSE(is_date_key(0));
  EXPECT_FALSE(is_date_key(4294967295));
}

}  // namespace
}  // namespace colx::star
