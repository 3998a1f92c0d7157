#include "examples/star/flight1.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "examples/star/check.h"
#include "examples/star/column_scan.h"
#include "examples/star/generate.h"
#include "examples/star/read_tbl.h"
#include "tests/examples/tbl_folder.h"

namespace colx::star {
namespace {

using Rows = std::vector<uint32_t>;

// The library, the tables and an engine over them.
class Host {
 public:
  // `dates` is the form of lo_orderdate, the other columns have their usual one.
  explicit Host(Tables tables, Form dates = Form::runs)
      : tables_(std::move(tables)),
        library_(open()),
        services_(library_),
        lineorder_(encode(tables_[TableId::lineorder], dates)) {}

  const Tables& tables() const { return tables_; }
  const EncodedColumn& column(Lineorder which) const { return lineorder_[which]; }
  Engine engine() { return {library_, services_, lineorder_, tables_[TableId::date]}; }

 private:
  static host::Library open() {
    auto library = host::Library::open(COLX_LIBRARY_FILE);
    EXPECT_TRUE(library) << library.message();
    return library.value();
  }
  static std::vector<EncodedColumn> encode(const Table& table, Form dates) {
    auto columns = encode_table(table);
    EXPECT_TRUE(columns) << columns.message();
    auto date_column = encode_column(table[lo_orderdate], dates);
    EXPECT_TRUE(date_column) << date_column.message();
    (*columns)[lo_orderdate] = std::move(*date_column);
    return std::move(*columns);
  }

  Tables tables_;
  host::Library library_;
  host::HostServices services_;
  std::vector<EncodedColumn> lineorder_;
};

Tables small() {
  auto tables = read_tables(small_tables);
  EXPECT_TRUE(tables) << tables.message();
  return std::move(tables.value());
}

// Worked out by hand from tbl/lineorder.tbl; the neighbours of each row fail one bound by one.
const Rows q1_1 = {0, 1, 5};
const Rows q1_2 = {7, 10};
const Rows q1_3 = {12, 13, 14};

TEST(Flight1, ThePlainEvaluationFindsTheRowsWorkedOutByHand) {
  const Tables tables = small();
  EXPECT_EQ(plain_flight1(tables, flight1_queries[0]), q1_1);
  EXPECT_EQ(plain_flight1(tables, flight1_queries[1]), q1_2);
  EXPECT_EQ(plain_flight1(tables, flight1_queries[2]), q1_3);
}

TEST(Flight1, TheScansFindTheRowsWorkedOutByHand) {
  Host host(small());
  const Rows* expected[] = {&q1_1, &q1_2, &q1_3};
  for (size_t query = 0; query < flight1_queries.size(); ++query) {
    const auto answer = run_flight1(host.engine(), flight1_queries[query], 2);
    ASSERT_TRUE(answer) << answer.message();
    EXPECT_EQ(answer->rows, *expected[query]) << flight1_queries[query].name;
    EXPECT_EQ(answer->count, expected[query]->size());
  }
}

// 180,000 rows: two full chunks and a part of one.
constexpr double three_chunks = 0.03;

void expect_plain_answers(Host& host) {
  ASSERT_EQ(host.column(lo_orderdate).stored.chunks.size(), 3u);
  for (const Flight1Query& query : flight1_queries) {
    const auto answer = run_flight1(host.engine(), query, 1);
    ASSERT_TRUE(answer) << answer.message();
    EXPECT_EQ(answer->rows, plain_flight1(host.tables(), query)) << query.name;
    EXPECT_EQ(answer->count, answer->rows.size());
    EXPECT_FALSE(answer->rows.empty());
  }
}

TEST(Flight1, ScansOfSeveralChunksAgreeWithThePlainEvaluation) {
  Host host(generate_tables(three_chunks), Form::codes);
  EXPECT_EQ(host.column(lo_orderdate).form(), "12-bit codes");
  expect_plain_answers(host);
}

TEST(Flight1, DatesInRunsGiveTheSameAnswers) {
  Host host(generate_tables(three_chunks));
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
  Host host(std::move(tables));
  EXPECT_EQ(host.column(lo_orderdate).runs()->length_bits, 16u);
  expect_plain_answers(host);
}

TEST(Flight1, SortingChangesTheOrderOfTheRowsAlone) {
  Tables sorted = generate_tables(three_chunks);
  Tables unsorted = generate_tables(three_chunks);
  sorted[TableId::lineorder].sort_by(lo_orderdate);
  EXPECT_TRUE(std::ranges::is_sorted(sorted[TableId::lineorder][lo_orderdate].cells));
  Host host(std::move(sorted));
  expect_plain_answers(host);
  for (const Flight1Query& query : flight1_queries)
    EXPECT_EQ(plain_flight1(host.tables(), query).size(), plain_flight1(unsorted, query).size());
}

bool ran(const Answer& answer, std::string_view kernel_end) {
  for (const Step& step : answer.steps)
    if (step.kernel.ends_with(kernel_end)) return true;
  return false;
}

TEST(Flight1, FewRowsAreWalkedAndManyAreScanned) {
  Host host(generate_tables(three_chunks));
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
  Host host(small());
  const auto answer = run_flight1(host.engine(), flight1_queries[0], 1);
  ASSERT_TRUE(answer) << answer.message();
  EXPECT_TRUE(ran(*answer, "colx_ge_le_dict_4bit, burst_rle_8bit"));
}

TEST(Flight1, DaysThatAreNotAdjacentAreScannedAsRangesAndCombined) {
  Host host(small());
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
  Host host(small());
  Flight1Query query = flight1_queries[0];
  query.day = {.year = 1998};
  const auto answer = run_flight1(host.engine(), query, 1);
  ASSERT_TRUE(answer) << answer.message();
  EXPECT_EQ(answer->rows, Rows{});
  EXPECT_EQ(answer->count, 0u);
  EXPECT_TRUE(answer->steps.empty());
}

TEST(ColumnScan, NullRowsMatchNothing) {
  Host host(small());
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

TEST(Check, SaysWhichRowIsWrong) {
  EXPECT_EQ(difference(2, {3, 5}, {3, 5}), std::nullopt);
  EXPECT_EQ(difference(0, {}, {}), std::nullopt);
  EXPECT_EQ(difference(2, {3, 4}, {3, 5}), "row 4 is listed and does not match");
  EXPECT_EQ(difference(3, {3, 5, 9}, {3, 5}), "row 9 is listed and does not match");
  EXPECT_EQ(difference(1, {5}, {3, 5}), "row 3 matches and is not listed");
  EXPECT_EQ(difference(1, {3}, {3, 5}), "row 5 matches and is not listed");
  EXPECT_EQ(difference(7, {3, 5}, {3, 5}), "7 rows were counted, 2 listed");
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
