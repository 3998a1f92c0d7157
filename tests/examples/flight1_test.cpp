#include "examples/star/flight1.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "examples/star/check.h"
#include "examples/star/generate.h"
#include "tests/examples/star_host.h"

namespace colx::star {
namespace {

// Worked out by hand from tbl/lineorder.tbl; the neighbours of each row fail one bound by one.
const Rows q1_1 = {0, 1, 5};
const Rows q1_2 = {7, 10};
const Rows q1_3 = {12, 13, 14};

TEST(Flight1, ThePlainEvaluationFindsTheRowsWorkedOutByHand) {
  const Tables tables = small();
  EXPECT_EQ(plain_flight1(tables, flight1_queries[0]).rows, q1_1);
  EXPECT_EQ(plain_flight1(tables, flight1_queries[1]).rows, q1_2);
  EXPECT_EQ(plain_flight1(tables, flight1_queries[2]).rows, q1_3);
}

TEST(Flight1, TheScansFindTheRowsWorkedOutByHand) {
  StarHost host(small());
  const Rows* expected[] = {&q1_1, &q1_2, &q1_3};
  // 2162400 * 1 + 902000 * 2 + 90200 * 3 and so on.
  const uint64_t revenue[] = {4'237'000, 30'457'080, 50'072'500};
  for (size_t query = 0; query < flight1_queries.size(); ++query) {
    const auto answer = run_flight1(host.engine(), flight1_queries[query], 2);
    ASSERT_TRUE(answer) << answer.message();
    EXPECT_EQ(answer->rows, *expected[query]) << flight1_queries[query].name;
    EXPECT_EQ(answer->count, expected[query]->size());
    EXPECT_EQ(answer->revenue, revenue[query]);
  }
}

// 180,000 rows: two full chunks and a part of one.
constexpr double three_chunks = 0.03;

void expect_plain_answers(StarHost& host) {
  ASSERT_EQ(host.column(lo_orderdate).stored.chunks.size(), 3u);
  for (const Flight1Query& query : flight1_queries) {
    const auto answer = run_flight1(host.engine(), query, 1);
    ASSERT_TRUE(answer) << answer.message();
    EXPECT_EQ(difference(*answer, plain_flight1(host.tables(), query)), std::nullopt) << query.name;
    EXPECT_FALSE(answer->rows.empty());
  }
}

TEST(Flight1, ScansOfSeveralChunksAgreeWithThePlainEvaluation) {
  StarHost host(generate_tables(three_chunks), Form::codes);
  EXPECT_EQ(host.column(lo_orderdate).form(), "12-bit codes");
  expect_plain_answers(host);
}

TEST(Flight1, DatesInRunsGiveTheSameAnswers) {
  StarHost host(generate_tables(three_chunks));
  EXPECT_EQ(host.column(lo_orderdate).form(), "12-bit codes in runs");
  EXPECT_EQ(host.column(lo_orderdate).runs()->length_bits, 8u);
  expect_plain_answers(host);
}

TEST(Flight1, RunsThatNeedTwoByteLengthsGiveTheSameAnswers) {
  Tables tables = generate_tables(three_chunks);
  const std::vector<uint32_t>& days = tables[TableId::date][d_datekey].cells;
  std::vector<uint32_t>& dates = tables[TableId::lineorder][lo_orderdate].cells;
  for (size_t row = 0; row < dates.size(); ++row) dates[row] = days[366 + row / 300];
  ASSERT_EQ(dates.front(), 19930101u);
  StarHost host(std::move(tables));
  EXPECT_EQ(host.column(lo_orderdate).runs()->length_bits, 16u);
  expect_plain_answers(host);
}

TEST(Flight1, SortingChangesTheOrderOfTheRowsAlone) {
  Tables sorted = generate_tables(three_chunks);
  Tables unsorted = generate_tables(three_chunks);
  sorted[TableId::lineorder].sort_by(lo_orderdate);
  EXPECT_TRUE(std::ranges::is_sorted(sorted[TableId::lineorder][lo_orderdate].cells));
  StarHost host(std::move(sorted));
  expect_plain_answers(host);
  for (const Flight1Query& query : flight1_queries)
    EXPECT_EQ(plain_flight1(host.tables(), query).rows.size(),
              plain_flight1(unsorted, query).rows.size());
}

TEST(Flight1, FewRowsAreWalkedAndManyAreScanned) {
  StarHost host(generate_tables(three_chunks));
  const auto year = run_flight1(host.engine(), flight1_queries[0], 1);  // 1 row in 7
  ASSERT_TRUE(year) << year.message();
  EXPECT_FALSE(ran(*year, "_selective"));
  EXPECT_TRUE(ran(*year, "colx_lbiwvand3_dydi"));
  const auto week = run_flight1(host.engine(), flight1_queries[2], 1);  // 1 row in 340
  ASSERT_TRUE(week) << week.message();
  EXPECT_TRUE(ran(*week, "_selective"));
  EXPECT_FALSE(ran(*week, "colx_lbiwvand3_dydi"));
}

TEST(Flight1, NamesTheKernelThatExpandsRuns) {
  StarHost host(small());
  const auto answer = run_flight1(host.engine(), flight1_queries[0], 1);
  ASSERT_TRUE(answer) << answer.message();
  EXPECT_TRUE(ran(*answer, "colx_ge_le_dict_4bit, burst_rle_8bit"));
}

TEST(Flight1, DaysThatAreNotAdjacentAreScannedAsRangesAndCombined) {
  StarHost host(small());
  const Flight1Query weeks{"",
                           "d_weeknuminyear = 1",
                           {.week_in_year = 1},
                           {host::Compare::ge, 0},
                           {host::Compare::ge, 0}};
  Flight1Query february = weeks;
  february.day = {.week_in_year = 7};  // 15 February 1993 and 12 February 1994
  const auto answer = run_flight1(host.engine(), february, 1);
  ASSERT_TRUE(answer) << answer.message();
  EXPECT_EQ(answer->rows, (Rows{1, 2, 3, 4, 16}));
  EXPECT_TRUE(ran(*answer, "colx_lbiwvor_dydi"));
}

TEST(Flight1, CodesOfDaysAreTheFewestRanges) {
  const Tables tables = small();
  const auto encoded = encode_column(tables[TableId::lineorder][lo_orderdate]);
  ASSERT_TRUE(encoded) << encoded.message();
  const auto ranges_of = [&](const DayFilter& test) {
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    for (const CodeRange& range : codes_of_days(encoded->numbers(), tables[TableId::date], test))
      ranges.emplace_back(range.first, range.last);
    return ranges;
  };
  using Ranges = std::vector<std::pair<uint64_t, uint64_t>>;
  // Order dates are 1993-01-01, -02-15, -12-31, 1994-01-15, -01-31, -02-05, -02-11, -02-12 and
  // 1995-06-01; the day 1998-12-30 has no order and so no code.
  EXPECT_EQ(ranges_of({.year = 1993}), (Ranges{{0, 2}}));
  EXPECT_EQ(ranges_of({.year_month = 199401}), (Ranges{{3, 4}}));
  EXPECT_EQ(ranges_of({.year = 1994, .week_in_year = 6}), (Ranges{{5, 6}}));
  EXPECT_EQ(ranges_of({.week_in_year = 7}), (Ranges{{1, 1}, {7, 7}}));
  EXPECT_EQ(ranges_of({}), (Ranges{{0, 8}}));
  EXPECT_EQ(ranges_of({.year = 1998}), Ranges{});
}

TEST(Flight1, ADayWithoutOrdersMatchesNothingAndRunsNothing) {
  StarHost host(small());
  Flight1Query query = flight1_queries[0];
  query.day = {.year = 1998};
  const auto answer = run_flight1(host.engine(), query, 1);
  ASSERT_TRUE(answer) << answer.message();
  EXPECT_EQ(answer->rows, Rows{});
  EXPECT_EQ(answer->count, 0u);
  EXPECT_TRUE(answer->steps.empty());
}

TEST(Check, SaysWhatIsWrong) {
  const auto check = [](uint64_t count, Rows rows, std::optional<uint64_t> revenue = {}) {
    return difference({count, rows, {}, revenue},
                      {{3, 5}, revenue ? std::optional{70u} : std::nullopt});
  };
  EXPECT_EQ(check(2, {3, 5}), std::nullopt);
  EXPECT_EQ(check(2, {3, 5}, 70), std::nullopt);
  EXPECT_EQ(check(2, {3, 4}), "row 4 is listed and does not match");
  EXPECT_EQ(check(3, {3, 5, 9}), "row 9 is listed and does not match");
  EXPECT_EQ(check(1, {5}), "row 3 matches and is not listed");
  EXPECT_EQ(check(1, {3}), "row 5 matches and is not listed");
  EXPECT_EQ(check(0, {}), "row 3 matches and is not listed");
  EXPECT_EQ(check(7, {3, 5}), "7 rows were counted, 2 listed");
  EXPECT_EQ(check(2, {3, 5}, 71), "the revenue is 70, not 71");
  EXPECT_EQ(difference({}, {}), std::nullopt);
}

}  // namespace
}  // namespace colx::star
