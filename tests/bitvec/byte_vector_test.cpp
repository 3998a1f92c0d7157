// Byte bit vectors: the eight combining operations and the population count.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/bitvec/bit_sweep.h"

namespace colx::test {
namespace {

using oracle::BitForm;
using oracle::BitOp;

template <colx_lbiv_unary_call* kernel>
void unary(uint8_t* dst, uint32_t* count, const uint8_t* a, const uint8_t*, const uint8_t*,
           uint64_t nbits) {
  kernel(dst, count, a, nbits);
}
template <colx_lbiv_binary_call* kernel>
void binary(uint8_t* dst, uint32_t* count, const uint8_t* a, const uint8_t* b, const uint8_t*,
            uint64_t nbits) {
  kernel(dst, count, a, b, nbits);
}
template <colx_lbiv_ternary_call* kernel>
void ternary(uint8_t* dst, uint32_t* count, const uint8_t* a, const uint8_t* b, const uint8_t* c,
             uint64_t nbits) {
  kernel(dst, count, a, b, c, nbits);
}

constexpr BitKernel kernels[] = {
    {"colx_lbivand_dydi", BitOp::op_and, binary<colx_lbivand_dydi>},
    {"colx_lbivor_dydi", BitOp::op_or, binary<colx_lbivor_dydi>},
    {"colx_lbivxor_dydi", BitOp::op_xor, binary<colx_lbivxor_dydi>},
    {"colx_lbivandnot_dydi", BitOp::op_andnot, binary<colx_lbivandnot_dydi>},
    {"colx_lbivand3_dydi", BitOp::op_and3, ternary<colx_lbivand3_dydi>},
    {"colx_lbivor3_dydi", BitOp::op_or3, ternary<colx_lbivor3_dydi>},
    {"colx_lbivxor3_dydi", BitOp::op_xor3, ternary<colx_lbivxor3_dydi>},
    {"colx_lbivnot_dydi", BitOp::op_not, unary<colx_lbivnot_dydi>},
};

// Inputs end at an unreadable page, at other alignments close to one, or begin behind one.
constexpr InputPlace inputs[] = {{Edge::end, 0}, {Edge::end, 5}, {Edge::begin, 0}};

// Outputs at both edges, and at every alignment between canaries.
std::vector<OutputPlace> outputs() {
  std::vector<OutputPlace> places = {{Place::end, 0}, {Place::begin, 0}};
  for (size_t shift = 0; shift < 16; ++shift) places.push_back({Place::middle, shift});
  return places;
}

// All counts up to three bytes, both sides of every byte of the alignment prologue and of the
// boundaries of words and 16-byte blocks, and one vector of many blocks.
std::vector<uint64_t> bit_counts() {
  std::vector<uint64_t> counts = {30000};
  for (uint64_t nbits = 0; nbits <= 24; ++nbits) counts.push_back(nbits);
  for (uint64_t byte = 4; byte <= 17; ++byte) counts.push_back(8 * byte + 3);
  for (uint64_t word = 1; word <= 16; ++word)
    counts.insert(counts.end(), {64 * word - 8, 64 * word - 1, 64 * word, 64 * word + 1});
  return counts;
}

class ByteVector : public ::testing::TestWithParam<BitKernel> {
 protected:
  BitSweep sweep_{BitForm::bytes};
};

TEST_P(ByteVector, StoresAndCountsAsTheOracleAtEveryPlacement) {
  for (const uint64_t nbits : bit_counts())
    for (const OutputPlace output : outputs())
      for (const InputPlace input : inputs)
        ASSERT_NO_FATAL_FAILURE(sweep_.check(GetParam(), nbits, output, input, Alias::none));
}

TEST_P(ByteVector, TakesAnyInputAsItsOutput) {
  for (const uint64_t nbits : bit_counts())
    for (const OutputPlace output : outputs())
      for (const Alias alias : {Alias::a, Alias::b, Alias::c, Alias::all})
        ASSERT_NO_FATAL_FAILURE(sweep_.check(GetParam(), nbits, output, inputs[0], alias));
}

TEST_P(ByteVector, ZeroBitsTouchNoMemoryAndSetTheCountToZero) {
  uint32_t count = 77;
  GetParam().call(nullptr, &count, nullptr, nullptr, nullptr, 0);
  EXPECT_EQ(count, 0u);
}

TEST_P(ByteVector, ZeroBitsWithoutCountDoNothing) {
  GetParam().call(nullptr, nullptr, nullptr, nullptr, nullptr, 0);
}

TEST_P(ByteVector, OneBitAtAMisalignedOutputStoresOneByteAndCountsOneBit) {
  sweep_.check(GetParam(), 1, {Place::middle, 3}, inputs[0], Alias::none);
}

TEST_P(ByteVector, NineBitsStoreTwoBytesAndCountNineBits) {
  for (const OutputPlace output : outputs())
    sweep_.check(GetParam(), 9, output, inputs[0], Alias::none);
}

TEST_P(ByteVector, BitsOf128AtAnAlignedOutputAreRightInOneWideStep) {
  sweep_.check(GetParam(), 128, {Place::middle, 0}, inputs[0], Alias::none);
}

TEST_P(ByteVector, BitsOf127AtAnAlignedOutputAreRightInSixteenByteSteps) {
  sweep_.check(GetParam(), 127, {Place::middle, 0}, inputs[0], Alias::none);
}

INSTANTIATE_TEST_SUITE_P(Kernels, ByteVector, ::testing::ValuesIn(kernels),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(ByteVectorNot, Over9BitsOfZerosStoresAllOnesTwiceAndCounts9) {
  const uint8_t zeros[2] = {};
  uint8_t result[3] = {0, 0, 5};
  uint32_t count = 0;
  colx_lbivnot_dydi(result, &count, zeros, 9);
  EXPECT_EQ(result[0], 0xFF);
  EXPECT_EQ(result[1], 0xFF);
  EXPECT_EQ(result[2], 5);
  EXPECT_EQ(count, 9u);
}

TEST(ByteVectorNot, Over3BitsComplementsTheUpperFiveOfTheByteButCountsOnlyThree) {
  const uint8_t bits = 0b10101001;
  uint8_t result = 0;
  uint32_t count = 0;
  colx_lbivnot_dydi(&result, &count, &bits, 3);
  EXPECT_EQ(result, 0b01010110);
  EXPECT_EQ(count, 2u);
}

TEST(ByteVectorAndnot, ComplementsItsFirstInput) {
  const uint8_t a = 0b0011, b = 0b0101;
  uint8_t result = 0;
  uint32_t count = 0;
  colx_lbivandnot_dydi(&result, &count, &a, &b, 4);
  EXPECT_EQ(result, 0b0100);
  EXPECT_EQ(count, 1u);
}

TEST(ByteVectorAnd, ReplacesTheCountInsteadOfAddingToIt) {
  const uint8_t bits = 7;
  uint8_t result = 0;
  uint32_t count = 1000;
  colx_lbivand_dydi(&result, &count, &bits, &bits, 8);
  EXPECT_EQ(count, 3u);
  colx_lbivand_dydi(&result, &count, &bits, &bits, 8);
  EXPECT_EQ(count, 3u);
}

TEST(ByteVectorPopcnt, StoresTheCountAtEveryAlignmentAndReadsNoByteBehindTheLast) {
  const auto content = Random(22).bytes(4096);
  GuardedPages pages;
  std::vector<InputPlace> places = {{Edge::begin, 0}};
  for (size_t gap = 0; gap < 16; ++gap) places.push_back({Edge::end, gap});
  for (const uint64_t nbits : bit_counts())
    for (const InputPlace place : places) {
      const size_t length = oracle::stored_bytes(BitForm::bytes, nbits);
      uint8_t* const bits = lay(pages, place, length);
      if (length != 0) std::memcpy(bits, content.data(), length);
      uint32_t count = 0xDEADBEEF;
      colx_lbivpopcnt_dydi(&count, bits, nbits);
      ASSERT_EQ(count, oracle::count_bits(bits, nbits)) << nbits << " bits, gap " << place.gap;
    }
}

TEST(ByteVectorPopcnt, OfZeroBitsReadsNothingAndIsZero) {
  uint32_t count = 9;
  colx_lbivpopcnt_dydi(&count, nullptr, 0);
  EXPECT_EQ(count, 0u);
}

TEST(ByteVectorPopcnt, LeavesOutTheBitsAboveTheLast) {
  const std::vector<uint8_t> ones(40, 0xFF);
  for (uint64_t nbits = 0; nbits <= 320; ++nbits) {
    uint32_t count = 0;
    colx_lbivpopcnt_dydi(&count, ones.data(), nbits);
    EXPECT_EQ(count, nbits);
  }
}

}  // namespace
}  // namespace colx::test
