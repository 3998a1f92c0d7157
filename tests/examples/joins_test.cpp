// Joins, names, groups and numbers of lineorder against the plain tables.
#include "examples/star/joins.h"

#include <gtest/gtest.h>

#include <set>

#include "examples/star/groupings.h"
#include "examples/star/line_numbers.h"
#include "examples/star/names.h"
#include "tests/examples/store_host.h"

namespace colx::star {
namespace {

const std::vector<Condition>& conditions() {
  static const std::vector<Condition> all = {
      {.column = of(c_region), .texts = {"ASIA"}},
      {.column = of(s_region), .texts = {"AMERICA", "ASIA"}},
      {.column = of(p_category), .low = "MFGR#12", .high = "MFGR#33"},
      {.column = of(d_year), .numbers = {host::Compare::ge_le, 1993, 1994}},
      {.column = of(c_city), .texts = {"NOWHERE"}}};
  return all;
}

TEST(Joins, FindThePairsOfThePlainTablesInEveryWayOnAnyNumberOfThreads) {
  StoreHost& host = three_chunks();
  for (const Condition& condition : conditions()) {
    const JoinTally expected = plain_join(host.tables(), condition);
    for (const JoinMethod method : join_methods)
      for (const unsigned threads : {1u, 3u}) {
        const auto found = join_lines(host.store(), condition, method, threads);
        ASSERT_TRUE(found) << found.message();
        EXPECT_EQ(found->pairs, expected.pairs) << condition.text() << ", " << name_of(method);
        EXPECT_TRUE(*found == expected) << condition.text() << ", " << name_of(method);
      }
  }
}

TEST(Joins, TalliesTellPairsApart) {
  JoinTally one, other;
  one.add(1, 2);
  other.add(2, 1);
  EXPECT_FALSE(one == other);
  JoinTally turned = other;
  turned.add(1, 2);
  one.add(2, 1);
  EXPECT_TRUE(one == turned);
}

TEST(Joins, FindTheLinesOfTheSmallTables) {
  StoreHost host(small());
  const Condition all{.column = of(d_year), .numbers = {host::Compare::ge, 0}};
  for (const JoinMethod method : join_methods) {
    const auto found = join_lines(host.store(), all, method, 1);
    ASSERT_TRUE(found) << found.message();
    EXPECT_EQ(found->pairs, host.tables()[TableId::lineorder].rows()) << name_of(method);
  }
}

TEST(Names, OfLinesComeOutOfEveryFormOfRowStore) {
  StoreHost& host = three_chunks();
  const std::vector<uint32_t> lines = {0, 1, 2, 65535, 65536, 140000, 179999};
  const auto& keys = host.tables()[TableId::lineorder][lo_custkey].cells;
  const Table& customers = host.tables()[TableId::customer];
  for (const host::StoreForm form :
       {host::StoreForm::lp, host::StoreForm::cla, host::StoreForm::dlp}) {
    std::vector<TableColumn> columns = {of(c_name), of(c_city), of(c_address)};
    if (form == host::StoreForm::dlp) columns.resize(1);
    const auto rows = store_rows(host.store(), columns, form);
    ASSERT_TRUE(rows) << rows.message();
    const auto texts = texts_of_lines(host.engine(), host.store(), lines, TableId::customer, *rows,
                                      columns.size());
    ASSERT_TRUE(texts) << texts.message();
    ASSERT_EQ(texts->size(), lines.size());
    for (size_t i = 0; i < lines.size(); ++i)
      for (size_t column = 0; column < columns.size(); ++column)
        EXPECT_EQ((*texts)[i][column], customers[columns[column].column].text(keys[lines[i]] - 1));
  }
}

TEST(Groupings, ByGroupKeysAndByTranslatedCodesAreThePlainOnes) {
  StoreHost& host = three_chunks();
  for (const auto& groups : {std::vector{of(d_year)}, std::vector{of(s_nation), of(d_year)},
                             std::vector{of(d_yearmonth), of(c_mktsegment), of(p_brand1)}}) {
    const StarQuery query{.name = "grouping", .group_by = groups, .order_by = groups};
    const StarAnswer expected = host.plain().answer(query);
    const auto by_keys = answer_by_group_keys(host.store(), host.tables(), query);
    ASSERT_TRUE(by_keys) << by_keys.message();
    EXPECT_EQ(difference(*by_keys, expected), std::nullopt);
    host.expect_plain_answer(query, 2);
  }
}

TEST(LineNumbers, AreThoseOfThePlainTables) {
  StoreHost& host = three_chunks();
  const host::Library library = host::Library::open(COLX_LIBRARY_FILE).value();
  const Table& lines = host.tables()[TableId::lineorder];
  int64_t discounted = 0, revenue = 0;
  uint64_t within = 0;
  for (uint32_t line = 0; line < lines.rows(); ++line) {
    discounted += int64_t{lines[lo_extendedprice].cells[line]} * lines[lo_discount].cells[line];
    revenue += lines[lo_revenue].cells[line];
    within += lines[lo_quantity].cells[line] + lines[lo_discount].cells[line] < 10;
  }
  const auto& keys = lines[lo_custkey].cells;
  EXPECT_EQ(discounted_total(library, host.tables()).value(), static_cast<double>(discounted));
  EXPECT_EQ(revenue_total(library, host.tables()).value(), revenue);
  const Triangle triangle = {{{-1, -1}, {10.5, -1}, {-1, 10.5}}};
  EXPECT_EQ(lines_within(library, host.tables(), triangle).value(), within);
  EXPECT_EQ(customers_with_orders(library, host.tables()).value(),
            std::set<uint32_t>(keys.begin(), keys.end()).size());
}

}  // namespace
}  // namespace colx::star
