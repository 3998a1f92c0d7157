// decode: rows of packed codes to pointers, lengths and indicators, by both dictionary layouts.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/code_patterns.h"
#include "tests/support/list_of_no_rows.h"
#include "tests/support/seeded_random.h"
#include "tests/support/unpack_stage.h"
#include "tests/support/value_decode_stage.h"

namespace colx::test {
namespace {

// Widths of `decode` are those of `decode_unpack`.
constexpr auto& decode_widths = unpack_widths;

// Codes below `bound` at random, and a list of `length` of those rows in any order.
DecodeBatch random_batch(unsigned width, uint64_t bound, uint32_t length, Random& random) {
  DecodeBatch batch;
  batch.width_bits = width;
  batch.codes.resize(150);
  for (uint64_t& code : batch.codes) code = random.below(std::min(bound, top_code(width) + 1));
  batch.list.resize(length);
  for (uint32_t& row : batch.list) row = static_cast<uint32_t>(random.below(batch.codes.size()));
  return batch;
}

std::vector<uint32_t> random_lengths(size_t count, Random& random) {
  std::vector<uint32_t> lengths(count);
  for (uint32_t& length : lengths) {
    length = random.one_in(4) ? 0 : static_cast<uint32_t>(random.below(70000));
  }
  return lengths;
}

TEST(DictDecode, OneLengthAtEveryWidthAndListLength) {
  for (const unsigned width : decode_widths) {
    Random random(width);
    for (uint32_t length = 1; length <= 20; ++length) {
      DecodeBatch batch = random_batch(width, uint64_t{1} << 32, length, random);
      batch.dictionary = one_length_dictionary(static_cast<uint16_t>(1 + random.below(40)));
      batch.edge = length % 2 == 0 ? Edge::begin : Edge::end;
      for (const Place place : {Place::end, Place::begin, Place::middle}) {
        batch.place = place;
        EXPECT_EQ(decode_difference(batch), "");
      }
    }
  }
}

TEST(DictDecode, CumulativeAtEveryWidthAndListLength) {
  for (const unsigned width : decode_widths) {
    Random random(width);
    for (uint32_t length = 1; length <= 20; ++length) {
      const uint64_t codes = std::min<uint64_t>(top_code(width) + 1, 1 + random.below(300));
      DecodeBatch batch = random_batch(width, codes, length, random);
      batch.dictionary = cumulative_dictionary(random_lengths(codes, random));
      batch.edge = length % 2 == 0 ? Edge::begin : Edge::end;
      for (const Place place : {Place::end, Place::begin, Place::middle}) {
        batch.place = place;
        EXPECT_EQ(decode_difference(batch), "");
      }
    }
  }
}

TEST(DictDecode, LengthZeroMakesAllRowsNullAndTouchesNothingElse) {
  for (const unsigned width : decode_widths) {
    Random random(width);
    for (const Store store : {Store::plain, Store::compressed, Store::decompressed}) {
      DecodeBatch batch = random_batch(width, 100, 9, random);
      batch.dictionary = one_length_dictionary(0);
      batch.store = store;
      EXPECT_EQ(run_decode(batch), COLX_DONE);
      for (size_t row = 0; row < 9; ++row) {
        EXPECT_EQ(value_decode_stage().indicator(row), 2u);
        EXPECT_EQ(value_decode_stage().length(row), 0u);
      }
      EXPECT_EQ(decode_difference(batch), "");  // no host call, no pointer written
    }
  }
}

TEST(DictDecode, LengthZeroReadsNoCode) {
  static GuardedPages nowhere;
  Random random(1);
  DecodeBatch batch = random_batch(5, 10, 4, random);
  batch.dictionary = one_length_dictionary(0);
  value_decode_stage().set(batch);
  value_decode_stage().src.colx_cv_data = nowhere.unreadable();
  value_decode_stage().res.colx_cv_data = nowhere.unreadable();
  EXPECT_EQ(value_decode_stage().call(decode_kernel(5)), COLX_DONE);
}

TEST(DictDecode, AnEmptyValueKeepsItsOffsetAndIsNull) {
  DecodeBatch batch;
  batch.width_bits = 2;
  batch.codes = {0, 1, 2};
  batch.list = {0, 1, 2};
  batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{5, 0, 7});
  run_decode(batch);
  EXPECT_EQ(value_decode_stage().offset(1), 5);
  EXPECT_EQ(value_decode_stage().length(1), 0u);
  EXPECT_EQ(value_decode_stage().indicator(1), 2u);
  EXPECT_EQ(value_decode_stage().offset(2), 5);
  EXPECT_EQ(value_decode_stage().length(2), 7u);
  EXPECT_EQ(value_decode_stage().indicator(2), 0u);
}

TEST(DictDecode, AValueOf65536BytesReadsAsNull) {
  DecodeBatch batch;
  batch.width_bits = 8;
  batch.codes = {0, 1, 2};
  batch.list = {0, 1, 2};
  batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{65536, 65535, 65537});
  run_decode(batch);
  EXPECT_EQ(value_decode_stage().length(0), 0u);
  EXPECT_EQ(value_decode_stage().indicator(0), 2u);
  EXPECT_EQ(value_decode_stage().length(1), 65535u);
  EXPECT_EQ(value_decode_stage().indicator(1), 0u);
  EXPECT_EQ(value_decode_stage().length(2), 1u);
  EXPECT_EQ(value_decode_stage().indicator(2), 0u);
}

TEST(DictDecode, ALayoutOfTwoIsRefusedAndEverythingUntouched) {
  for (const unsigned width : decode_widths) {
    Random random(width);
    DecodeBatch batch = random_batch(width, 2, 5, random);
    batch.dictionary.layout = 2;
    EXPECT_EQ(run_decode(batch), COLX_BAD_INPUT);
    EXPECT_EQ(decode_difference(batch), "");
    batch.store = Store::compressed;
    EXPECT_EQ(decode_difference(batch), "");
  }
}

TEST(DictDecode, LayoutsAreComparedInAll32Bits) {
  for (const unsigned width : decode_widths) {
    Random random(width);
    DecodeBatch batch = random_batch(width, 2, 5, random);
    for (const uint32_t layout : {0x100u, 0x101u, 0x10000u, 0x10001u, 0x80000000u, ~0u}) {
      batch.dictionary.layout = layout;
      EXPECT_EQ(run_decode(batch), COLX_BAD_INPUT) << layout;
      EXPECT_EQ(decode_difference(batch), "");
    }
  }
}

TEST(DictDecode, ElementsFollowAListInAnyOrderWithRepeats) {
  DecodeBatch batch;
  batch.width_bits = 3;
  batch.codes = {0, 1, 2, 3, 4};
  batch.list = {4, 0, 4, 2, 2};
  batch.dictionary = one_length_dictionary(10);
  run_decode(batch);
  EXPECT_EQ(value_decode_stage().offset(0), 40);
  EXPECT_EQ(value_decode_stage().offset(1), 0);
  EXPECT_EQ(value_decode_stage().offset(2), 40);
  EXPECT_EQ(value_decode_stage().offset(3), 20);
  EXPECT_EQ(value_decode_stage().offset(4), 20);
  EXPECT_EQ(value_decode_stage().kctx.colx_kctx_position, 2u);
  EXPECT_EQ(value_decode_stage().kctx.colx_kctx_flags_out, COLX_OUT_DECODE);
  EXPECT_EQ(value_decode_stage().res.colx_cv_num_set, 5u);
}

TEST(DictDecode, PlacesOfLargeCodesDoNotWrap) {
  DecodeBatch batch;
  batch.width_bits = 32;
  batch.codes = {0xFFFFFFFF, 0x10001};
  batch.list = {0, 1};
  batch.dictionary = one_length_dictionary(0xFFFF);
  run_decode(batch);
  EXPECT_EQ(value_decode_stage().offset(0), int64_t{0xFFFFFFFF} * 0xFFFF);
  EXPECT_EQ(value_decode_stage().offset(1), int64_t{0x10001} * 0xFFFF);
}

TEST(DictDecode, OffsetsAreUnsigned32BitNumbers) {
  DecodeBatch batch;
  batch.width_bits = 1;
  batch.codes = {0, 1};
  batch.list = {1, 0};
  batch.dictionary.layout = COLX_DICT_CUMULATIVE;
  batch.dictionary.offsets = {0x80000000, 0xFFFFFFF0, 0xFFFFFFFF};
  run_decode(batch);
  EXPECT_EQ(value_decode_stage().offset(0), 0xFFFFFFF0);
  EXPECT_EQ(value_decode_stage().length(0), 15u);
  EXPECT_EQ(value_decode_stage().offset(1), 0x80000000);
}

TEST(DictDecode, AOneLengthIsStoredBigEndian) {
  DecodeBatch batch;
  batch.width_bits = 8;
  batch.codes = {3};
  batch.list = {0};
  batch.dictionary = one_length_dictionary(0x0102);
  run_decode(batch);
  EXPECT_EQ(value_decode_stage().length(0), 0x0102u);
  EXPECT_EQ(value_decode_stage().offset(0), 3 * 0x0102);
}

TEST(DictDecode, A19BitCodeThatSpansFourBytesIsResolved) {
  DecodeBatch batch;
  batch.width_bits = 19;
  batch.codes.assign(6, 0);
  batch.codes[5] = 0x7FFFF;
  batch.list = {5};
  run_decode(batch);
  EXPECT_EQ(value_decode_stage().offset(0), 0x7FFFF);
}

TEST(DictDecode, A17BitCodeFromBit7OfAByteIsResolved) {
  DecodeBatch batch;
  batch.width_bits = 17;
  batch.codes.assign(8, 0);
  batch.codes[7] = 0x1FFFF;
  batch.list = {7};
  run_decode(batch);
  EXPECT_EQ(value_decode_stage().offset(0), 0x1FFFF);
}

TEST(DictDecode, RunsAndOtherFlagsMeanNothing) {
  for (const unsigned width : decode_widths) {
    Random random(width);
    DecodeBatch batch = random_batch(width, 100, 7, random);
    batch.more_flags = COLX_RLE;
    batch.kctx_flags = ~0u;
    batch.flags_out = 0x4000;
    EXPECT_EQ(decode_difference(batch), "");
  }
}

TEST(DictDecode, DecompressesOnceUnderTheNameOfTheEntry) {
  for (const unsigned width : decode_widths) {
    Random random(width);
    for (const uint32_t layout : {COLX_DICT_ONE_LENGTH, COLX_DICT_CUMULATIVE}) {
      DecodeBatch batch = random_batch(width, 2, 7, random);
      if (layout == COLX_DICT_CUMULATIVE) {
        batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{3, 4});
      }
      for (const Store store : {Store::compressed, Store::decompressed}) {
        for (const uint32_t decode_status : {0, 5}) {
          batch.store = store;
          batch.decode_status = decode_status;
          EXPECT_EQ(decode_difference(batch), "");
        }
      }
    }
  }
}

TEST(DictDecode, TheTextsOfA3BitColumn) {
  Random random(3);
  DecodeBatch batch = random_batch(3, 8, 2, random);
  batch.store = Store::compressed;
  batch.decode_status = 1;
  run_decode(batch);
  const RecordingHost& host = value_decode_stage().host;
  EXPECT_EQ(host.cached_allocations.at(0).label, "colx_decode_dict_3bit: vec1_decomp");
  EXPECT_EQ(host.raised.at(0).text, "colx_decode_dict_3bit: colx_wpak_decode failed");
}

TEST(DictDecode, AnEmptyListTakesThePositionFromTheEntryAt0xFFFFFFFF) {
  const ListOfNoRows nothing(0x87654321);
  for (const unsigned width : decode_widths) {
    Random random(width);
    DecodeBatch batch = random_batch(width, 2, 0, random);
    batch.raw_list = nothing.rows();
    for (const uint16_t length : {0, 1}) {
      batch.dictionary = one_length_dictionary(length);
      EXPECT_EQ(decode_difference(batch), "");
    }
    batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{3, 4});
    EXPECT_EQ(run_decode(batch), COLX_DONE);
    EXPECT_EQ(value_decode_stage().kctx.colx_kctx_position, 0x87654321u);
    EXPECT_EQ(decode_difference(batch), "");
  }
}

}  // namespace
}  // namespace colx::test
