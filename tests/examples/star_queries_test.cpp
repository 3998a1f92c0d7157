// The benchmark's queries through plans against the evaluation line by line.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "tests/examples/store_host.h"

namespace colx::star {
namespace {

TEST(StarQueries, AreTheThirteenOfTheBenchmark) {
  std::vector<std::string> names;
  for (const StarQuery& query : benchmark_queries()) names.emplace_back(query.name);
  EXPECT_EQ(names, (std::vector<std::string>{"Q1.1", "Q1.2", "Q1.3", "Q2.1", "Q2.2", "Q2.3", "Q3.1",
                                             "Q3.2", "Q3.3", "Q3.4", "Q4.1", "Q4.2", "Q4.3"}));
}

TEST(StarQueries, ReadAsSql) {
  const auto queries = benchmark_queries();
  EXPECT_EQ(queries[1].sql(),
            "select sum(lo_extendedprice * lo_discount) from lineorder, date where lo_orderdate = "
            "d_datekey and d_yearmonthnum = 199401 and lo_discount between 4 and 6 and lo_quantity "
            "between 26 and 35");
  EXPECT_EQ(queries[8].sql(),
            "select c_city, s_city, d_year, sum(lo_revenue) from lineorder, customer, supplier, "
            "date where lo_custkey = c_custkey and lo_suppkey = s_suppkey and lo_orderdate = "
            "d_datekey and c_city in ('UNITED KI1', 'UNITED KI5') and s_city in ('UNITED KI1', "
            "'UNITED KI5') and d_year between 1992 and 1997 group by c_city, s_city, d_year order "
            "by d_year, sum(lo_revenue) desc, c_city, s_city");
}

TEST(StarQueries, EveryAnswerIsThePlainOneOnAnyNumberOfThreads) {
  for (const StarQuery& query : benchmark_queries())
    for (const unsigned threads : {1u, 2u, 5u}) three_chunks().expect_plain_answer(query, threads);
}

TEST(StarQueries, MostAnswersHaveRowsAtThisScale) {
  size_t with_rows = 0;
  for (const StarQuery& query : benchmark_queries())
    with_rows += three_chunks().plain().answer(query).lines != 0;
  EXPECT_GE(with_rows, 10u);
}

// Worked out by hand from tbl/lineorder.tbl.
TEST(StarQueries, Flight1FindsTheRevenuesWorkedOutByHand) {
  StoreHost host(small());
  const int64_t revenue[] = {4'237'000, 30'457'080, 50'072'500};
  for (size_t i = 0; i < std::size(revenue); ++i) {
    const StarQuery query = benchmark_queries()[i];
    const std::vector<AnswerRow> rows = {{{}, revenue[i]}};
    EXPECT_EQ(host.plain().answer(query).rows, rows);
    EXPECT_EQ(answer(host.store(), query, 1).value().rows, rows);
  }
}

TEST(StarQueries, EveryAnswerIsThePlainOneOnTheSmallTables) {
  StoreHost host(small());
  for (const StarQuery& query : benchmark_queries()) host.expect_plain_answer(query, 2);
}

TEST(StarQueries, SortedLinesGiveTheSameAnswers) {
  Tables tables = generate_tables(0.03);
  tables[TableId::lineorder].sort_by(lo_orderdate);
  StoreHost host(std::move(tables));
  for (const StarQuery& query : benchmark_queries()) {
    host.expect_plain_answer(query, 3);
    EXPECT_EQ(difference(host.plain().answer(query), three_chunks().plain().answer(query)),
              std::nullopt);
  }
}

bool has_step(const StarPlan& plan, std::string_view start) {
  return std::ranges::any_of(describe(plan),
                             [&](const std::string& step) { return step.starts_with(start); });
}

bool joins(const StarPlan& plan) {
  return has_step(plan, "hash join with");
}

// A nation keeps one customer in 25, a brand one part in 1,000.
StarQuery selective(const StoreHost& host, std::vector<TableColumn> groups) {
  const Tables& tables = host.tables();
  StarQuery query{.name = "selective", .group_by = groups, .order_by = groups};
  query.where = {{.column = of(c_nation), .texts = {tables[TableId::customer][c_nation].text(0)}},
                 {.column = of(p_brand1), .texts = {tables[TableId::part][p_brand1].text(0)}}};
  return query;
}

TEST(StarPlans, JoinASelectiveDimensionByHashWhereFewLinesAreLeft) {
  StoreHost& host = three_chunks();
  // The brand's parts are joined; with and without a group out of the join.
  for (const auto& groups :
       {std::vector{of(c_city), of(p_brand1), of(d_year)}, std::vector{of(s_nation)},
        std::vector{of(p_size), of(p_color)}, std::vector<TableColumn>{}}) {
    const StarQuery query = selective(host, groups);
    const auto plan = make_plan(host.store(), query);
    ASSERT_TRUE(plan) << plan.message();
    EXPECT_TRUE(joins(*plan));
    host.expect_plain_answer(query, 1);
    host.expect_plain_answer(query, 3);
    EXPECT_GT(host.plain().answer(query).lines, 0u);
  }
}

TEST(StarPlans, DropFewLinesLateByCodesThatAGroupKeyUnpacks) {
  StoreHost& host = three_chunks();
  const Condition most_years{.column = of(d_year), .numbers = {host::Compare::ge_le, 1992, 1995}};
  struct Late {
    std::vector<TableColumn> groups;
    bool late, joined;
  };
  // Behind filters alone and behind a hash join whose values have to be dropped as well; not where
  // no group key wants the days.
  for (const auto& [groups, late, joined] :
       {Late{{of(d_year), of(s_nation)}, true, true}, Late{{of(p_brand1), of(d_year)}, true, true},
        Late{{of(s_city), of(s_nation)}, false, true}}) {
    StarQuery query = selective(host, groups);
    query.where.push_back(most_years);
    const auto plan = make_plan(host.store(), query);
    ASSERT_TRUE(plan) << plan.message();
    EXPECT_EQ(has_step(*plan, "drop by colx_decode_unpack_dict_12bit"), late);
    EXPECT_EQ(joins(*plan), joined);
    host.expect_plain_answer(query, 1);
    host.expect_plain_answer(query, 3);
    StarQuery all_years = query;
    all_years.where.pop_back();
    EXPECT_LT(host.plain().answer(query).lines, host.plain().answer(all_years).lines);
  }
  const StarQuery united_states = benchmark_queries()[7];
  const auto plan = make_plan(host.store(), united_states);
  ASSERT_TRUE(plan) << plan.message();
  EXPECT_TRUE(has_step(*plan, "drop by "));
  EXPECT_FALSE(joins(*plan));
  EXPECT_FALSE(has_step(make_plan(host.store(), benchmark_queries()[6]).value(), "drop by "))
      << "one line in thirty is left";
}

TEST(StarPlans, FilterWhereManyLinesAreLeft) {
  StoreHost& host = three_chunks();
  StarQuery query = selective(host, {of(p_brand1)});
  query.where.erase(query.where.begin());  // the brand alone
  const auto plan = make_plan(host.store(), query);
  ASSERT_TRUE(plan) << plan.message();
  EXPECT_FALSE(joins(*plan));
  host.expect_plain_answer(query, 1);
}

TEST(StarPlans, EndBeforeTheFirstLineWhereNothingCanMatch) {
  StoreHost& host = three_chunks();
  StarQuery query{.name = "nowhere", .where = {{.column = of(s_region), .texts = {"ATLANTIS"}}}};
  const auto plan = make_plan(host.store(), query);
  ASSERT_TRUE(plan) << plan.message();
  EXPECT_TRUE(plan->empty);
  host.expect_plain_answer(query, 2);  // one row: the sum of nothing
  query.group_by = {of(d_year)};
  host.expect_plain_answer(query, 2);  // no row
}

TEST(StarPlans, ScanFollowingCodesBetweenBoundsAndLookUpOthersInSets) {
  const auto queries = benchmark_queries();
  const auto steps_of = [&](size_t query) {
    return describe(make_plan(three_chunks().store(), queries[query]).value());
  };
  const auto year = steps_of(0);  // discount, quantity and days are bounds
  EXPECT_EQ(
      std::ranges::count_if(
          year, [](const std::string& step) { return step.starts_with("filter colx_ge_le"); }),
      3);
  const auto brands = steps_of(3);
  EXPECT_TRUE(std::ranges::any_of(
      brands, [](const std::string& step) { return step.starts_with("filter colx_set_dict_"); }));
}

TEST(StarAnswers, SayWhatIsWrong) {
  const StarAnswer expected{{{{"1993"}, 5}, {{"1994"}, 7}}, 12};
  const auto check = [&](StarAnswer found) {
    return difference(found, expected).value_or("right");
  };
  EXPECT_EQ(check(expected), "right");
  EXPECT_NE(check({{{{"1993"}, 5}, {{"1994"}, 8}}, 12}).find("row 2 is [1994"), std::string::npos);
  EXPECT_NE(check({{{{"1993"}, 5}}, 12}).find("[1994"), std::string::npos);
  EXPECT_NE(check({{{{"1993"}, 5}, {{"1994"}, 7}, {{"1995"}, 1}}, 12}).find("is too much"),
            std::string::npos);
  EXPECT_EQ(check({expected.rows, 11}), "11 lines were found, not 12");
}

TEST(StarAnswers, AreOrderedByColumnsThenSumsThenTheOtherColumns) {
  const StarQuery query{.name = "",
                        .group_by = {of(c_city), of(d_year)},
                        .order_by = {of(d_year)},
                        .largest_sum_first = true};
  std::vector<AnswerRow> rows = {
      {{"b", "1994"}, 9}, {{"b", "1993"}, 5}, {{"a", "1993"}, 5}, {{"c", "1993"}, 6}};
  put_in_order(query, rows);
  EXPECT_EQ(rows,
            (std::vector<AnswerRow>{
                {{"c", "1993"}, 6}, {{"a", "1993"}, 5}, {{"b", "1993"}, 5}, {{"b", "1994"}, 9}}));
}

}  // namespace
}  // namespace colx::star
