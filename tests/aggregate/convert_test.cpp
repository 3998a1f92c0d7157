// Conversion of canonical numbers to native ones, and its sums, which have an order of their own.
#include <gtest/gtest.h>

#include "tests/oracle/addition_orders.h"
#include "tests/support/number_patterns.h"
#include "tests/support/number_sum_stage.h"
#include "tests/support/row_counts.h"

namespace colx::test {
namespace {

using oracle::bits_of;
using oracle::ComputedBits;
using oracle::NumberForm;

constexpr uint32_t dsb_widths[] = {8, 16, 32, 64};

NumberBatch numbers_batch(uint32_t type, const std::vector<uint64_t>& numbers) {
  NumberBatch batch;
  batch.column.stored = oracle::stored_rows(numbers, type == 1 ? 4 : 8, NumberForm::canonical);
  batch.column.rows = static_cast<uint32_t>(numbers.size());
  batch.column.type = type;
  batch.column.width_bits = type == 1 ? 32 : 64;
  return batch;
}

NumberBatch sum_batch(uint32_t type, const std::vector<uint64_t>& numbers, uint64_t element) {
  NumberBatch batch = numbers_batch(type, numbers);
  batch.kctx_flags = COLX_KCTX_SUM;
  batch.element = element;
  return batch;
}

NumberBatch dsb_batch(uint32_t width_bits, const Bytes& stored, uint64_t element) {
  NumberBatch batch;
  batch.column.stored = stored;
  batch.column.rows = static_cast<uint32_t>(stored.size() * 8 / width_bits);
  batch.column.type = 8;
  batch.column.width_bits = width_bits;
  batch.kctx_flags = COLX_KCTX_SUM;
  batch.element = element;
  return batch;
}

uint64_t sum_of_floats(const std::vector<float>& rows, float element) {
  std::vector<uint64_t> numbers;
  for (const float row : rows) numbers.push_back(bits_of(row));
  return run_convert(sum_batch(1, numbers, bits_of(element))).elements.at(0);
}

uint64_t sum_of_doubles(const std::vector<double>& rows, double element) {
  std::vector<uint64_t> numbers;
  for (const double row : rows) numbers.push_back(bits_of(row));
  return run_convert(sum_batch(2, numbers, bits_of(element))).elements.at(0);
}

std::vector<uint32_t> counts_around(uint32_t rows_per_step) {
  std::vector<uint32_t> counts = row_counts(rows_per_step);
  for (uint32_t rows = 3; rows <= 40; ++rows) counts.push_back(rows);
  return counts;
}

TEST(Convert, EveryRowCountInBothModes) {
  for (const uint32_t type : {1u, 2u}) {
    Random random(type);
    for (const uint32_t rows : counts_around(type == 1 ? 4 : 2)) {
      for (const uint32_t kctx_flags : {0u, 0x80u}) {
        NumberBatch batch =
            numbers_batch(type, random_numbers(NumberMix::ordinary, 4 * type, rows, random));
        batch.kctx_flags = kctx_flags;
        batch.element = random_number(NumberMix::ordinary, 4 * type, random);
        for (const Place place : {Place::end, Place::begin, Place::middle}) {
          batch.place = place;
          batch.column.edge = place == Place::begin ? Edge::begin : Edge::end;
          ASSERT_EQ(convert_difference(batch), "");
        }
      }
    }
  }
}

TEST(Convert, NumbersOfEverySortInBothModes) {
  for (const uint32_t type : {1u, 2u}) {
    Random random(10 + type);
    for (const NumberMix mix : all_mixes) {
      for (int attempt = 0; attempt < 100; ++attempt) {
        const auto rows = static_cast<size_t>(random.below(40));
        NumberBatch batch = numbers_batch(type, random_numbers(mix, 4 * type, rows, random));
        batch.kctx_flags = random.one_in(2) ? 0 : COLX_KCTX_SUM;
        batch.element = random_number(mix, 4 * type, random);
        ASSERT_EQ(convert_difference(batch), "");
      }
    }
  }
}

// Bits are moved, never computed with: signalling NaNs stay signalling, in steps and behind them.
TEST(Convert, KeepsTheBitsOfEverySpecialNumberSignallingNansIncluded) {
  for (const uint32_t type : {1u, 2u}) {
    std::vector<uint64_t> specials = special_numbers(4 * type);
    for (size_t shift = 0; shift < 4; ++shift) {
      EXPECT_EQ(run_convert(numbers_batch(type, specials)).elements, specials);
      specials.erase(specials.begin());
    }
    for (const uint64_t special : special_numbers(4 * type)) {
      for (size_t rows = 1; rows <= 7; ++rows) {
        const std::vector<uint64_t> numbers(rows, special);
        EXPECT_EQ(run_convert(numbers_batch(type, numbers)).elements, numbers);
      }
    }
  }
}

TEST(Convert, ASignallingNanStaysOne) {
  const std::vector<uint64_t> floats = {0x7F800001, 0xFF800001, 0x7FBFFFFF, 0xFFBFFFFF, 0x7F800001};
  EXPECT_EQ(run_convert(numbers_batch(1, floats)).elements, floats);
  const std::vector<uint64_t> doubles = {0x7FF0000000000001, 0xFFF0000000000001,
                                         0x7FF7FFFFFFFFFFFF};
  EXPECT_EQ(run_convert(numbers_batch(2, doubles)).elements, doubles);
}

TEST(Convert, EveryUpperHalfOfACanonicalNumber) {
  for (const uint32_t type : {1u, 2u}) {
    Random random(type);
    const unsigned low_bits = 32 * type - 16;
    std::vector<uint64_t> numbers(0x10000 + 3);
    for (uint64_t i = 0; i < numbers.size(); ++i) {
      numbers[i] = (i & 0xFFFF) << low_bits | random.bits(low_bits);
    }
    EXPECT_EQ(run_convert(numbers_batch(type, numbers)).elements, numbers);
  }
}

TEST(Convert, StoredBytesOfTheForm) {
  const auto converted = [](uint32_t type, const Bytes& stored) {
    NumberBatch batch;
    batch.column = {.stored = stored, .rows = 1, .type = type};
    return run_convert(batch).elements.at(0);
  };
  EXPECT_EQ(converted(1, {0x80, 0, 0, 0}), bits_of(0.0f));
  EXPECT_EQ(converted(1, {0x7F, 0xFF, 0xFF, 0xFF}), bits_of(-0.0f));
  EXPECT_EQ(converted(1, {0xBF, 0x80, 0, 0}), bits_of(1.0f));
  EXPECT_EQ(converted(1, {0x40, 0x7F, 0xFF, 0xFF}), bits_of(-1.0f));
  EXPECT_EQ(converted(2, {0xC0, 0, 0, 0, 0, 0, 0, 0}), bits_of(2.0));
}

TEST(Convert, NoRowsStoreNothing) {
  for (const uint32_t type : {1u, 2u}) {
    NumberBatch batch = numbers_batch(type, {});
    EXPECT_EQ(run_convert(batch).status, COLX_DONE);
    EXPECT_EQ(convert_difference(batch), "");
    batch.with_kctx = false;
    EXPECT_EQ(convert_difference(batch), "");
  }
}

TEST(Convert, NoRowsAddPlusZeroTwice) {
  EXPECT_EQ(sum_of_floats({}, -0.0f), bits_of(0.0f));
  EXPECT_EQ(sum_of_doubles({}, -0.0), bits_of(0.0));
  EXPECT_EQ(sum_of_floats({}, -2.5f), bits_of(-2.5f));
  EXPECT_EQ(run_convert(dsb_batch(16, {}, 77)).elements, std::vector<uint64_t>{77});
}

template <class Number>
void expect_own_order() {
  Random random(sizeof(Number));
  int telling = 0;
  for (int attempt = 0; attempt < 200; ++attempt) {
    const auto numbers = random_numbers(NumberMix::ordinary, sizeof(Number), 43, random);
    const uint64_t element = random_number(NumberMix::ordinary, sizeof(Number), random);
    const uint64_t sum =
        run_convert(sum_batch(sizeof(Number) / 4, numbers, element)).elements.at(0);
    std::vector<ComputedBits> rows;
    for (const uint64_t number : numbers) rows.push_back({number});
    ASSERT_EQ(sum, oracle::lanes_and_rest<Number>(rows, {element}).bits) << attempt;
    telling += oracle::lanes_then_rest<Number>(rows, {element}).bits != sum &&
                       oracle::rows_then_element<Number>(rows, {element}).bits != sum &&
                       oracle::rows_into_element<Number>(rows, {element}).bits != sum
                   ? 1
                   : 0;
  }
  EXPECT_GT(telling, 20) << "batches in which every other order gives another sum";
}

TEST(ConvertSum, FloatsAreAddedInTheirOwnOrderAndNoOther) {
  expect_own_order<float>();
}

TEST(ConvertSum, DoublesAreAddedInTheirOwnOrderAndNoOther) {
  expect_own_order<double>();
}

// 2^24 + 1 rounds to 2^24 in a float, 2^53 + 1 to 2^53 in a double.
constexpr float large = 16777216.0f;
constexpr double giant = 9007199254740992.0;

TEST(ConvertSum, OfSevenFloatRowsFourGoThroughTheLanesAndThreeThroughASumOfTheirOwn) {
  // The rest meets itself before it meets the element; the lanes meet the element first.
  EXPECT_EQ(sum_of_floats({0, 0, 0, 0, 1, 1, 0}, large), bits_of(16777218.0f));
  EXPECT_EQ(sum_of_floats({1, 0, 0, 0, 1, 0, 0}, large), bits_of(large));
  EXPECT_EQ(sum_of_floats({large, 0, 0, 0, 1, 1, 0}, 0), bits_of(16777218.0f));
}

TEST(ConvertSum, LanesAreReducedInPairsBeforeTheyMeetTheElement) {
  EXPECT_EQ(sum_of_floats({1, 0, 1, 0}, large), bits_of(16777218.0f));
  EXPECT_EQ(sum_of_floats({large, 0, 1, 1}, 0), bits_of(16777218.0f));
  EXPECT_EQ(sum_of_floats({large, 1, 1, 0}, 0), bits_of(large));
  EXPECT_EQ(sum_of_floats({1, 1, large, 0}, 0), bits_of(16777218.0f));
  EXPECT_EQ(sum_of_floats({1, 0, 1, large}, 0), bits_of(large));
}

TEST(ConvertSum, LaneJOfDoublesCollectsEverySecondRow) {
  EXPECT_EQ(sum_of_doubles({giant, 0, 1, 0, 1, 0}, 0), bits_of(giant));
  EXPECT_EQ(sum_of_doubles({giant, 1, 0, 1}, 0), bits_of(giant + 2));
  EXPECT_EQ(sum_of_doubles({1, 0, 1}, giant), bits_of(giant));
  EXPECT_EQ(sum_of_doubles({1, 1}, giant), bits_of(giant + 2));
}

TEST(ConvertSum, RowsOfMinusZeroAddUpToPlusZero) {
  for (size_t rows = 1; rows <= 9; ++rows) {
    EXPECT_EQ(sum_of_floats(std::vector<float>(rows, -0.0f), -0.0f), bits_of(0.0f)) << rows;
    EXPECT_EQ(sum_of_doubles(std::vector<double>(rows, -0.0), -0.0), bits_of(0.0)) << rows;
  }
}

TEST(ConvertSum, TwoCallsAddUp) {
  EXPECT_EQ(sum_of_floats({1, 2, 3, 4, 5}, 100), bits_of(115.0f));
  EXPECT_EQ(sum_of_floats({1, 2, 3, 4, 5}, 115), bits_of(130.0f));
}

TEST(ConvertSum, DsbAtEveryWidthAndRowCount) {
  for (const uint32_t width_bits : dsb_widths) {
    Random random(width_bits);
    for (const uint32_t rows : counts_around(16)) {
      NumberBatch batch =
          dsb_batch(width_bits, random.bytes(size_t{rows} * width_bits / 8), random.next());
      for (const uint32_t flags : {0, int{COLX_NATIVE}}) {
        batch.column.flags = flags;
        ASSERT_EQ(convert_difference(batch), "");
      }
    }
  }
}

TEST(ConvertSum, DsbIsBigEndianAndSigned) {
  EXPECT_EQ(run_convert(dsb_batch(8, {0xFF, 0x80}, 0)).elements, std::vector{uint64_t{0} - 129});
  EXPECT_EQ(run_convert(dsb_batch(16, {0xFF, 0xFE, 0x01, 0x02}, 0)).elements,
            std::vector<uint64_t>{0x0100});
  EXPECT_EQ(run_convert(dsb_batch(32, {0xFF, 0xFF, 0xFF, 0xFE}, 1)).elements,
            std::vector{~uint64_t{0}});
  EXPECT_EQ(
      run_convert(dsb_batch(64, {0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 1)).elements,
      std::vector{uint64_t{1} << 63});
}

TEST(ConvertSum, AnotherDsbWidthReadsNoRowAndAdds0) {
  for (const uint32_t width_bits : {0u, 1u, 7u, 9u, 24u, 31u, 33u, 40u, 48u, 63u, 65u, 128u}) {
    NumberBatch batch = dsb_batch(8, {}, 0x1234567890);
    batch.column.rows = 3;
    batch.column.width_bits = width_bits;
    EXPECT_EQ(convert_difference(batch), "");
    EXPECT_EQ(run_convert(batch).elements, std::vector<uint64_t>{0x1234567890});
  }
}

TEST(Convert, Type3IsFloat) {
  NumberBatch batch = numbers_batch(1, {bits_of(1.5f), bits_of(-2.5f)});
  batch.column.type = 3;
  EXPECT_EQ(run_convert(batch).elements, (std::vector{bits_of(1.5f), bits_of(-2.5f)}));
}

// 1 before 2 before 8, in the low byte; every type word that does not assert.
TEST(Convert, TheTypeBitsAreTestedInTheOrder1And2And8) {
  for (uint32_t type = 0; type < 256; ++type) {
    for (const uint32_t noise : {0u, 0x100u, 0xFFFFFF00u}) {
      for (const uint32_t flags : {0, int{COLX_NATIVE}}) {
        for (const uint32_t kctx_flags : {0u, 0x80u}) {
          if ((type & 11) == 8 && flags == 0 && kctx_flags == 0) continue;
          NumberBatch batch;
          batch.column = {.stored = Bytes(24, 0xBF),
                          .rows = 3,
                          .flags = flags,
                          .type = type | noise,
                          .width_bits = 64};
          if ((type & 1) != 0) batch.column.stored.resize(12);
          batch.kctx_flags = kctx_flags;
          EXPECT_EQ(convert_difference(batch), "") << type;
        }
      }
    }
  }
}

TEST(Convert, AnUnknownKindIsRefusedInBothModes) {
  for (const uint32_t type : {0u, 4u, 16u, 0xF4u, 0x100u}) {
    for (const uint32_t kctx_flags : {0u, 0x80u}) {
      NumberBatch batch;
      batch.column = {.rows = 3, .type = type, .width_bits = 32};
      batch.kctx_flags = kctx_flags;
      EXPECT_EQ(run_convert(batch).status, COLX_BAD_INPUT) << type;
      EXPECT_EQ(convert_difference(batch), "") << type;
    }
  }
}

TEST(Convert, NativeNumbersAreRefusedOutsideSummingModeBeforeTheKindIsLookedAt) {
  for (const uint32_t type : {1u, 2u, 8u, 4u}) {
    for (const bool with_kctx : {false, true}) {
      NumberBatch batch;
      batch.column = {.rows = 3, .flags = COLX_NATIVE, .type = type, .width_bits = 32};
      batch.with_kctx = with_kctx;
      batch.kctx_flags = ~uint32_t{COLX_KCTX_SUM};
      EXPECT_EQ(run_convert(batch).status, COLX_BAD_INPUT) << type;
      EXPECT_EQ(convert_difference(batch), "") << type;
    }
  }
}

TEST(ConvertSum, RowsOfANativeColumnAreReadAsCanonicalOnes) {
  NumberBatch batch = sum_batch(2, {bits_of(1.25), bits_of(-4.0), bits_of(0.5)}, bits_of(1.0));
  batch.column.flags = COLX_NATIVE;
  EXPECT_EQ(run_convert(batch).elements, std::vector{bits_of(-1.25)});
  batch = sum_batch(1, {bits_of(1.25f)}, 0);
  batch.column.flags = COLX_NATIVE;
  EXPECT_EQ(run_convert(batch).elements, std::vector{bits_of(1.25f)});
}

TEST(Convert, OnlyBit0x80AsksForASum) {
  const NumberBatch plain = numbers_batch(1, {bits_of(2.0f), bits_of(3.0f)});
  for (unsigned bit = 0; bit < 32; ++bit) {
    NumberBatch batch = plain;
    batch.kctx_flags = uint32_t{1} << bit;
    EXPECT_EQ(run_convert(batch).elements.size(), bit == 7 ? 1u : 2u);
    EXPECT_EQ(convert_difference(batch), "") << bit;
    batch.kctx_flags = ~batch.kctx_flags;
    EXPECT_EQ(convert_difference(batch), "") << bit;
  }
}

TEST(Convert, AllOtherFlagsAndTheWidthOfNumbersHaveNoEffect) {
  for (const uint32_t kctx_flags : {0u, 0x80u}) {
    NumberBatch batch = numbers_batch(1, {bits_of(2.0f), bits_of(3.0f), 0, 0, 1});
    batch.kctx_flags = kctx_flags;
    batch.column.flags = ~uint32_t{COLX_NATIVE};
    batch.column.width_bits = 7;
    EXPECT_EQ(convert_difference(batch), "");
  }
}

TEST(Convert, RowsAndResultsMayLieAtAnyAddress) {
  for (const uint32_t type : {1u, 2u}) {
    Random random(type);
    for (size_t shift = 0; shift < 16; ++shift) {
      for (const uint32_t kctx_flags : {0u, 0x80u}) {
        NumberBatch batch =
            numbers_batch(type, random_numbers(NumberMix::ordinary, 4 * type, 27, random));
        batch.kctx_flags = kctx_flags;
        batch.column.slack_bytes = shift;
        batch.shift = 15 - shift;
        EXPECT_EQ(convert_difference(batch), "") << shift;
      }
    }
  }
}

// The line is free; the text, the file and the function are not.
const char* const assertion = ": colxc_x86:[0-9]+: colx_convert_dydi: Assertion `0' failed\\.";

uint32_t convert_dsb(uint32_t type, uint32_t rows, colx_kctx* kctx) {
  static GuardedPages nowhere;
  colx_enc_ctx encoding = {};
  encoding.colx_enc_ctx_type = type;
  encoding.colx_enc_ctx_width = 32;
  colx_cv src = noisy_vector(nowhere.unreadable(), nowhere.unreadable());
  src.colx_cv_encoding_context = &encoding;
  src.colx_cv_num_of_rows = rows;
  colx_cv res = noisy_vector(nowhere.unreadable(), nowhere.unreadable());
  return colx_convert_dydi(&res, &src, kctx);
}

TEST(ConvertDeathTest, DsbHasNoConvertedForm) {
  colx_kctx kctx = {};
  kctx.colx_kctx_flags = ~uint32_t{COLX_KCTX_SUM};
  EXPECT_DEATH(convert_dsb(8, 3, nullptr), assertion);
  EXPECT_DEATH(convert_dsb(8, 3, &kctx), assertion);
}

TEST(ConvertDeathTest, DsbAssertsAlsoWithoutRowsAndWithHigherTypeBits) {
  EXPECT_DEATH(convert_dsb(8, 0, nullptr), assertion);
  EXPECT_DEATH(convert_dsb(0xFC, 3, nullptr), assertion);
  EXPECT_DEATH(convert_dsb(0x108, 3, nullptr), assertion);
}

}  // namespace
}  // namespace colx::test
