#include "host/group_sums.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/encode_codes.h"
#include "host/encode_numbers.h"

namespace colx::host {
namespace {

struct Sums : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
};
using Keys = std::vector<uint32_t>;

TEST_F(Sums, AddRowsToTheirGroups) {
  const auto column = store_dsb(std::vector<int64_t>{5, -7, 100, 1}).value();
  auto sums = GroupSums::create(library, COLX_TYPE_DSB, 3).value();
  ASSERT_TRUE(sums.add(number_rows(column, 0).value(), Keys{0, 2, 0, 2}));
  EXPECT_EQ(sums.integer_sum(0), 105);
  EXPECT_EQ(sums.integer_sum(1), 0);
  EXPECT_EQ(sums.integer_sum(2), -6);
}

TEST_F(Sums, AddFloatingPointRowsInTheirOwnPrecision) {
  const auto floats = store_floats(std::vector<float>{1e8f, 1.0f, -1e8f}).value();
  auto sums = GroupSums::create(library, COLX_TYPE_FLOAT, 1).value();
  ASSERT_TRUE(sums.add_all(number_rows(floats, 0).value()));
  EXPECT_EQ(sums.float_sum(0), 0.0f);
  const auto doubles = store_doubles(std::vector<double>{1e8, 1.0, -1e8}).value();
  auto exact = GroupSums::create(library, COLX_TYPE_DOUBLE, 2).value();
  ASSERT_TRUE(exact.add(number_rows(doubles, 0).value(), Keys{1, 1, 1}));
  EXPECT_EQ(exact.double_sum(1), 1.0);
}

TEST_F(Sums, AddNativeRows) {
  const std::vector<double> numbers{0.5, 0.25};
  auto sums = GroupSums::create(library, COLX_TYPE_DOUBLE, 1).value();
  ASSERT_TRUE(sums.add_all({numbers.data(), 2, COLX_TYPE_DOUBLE, 64, true}));
  EXPECT_EQ(sums.double_sum(0), 0.75);
}

TEST_F(Sums, MergeGroupByGroup) {
  const auto column = store_dsb(std::vector<int64_t>{1, 2}).value();
  auto one = GroupSums::create(library, COLX_TYPE_DSB, 2).value();
  auto other = GroupSums::create(library, COLX_TYPE_DSB, 2).value();
  ASSERT_TRUE(one.add(number_rows(column, 0).value(), Keys{0, 1}));
  ASSERT_TRUE(other.add(number_rows(column, 0).value(), Keys{1, 1}));
  ASSERT_TRUE(one.merge(other));
  EXPECT_EQ(one.integer_sum(0), 1);
  EXPECT_EQ(one.integer_sum(1), 5);
  EXPECT_EQ(one.merge(GroupSums::create(library, COLX_TYPE_DSB, 3).value()).message(),
            "sums of type 8 over 3 groups do not go into type 8 over 2");
}

TEST_F(Sums, RefuseKeysThatAreNoGroupsBeforeAnythingIsAdded) {
  const auto column = store_dsb(std::vector<int64_t>{1, 2, 3}).value();
  auto sums = GroupSums::create(library, COLX_TYPE_DSB, 2).value();
  EXPECT_EQ(sums.add(number_rows(column, 0).value(), Keys{0, 2, 1}).message(),
            "row 1 has group key 2, but there are 2 groups");
  EXPECT_EQ(sums.integer_sum(0), 0);
  EXPECT_EQ(sums.add(number_rows(column, 0).value(), Keys{0}).message(), "1 group keys for 3 rows");
}

TEST_F(Sums, RefuseWhatHasNoSums) {
  EXPECT_EQ(GroupSums::create(library, 3, 1).message(),
            "type 3 has no sums: use COLX_TYPE_FLOAT, COLX_TYPE_DOUBLE or COLX_TYPE_DSB");
  EXPECT_EQ(GroupSums::create(library, COLX_TYPE_DSB, 0).message(),
            "a key space of 0 groups: use 1 to 2^32");
  EXPECT_FALSE(GroupSums::create(library, COLX_TYPE_DSB, (uint64_t{1} << 32) + 1));
  auto sums = GroupSums::create(library, COLX_TYPE_DSB, 1).value();
  EXPECT_EQ(sums.add_all({nullptr, 0, COLX_TYPE_DSB, 24}).message(),
            "numbers of type 8 have no width of 24 bits");
  EXPECT_EQ(sums.add_all({nullptr, 0, COLX_TYPE_FLOAT, 32}).message(),
            "numbers of type 1 for sums of type 8");
  const auto codes = store_codes(std::vector<uint64_t>{1}).value();
  EXPECT_FALSE(number_rows(codes, 0));
  const auto column = store_dsb(std::vector<int64_t>{1}).value();
  EXPECT_EQ(number_rows(column, 1).message(), "chunk 1 of a column with 1 chunks");
}

}  // namespace
}  // namespace colx::host
