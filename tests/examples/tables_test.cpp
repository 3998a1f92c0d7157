#include "examples/star/tables.h"

#include <gtest/gtest.h>

namespace colx::star {
namespace {

TEST(TextPool, NumbersTextsInTheOrderOfTheirFirstUse) {
  TextPool pool;
  EXPECT_EQ(pool.number_of("b"), 0u);
  EXPECT_EQ(pool.number_of("a"), 1u);
  EXPECT_EQ(pool.number_of("b"), 0u);
  EXPECT_EQ(pool.number_of(""), 2u);
  EXPECT_EQ(pool.size(), 3u);
  EXPECT_EQ(pool.at(1), "a");
}

TEST(TextPool, KeepsItsTextsWhenItMoves) {
  TextPool pool;
  for (int text = 0; text < 1000; ++text) pool.number_of(std::to_string(text));
  TextPool moved = std::move(pool);
  for (uint32_t text = 0; text < 1000; ++text) {
    EXPECT_EQ(moved.at(text), std::to_string(text));
    EXPECT_EQ(moved.number_of(std::to_string(text)), text);
  }
}

TEST(Table, SortingKeepsRowsTogetherAndEqualOnesInOrder) {
  Table table{TableId::supplier};
  const std::pair<uint32_t, const char*> rows[] = {
      {3, "c"}, {1, "x"}, {3, "a"}, {1, "y"}, {2, "m"}};
  for (const auto& [key, name] : rows) {
    table.add(s_suppkey, key);
    for (size_t column = s_name; column < supplier_columns; ++column) table.add(column, name);
  }
  table.sort_by(s_suppkey);
  std::string order;
  for (size_t row = 0; row < table.rows(); ++row)
    order += table.cell(s_suppkey, row) + table.cell(s_name, row) + table.cell(s_phone, row) + " ";
  EXPECT_EQ(order, "1xx 1yy 2mm 3cc 3aa ");
}

}  // namespace
}  // namespace colx::star
