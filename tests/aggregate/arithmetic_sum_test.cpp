// Sums of add, sub and mul: the same row results, added up in one fixed order.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/oracle/addition_orders.h"
#include "tests/support/arithmetic_stage.h"
#include "tests/support/number_patterns.h"
#include "tests/support/row_counts.h"

namespace colx::test {
namespace {

using oracle::ArithmeticKind;
using oracle::bits_of;
using oracle::ComputedBits;
using oracle::NumberForm;

constexpr NumberForm native = NumberForm::native;
constexpr NumberForm canonical = NumberForm::canonical;
constexpr ArithmeticKind add_floats = {COLX_OPC_ADD, false, native, native, true};

ArithmeticBatch random_batch(const ArithmeticKind& kind, uint32_t rows, bool left_constant,
                             bool right_constant, NumberMix mix, Random& random) {
  ArithmeticBatch batch = {kind, {}, {}};
  batch.set_rows(
      random_numbers(mix, kind.bytes(), left_constant ? 1 : rows, random),
      random_numbers(mix, kind.bytes(), right_constant && !left_constant ? 1 : rows, random));
  batch.left.rows = std::min(batch.left.rows, rows);
  batch.right.rows = std::min(batch.right.rows, rows);
  batch.left.constant = left_constant;
  batch.right.constant = right_constant;
  batch.element = random_number(mix, kind.bytes(), random);
  return batch;
}

// Rows whose results are `numbers`: x + (-0.0) is x.
ArithmeticBatch sum_of_rows(bool doubles, NumberForm left, std::vector<uint64_t> numbers,
                            uint64_t element) {
  ArithmeticBatch batch = {{COLX_OPC_ADD, doubles, left, native, true}, {}, {}};
  batch.set_rows(std::move(numbers), {doubles ? bits_of(-0.0) : bits_of(-0.0f)});
  batch.right.constant = true;
  batch.element = element;
  return batch;
}

uint64_t sum_of_floats(const std::vector<float>& rows, float element) {
  std::vector<uint64_t> numbers;
  for (const float row : rows) numbers.push_back(bits_of(row));
  return run_arithmetic(sum_of_rows(false, native, numbers, bits_of(element))).elements.at(0);
}

TEST(ArithmeticSum, EveryKernelAtEveryRowCountWithConstantsOnEitherSide) {
  for (const ArithmeticKind& kind : arithmetic_kinds(true)) {
    Random random(kind.slot());
    std::vector<uint32_t> counts = row_counts(16 / kind.bytes());
    for (uint32_t rows = 3; rows <= 40; ++rows) counts.push_back(rows);
    for (const uint32_t rows : counts) {
      for (const unsigned constants : {0u, 1u, 2u, 3u}) {
        ArithmeticBatch batch = random_batch(kind, rows, (constants & 1) != 0, (constants & 2) != 0,
                                             NumberMix::ordinary, random);
        for (const Place place : {Place::end, Place::begin, Place::middle}) {
          batch.edge = place == Place::begin ? Edge::begin : Edge::end;
          batch.place = place;
          ASSERT_EQ(arithmetic_difference(batch), "");
        }
      }
    }
  }
}

// On these rows the four orders of addition that the library has give four different sums, and so
// does any loop with twice the lanes or with lanes reduced from left to right.
template <class Number>
std::vector<uint64_t> sums_in_other_orders(const std::vector<uint64_t>& numbers, uint64_t element) {
  std::vector<ComputedBits> rows;
  for (const uint64_t number : numbers) rows.push_back({number});
  std::vector<uint64_t> sums;
  for (const auto order : {oracle::lanes_and_rest<Number>, oracle::rows_then_element<Number>,
                           oracle::rows_into_element<Number>}) {
    sums.push_back(order(rows, {element}).bits);
  }
  for (const size_t lanes : {4, 8, 16}) {
    std::vector<Number> lane(lanes);
    const size_t whole = numbers.size() / lanes * lanes;
    for (size_t row = 0; row < numbers.size(); ++row) {
      lane[row < whole ? row % lanes : 0] += oracle::number_of<Number>(numbers[row]);
    }
    Number sum = 0;
    for (const Number part : lane) sum += part;
    sums.push_back(bits_of(oracle::number_of<Number>(element) + sum));
  }
  return sums;
}

template <class Number>
void expect_own_order(uint64_t seed) {
  Random random(seed);
  int telling = 0;
  for (int attempt = 0; attempt < 200; ++attempt) {
    const auto numbers = random_numbers(NumberMix::ordinary, sizeof(Number), 43, random);
    const uint64_t element = random_number(NumberMix::ordinary, sizeof(Number), random);
    const ArithmeticBatch batch =
        sum_of_rows(sizeof(Number) == 8, attempt % 2 == 0 ? native : canonical, numbers, element);
    ASSERT_EQ(arithmetic_difference(batch), "") << attempt;
    const uint64_t sum = run_arithmetic(batch).elements.at(0);
    bool all_differ = true;
    for (const uint64_t other : sums_in_other_orders<Number>(numbers, element)) {
      all_differ = all_differ && other != sum;
    }
    telling += all_differ ? 1 : 0;
  }
  EXPECT_GT(telling, 20) << "batches in which every other order gives another sum";
}

TEST(ArithmeticSum, FloatsAreAddedInTheirOwnOrderAndNoOther) {
  expect_own_order<float>(1);
}

TEST(ArithmeticSum, DoublesAreAddedInTheirOwnOrderAndNoOther) {
  expect_own_order<double>(2);
}

// 2^24 + 1 rounds to 2^24 in a float: what is added to the large number one by one is lost.
constexpr float large = 16777216.0f;

TEST(ArithmeticSum, ThreeFloatRowsAreAddedOneByOneFromZeroAndThenToTheElement) {
  EXPECT_EQ(sum_of_floats({1, 1, 1}, large), bits_of(16777220.0f));  // 3 at once, rounded up
  EXPECT_EQ(sum_of_floats({large, 1, 1}, 0), bits_of(large));
  EXPECT_EQ(sum_of_floats({1, 1, large}, 0), bits_of(16777218.0f));
}

TEST(ArithmeticSum, OfFiveFloatRowsTheFifthIsAddedAfterTheReduction) {
  EXPECT_EQ(sum_of_floats({large, 0, 0, 1, 1}, 0), bits_of(large));
  // In a lane of its own, or with row 0, the fifth would meet another 1 first.
  EXPECT_EQ(sum_of_floats({1, 0, large, 0, 1}, 0), bits_of(large));
}

TEST(ArithmeticSum, TheRestIsAddedToTheReducedSumAndNotBesideIt) {
  EXPECT_EQ(sum_of_floats({large, 0, 0, 0, 1, 1}, 0), bits_of(large));
}

TEST(ArithmeticSum, TheElementIsAddedOnceAndLast) {
  EXPECT_EQ(sum_of_floats({1, 0, 0, 0, 1}, large), bits_of(16777218.0f));
}

TEST(ArithmeticSum, LanesAreReducedInPairs) {
  EXPECT_EQ(sum_of_floats({large, 0, 1, 1}, 0), bits_of(16777218.0f));
  EXPECT_EQ(sum_of_floats({large, 1, 1, 0}, 0), bits_of(large));
  EXPECT_EQ(sum_of_floats({1, 1, large, 0}, 0), bits_of(16777218.0f));
  EXPECT_EQ(sum_of_floats({1, 0, 1, large}, 0), bits_of(large));
}

TEST(ArithmeticSum, LaneJCollectsRowsJAndEveryFourthBehind) {
  EXPECT_EQ(sum_of_floats({large, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}, 0), bits_of(large));
  EXPECT_EQ(sum_of_floats({large, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0}, 0), bits_of(16777218.0f));
}

TEST(ArithmeticSum, LaneJOfDoublesCollectsEverySecondRow) {
  const double giant = 9007199254740992.0;  // 2^53
  const auto sum = [](std::vector<double> rows, double element) {
    std::vector<uint64_t> numbers;
    for (const double row : rows) numbers.push_back(bits_of(row));
    return run_arithmetic(sum_of_rows(true, native, numbers, bits_of(element))).elements.at(0);
  };
  EXPECT_EQ(sum({giant, 0, 1, 0, 1, 0}, 0), bits_of(giant));
  EXPECT_EQ(sum({giant, 1, 0, 1}, 0), bits_of(giant + 2));
  EXPECT_EQ(sum({giant, 0, 0, 1, 1}, 0), bits_of(giant));
  EXPECT_EQ(sum({1, 0, 1}, giant), bits_of(giant + 2));
}

TEST(ArithmeticSum, FloatsAreAddedInTheirOwnPrecision) {
  EXPECT_EQ(sum_of_floats({large, 1, -large}, 0), bits_of(0.0f));
}

TEST(ArithmeticSum, NoRowsAddPlusZeroToTheElement) {
  for (const ArithmeticKind& kind : arithmetic_kinds(true)) {
    const uint64_t minus_zero = kind.doubles ? bits_of(-0.0) : bits_of(-0.0f);
    const uint64_t some = kind.doubles ? bits_of(-1.5) : bits_of(-1.5f);
    for (const bool constant : {false, true}) {
      ArithmeticBatch batch = {kind, {}, {}};
      if (constant) batch.left.numbers = {some};
      batch.left.constant = constant;
      batch.element = minus_zero;
      EXPECT_EQ(run_arithmetic(batch).elements, std::vector<uint64_t>{0});
      batch.element = some;
      EXPECT_EQ(run_arithmetic(batch).elements, std::vector<uint64_t>{some});
      EXPECT_EQ(arithmetic_difference(batch), "");
    }
  }
}

TEST(ArithmeticSum, RowsOfMinusZeroAddUpToPlusZero) {
  for (const bool doubles : {false, true}) {
    const uint64_t minus_zero = doubles ? bits_of(-0.0) : bits_of(-0.0f);
    for (size_t rows = 1; rows <= 9; ++rows) {
      const ArithmeticBatch batch =
          sum_of_rows(doubles, native, std::vector<uint64_t>(rows, minus_zero), minus_zero);
      EXPECT_EQ(run_arithmetic(batch).elements, std::vector<uint64_t>{0}) << rows;
    }
  }
}

TEST(ArithmeticSum, ASecondCallAddsToTheFirst) {
  ArithmeticBatch batch = {add_floats, {}, {}};
  batch.set_rows({bits_of(1.0f), bits_of(2.0f), bits_of(3.0f), bits_of(4.0f), bits_of(5.0f)},
                 {bits_of(0.5f)});
  batch.right.constant = true;
  batch.element = bits_of(100.0f);
  batch.element = run_arithmetic(batch).elements.at(0);
  EXPECT_EQ(batch.element, bits_of(117.5f));
  EXPECT_EQ(run_arithmetic(batch).elements, std::vector{bits_of(135.0f)});
}

TEST(ArithmeticSum, NumbersOfEverySortInEveryKernel) {
  for (const ArithmeticKind& kind : arithmetic_kinds(true)) {
    Random random(99 + kind.slot());
    for (const NumberMix mix : all_mixes) {
      for (int attempt = 0; attempt < 40; ++attempt) {
        const uint32_t rows = static_cast<uint32_t>(random.below(30));
        ASSERT_EQ(arithmetic_difference(
                      random_batch(kind, rows, random.one_in(3), random.one_in(3), mix, random)),
                  "");
      }
    }
  }
}

TEST(ArithmeticSum, ANanInAnyRowMakesTheTotalNan) {
  Random random(8);
  for (const ArithmeticKind& kind : arithmetic_kinds(true)) {
    for (size_t row = 0; row < 11; ++row) {
      ArithmeticBatch batch = random_batch(kind, 11, false, false, NumberMix::ordinary, random);
      batch.right.numbers[row] = kind.doubles ? 0x7FF8000000000123 : 0x7FC00123;
      EXPECT_EQ(run_arithmetic(batch).elements, std::vector{batch.right.numbers[row]})
          << arithmetic_kernel(kind).name << ", row " << row;
    }
  }
}

TEST(ArithmeticSum, OperandsAndTheElementMayLieAtAnyAddress) {
  for (const ArithmeticKind& kind : arithmetic_kinds(true)) {
    Random random(kind.slot());
    for (size_t shift = 0; shift < 16; ++shift) {
      ArithmeticBatch batch = random_batch(kind, 37, false, false, NumberMix::ordinary, random);
      batch.slack_bytes = shift;
      batch.shift = 15 - shift;
      EXPECT_EQ(arithmetic_difference(batch), "") << shift;
    }
  }
}

}  // namespace
}  // namespace colx::test
