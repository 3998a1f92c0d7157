// Iteration over both vector forms: every delivered bit, and every field of the context after every
// call.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/bit_vectors.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using oracle::BitForm;
using oracle::Seek;

struct Iterators {
  BitForm form;
  void (*ini2)(colx_lbiwv_ictx*, const uint8_t*, uint64_t, uint64_t, uint64_t);
  colx_bit_iter_call* iter;
  colx_bit_iter_call* iter_clr;
  colx_bit_ones_call* ones;
};

const Iterators word_form = {
    BitForm::words,
    [](colx_lbiwv_ictx* ctx, const uint8_t* bits, uint64_t nbits, uint64_t invert, uint64_t start) {
      colx_lbiwv_ictx_ini2_dydi(ctx, reinterpret_cast<const uint64_t*>(bits), nbits, invert, start);
    },
    colx_lbiwviter_dydi, colx_lbiwviter_clr_dydi, colx_lbiwvones_dydi};

const Iterators byte_form = {
    BitForm::bytes,
    [](colx_lbiwv_ictx* ctx, const uint8_t* bits, uint64_t nbits, uint64_t invert, uint64_t start) {
      colx_lbiv_ictx_ini2_dydi(ctx, bits, nbits, invert, start);
    },
    colx_lbiviter_dydi, colx_lbiviter_clr_dydi, colx_lbivones_dydi};

std::string fields(const colx_lbiwv_ictx& ctx) {
  char text[160];
  snprintf(text, sizeof text, "next %p limit %d base %d offset %llu word %016llx",
           static_cast<const void*>(ctx.colx_ictx_next), ctx.colx_ictx_limit, ctx.colx_ictx_base,
           static_cast<unsigned long long>(ctx.colx_ictx_offset),
           static_cast<unsigned long long>(ctx.colx_ictx_word));
  return text;
}

// Bytes that an iteration from `start` may read: the vector, and the one whole word at the start.
size_t readable_bytes(BitForm form, uint64_t nbits, uint64_t start) {
  return std::max<uint64_t>(oracle::stored_bytes(form, nbits), start / 64 * 8 + 8);
}

// Vectors that end at an unreadable page, in the patterns that an iterator has to care about.
class BitSource {
 public:
  static constexpr unsigned patterns = 5;

  const uint8_t* bits(BitForm form, unsigned pattern, uint64_t nbits, uint64_t start) {
    const size_t length = readable_bytes(form, nbits, start);
    auto content = random_.bytes(length);
    if (pattern == 0) std::fill(content.begin(), content.end(), 0);
    if (pattern == 1) std::fill(content.begin(), content.end(), 0xFF);
    if (pattern == 2 || pattern == 3)  // mostly empty, mostly full
      for (uint8_t& byte : content) {
        byte = random_.one_in(9) ? uint8_t(1 << random_.below(8)) : 0;
        if (pattern == 3) byte = uint8_t(~byte);
      }
    return pages_.place(content, 0, Edge::end);
  }

  Random& random() { return random_; }

 private:
  GuardedPages pages_;
  Random random_{30};
};

const std::vector<uint64_t> bit_counts = {0,   1,   7,   8,   9,   10,  63,  64,  65,  66,  70,
                                          71,  72,  73,  120, 127, 128, 129, 191, 192, 193, 255,
                                          256, 257, 300, 319, 320, 321, 383, 384, 385, 640, 1000};

std::vector<uint64_t> starts(uint64_t nbits) {
  return {0, 1, 5, 31, 62, 63, 64, 65, 127, 128, 130, nbits / 2, nbits, nbits + 1, nbits + 200};
}

class BitIteration : public ::testing::TestWithParam<Iterators> {
 protected:
  std::string what(uint64_t nbits, uint64_t start, uint64_t invert, unsigned pattern) const {
    return std::string(GetParam().form == BitForm::words ? "words" : "bytes") + " nbits " +
           std::to_string(nbits) + " start " + std::to_string(start) + " invert " +
           std::to_string(invert) + " pattern " + std::to_string(pattern);
  }

  // Walks kernel and oracle side by side to the end and some calls beyond.
  void walk(Seek seek, uint64_t nbits, uint64_t start, uint64_t invert, unsigned pattern) {
    const Iterators& kernels = GetParam();
    const std::string where = what(nbits, start, invert, pattern);
    set_crash_note("%s", where.c_str());
    const uint8_t* const bits = source_.bits(kernels.form, pattern, nbits, start);
    colx_lbiwv_ictx ctx, expected;
    std::memset(&ctx, 0xA5, sizeof ctx);
    kernels.ini2(&ctx, bits, nbits, invert, start);
    oracle::begin_iteration(&expected, bits, nbits, invert, start);
    ASSERT_EQ(fields(ctx), fields(expected)) << where << " after the preparation";
    unsigned ends = 0;
    for (unsigned call = 0; ends < 70; ++call) {
      const uint64_t bit = oracle::next_bit(kernels.form, seek, &expected);
      ASSERT_EQ((seek == Seek::set_bits ? kernels.iter : kernels.iter_clr)(&ctx), bit)
          << where << " call " << call;
      ASSERT_EQ(fields(ctx), fields(expected)) << where << " call " << call;
      ends += bit == oracle::end_value(kernels.form);
    }
  }

  BitSource source_;
};

// Seventy calls beyond the end take every over-limit bit of the last word and go on growing the
// base.
TEST_P(BitIteration, DeliversSetBitsAndKeepsEveryFieldAsTheOracle) {
  for (const uint64_t nbits : bit_counts)
    for (const uint64_t start : starts(nbits))
      for (unsigned pattern = 0; pattern < BitSource::patterns; ++pattern)
        ASSERT_NO_FATAL_FAILURE(walk(Seek::set_bits, nbits, start, 0, pattern));
}

TEST_P(BitIteration, DeliversClearBitsAndKeepsEveryFieldAsTheOracle) {
  for (const uint64_t nbits : bit_counts)
    for (const uint64_t start : starts(nbits))
      for (unsigned pattern = 0; pattern < BitSource::patterns; ++pattern)
        ASSERT_NO_FATAL_FAILURE(walk(Seek::clear_bits, nbits, start, 1, pattern));
}

TEST_P(BitIteration, MixingInvertAndSeekAffectsTheFirstWordOnly) {
  for (unsigned pattern = 0; pattern < BitSource::patterns; ++pattern) {
    ASSERT_NO_FATAL_FAILURE(walk(Seek::set_bits, 200, 3, 1, pattern));
    ASSERT_NO_FATAL_FAILURE(walk(Seek::clear_bits, 200, 3, 0, pattern));
  }
}

TEST_P(BitIteration, InvertCountsOnlyIfItsLowByteIsOne) {
  const uint8_t zeros[8] = {};
  for (const uint64_t invert :
       std::initializer_list<uint64_t>{0, 1, 2, 3, 0x100, 0x101, 0x1FF, 0xFFFFFFFFFFFFFF01}) {
    colx_lbiwv_ictx ctx;
    GetParam().ini2(&ctx, zeros, 64, invert, 0);
    EXPECT_EQ(ctx.colx_ictx_word, (invert & 0xFF) == 1 ? ~uint64_t{0} : 0) << invert;
  }
}

TEST_P(BitIteration, PreparationReadsExactlyOneWholeWordWhateverTheBitCountIs) {
  GuardedPages pages;
  const std::vector<uint8_t> word = {1, 2, 3, 4, 5, 6, 7, 0x88};
  for (const Edge edge : {Edge::end, Edge::begin})
    for (const uint64_t nbits : {0, 1, 10, 64, 1000}) {
      colx_lbiwv_ictx ctx;
      GetParam().ini2(&ctx, pages.place(word, 0, edge), nbits, 0, 0);
      EXPECT_EQ(ctx.colx_ictx_word, 0x8807060504030201);
      EXPECT_EQ(ctx.colx_ictx_limit, int32_t(nbits));
    }
}

TEST_P(BitIteration, PreparationRoundsTheStartDownAndClearsTheBitsBelowIt) {
  const std::vector<uint8_t> ones(24, 0xFF);
  colx_lbiwv_ictx ctx;
  GetParam().ini2(&ctx, ones.data(), 192, 0, 70);
  EXPECT_EQ(ctx.colx_ictx_base, 64);
  EXPECT_EQ(ctx.colx_ictx_offset, 6u);
  EXPECT_EQ(ctx.colx_ictx_word, ~uint64_t{0} << 6);
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(ctx.colx_ictx_next), ones.data() + 16);
}

TEST_P(BitIteration, FromBit70OfBits65And70Delivers70First) {
  uint8_t bits[16] = {};
  oracle::put_bit(bits, 65, true);
  oracle::put_bit(bits, 70, true);
  colx_lbiwv_ictx ctx;
  GetParam().ini2(&ctx, bits, 128, 0, 70);
  EXPECT_EQ(GetParam().iter(&ctx), 70u);
}

TEST_P(BitIteration, BaseIsStoredBeforeTheLimitTestAndGrowsWithEveryFurtherCall) {
  const uint8_t zeros[16] = {};
  colx_lbiwv_ictx ctx;
  GetParam().ini2(&ctx, zeros, 100, 0, 3);
  for (const int32_t base : {128, 192, 256}) {
    EXPECT_EQ(GetParam().iter(&ctx), oracle::end_value(GetParam().form));
    EXPECT_EQ(ctx.colx_ictx_base, base);
    EXPECT_EQ(reinterpret_cast<const uint8_t*>(ctx.colx_ictx_next), zeros + 16);
    EXPECT_EQ(ctx.colx_ictx_offset, 0u);
  }
}

TEST_P(BitIteration, ABitAboveTheLimitIsClearedThoughNotDelivered) {
  uint8_t bits[8] = {};
  oracle::put_bit(bits, 12, true);
  oracle::put_bit(bits, 13, true);
  colx_lbiwv_ictx ctx;
  GetParam().ini2(&ctx, bits, 10, 0, 0);
  EXPECT_EQ(GetParam().iter(&ctx), oracle::end_value(GetParam().form));
  EXPECT_EQ(ctx.colx_ictx_word, uint64_t{1} << 13);
  EXPECT_EQ(ctx.colx_ictx_base, 0);
}

// Only the last word of the vector exists: nothing else is read.
TEST_P(BitIteration, TheLongestVectorEndsAtItsLastBitHoweverOftenItIsAsked) {
  constexpr uint64_t nbits = 0x7FFFFFFF, start = nbits / 64 * 64;
  GuardedPages pages;
  const std::vector<uint8_t> word = {0x01, 0, 0, 0, 0, 0, 0, 0xC0};
  const auto at = reinterpret_cast<uintptr_t>(pages.place(word, 0, Edge::end));
  const auto* const bits = reinterpret_cast<const uint8_t*>(at - start / 8);
  for (const bool together : {false, true}) {
    colx_lbiwv_ictx ctx;
    GetParam().ini2(&ctx, bits, nbits, 0, start);
    uint32_t out[4] = {};
    if (together) {
      EXPECT_EQ(GetParam().ones(&ctx, out, 4), 2u);
      EXPECT_EQ(out[0], start);
      EXPECT_EQ(out[1], nbits - 1);
    } else {
      EXPECT_EQ(GetParam().iter(&ctx), start);
      EXPECT_EQ(GetParam().iter(&ctx), nbits - 1);
    }
    for (int call = 0; call < 3; ++call) {
      EXPECT_EQ(GetParam().ones(&ctx, out, 4), 0u);
      EXPECT_EQ(GetParam().iter(&ctx), oracle::end_value(GetParam().form));
    }
  }
}

TEST_P(BitIteration, OnesInBatchesOfRandomSizeDeliverEverySetBitAndWriteNothingElse) {
  const Iterators& kernels = GetParam();
  GuardedOutput output;
  for (const uint64_t nbits : bit_counts)
    for (const uint64_t start : starts(nbits))
      for (unsigned pattern = 0; pattern < BitSource::patterns; ++pattern) {
        const std::string where = what(nbits, start, 0, pattern);
        set_crash_note("%s", where.c_str());
        const uint8_t* const bits = source_.bits(kernels.form, pattern, nbits, start);
        colx_lbiwv_ictx ctx, expected;
        kernels.ini2(&ctx, bits, nbits, 0, start);
        oracle::begin_iteration(&expected, bits, nbits, 0, start);
        for (unsigned ends = 0; ends < 4;) {  // some calls beyond the end
          const uint64_t max = source_.random().below(source_.random().one_in(3) ? 300 : 12);
          const size_t bytes = 4 * max;
          uint8_t* const out = output.bytes(bytes, Place::end);
          std::vector<uint32_t> wanted(max);
          if (max != 0) std::memcpy(wanted.data(), out, bytes);
          const uint64_t delivered = oracle::next_ones(kernels.form, &expected, wanted.data(), max);
          ASSERT_EQ(kernels.ones(&ctx, reinterpret_cast<uint32_t*>(out), max), delivered) << where;
          ASSERT_EQ(std::vector<uint32_t>(reinterpret_cast<uint32_t*>(out),
                                          reinterpret_cast<uint32_t*>(out) + max),
                    wanted)
              << where << " max " << max;
          ASSERT_EQ(output.damage(), "") << where;
          ASSERT_EQ(fields(ctx), fields(expected)) << where << " max " << max;
          ends += delivered < max;
        }
      }
}

TEST_P(BitIteration, OnesWithMaxZeroReturnsZeroAndTouchesNothing) {
  const uint8_t ones[8] = {0xFF};
  colx_lbiwv_ictx ctx;
  GetParam().ini2(&ctx, ones, 64, 0, 0);
  const std::string before = fields(ctx);
  EXPECT_EQ(GetParam().ones(&ctx, nullptr, 0), 0u);
  EXPECT_EQ(fields(ctx), before);
}

TEST_P(BitIteration, OnesInBatchesOf8Over9SetBitsReturn8Then1Then0) {
  uint8_t bits[16] = {};
  for (const unsigned bit : {0, 3, 9, 20, 63, 64, 65, 90, 127}) oracle::put_bit(bits, bit, true);
  colx_lbiwv_ictx ctx;
  GetParam().ini2(&ctx, bits, 128, 0, 0);
  std::array<uint32_t, 8> out = {};
  EXPECT_EQ(GetParam().ones(&ctx, out.data(), 8), 8u);
  EXPECT_EQ(out, (std::array<uint32_t, 8>{0, 3, 9, 20, 63, 64, 65, 90}));
  EXPECT_EQ(GetParam().ones(&ctx, out.data(), 8), 1u);
  EXPECT_EQ(out[0], 127u);
  EXPECT_EQ(GetParam().ones(&ctx, out.data(), 8), 0u);
}

TEST_P(BitIteration, OnesAndSingleStepsTakeTurnsOnOneContext) {
  const uint8_t bits[8] = {0xFF, 0, 0xFF};
  colx_lbiwv_ictx ctx;
  GetParam().ini2(&ctx, bits, 64, 0, 0);
  uint32_t out[3] = {};
  EXPECT_EQ(GetParam().iter(&ctx), 0u);
  EXPECT_EQ(GetParam().ones(&ctx, out, 3), 3u);
  EXPECT_EQ(out[2], 3u);
  EXPECT_EQ(GetParam().iter(&ctx), 4u);
  EXPECT_EQ(GetParam().ones(&ctx, out, 3), 3u);
  EXPECT_EQ(GetParam().iter(&ctx), 16u);
}

INSTANTIATE_TEST_SUITE_P(Forms, BitIteration, ::testing::Values(word_form, byte_form),
                         [](const auto& test) {
                           return test.param.form == BitForm::words ? "words" : "bytes";
                         });

TEST(WordIteration, Over10BitsOfAWordWithBits3And20Delivers3ThenTheEnd) {
  const uint64_t word = uint64_t{1} << 3 | uint64_t{1} << 20;
  colx_lbiwv_ictx ctx;
  colx_lbiwv_ictx_ini2_dydi(&ctx, &word, 10, 0, 0);
  EXPECT_EQ(colx_lbiwviter_dydi(&ctx), 3u);
  EXPECT_EQ(colx_lbiwviter_dydi(&ctx), 0xFFFFFFFFFFFFFFFF);
}

TEST(WordIteration, ForClearBitsOverAllOnesEndsAtOnce) {
  const uint64_t ones[2] = {~uint64_t{0}, ~uint64_t{0}};
  colx_lbiwv_ictx ctx;
  colx_lbiwv_ictx_ini2_dydi(&ctx, ones, 128, 1, 0);
  EXPECT_EQ(colx_lbiwviter_clr_dydi(&ctx), 0xFFFFFFFFFFFFFFFF);
}

TEST(WordIteration, ForClearBitsOver3ZerosDelivers0And1And2ThenTheEnd) {
  const uint64_t zeros = 0;
  colx_lbiwv_ictx ctx;
  colx_lbiwv_ictx_ini2_dydi(&ctx, &zeros, 3, 1, 0);
  for (const uint64_t bit : {0, 1, 2}) EXPECT_EQ(colx_lbiwviter_clr_dydi(&ctx), bit);
  EXPECT_EQ(colx_lbiwviter_clr_dydi(&ctx), 0xFFFFFFFFFFFFFFFF);
}

TEST(ByteIteration, Over70BitsIn9BytesFetchesTheSecondWordAsOneByteAndDelivers69) {
  GuardedPages pages;
  std::vector<uint8_t> content(9);
  oracle::put_bit(content.data(), 69, true);
  const uint8_t* const bits = pages.place(content, 0, Edge::end);
  colx_lbiwv_ictx ctx;
  colx_lbiv_ictx_ini2_dydi(&ctx, bits, 70, 0, 0);
  EXPECT_EQ(colx_lbiviter_dydi(&ctx), 69u);
  EXPECT_EQ(reinterpret_cast<const uint8_t*>(ctx.colx_ictx_next), bits + 16);
  EXPECT_EQ(colx_lbiviter_dydi(&ctx), 0xFFFFFFFFu);
}

TEST(ByteIteration, Over10BitsWithBits3And12ReadsAWholeWordDelivers3ThenTheEnd) {
  GuardedPages pages;
  const std::vector<uint8_t> content = {0x08, 0x10, 0, 0, 0, 0, 0, 0};
  colx_lbiwv_ictx ctx;
  colx_lbiv_ictx_ini2_dydi(&ctx, pages.place(content, 0, Edge::end), 10, 0, 0);
  EXPECT_EQ(ctx.colx_ictx_word, 0x1008u);
  EXPECT_EQ(colx_lbiviter_dydi(&ctx), 3u);
  EXPECT_EQ(colx_lbiviter_dydi(&ctx), 0xFFFFFFFFu);
}

TEST(ByteIteration, ForClearBitsOver66ZerosDelivers0To65ThenTheEnd) {
  GuardedPages pages;
  colx_lbiwv_ictx ctx;
  colx_lbiv_ictx_ini2_dydi(&ctx, pages.place(std::vector<uint8_t>(9), 0, Edge::end), 66, 1, 0);
  for (uint64_t bit = 0; bit < 66; ++bit) EXPECT_EQ(colx_lbiviter_clr_dydi(&ctx), bit);
  EXPECT_EQ(colx_lbiviter_clr_dydi(&ctx), 0xFFFFFFFFu);
}

TEST(ByteIteration, TheBytesMissingFromAPartialFetchReadAsOnesForClearBits) {
  GuardedPages pages;
  const std::vector<uint8_t> ones(9, 0xFF);
  colx_lbiwv_ictx ctx;
  colx_lbiv_ictx_ini2_dydi(&ctx, pages.place(ones, 0, Edge::end), 72, 1, 0);
  EXPECT_EQ(colx_lbiviter_clr_dydi(&ctx), 0xFFFFFFFFu);
  EXPECT_EQ(ctx.colx_ictx_word, 0xFFFFFFFFFFFFFE00);  // bit 72 was taken, those above are left
}

TEST(RunQueries, AreNotServedAndReadNothing) {
  GuardedPages pages;
  const auto nowhere = reinterpret_cast<uint64_t>(pages.unreadable());
  EXPECT_EQ(colx_lbiwvrun_dydi(nowhere, nowhere), 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(colx_lbiwvruns_dydi(nowhere, nowhere, nowhere, nowhere), 0u);
  EXPECT_EQ(colx_lbivrun_dydi(nowhere, nowhere), 0xFFFFFFFFu);
  EXPECT_EQ(colx_lbivruns_dydi(nowhere, nowhere, nowhere, nowhere), 0u);
}

}  // namespace
}  // namespace colx::test
