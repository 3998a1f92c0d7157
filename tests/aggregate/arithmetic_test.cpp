// add, sub and mul of two columns, row by row: all forms, types and constants, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "tests/support/arithmetic_stage.h"
#include "tests/support/number_patterns.h"
#include "tests/support/row_counts.h"
#include "tests/support/scan_stage.h"

namespace colx::test {
namespace {

using oracle::ArithmeticKind;
using oracle::bits_of;
using oracle::NumberForm;

constexpr NumberForm native = NumberForm::native;
constexpr NumberForm canonical = NumberForm::canonical;
constexpr ArithmeticKind add_floats = {COLX_OPC_ADD, false, native, native, false};
constexpr ArithmeticKind sub_floats = {COLX_OPC_SUB, false, native, native, false};

struct ConstantFlags {
  bool left;
  bool right;
};
constexpr ConstantFlags all_constant_flags[] = {
    {false, false}, {true, false}, {false, true}, {true, true}};

// `rows` rows of both operands; a constant has one value, and the row count 1 if there are rows.
ArithmeticBatch random_batch(const ArithmeticKind& kind, uint32_t rows, ConstantFlags constant,
                             NumberMix mix, Random& random) {
  const bool right_is_one_value = constant.right && !constant.left;
  ArithmeticBatch batch = {kind, {}, {}};
  batch.set_rows(random_numbers(mix, kind.bytes(), constant.left ? 1 : rows, random),
                 random_numbers(mix, kind.bytes(), right_is_one_value ? 1 : rows, random));
  batch.left.rows = std::min(batch.left.rows, rows);
  batch.right.rows = std::min(batch.right.rows, rows);
  batch.left.constant = constant.left;
  batch.right.constant = constant.right;
  return batch;
}

TEST(Arithmetic, All48SlotsAreFilledUnderTheirNames) {
  std::set<uint32_t> slots;
  for (const bool sums : {false, true}) {
    for (const ArithmeticKind& kind : arithmetic_kinds(sums)) {
      const char* const operations[] = {"add", "sub", "mul"};
      const std::string name = std::string("colx_") + operations[kind.opc - COLX_OPC_ADD] +
                               (kind.doubles ? "_double" : "_float") +
                               (kind.left == canonical ? "_c" : "_n") +
                               (kind.right == canonical ? "_c" : "_n") + (sums ? "_sum" : "");
      EXPECT_EQ(arithmetic_kernel(kind).name, name);
      slots.insert(kind.slot());
    }
  }
  EXPECT_EQ(slots.size(), 48u);
}

TEST(Arithmetic, WidthCodesOfAdd) {
  const auto width_code = [](const char* name) {
    for (uint32_t code = 0; code < 32; ++code) {
      const uint32_t slot = colx_slot_index(COLX_OPC_ADD, 0, code, COLX_FORM_PLAIN);
      if (std::strcmp(colx_dispatch_func_names[slot], name) == 0) return static_cast<int>(code);
    }
    return -1;
  };
  EXPECT_EQ(width_code("colx_add_float_n_n"), 0);
  EXPECT_EQ(width_code("colx_add_double_n_n"), 1);
  EXPECT_EQ(width_code("colx_add_float_c_n"), 4);
  EXPECT_EQ(width_code("colx_add_double_c_n"), 5);
  EXPECT_EQ(width_code("colx_add_float_n_c"), 8);
  EXPECT_EQ(width_code("colx_add_double_n_c"), 9);
  EXPECT_EQ(width_code("colx_add_float_c_c"), 12);
  EXPECT_EQ(width_code("colx_add_double_c_c"), 13);
}

// Both sides of every step edge, also of loops that take up to eight steps at once, with the
// operands and the result at either edge of a page.
TEST(Arithmetic, EveryKernelAtEveryRowCountWithConstantsOnEitherSide) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    Random random(kind.slot());
    std::vector<uint32_t> counts = row_counts(16 / kind.bytes());
    for (uint32_t rows = 3; rows <= 40; ++rows) counts.push_back(rows);
    for (const uint32_t rows : counts) {
      for (const ConstantFlags& constant : all_constant_flags) {
        ArithmeticBatch batch = random_batch(kind, rows, constant, NumberMix::ordinary, random);
        for (const Place place : {Place::end, Place::begin, Place::middle}) {
          batch.edge = place == Place::begin ? Edge::begin : Edge::end;
          batch.place = place;
          ASSERT_EQ(arithmetic_difference(batch), "");
        }
      }
    }
  }
}

// Every special number against every other one, in whole steps and, shifted by a row, in others.
TEST(Arithmetic, ZerosDenormalsInfinitiesAndNansMeetEachOtherInEveryKernel) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    const std::vector<uint64_t> specials = special_numbers(kind.bytes());
    std::vector<uint64_t> left, right;
    for (const uint64_t a : specials) {
      for (const uint64_t b : specials) {
        left.push_back(a);
        right.push_back(b);
      }
    }
    for (int shift = 0; shift < 4; ++shift) {
      ArithmeticBatch batch = {kind, {}, {}};
      batch.set_rows(left, right);
      ASSERT_EQ(arithmetic_difference(batch), "");
      left.pop_back();
      right.erase(right.begin());
    }
    for (const uint64_t special : specials) {
      ArithmeticBatch batch = {kind, {}, {}};
      batch.set_rows({special}, specials);
      batch.left.constant = true;
      ASSERT_EQ(arithmetic_difference(batch), "") << "constant on the left";
      batch.set_rows(specials, {special});
      std::swap(batch.left.constant, batch.right.constant);
      ASSERT_EQ(arithmetic_difference(batch), "") << "constant on the right";
    }
  }
}

TEST(Arithmetic, NumbersOfEverySortInEveryKernel) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    Random random(77 + kind.slot());
    for (const NumberMix mix : all_mixes) {
      for (const ConstantFlags& constant : all_constant_flags) {
        ASSERT_EQ(arithmetic_difference(random_batch(kind, 257, constant, mix, random)), "");
      }
    }
  }
}

// Multiplied by 1.0 every number but a signalling NaN stays what it is.
TEST(Arithmetic, EveryUpperHalfOfACanonicalNumberDecodes) {
  for (const bool doubles : {false, true}) {
    const unsigned bytes = doubles ? 8 : 4;
    Random random(bytes);
    std::vector<uint64_t> numbers(0x10000 + 3);
    for (uint64_t i = 0; i < numbers.size(); ++i) {
      const unsigned low_bits = 8 * bytes - 16;
      numbers[i] = (i & 0xFFFF) << low_bits | random.bits(low_bits);
    }
    ArithmeticBatch batch = {{COLX_OPC_MUL, doubles, canonical, native, false}, {}, {}};
    batch.set_rows(numbers, {doubles ? bits_of(1.0) : bits_of(1.0f)});
    batch.right.constant = true;
    EXPECT_EQ(arithmetic_difference(batch), "");
    const NumberLayout layout = NumberLayout::of(bytes);
    const uint64_t quiet = uint64_t{1} << (layout.mantissa_bits - 1);
    const std::vector<uint64_t> products = run_arithmetic(batch).elements;
    for (size_t i = 0; i < numbers.size(); ++i) {
      const bool nan = oracle::is_nan(numbers[i], bytes);
      ASSERT_EQ(products[i], nan ? numbers[i] | quiet : numbers[i]) << i;
    }
  }
}

TEST(Arithmetic, ANanLeavesAllOtherRowsAsTheyWouldBe) {
  Random random(5);
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    ArithmeticBatch batch = random_batch(kind, 11, {}, NumberMix::ordinary, random);
    const std::vector<uint64_t> without = run_arithmetic(batch).elements;
    const uint64_t quiet_nan = kind.doubles ? 0x7FF8000000000000 : 0x7FC00000;
    for (size_t row = 0; row < 11; ++row) {
      ArithmeticBatch with_nan = batch;
      with_nan.left.numbers[row] = quiet_nan;
      std::vector<uint64_t> expected = without;
      expected[row] = quiet_nan;
      EXPECT_EQ(run_arithmetic(with_nan).elements, expected);
    }
  }
}

TEST(Arithmetic, DenormalsAreNotFlushed) {
  ArithmeticBatch floats = {{COLX_OPC_ADD, false, canonical, native, false}, {}, {}};
  floats.set_rows({1, 1, 1, 1, 1}, {1, 2, 0x007FFFFF, 0x80000001, 1});
  EXPECT_EQ(run_arithmetic(floats).elements, (std::vector<uint64_t>{2, 3, 0x00800000, 0, 2}));
  ArithmeticBatch halves = {{COLX_OPC_MUL, true, native, canonical, false}, {}, {}};
  const uint64_t least_normal = 0x0010000000000000;
  halves.set_rows({least_normal, least_normal, 2}, {bits_of(0.5)});
  halves.right.constant = true;
  EXPECT_EQ(run_arithmetic(halves).elements,
            (std::vector<uint64_t>{least_normal / 2, least_normal / 2, 1}));
}

TEST(Arithmetic, ZerosKeepTheirSigns) {
  const uint64_t minus_zero = bits_of(-0.0f);
  ArithmeticBatch batch = {{COLX_OPC_ADD, false, canonical, canonical, false}, {}, {}};
  batch.set_rows({0, minus_zero, 0, minus_zero, minus_zero},
                 {0, minus_zero, minus_zero, 0, minus_zero});
  EXPECT_EQ(run_arithmetic(batch).elements,
            (std::vector<uint64_t>{0, minus_zero, 0, 0, minus_zero}));
  batch.kind.opc = COLX_OPC_SUB;
  EXPECT_EQ(run_arithmetic(batch).elements, (std::vector<uint64_t>{0, 0, 0, minus_zero, 0}));
  batch.kind.opc = COLX_OPC_MUL;
  EXPECT_EQ(run_arithmetic(batch).elements,
            (std::vector<uint64_t>{0, 0, minus_zero, minus_zero, 0}));
}

TEST(Arithmetic, NoRowsStoreNothing) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    for (const ConstantFlags& constant : all_constant_flags) {
      Random random(1);
      ArithmeticBatch batch = random_batch(kind, 0, constant, NumberMix::ordinary, random);
      EXPECT_EQ(arithmetic_difference(batch), "");
    }
  }
}

TEST(Arithmetic, AConstantOfOneRowAnd1000RowsAre1000ResultsOnEitherSide) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    Random random(kind.slot());
    for (const bool left : {false, true}) {
      ArithmeticBatch batch = random_batch(kind, 1000, {left, !left}, NumberMix::ordinary, random);
      for (const uint32_t own_count : {1u, 0u, 999u, 1000u}) {
        (left ? batch.left : batch.right).rows = own_count;
        EXPECT_EQ(run_arithmetic(batch).elements.size(), 1000u);
        EXPECT_EQ(arithmetic_difference(batch), "");
      }
    }
  }
}

TEST(Arithmetic, RowsAreTheLargerCountAlsoIfItIsTheConstants) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    Random random(kind.slot());
    for (const ConstantFlags& constant : all_constant_flags) {
      ArithmeticBatch batch = random_batch(kind, 21, constant, NumberMix::ordinary, random);
      batch.left.rows = 21;
      batch.right.rows = 13;
      EXPECT_EQ(arithmetic_difference(batch), "");
      batch.left.rows = 0;
      batch.right.rows = 21;
      EXPECT_EQ(arithmetic_difference(batch), "");
    }
  }
}

TEST(Arithmetic, SubOfALeftConstant1AndARightRow3IsMinus2) {
  ArithmeticBatch batch = {sub_floats, {}, {}};
  batch.set_rows({bits_of(1.0f)}, {bits_of(3.0f)});
  batch.left.constant = true;
  EXPECT_EQ(run_arithmetic(batch).elements, std::vector{bits_of(-2.0f)});
}

TEST(Arithmetic, SubOfALeftRow3AndARightConstant1Is2) {
  ArithmeticBatch batch = {sub_floats, {}, {}};
  batch.set_rows({bits_of(3.0f)}, {bits_of(1.0f)});
  batch.right.constant = true;
  EXPECT_EQ(run_arithmetic(batch).elements, std::vector{bits_of(2.0f)});
}

TEST(Arithmetic, TwoConstantsOfOneRowAreOneResult) {
  ArithmeticBatch batch = {sub_floats, {}, {}};
  batch.set_rows({bits_of(5.0f)}, {bits_of(3.0f)});
  batch.left.constant = batch.right.constant = true;
  EXPECT_EQ(run_arithmetic(batch).elements, std::vector{bits_of(2.0f)});
}

TEST(Arithmetic, OfTwoConstantsTheRightOneIsReadAsAnArray) {
  ArithmeticBatch batch = {sub_floats, {}, {}};
  batch.set_rows({bits_of(10.0f)},
                 {bits_of(1.0f), bits_of(2.0f), bits_of(3.0f), bits_of(4.0f), bits_of(5.0f)});
  batch.left.constant = batch.right.constant = true;
  EXPECT_EQ(
      run_arithmetic(batch).elements,
      (std::vector{bits_of(9.0f), bits_of(8.0f), bits_of(7.0f), bits_of(6.0f), bits_of(5.0f)}));
}

// The stored bytes themselves, by way of nothing of the tests' own.
std::vector<uint8_t> result_of_bytes(const char* kernel, std::vector<uint8_t> left,
                                     std::vector<uint8_t> right) {
  colx_enc_ctx encoding = {};
  colx_cv src = {}, other = {}, res = {};
  std::vector<uint8_t> out(left.size());
  src.colx_cv_data = left.data();
  other.colx_cv_data = right.data();
  res.colx_cv_data = out.data();
  src.colx_cv_encoding_context = other.colx_cv_encoding_context = &encoding;
  src.colx_cv_num_of_rows = other.colx_cv_num_of_rows = 1;
  const auto call = reinterpret_cast<colx_binary_fn>(kernel_named(kernel).kernel);
  EXPECT_EQ(call(&res, &src, &other, nullptr), COLX_DONE);
  return out;
}

TEST(Arithmetic, CanonicalBF800000PlusNative1Is2) {
  EXPECT_EQ(result_of_bytes("colx_add_float_c_n", {0xBF, 0x80, 0, 0}, {0, 0, 0x80, 0x3F}),
            (std::vector<uint8_t>{0, 0, 0, 0x40}));
}

TEST(Arithmetic, CanonicalMinus1Times2IsMinus2) {
  EXPECT_EQ(result_of_bytes("colx_mul_double_c_c", {0x40, 0x0F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                            {0xC0, 0, 0, 0, 0, 0, 0, 0}),
            (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0xC0}));
}

TEST(Arithmetic, CompressionAndAllOtherFlagsHaveNoEffect) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    Random random(kind.slot());
    ArithmeticBatch batch = random_batch(kind, 19, {}, NumberMix::ordinary, random);
    batch.left.more_flags = COLX_COMPRESSED | COLX_RLE | COLX_FIXED | COLX_NATIVE;
    batch.right.more_flags = ~uint32_t{COLX_CONST};
    EXPECT_EQ(arithmetic_difference(batch), "");
    std::swap(batch.left.more_flags, batch.right.more_flags);
    EXPECT_EQ(arithmetic_difference(batch), "");
  }
}

TEST(Arithmetic, OperandsAndResultsMayLieAtAnyAddress) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    Random random(kind.slot());
    for (size_t shift = 0; shift < 16; ++shift) {
      ArithmeticBatch batch = random_batch(kind, 37, {}, NumberMix::ordinary, random);
      batch.slack_bytes = shift;
      batch.shift = 15 - shift;
      EXPECT_EQ(arithmetic_difference(batch), "") << shift;
    }
  }
}

// Each row is read before it is written, so a result may replace an operand.
TEST(Arithmetic, AResultMayReplaceEitherOperand) {
  for (const ArithmeticKind& kind : arithmetic_kinds(false)) {
    Random random(kind.slot());
    const ArithmeticBatch batch = random_batch(kind, 71, {}, NumberMix::ordinary, random);
    const std::vector<uint64_t> expected = run_arithmetic(batch).elements;
    for (const bool over_left : {true, false}) {
      Bytes left = oracle::stored_rows(batch.left.numbers, kind.bytes(), kind.left);
      Bytes right = oracle::stored_rows(batch.right.numbers, kind.bytes(), kind.right);
      colx_enc_ctx encoding = {};
      colx_cv src = {}, other = {}, res = {};
      src.colx_cv_data = left.data();
      other.colx_cv_data = right.data();
      res.colx_cv_data = over_left ? left.data() : right.data();
      src.colx_cv_encoding_context = other.colx_cv_encoding_context = &encoding;
      src.colx_cv_num_of_rows = other.colx_cv_num_of_rows = 71;
      EXPECT_EQ(arithmetic_kernel(kind).kernel(&res, &src, &other, nullptr), COLX_DONE);
      EXPECT_EQ(oracle::stored_rows(expected, kind.bytes(), native), over_left ? left : right)
          << arithmetic_kernel(kind).name;
    }
  }
}

// One column on both sides: x - x and x * x.
TEST(Arithmetic, OneColumnMayBeBothOperands) {
  const ArithmeticKind kind = {COLX_OPC_MUL, false, canonical, canonical, false};
  Bytes rows = oracle::stored_rows(std::vector{bits_of(3.0f), bits_of(-4.0f)}, 4, canonical);
  colx_enc_ctx encoding = {};
  colx_cv both = {}, res = {};
  float out[2];
  both.colx_cv_data = rows.data();
  both.colx_cv_num_of_rows = 2;
  both.colx_cv_encoding_context = &encoding;
  res.colx_cv_data = out;
  EXPECT_EQ(arithmetic_kernel(kind).kernel(&res, &both, &both, nullptr), COLX_DONE);
  EXPECT_EQ(out[0], 9.0f);
  EXPECT_EQ(out[1], 16.0f);
}

TEST(Arithmetic, FloatsRoundInTheirOwnPrecision) {
  ArithmeticBatch batch = {add_floats, {}, {}};
  batch.set_rows({bits_of(16777216.0f), bits_of(16777216.0f)}, {bits_of(1.0f), bits_of(3.0f)});
  EXPECT_EQ(run_arithmetic(batch).elements,
            (std::vector{bits_of(16777216.0f), bits_of(16777220.0f)}));
}

}  // namespace
}  // namespace colx::test
