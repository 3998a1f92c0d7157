// The _null forms: code 0 is NULL and never a hit, whatever the operation.
#include "tests/predicate/dict_checks.h"

namespace colx::test {
namespace {

using Codes = std::vector<uint64_t>;
using Rows = std::vector<uint32_t>;

const std::vector<unsigned>& all_widths_but_1() {
  static const std::vector<unsigned> widths = [] {
    std::vector<unsigned> all(std::begin(aligned_widths), std::end(aligned_widths));
    all.insert(all.end(), std::begin(packed_widths), std::end(packed_widths));
    return all;
  }();
  return widths;
}

// --- sweeps

TEST(DictNull, EveryStepEdge) {
  for_each_scan(all_widths_but_1(), true, [](const auto& scan) { check_step_edges(scan); });
}

TEST(DictNull, EveryPatternAgainstEveryBound) {
  for_each_scan(all_widths_but_1(), true,
                [](const auto& scan) { check_patterns_and_bounds(scan); });
}

TEST(DictNull, EveryCombinationOfConditions) {
  for_each_scan(all_widths_but_1(), true, [](const auto& scan) { check_conditions(scan); });
}

TEST(DictNull, TailAgreesWithStep) {
  for_each_scan(all_widths_but_1(), true, [](const auto& scan) {
    for (const Bounds b : telling_bounds(scan.width_bits)) check_tail_against_step(scan, b);
  });
}

// --- code 0

// Codes 0, 1, 2, 3, over and over, and the rows of those that are not 0.
struct Column {
  Codes codes;
  Rows not_null;
};

Column column() {
  Column all;
  for (uint32_t r = 0; r < 150; ++r) {
    all.codes.push_back(r % 4);
    if (r % 4 != 0) all.not_null.push_back(r);
  }
  return all;
}

TEST(DictNull, WithoutCode0TheBitsAreThoseOfThePlainScan) {
  for_each_scan(all_widths_but_1(), true, [](const auto& scan) {
    Codes codes;
    while (codes.size() < 150) codes.push_back(1 + codes.size() % top_code(scan.width_bits));
    for (const Bounds b : telling_bounds(scan.width_bits)) {
      ASSERT_EQ(hits(scan, codes, b.lo, b.hi),
                hits(dict_scan(scan.opc, scan.width_bits), codes, b.lo, b.hi))
          << dict_kernel(scan).name << " " << b.lo << " " << b.hi;
    }
  });
}

TEST(DictNull, EqWith0SelectsNothing) {
  for (const unsigned width : all_widths_but_1()) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_EQ, width, true), column().codes, 0), Rows{}) << width;
  }
}

TEST(DictNull, NeWith0SelectsEveryRowThatIsNotCode0) {
  for (const unsigned width : all_widths_but_1()) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_NE, width, true), column().codes, 0), column().not_null)
        << width;
  }
}

TEST(DictNull, LeWith0SelectsNothing) {
  for (const unsigned width : all_widths_but_1()) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LE, width, true), column().codes, 0), Rows{}) << width;
  }
}

TEST(DictNull, GeWith0SelectsEveryRowThatIsNotCode0) {
  for (const unsigned width : all_widths_but_1()) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE, width, true), column().codes, 0), column().not_null)
        << width;
  }
}

TEST(DictNull, NeWithAnotherCodeLeavesCode0OutWherePlainNeSelectsIt) {
  const Codes codes = {0, 1, 2, 0};
  for (const unsigned width : all_widths_but_1()) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_NE, width, true), codes, 1), Rows{2}) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_NE, width), codes, 1), (Rows{0, 2, 3})) << width;
  }
}

TEST(DictNull, LtSelectsNoCode0) {
  for (const unsigned width : all_widths_but_1()) {
    EXPECT_EQ(hits(dict_scan(COLX_OPC_LT, width, true), {0, 1, 2, 3}, 2), Rows{1}) << width;
  }
}

TEST(DictNull, RangesFrom0SelectNoCode0) {
  for (const unsigned width : all_widths_but_1()) {
    const Codes codes = {0, 1, 2, 3};
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE_LT, width, true), codes, 0, 2), Rows{1}) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GE_LE, width, true), codes, 0, 2), (Rows{1, 2})) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GT_LT, width, true), codes, 0, 2), Rows{1}) << width;
    EXPECT_EQ(hits(dict_scan(COLX_OPC_GT_LE, width, true), codes, 0, 2), (Rows{1, 2})) << width;
  }
}

// Where a bias is added, biased code 0 is the lane's smallest number and not 0, while the code in
// the middle of the range becomes 0.
TEST(DictNull, TheMiddleCodeIsNotTakenForNull) {
  for (const unsigned width : all_widths_but_1()) {
    const uint64_t middle = top_code(width) / 2 + 1;
    const uint32_t rows = 2 * dict_rows_per_step(width) - 1;
    for (const uint32_t opc : {COLX_OPC_GE, COLX_OPC_LE, COLX_OPC_EQ}) {
      EXPECT_EQ(hits(dict_scan(opc, width, true), Codes(rows, middle), middle).size(), rows)
          << width;
    }
  }
}

TEST(DictNull, NullsVectorAppliesAsWell) {
  for (const unsigned width : all_widths_but_1()) {
    const auto scan = dict_scan(COLX_OPC_GE, width, true);
    ScanBatch batch = dict_batch(scan, Codes{1, 0, 1, 1}, 1);
    batch.nulls = Words{0b0111};
    EXPECT_EQ(run_dict(scan, batch).bits, Words{0b0101}) << width;
  }
}

}  // namespace
}  // namespace colx::test
