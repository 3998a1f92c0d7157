#include "host/result.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace colx::host {
namespace {

Result<int> half(int number) {
  if (number % 2) return make_error("%d is odd", number);
  return number / 2;
}

TEST(Result, HoldsAValueOrAMessage) {
  const auto good = half(8);
  ASSERT_TRUE(good);
  EXPECT_TRUE(good.ok());
  EXPECT_EQ(*good, 4);
  const auto bad = half(7);
  ASSERT_FALSE(bad);
  EXPECT_EQ(bad.message(), "7 is odd");
  EXPECT_EQ(bad.error().message, "7 is odd");
}

TEST(Result, OfNothingHoldsSuccessOrAMessage) {
  const Result<void> good;
  EXPECT_TRUE(good);
  good.value();
  const Result<void> bad = make_error("no");
  ASSERT_FALSE(bad);
  EXPECT_EQ(bad.message(), "no");
}

TEST(Result, HandsOverWhatCannotBeCopied) {
  Result<std::unique_ptr<int>> held = std::make_unique<int>(5);
  EXPECT_EQ(**held, 5);
  const std::unique_ptr<int> taken = std::move(held).value();
  EXPECT_EQ(*taken, 5);
}

TEST(Result, MessagesHaveNoLimit) {
  const std::string text(10000, 'x');
  EXPECT_EQ(make_error("<%s>", text.c_str()).message, '<' + text + '>');
}

TEST(ResultDeathTest, AnErrorOpenedAsAValueStopsTheProgramWithItsText) {
  EXPECT_DEATH(half(3).value(), "colx host: an error was opened as a value: 3 is odd");
  const Result<void> bad = make_error("no");
  EXPECT_DEATH(bad.value(), "colx host: an error was opened as a value: no");
}

}  // namespace
}  // namespace colx::host
