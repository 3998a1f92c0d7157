// Word bit vectors: the eight combining operations and the population count.

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/bitvec/bit_sweep.h"

namespace colx::test {
namespace {

using oracle::BitForm;
using oracle::BitOp;

uint64_t* words(uint8_t* bytes) {
  return reinterpret_cast<uint64_t*>(bytes);
}
const uint64_t* words(const uint8_t* bytes) {
  return reinterpret_cast<const uint64_t*>(bytes);
}

template <colx_lbiwv_unary_call* kernel>
void unary(uint8_t* dst, uint32_t* count, const uint8_t* a, const uint8_t*, const uint8_t*,
           uint64_t nbits) {
  kernel(words(dst), count, words(a), nbits);
}
template <colx_lbiwv_binary_call* kernel>
void binary(uint8_t* dst, uint32_t* count, const uint8_t* a, const uint8_t* b, const uint8_t*,
            uint64_t nbits) {
  kernel(words(dst), count, words(a), words(b), nbits);
}
template <colx_lbiwv_ternary_call* kernel>
void ternary(uint8_t* dst, uint32_t* count, const uint8_t* a, const uint8_t* b, const uint8_t* c,
             uint64_t nbits) {
  kernel(words(dst), count, words(a), words(b), words(c), nbits);
}

constexpr BitKernel kernels[] = {
    {"colx_lbiwvand_dydi", BitOp::op_and, binary<colx_lbiwvand_dydi>},
    {"colx_lbiwvor_dydi", BitOp::op_or, binary<colx_lbiwvor_dydi>},
    {"colx_lbiwvxor_dydi", BitOp::op_xor, binary<colx_lbiwvxor_dydi>},
    {"colx_lbiwvandnot_dydi", BitOp::op_andnot, binary<colx_lbiwvandnot_dydi>},
    {"colx_lbiwvand3_dydi", BitOp::op_and3, ternary<colx_lbiwvand3_dydi>},
    {"colx_lbiwvor3_dydi", BitOp::op_or3, ternary<colx_lbiwvor3_dydi>},
    {"colx_lbiwvxor3_dydi", BitOp::op_xor3, ternary<colx_lbiwvxor3_dydi>},
    {"colx_lbiwvnot_dydi", BitOp::op_not, unary<colx_lbiwvnot_dydi>},
};

// Outputs at either edge, where a store past the last whole word faults, and at both alignments.
constexpr OutputPlace outputs[] = {
    {Place::end, 0}, {Place::begin, 0}, {Place::middle, 0}, {Place::middle, 8}};
constexpr InputPlace inputs[] = {{Edge::end, 0}, {Edge::end, 8}, {Edge::begin, 0}};

// Around every word boundary up to 33 words, and one vector of many wide steps.
std::vector<uint64_t> bit_counts() {
  std::vector<uint64_t> counts = {0, 1, 2, 3, 30000};
  for (uint64_t word = 1; word <= 33; ++word)
    counts.insert(counts.end(), {64 * word - 1, 64 * word, 64 * word + 1, 64 * word + 37});
  return counts;
}

class WordVector : public ::testing::TestWithParam<BitKernel> {
 protected:
  BitSweep sweep_{BitForm::words};
};

TEST_P(WordVector, StoresAndCountsAsTheOracleAtEveryPlacement) {
  for (const uint64_t nbits : bit_counts())
    for (const OutputPlace output : outputs)
      for (const InputPlace input : inputs)
        ASSERT_NO_FATAL_FAILURE(sweep_.check(GetParam(), nbits, output, input, Alias::none));
}

TEST_P(WordVector, TakesAnyInputAsItsOutput) {
  for (const uint64_t nbits : bit_counts())
    for (const OutputPlace output : outputs)
      for (const Alias alias : {Alias::a, Alias::b, Alias::c, Alias::all})
        ASSERT_NO_FATAL_FAILURE(sweep_.check(GetParam(), nbits, output, inputs[0], alias));
}

TEST_P(WordVector, ZeroBitsTouchNoMemoryAndSetTheCountToZero) {
  uint32_t count = 77;
  GetParam().call(nullptr, &count, nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(count, 0u);
}

TEST_P(WordVector, ZeroBitsWithoutCountDoNothing) {
  GetParam().call(nullptr, nullptr, nullptr, nullptr, nullptr, 0);
}

TEST_P(WordVector, OneBitAtAMisalignedOutputStoresOneWholeWordAndCountsOneBit) {
  sweep_.check(GetParam(), 1, {Place::middle, 8}, inputs[0], Alias::none);
}

TEST_P(WordVector, SixtyFiveBitsStoreTwoWholeWordsAndCountSixtyFiveBits) {
  for (const OutputPlace output : outputs)
    sweep_.check(GetParam(), 65, output, inputs[0], Alias::none);
}

TEST_P(WordVector, BitsOf128AreRightInOneWideStepAndInTwoSingleWords) {
  sweep_.check(GetParam(), 128, {Place::middle, 0}, inputs[0], Alias::none);
  sweep_.check(GetParam(), 128, {Place::middle, 8}, inputs[0], Alias::none);
}

INSTANTIATE_TEST_SUITE_P(Kernels, WordVector, ::testing::ValuesIn(kernels),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(WordVectorNot, Over65BitsOfZerosStoresAllOnesTwiceAndCounts65) {
  const uint64_t zeros[2] = {};
  uint64_t result[3] = {0, 0, 5};
  uint32_t count = 0;
  colx_lbiwvnot_dydi(result, &count, zeros, 65);
  EXPECT_EQ(result[0], 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(result[1], 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(result[2], 5u);
  EXPECT_EQ(count, 65u);
}

TEST(WordVectorAndnot, ComplementsItsFirstInput) {
  const uint64_t a = 0b0011, b = 0b0101;
  uint64_t result = 0;
  uint32_t count = 0;
  colx_lbiwvandnot_dydi(&result, &count, &a, &b, 4);
  EXPECT_EQ(result, 0b0100u);
  EXPECT_EQ(count, 1u);
}

TEST(WordVectorAnd, StoresButDoesNotCountTheBitsAboveTheLast) {
  const uint64_t ones = ~uint64_t{0};
  uint64_t result = 0;
  uint32_t count = 0;
  colx_lbiwvand_dydi(&result, &count, &ones, &ones, 10);
  EXPECT_EQ(result, ones);
  EXPECT_EQ(count, 10u);
}

TEST(WordVectorAnd, ReplacesTheCountInsteadOfAddingToIt) {
  const uint64_t bits = 7;
  uint64_t result = 0;
  uint32_t count = 1000;
  colx_lbiwvand_dydi(&result, &count, &bits, &bits, 64);
  EXPECT_EQ(count, 3u);
  colx_lbiwvand_dydi(&result, &count, &bits, &bits, 64);
  EXPECT_EQ(count, 3u);
}

TEST(WordVectorPopcnt, StoresAndReturnsTheCountAtEveryPlacement) {
  const auto content = Random(21).bytes(4096);
  GuardedPages pages;
  for (const uint64_t nbits : bit_counts())
    for (const InputPlace input : inputs) {
      const size_t length = oracle::stored_bytes(BitForm::words, nbits);
      uint8_t* const bits = lay(pages, input, length);
      if (length != 0) std::memcpy(bits, content.data(), length);
      uint32_t count = 0xDEADBEEF;
      const uint32_t expected = oracle::count_bits(bits, nbits);
      ASSERT_EQ(colx_lbiwvpopcnt_dydi(&count, words(bits), nbits), expected) << nbits << " bits";
      ASSERT_EQ(count, expected) << nbits << " bits";
    }
}

TEST(WordVectorPopcnt, OfZeroBitsReadsNothingAndIsZero) {
  uint32_t count = 9;
  EXPECT_EQ(colx_lbiwvpopcnt_dydi(&count, nullptr, 0), 0u);
  EXPECT_EQ(count, 0u);
}

TEST(WordVectorPopcnt, LeavesOutTheBitsAboveTheLast) {
  const std::vector<uint64_t> ones(5, ~uint64_t{0});
  for (uint64_t nbits = 0; nbits <= 320; ++nbits) {
    uint32_t count = 0;
    EXPECT_EQ(colx_lbiwvpopcnt_dydi(&count, ones.data(), nbits), nbits);
    EXPECT_EQ(count, nbits);
  }
}

}  // namespace
}  // namespace colx::test
