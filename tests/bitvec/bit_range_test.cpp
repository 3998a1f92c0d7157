// Setting and clearing ranges of bits, which is one operation for both vector forms.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/bit_vectors.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"

namespace {

// The program's own memset stands in for the C library's, so that the calls that a range operation
// makes can be seen.
struct MemsetCalls {
  unsigned calls = 0;
  size_t bytes = 0;
} memset_seen;

}  // namespace

extern "C" void* memset(void* to, int value, size_t bytes) {
  ++memset_seen.calls;
  memset_seen.bytes += bytes;
  auto* const first = static_cast<volatile uint8_t*>(to);
  for (size_t i = 0; i < bytes; ++i) first[i] = static_cast<uint8_t>(value);
  return to;
}

namespace colx::test {
namespace {

struct RangeKernel {
  const char* name;
  bool value;  // what the bits become
  void (*call)(uint8_t* bits, uint64_t first, uint64_t last);
};

template <colx_lbiwv_range_call* kernel>
void on_words(uint8_t* bits, uint64_t first, uint64_t last) {
  kernel(reinterpret_cast<uint64_t*>(bits), first, last);
}
template <colx_lbiv_range_call* kernel>
void on_bytes(uint8_t* bits, uint64_t first, uint64_t last) {
  kernel(bits, first, last);
}

constexpr RangeKernel kernels[] = {
    {"colx_lbiwvset_range_dydi", true, on_words<colx_lbiwvset_range_dydi>},
    {"colx_lbiwvclr_range_dydi", false, on_words<colx_lbiwvclr_range_dydi>},
    {"colx_lbivset_range_dydi", true, on_bytes<colx_lbivset_range_dydi>},
    {"colx_lbivclr_range_dydi", false, on_bytes<colx_lbivclr_range_dydi>},
};

class BitRange : public ::testing::TestWithParam<RangeKernel> {
 protected:
  // Changes bits first to last of 64 bytes that all hold the other value and compares every byte;
  // says which memset calls were made.
  MemsetCalls fill(uint64_t first, uint64_t last) {
    std::vector<uint8_t> bits(64, GetParam().value ? 0 : 0xFF);
    std::vector<uint8_t> expected = bits;
    oracle::fill_range(expected.data(), first, last, GetParam().value);
    memset_seen = {};
    GetParam().call(bits.data(), first, last);
    const MemsetCalls seen = memset_seen;
    EXPECT_EQ(bits, expected) << GetParam().name << " " << first << " to " << last;
    return seen;
  }
};

TEST_P(BitRange, ChangesExactlyTheBitsFromFirstToLastBetweenRandomOnes) {
  GuardedOutput output;
  for (const Place place : {Place::end, Place::begin, Place::middle})
    for (uint64_t first = 0; first < 150; ++first)
      for (uint64_t last = first; last < 300; last += last < first + 70 ? 1 : 13) {
        // The array ends with the last bit's byte: nothing behind it may be touched.
        const size_t length = place == Place::end ? last / 8 + 1 : last / 8 + 9;
        if (GetParam().call == on_words<colx_lbiwvset_range_dydi> ||
            GetParam().call == on_words<colx_lbiwvclr_range_dydi>) {
          if (place == Place::end && length % 8 != 0) continue;  // words are 8-byte aligned
        }
        uint8_t* const bits = output.bytes(length, place);
        std::vector<uint8_t> expected(bits, bits + length);
        oracle::fill_range(expected.data(), first, last, GetParam().value);
        set_crash_note("%s %d to %d", GetParam().name, int(first), int(last));
        GetParam().call(bits, first, last);
        ASSERT_EQ(std::vector<uint8_t>(bits, bits + length), expected)
            << GetParam().name << " " << first << " to " << last;
        ASSERT_EQ(output.damage(), "") << GetParam().name << " " << first << " to " << last;
      }
}

TEST_P(BitRange, From3To3ChangesExactlyOneBit) {
  EXPECT_EQ(fill(3, 3).calls, 0u);
}

TEST_P(BitRange, From0To7ChangesOneByteAndCallsNoMemset) {
  EXPECT_EQ(fill(0, 7).calls, 0u);
}

TEST_P(BitRange, From7To8TouchesTwoBytesAndCallsNoMemset) {
  EXPECT_EQ(fill(7, 8).calls, 0u);
}

TEST_P(BitRange, From0To23RunsOneMemsetOfOneByte) {
  const MemsetCalls seen = fill(0, 23);
  EXPECT_EQ(seen.calls, 1u);
  EXPECT_EQ(seen.bytes, 1u);
}

TEST_P(BitRange, BetweenFirstAndLastByteOneMemsetRuns) {
  const MemsetCalls seen = fill(13, 400);
  EXPECT_EQ(seen.calls, 1u);
  EXPECT_EQ(seen.bytes, 48u);
}

TEST_P(BitRange, EightBitsWithinOneByteMaskTheWholeByte) {
  fill(16, 23);
}

TEST_P(BitRange, LastBitOfAByteAndFirstBitOfAByteAreReached) {
  fill(15, 15);
  fill(16, 16);
  fill(15, 64);
  fill(63, 64);
}

INSTANTIATE_TEST_SUITE_P(Kernels, BitRange, ::testing::ValuesIn(kernels),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(BitRange, BytesNeedNoAlignment) {
  std::vector<uint8_t> bits(40), expected(40);
  for (size_t shift = 0; shift < 16; ++shift) {
    bits.assign(40, 0);
    expected.assign(40, 0);
    oracle::fill_range(expected.data() + shift, 5, 130, true);
    colx_lbivset_range_dydi(bits.data() + shift, 5, 130);
    EXPECT_EQ(bits, expected) << shift;
  }
}

TEST(BitRange, WordVectorsAreBytesOnThisMachine) {
  uint64_t words[3] = {};
  colx_lbiwvset_range_dydi(words, 60, 129);
  EXPECT_EQ(words[0], 0xF000000000000000);
  EXPECT_EQ(words[1], 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(words[2], 3u);
  colx_lbiwvclr_range_dydi(words, 61, 128);
  EXPECT_EQ(words[0], 0x1000000000000000u);
  EXPECT_EQ(words[1], 0u);
  EXPECT_EQ(words[2], 2u);
}

}  // namespace
}  // namespace colx::test
