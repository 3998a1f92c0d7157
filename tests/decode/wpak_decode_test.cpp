// The wpak decoder on sound streams of all shapes, and on each thing that it refuses or reports.
#include "tests/oracle/wpak_oracle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <string_view>

#include "tests/decode/wpak_checks.h"
#include "tests/oracle/packed_codes_oracle.h"
#include "tests/support/kernel_library.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using oracle::wpak_stream;
using oracle::WpakParts;

constexpr uint32_t any_length = 0xFFFFFFFF;

Bytes text(std::string_view t) {
  return {t.begin(), t.end()};
}

// Around the block of 32 codes, and where the second and third one begin.
constexpr uint32_t telling_counts[] = {0,  1,  2,  7,  8,  31, 32,  33,  34,  62,  63,
                                       64, 65, 66, 95, 96, 97, 127, 128, 129, 160, 1000};

// Symbols of `lengths` in turns, no two of them with the same bytes at the same length if there is
// room for that.
std::vector<Bytes> symbols_of(uint32_t count, std::span<const uint32_t> lengths, uint64_t seed) {
  Random random(seed);
  std::vector<Bytes> symbols;
  for (uint32_t i = 0; i < count; ++i) symbols.push_back(random.bytes(lengths[i % lengths.size()]));
  return symbols;
}

std::vector<uint64_t> codes_below(uint32_t bound, uint32_t count, uint64_t seed) {
  Random random(seed);
  std::vector<uint64_t> codes(count);
  for (uint64_t& code : codes) code = random.below(bound);
  // The highest one somewhere in a block, where there is one, and among the last.
  if (count > 0) codes[count / 3] = codes.back() = bound - 1;
  return codes;
}

constexpr uint32_t all_lengths[] = {3, 8, 1, 5, 2, 7, 4, 6};

WpakParts cats() {
  WpakParts parts;
  parts.symbols = {text("the "), text("cat"), text("and "), text("s")};
  parts.codes = {0, 1, 3, 2, 0, 1};
  return parts;
}

// ------------------------------------------------------------------------------ sound streams

TEST(WpakDecode, ExpandsCodesInOrder) {
  const WpakRun run = run_wpak(wpak_stream(cats()), 64, 19);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.out_len, 19u);
  EXPECT_EQ(run.out, text("the catsand the cat"));
  EXPECT_EQ(run.damage, "");
}

// Every byte typed in: two symbols, "ab" and "cde", codes 1 0 1 of one bit.
TEST(WpakDecode, ReadsEachFieldWhereItBelongs) {
  const Bytes stream = {'W', 'P', 'A', 'K',  0,   2,   0xEE, 0xEE, 0xEE, 0xEE, 0, 0, 0, 0,   0,
                        8,   0,   2,   0x23, 'a', 'b', 'c',  'd',  'e',  0,    0, 0, 3, 0xBF};
  const WpakRun run = run_wpak(stream, 8, 8);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.out_len, 8u);
  EXPECT_EQ(run.out, text("cdeabcde"));
  EXPECT_EQ(wpak_difference(stream, 8), "");
}

// A code of no bits takes no byte: what stands behind the code count changes nothing.
TEST(WpakDecode, OneSymbolIsRepeatedWithoutCodes) {
  for (uint32_t count = 0; count <= 32; ++count) {
    for (const uint8_t behind : {0x00, 0xFF, 0x5A}) {
      WpakParts parts;
      parts.symbols = {text("abc")};
      parts.codes.assign(count, 0);
      Bytes stream = wpak_stream(parts);
      EXPECT_EQ(stream.size(), 18u + 1 + 3 + 4);
      Bytes due;
      for (uint32_t i = 0; i < count; ++i) due.insert(due.end(), {'a', 'b', 'c'});
      EXPECT_EQ(run_wpak(stream, any_length, due.size()).out, due) << count;
      stream.insert(stream.end(), readable_behind_codes, behind);
      const WpakRun run = run_wpak(stream, any_length, due.size());
      EXPECT_EQ(run.status, 0u) << count;
      EXPECT_EQ(run.out, due) << count << ", bytes " << int{behind};
    }
  }
}

TEST(WpakDecode, NarrowCodesAreRightAtEveryCount) {
  for (const uint32_t symbols : {1u, 2u, 3u, 4u}) {  // codes of 0, 1, 2 and 2 bits
    for (uint32_t count = 33; count <= 200; ++count) {
      WpakParts parts;
      parts.symbols = symbols_of(symbols, all_lengths, 11);
      parts.codes = codes_below(symbols, count, count);
      ASSERT_EQ(wpak_difference(parts), "") << symbols << " symbols, " << count << " codes";
    }
  }
}

TEST(WpakDecode, TakesUpTo1024Symbols) {
  WpakParts parts;
  parts.symbols = symbols_of(1024, all_lengths, 1);
  parts.codes.resize(1024);
  std::iota(parts.codes.rbegin(), parts.codes.rend(), 0);
  EXPECT_EQ(run_wpak(wpak_stream(parts), any_length, 4608).status, 0u);
  EXPECT_EQ(wpak_difference(parts), "");

  parts.symbols = symbols_of(1025, all_lengths, 1);
  const WpakRun run = run_wpak(wpak_stream(parts), any_length, 4608);
  EXPECT_EQ(run.status, 10u);
  EXPECT_EQ(run.out_len, unwritten_length);
  EXPECT_TRUE(run.scratch.empty());
  EXPECT_EQ(wpak_difference(parts), "");
}

// Blocks of 32 begin with 64 codes: 33 and 63 are all taken one by one.
TEST(WpakDecode, TheLast32To63CodesAreExact) {
  for (const uint32_t symbols : {8u, 200u, 256u, 512u, 1024u}) {
    for (const uint32_t count : {32u, 33u, 63u, 64u, 65u}) {
      WpakParts parts;
      parts.symbols = symbols_of(symbols, std::array{1u}, 5);
      parts.codes = codes_below(symbols, count, 6);
      const WpakRun run = run_wpak(wpak_stream(parts), any_length, count);
      EXPECT_EQ(run.out_len, count);
      EXPECT_EQ(run.damage, "");
      EXPECT_EQ(wpak_difference(parts), "") << symbols << " symbols, " << count << " codes";
    }
  }
}

TEST(WpakDecode, TheLastOfAnOddNumberOfSymbolsHasTheHighNibble) {
  WpakParts parts;
  parts.symbols = {text("a"), text("bc"), text("defgh")};
  parts.codes = {2, 0, 1, 2};
  const Bytes stream = wpak_stream(parts);
  EXPECT_EQ(stream[18], 0x12);
  EXPECT_EQ(stream[19], 0x5F);  // the low nibble belongs to nobody
  EXPECT_EQ(run_wpak(stream, any_length, 13).out, text("defghabcdefgh"));
  EXPECT_EQ(wpak_difference(parts), "");
  for (uint32_t count = 1; count <= 129; count += 2) {
    parts.symbols = symbols_of(count, all_lengths, count);
    parts.codes = codes_below(count, 100, count);
    EXPECT_EQ(wpak_difference(parts), "") << count << " symbols";
  }
}

// Each width with as few, as many and almost as many symbols as it has; output to the page's end
// and from its beginning.
TEST(WpakDecode, EveryWidthAtEveryTellingCount) {
  for (unsigned width = 0; width <= 10; ++width) {
    const uint32_t most = 1u << width;
    for (const uint32_t symbols : {most, most / 2 + 1, std::max(most - 1, most / 2 + 1)}) {
      ASSERT_EQ(oracle::wpak_code_width(symbols), width);
      WpakParts parts;
      parts.symbols = symbols_of(symbols, all_lengths, symbols);
      for (const uint32_t count : telling_counts) {
        parts.codes = codes_below(symbols, count, count);
        for (const Place place : {Place::end, Place::begin}) {
          ASSERT_EQ(wpak_difference(parts, place), "")
              << symbols << " symbols, width " << width << ", " << count << " codes";
        }
      }
    }
  }
}

TEST(WpakDecode, EveryWidthWithSymbolsOfEachLength) {
  for (unsigned width = 0; width <= 10; ++width) {
    for (uint32_t length = 1; length <= 8; ++length) {
      WpakParts parts;
      parts.symbols = symbols_of(1u << width, std::array{length}, length);
      for (const uint32_t count : telling_counts) {
        parts.codes = codes_below(1u << width, count, length);
        ASSERT_EQ(wpak_difference(parts), "")
            << "width " << width << ", symbols of " << length << " bytes, " << count << " codes";
      }
    }
  }
}

// Every code of a width at every place in a block.
TEST(WpakDecode, EveryCodeAtEveryPlace) {
  for (unsigned width = 3; width <= 10; ++width) {
    const uint32_t symbols = 1u << width;
    WpakParts parts;
    parts.symbols = symbols_of(symbols, all_lengths, 77);
    for (uint32_t shift = 0; shift < 32; ++shift) {
      parts.codes.resize(symbols + 64);
      for (uint32_t i = 0; i < parts.codes.size(); ++i) parts.codes[i] = (i + shift) % symbols;
      ASSERT_EQ(wpak_difference(parts), "") << "width " << width << ", shift " << shift;
    }
  }
}

TEST(WpakDecode, LongStreamsOfEachWidth) {
  for (unsigned width = 0; width <= 10; ++width) {
    WpakParts parts;
    parts.symbols = symbols_of(1u << width, all_lengths, width);
    parts.codes = codes_below(1u << width, 50'021, width);
    EXPECT_EQ(wpak_difference(parts), "") << "width " << width;
  }
}

TEST(WpakDecode, AgreesWithTheOracleOnRandomStreams) {
  for (uint64_t seed = 0; seed < 3000; ++seed) {
    Random random(mixed_seed(seed, 0x3A7));
    const auto symbols = static_cast<uint32_t>(1 + random.below(1u << random.below(11)));
    std::vector<uint32_t> lengths(1 + random.below(20));
    for (uint32_t& length : lengths) length = static_cast<uint32_t>(1 + random.below(8));
    WpakParts parts;
    parts.symbols = symbols_of(symbols, lengths, seed);
    parts.codes = codes_below(symbols, static_cast<uint32_t>(random.below(300)), seed);
    parts.flags = static_cast<uint8_t>((random.next() & 0xF4) | 0x02);
    if (random.one_in(3)) {
      parts.aux = static_cast<uint16_t>(1 + random.below(0x7FFF));
      parts.between = random.bytes(random.below(40));
    }
    if (random.one_in(4)) parts.decoded_length = static_cast<uint32_t>(random.below(1000));
    const auto capacity = random.one_in(4) ? static_cast<uint32_t>(random.below(1000)) : any_length;
    const Place place = random.one_in(2) ? Place::end : Place::begin;
    ASSERT_EQ(wpak_difference(wpak_stream(parts), capacity, place), "")
        << "seed " << seed << ", " << symbols << " symbols, " << parts.codes.size() << " codes";
  }
}

// ------------------------------------------------------------------------------ aux sections

TEST(WpakDecode, AuxSectionsAreSkipped) {
  WpakParts parts = cats();
  for (const uint16_t aux : {uint16_t{1}, uint16_t{0x0100}, uint16_t{0x7FFF}}) {
    for (const size_t between : {size_t{0}, size_t{1}, size_t{8}, size_t{1000}}) {
      parts.aux = aux;
      parts.between.assign(between, 0xC3);
      const Bytes stream = wpak_stream(parts);
      EXPECT_EQ(stream.size(), wpak_stream(cats()).size() + 8 + 4 + between);
      EXPECT_EQ(run_wpak(stream, any_length, 19).out, text("the catsand the cat")) << aux;
      EXPECT_EQ(wpak_difference(parts), "") << aux << ", " << between;
    }
  }
}

TEST(WpakDecode, AuxOfZeroOrLessHasNoSections) {
  WpakParts parts = cats();
  for (const uint16_t aux : {0x0000, 0x8000, 0x8001, 0xFFFF}) {
    parts.aux = aux;
    const Bytes stream = wpak_stream(parts);
    EXPECT_EQ(stream.size(), wpak_stream(cats()).size());
    EXPECT_EQ(run_wpak(stream, any_length, 19).out, text("the catsand the cat")) << aux;
    EXPECT_EQ(wpak_difference(parts), "") << aux;
  }
}

// Of 128 steps of X all lead to the same byte, counted from behind the code count.
TEST(WpakDecode, XCountsItselfAndDropsItsLowSevenBits) {
  WpakParts parts = cats();
  parts.aux = 1;
  parts.between = Bytes(3, 0xFF);
  for (const uint32_t low : {0x00u, 0x01u, 0x40u, 0x7Fu}) {
    parts.x = 7 << 7 | low;
    EXPECT_EQ(run_wpak(wpak_stream(parts), any_length, 19).out, text("the catsand the cat")) << low;
  }
}

// Nothing holds the codes back from beginning in X itself.
TEST(WpakDecode, AMistakenXLandsWhereItSays) {
  WpakParts parts;
  parts.symbols = symbols_of(256, std::array{1u}, 3);
  parts.codes = {9, 8, 7, 6, 5, 4, 3, 2};
  parts.aux = 1;
  parts.code_count = 4;
  const auto expanded = [&](std::array<uint8_t, 4> codes) {
    Bytes due;
    for (const uint8_t code : codes) due.push_back(parts.symbols[code][0]);
    return due;
  };
  parts.decoded_length = 4;
  parts.x = 0x5A;
  EXPECT_EQ(run_wpak(wpak_stream(parts), 4, 4).out, expanded({0, 0, 0, 0x5A}));
  parts.x = 2 << 7;
  EXPECT_EQ(run_wpak(wpak_stream(parts), 4, 4).out, expanded({1, 0, 9, 8}));
  parts.x = 6 << 7;
  EXPECT_EQ(run_wpak(wpak_stream(parts), 4, 4).out, expanded({7, 6, 5, 4}));
  for (uint32_t distance = 0; distance <= 8; ++distance) {
    parts.x = distance << 7;
    EXPECT_EQ(wpak_difference(parts), "") << distance;
  }
}

// Its top bit counts as any other: codes 2^24 bytes away.
TEST(WpakDecode, XHasNoSign) {
  WpakParts parts = cats();
  parts.aux = 1;
  parts.between = Bytes((1u << 24) - 4, 0xFF);
  parts.x = 0x80000000;
  const WpakRun run = run_wpak(wpak_stream(parts), any_length, 19);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.out, text("the catsand the cat"));
}

// ------------------------------------------------------------------------------ refusals

void expect_refused(const WpakParts& parts, uint32_t capacity = any_length) {
  const WpakRun run = run_wpak(wpak_stream(parts), capacity, 64);
  EXPECT_EQ(run.status, 10u);
  EXPECT_EQ(run.out_len, unwritten_length);
  EXPECT_TRUE(run.scratch.empty()) << run.scratch.front();
  for (size_t i = 0; i < 64; ++i) ASSERT_EQ(run.out[i], GuardedOutput::dirty_byte(i));
  EXPECT_EQ(run.damage, "");
}

void expect_accepted(const WpakParts& parts, uint32_t capacity = any_length) {
  const WpakRun run = run_wpak(wpak_stream(parts), capacity, 19);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.out_len, 19u);
  EXPECT_EQ(run.out, text("the catsand the cat"));
}

TEST(WpakDecode, RefusesAnotherMagic) {
  for (size_t i = 0; i < 4; ++i) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      WpakParts parts = cats();
      parts.magic[i] ^= static_cast<uint8_t>(1 << bit);
      expect_refused(parts);
    }
  }
}

TEST(WpakDecode, RefusesAnotherVersion) {
  for (unsigned version = 1; version < 256; ++version) {
    WpakParts parts = cats();
    parts.version = static_cast<uint8_t>(version);
    expect_refused(parts);
  }
}

TEST(WpakDecode, RefusesFlags03) {
  WpakParts parts = cats();
  parts.flags = 0x03;
  expect_refused(parts);
}

TEST(WpakDecode, OfTheFlagsOneMustBeSetAndTwoMustBeClear) {
  for (unsigned flags = 0; flags < 256; ++flags) {
    WpakParts parts = cats();
    parts.flags = static_cast<uint8_t>(flags);
    SCOPED_TRACE(flags);
    if ((flags & 0x0B) == 0x02) {
      expect_accepted(parts);
    } else {
      expect_refused(parts);
    }
  }
}

TEST(WpakDecode, NeverReadsTheReservedBytes) {
  Bytes stream = wpak_stream(cats());
  for (const uint8_t reserved : {0x00, 0x7F, 0xFF}) {
    std::fill_n(stream.begin() + 6, 4, reserved);
    EXPECT_EQ(run_wpak(stream, any_length, 19).out, text("the catsand the cat"));
  }
}

TEST(WpakDecode, RefusesWhatIsLongerThanTheCapacity) {
  expect_accepted(cats(), 19);
  expect_accepted(cats(), 20);
  expect_refused(cats(), 18);
  expect_refused(cats(), 0);
}

// With signs, a length with its top bit set would be below any capacity and a capacity with its top
// bit set below any length.
TEST(WpakDecode, LengthAndCapacityHaveNoSign) {
  expect_accepted(cats(), 0x7FFFFFFF);
  expect_accepted(cats(), 0x80000000);
  expect_accepted(cats(), 0xFFFFFFFF);
  WpakParts parts = cats();
  parts.decoded_length = 0x80000000;
  expect_refused(parts, 19);
  expect_refused(parts, 0x7FFFFFFF);
  parts.decoded_length = 0xFFFFFFFF;
  expect_refused(parts, 0xFFFFFFFE);
  const WpakRun run = run_wpak(wpak_stream(parts), 0xFFFFFFFF, 19);
  EXPECT_EQ(run.status, 10u);
  EXPECT_EQ(run.out_len, 19u);  // taken, expanded, and found shorter than it said
}

TEST(WpakDecode, RefusesSymbolCountsOf0AndAbove1024) {
  for (const uint16_t count : {0, 1025, 1026, 2048, 0x7FFF, 0x8000, 0xFFFF}) {
    WpakParts parts = cats();
    parts.symbol_count = count;
    SCOPED_TRACE(count);
    expect_refused(parts);
  }
}

TEST(WpakDecode, SeveralFaultsAreRefusedAsOne) {
  for (unsigned faults = 1; faults < 32; ++faults) {
    WpakParts parts = cats();
    if (faults & 1) parts.magic[3] = 'k';
    if (faults & 2) parts.version = 1;
    if (faults & 4) parts.flags = 0x0B;
    if (faults & 8) parts.decoded_length = 100;
    if (faults & 16) parts.symbol_count = 0;
    SCOPED_TRACE(faults);
    expect_refused(parts, 99);
  }
}

// ------------------------------------------------------------------------------ other lengths

TEST(WpakDecode, NineBytesWhereTheHeaderSaysTen) {
  WpakParts parts;
  parts.symbols = {text("abc")};
  parts.codes = {0, 0, 0};
  parts.decoded_length = 10;
  const WpakRun run = run_wpak(wpak_stream(parts), 10, 9);
  EXPECT_EQ(run.status, 10u);
  EXPECT_EQ(run.out_len, 9u);
  EXPECT_EQ(run.out, text("abcabcabc"));
  EXPECT_EQ(wpak_difference(parts), "");
}

// The capacity bounds what the header says and not what is written.
TEST(WpakDecode, MoreThanTheHeaderSaysIsWrittenAndReported) {
  for (const uint32_t count : {3u, 32u, 33u, 64u, 500u}) {
    WpakParts parts;
    parts.symbols = symbols_of(300, std::array{5u}, 8);
    parts.codes = codes_below(300, count, 9);
    for (const uint32_t said : {0u, 1u, 5 * count - 1, 5 * count + 1}) {
      parts.decoded_length = said;
      const Bytes stream = wpak_stream(parts);
      const WpakRun run = run_wpak(stream, said, size_t{5} * count);
      EXPECT_EQ(run.status, 10u);
      EXPECT_EQ(run.out_len, 5 * count);
      EXPECT_EQ(wpak_difference(stream, said), "") << count << " codes, " << said;
    }
  }
}

// ------------------------------------------------------------------------------ scratch memory

std::vector<std::string> scratch_of_three_symbols() {
  return {"alloc \"wpak_decode_x86 length_array\" 4 unit 8 zero 0",
          "alloc \"wpak_decode_x86: symbol_array\" 24 unit 8 zero 0", "free 1", "free 0"};
}

TEST(WpakDecode, AsksForTwoArraysAndGivesThemBack) {
  WpakParts parts;
  parts.symbols = {text("a"), text("bc"), text("def")};
  parts.codes = {2, 1, 0};
  EXPECT_EQ(run_wpak(wpak_stream(parts), 6, 6).scratch, scratch_of_three_symbols());
}

TEST(WpakDecode, GivesThemBackAlsoWhenTheLengthIsAnother) {
  WpakParts parts;
  parts.symbols = {text("a"), text("bc"), text("def")};
  parts.codes = {2, 1, 0};
  parts.decoded_length = 7;
  const WpakRun run = run_wpak(wpak_stream(parts), 7, 6);
  EXPECT_EQ(run.status, 10u);
  EXPECT_EQ(run.scratch, scratch_of_three_symbols());
}

TEST(WpakDecode, IsTheDecoderOfTheExportedRecord) {
  const KernelLibrary library(COLX_LIBRARY_FILE);
  ASSERT_NE(library.record().colx_sctx_wpak_decode, nullptr);
  EXPECT_EQ(reinterpret_cast<void*>(library.record().colx_sctx_wpak_decode),
            library.symbol("colx_wpak_decode_dydi"));
  const WpakRun run =
      run_wpak(wpak_stream(cats()), 19, 19, Place::end, library.record().colx_sctx_wpak_decode);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.out, text("the catsand the cat"));
}

}  // namespace
}  // namespace colx::test
