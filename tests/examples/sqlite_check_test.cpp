// Another engine on the same tables comes to the same rows.
#include "examples/star/sqlite_check.h"

#include <gtest/gtest.h>

#include "examples/star/families.h"
#include "tests/examples/store_host.h"

namespace colx::star {
namespace {

#ifdef COLX_STAR_SQLITE

void expect_same_rows(StoreHost& host) {
  const auto sqlite = SqliteStar::load(host.tables());
  ASSERT_TRUE(sqlite) << sqlite.message();
  for (const StarQuery& query : benchmark_queries()) {
    const auto rows = sqlite->answer(query);
    ASSERT_TRUE(rows) << rows.message();
    const auto found = answer(host.store(), query, 2);
    ASSERT_TRUE(found) << found.message();
    EXPECT_EQ(difference(found->rows, *rows), std::nullopt) << query.name;
  }
}

TEST(SqliteCheck, FindsTheRowsOfAllThirteenQueries) {
  expect_same_rows(three_chunks());
}

TEST(SqliteCheck, FindsTheRowsOfTheSmallTables) {
  StoreHost host(small());
  expect_same_rows(host);
}

TEST(SqliteCheck, NoticesARowThatDiffers) {
  StoreHost host(small());
  const auto sqlite = SqliteStar::load(host.tables());
  ASSERT_TRUE(sqlite) << sqlite.message();
  const StarQuery query = benchmark_queries().front();
  auto found = answer(host.store(), query, 1).value();
  found.rows.front().sum += 1;
  EXPECT_NE(difference(found.rows, sqlite->answer(query).value()), std::nullopt);
}

#endif

TEST(Families, EachHasAUser) {
  std::vector<Usage> usage = command_usage();
  for (const StarQuery& query : benchmark_queries()) {
    const auto plan = make_plan(three_chunks().store(), query);
    ASSERT_TRUE(plan) << plan.message();
    usage.push_back(usage_of(three_chunks().store(), query, *plan));
    EXPECT_GE(usage.back().families.size(), 2u);
    for (const std::string_view family : usage.back().families)
      EXPECT_NE(std::ranges::find(all_families(), family), all_families().end()) << family;
  }
  testing::internal::CaptureStdout();
  EXPECT_TRUE(print_usage(usage));
  EXPECT_EQ(testing::internal::GetCapturedStdout().find("NOT USED"), std::string::npos);
  usage.pop_back();
  std::erase_if(usage, [](const Usage& each) { return each.user == "line numbers"; });
  testing::internal::CaptureStdout();
  EXPECT_FALSE(print_usage(usage));
  EXPECT_NE(testing::internal::GetCapturedStdout().find("NOT USED"), std::string::npos);
}

}  // namespace
}  // namespace colx::star
