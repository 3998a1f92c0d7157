// Another engine on the same tables comes to the same rows.
#include "examples/star/sqlite_check.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace colx::star
