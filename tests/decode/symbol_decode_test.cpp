// decode_symbol: arrays of codes to pointers, lengths and indicators, or to copies of the values.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/seeded_random.h"
#include "tests/support/value_decode_stage.h"

namespace colx::test {
namespace {

constexpr unsigned symbol_widths[] = {8, 16, 32};
constexpr uint32_t both_sizes[] = {0, COLX_KCTX_WIDE_CODES};

SymbolBatch random_batch(unsigned width, uint64_t bound, uint32_t rows, Random& random) {
  SymbolBatch batch;
  batch.width_bits = width;
  batch.codes.resize(rows);
  for (uint32_t& code : batch.codes) {
    code = static_cast<uint32_t>(random.below(std::min(bound, uint64_t{1} << width)));
  }
  return batch;
}

std::vector<uint32_t> random_lengths(size_t count, Random& random) {
  std::vector<uint32_t> lengths(count);
  for (uint32_t& length : lengths) {
    length = random.one_in(4) ? 0 : static_cast<uint32_t>(random.below(140000));
  }
  return lengths;
}

TEST(SymbolDecode, OneLengthAtEveryRowCountCodeSizeAndPlace) {
  for (const unsigned width : symbol_widths) {
    Random random(width);
    for (uint32_t rows = 0; rows <= 70; ++rows) {
      SymbolBatch batch = random_batch(width, uint64_t{1} << 32, rows, random);
      batch.dictionary = one_length_dictionary(static_cast<uint16_t>(1 + random.below(9)));
      for (const uint32_t flags : both_sizes) {
        batch.kctx_flags = flags;
        for (const bool with_row_flags : {true, false}) {
          batch.with_row_flags = with_row_flags;
          for (const Place place : {Place::end, Place::begin, Place::middle}) {
            batch.place = place;
            batch.edge = place == Place::begin ? Edge::begin : Edge::end;
            EXPECT_EQ(symbol_difference(batch), "");
          }
        }
      }
    }
  }
}

TEST(SymbolDecode, CumulativeAtEveryRowCountCodeSizeAndPlace) {
  for (const unsigned width : symbol_widths) {
    Random random(width);
    for (uint32_t rows = 0; rows <= 70; ++rows) {
      const uint64_t codes = 1 + random.below(256);
      SymbolBatch batch = random_batch(width, codes, rows, random);
      batch.dictionary = cumulative_dictionary(random_lengths(codes, random));
      for (const uint32_t flags : both_sizes) {
        batch.kctx_flags = flags;
        for (const bool with_row_flags : {true, false}) {
          batch.with_row_flags = with_row_flags;
          for (const Place place : {Place::end, Place::begin, Place::middle}) {
            batch.place = place;
            batch.edge = place == Place::begin ? Edge::begin : Edge::end;
            EXPECT_EQ(symbol_difference(batch), "");
          }
        }
      }
    }
  }
}

TEST(SymbolDecode, SevenRowsOf4ByteCodesArePairsAndALastRow) {
  for (const unsigned width : symbol_widths) {
    Random random(width);
    SymbolBatch batch = random_batch(width, 200, 7, random);
    batch.kctx_flags = COLX_KCTX_WIDE_CODES;
    EXPECT_EQ(symbol_difference(batch), "");
  }
}

TEST(SymbolDecode, SixteenRowsOfOneByteCodesAreOneBlockAndOfFourBytesTwo) {
  Random random(1);
  SymbolBatch batch = random_batch(8, 256, 16, random);
  for (const uint32_t flags : both_sizes) {
    batch.kctx_flags = flags;
    EXPECT_EQ(symbol_difference(batch), "");
  }
}

TEST(SymbolDecode, WithoutIndicatorsPointersAndLengthsAreWritten) {
  SymbolBatch batch;
  batch.codes = {1, 0, 1};
  batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{4, 0});
  batch.with_row_flags = false;
  EXPECT_EQ(run_symbol(batch), COLX_DONE);
  EXPECT_EQ(value_decode_stage().offset(0), 4);
  EXPECT_EQ(value_decode_stage().length(0), 0u);
  EXPECT_EQ(value_decode_stage().offset(1), 0);
  EXPECT_EQ(value_decode_stage().length(1), 4u);
}

TEST(SymbolDecode, AValueOf65536BytesHasLength65535InABlock) {
  for (const unsigned width : symbol_widths) {
    SymbolBatch batch;
    batch.width_bits = width;
    batch.codes.assign(8, 0);
    for (const uint32_t length : {65535u, 65536u, 65537u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
      batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{length});
      run_symbol(batch);
      for (size_t row = 0; row < 8; ++row) {
        EXPECT_EQ(value_decode_stage().length(row), 65535u) << length;
        EXPECT_EQ(value_decode_stage().indicator(row), 0u) << length;
      }
    }
  }
}

TEST(SymbolDecode, AValueOf65536BytesIsNullInTheTail) {
  for (const unsigned width : symbol_widths) {
    SymbolBatch batch;
    batch.width_bits = width;
    batch.codes.assign(8 + 7, 0);
    batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{65536});
    run_symbol(batch);
    for (size_t row = 8; row < 15; ++row) {
      EXPECT_EQ(value_decode_stage().length(row), 0u);
      EXPECT_EQ(value_decode_stage().indicator(row), 2u);
    }
    EXPECT_EQ(value_decode_stage().length(7), 65535u);
    batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{65537});
    run_symbol(batch);
    EXPECT_EQ(value_decode_stage().length(8), 1u);
    EXPECT_EQ(value_decode_stage().indicator(8), 0u);
  }
}

TEST(SymbolDecode, TheProductOfCodeAndLengthWrapsAt32Bits) {
  SymbolBatch batch;
  batch.width_bits = 32;
  batch.codes.assign(11, 0x10002);
  batch.dictionary = one_length_dictionary(0xFFFF);
  run_symbol(batch);
  for (const size_t row : {0, 7, 8, 9, 10})
    EXPECT_EQ(value_decode_stage().offset(row), 0xFFFE) << row;
  batch.codes.assign(11, 0xFFFFFFFF);
  batch.dictionary = one_length_dictionary(1);
  run_symbol(batch);
  for (const size_t row : {0, 7, 8, 9, 10})
    EXPECT_EQ(value_decode_stage().offset(row), 0xFFFFFFFF) << row;
}

TEST(SymbolDecode, OffsetsAreUnsigned32BitNumbers) {
  SymbolBatch batch;
  batch.codes.assign(9, 1);
  batch.dictionary.layout = COLX_DICT_CUMULATIVE;
  batch.dictionary.offsets = {0, 0xFFFFFFF0, 0xFFFFFFFF};
  run_symbol(batch);
  for (const size_t row : {0, 7, 8}) {
    EXPECT_EQ(value_decode_stage().offset(row), 0xFFFFFFF0) << row;
    EXPECT_EQ(value_decode_stage().length(row), 15u) << row;
  }
}

TEST(SymbolDecode, LengthZeroMakesAllRowsNullAndWritesNoPointer) {
  for (const unsigned width : symbol_widths) {
    Random random(width);
    for (uint32_t rows = 0; rows <= 40; ++rows) {
      SymbolBatch batch = random_batch(width, 200, rows, random);
      batch.dictionary = one_length_dictionary(0);
      EXPECT_EQ(symbol_difference(batch), "");
    }
  }
}

TEST(SymbolDecode, ALayoutOfTwoIsRefusedAndTheCountNotWritten) {
  for (const unsigned width : symbol_widths) {
    Random random(width);
    SymbolBatch batch = random_batch(width, 200, 20, random);
    for (const uint32_t layout : {2u, 0x100u, 0x101u, 0x10000u, 0x10001u, ~0u}) {
      batch.dictionary.layout = layout;
      EXPECT_EQ(run_symbol(batch), COLX_BAD_INPUT);
      EXPECT_EQ(value_decode_stage().res.colx_cv_num_set, ScanStage::dirty_num_set);
      EXPECT_EQ(symbol_difference(batch), "");
      batch.kctx_flags = COLX_KCTX_COPY_VALUES;
      EXPECT_EQ(symbol_difference(batch), "");
    }
  }
}

TEST(SymbolDecode, CompressionAndRunsMeanNothing) {
  for (const unsigned width : symbol_widths) {
    Random random(width);
    SymbolBatch batch = random_batch(width, 200, 20, random);
    batch.more_flags = COLX_COMPRESSED | COLX_RLE;
    EXPECT_EQ(symbol_difference(batch), "");
    batch.dictionary = cumulative_dictionary(random_lengths(200, random));
    EXPECT_EQ(symbol_difference(batch), "");
  }
}

// Copies of the values, one behind the other.

SymbolBatch copy_batch(uint16_t length, uint32_t symbols, uint32_t rows, Random& random) {
  SymbolBatch batch = random_batch(32, symbols, rows, random);
  batch.dictionary = one_length_dictionary(length);
  batch.dictionary.num_symbols = symbols;
  batch.dictionary.symbols = random.bytes(copied_symbol_bytes(batch.dictionary));
  batch.with_row_flags = false;
  batch.kctx_flags = COLX_KCTX_COPY_VALUES;
  return batch;
}

TEST(SymbolCopy, EveryLengthAndRowCountEndsWithTheLastByte) {
  Random random(2);
  for (const uint16_t length : {1, 2, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 31, 100, 255, 256, 1000}) {
    for (uint32_t rows = 0; rows <= 100; ++rows) {
      SymbolBatch batch = copy_batch(length, 40, rows, random);
      batch.place = rows % 2 == 0 ? Place::end : Place::begin;
      EXPECT_EQ(symbol_difference(batch), "");
      batch.kctx_flags |= COLX_KCTX_WIDE_CODES;
      batch.with_row_flags = true;  // and left alone
      EXPECT_EQ(symbol_difference(batch), "");
    }
  }
}

TEST(SymbolCopy, ADictionaryOfOneByteValuesIsReadableToAPowerOfTwo) {
  Dictionary dictionary = one_length_dictionary(1);
  const size_t readable[] = {1, 2, 4, 4, 8, 8, 8, 8, 16, 16, 16, 16, 16, 16, 16, 16, 17, 18};
  for (uint32_t symbols = 1; symbols <= 18; ++symbols) {
    dictionary.num_symbols = symbols;
    EXPECT_EQ(copied_symbol_bytes(dictionary), readable[symbols - 1]);
  }
}

TEST(SymbolCopy, ReadsNoMoreOfASmallDictionaryThanTheNextPowerOfTwo) {
  Random random(3);
  for (uint32_t symbols = 1; symbols <= 20; ++symbols) {
    for (uint32_t rows = 0; rows <= 100; ++rows) {
      EXPECT_EQ(symbol_difference(copy_batch(1, symbols, rows, random)), "");
    }
  }
}

TEST(SymbolCopy, OneSymbolOfOneByteIsRepeated) {
  SymbolBatch batch;
  batch.width_bits = 32;
  batch.codes.assign(77, 0);
  batch.dictionary.num_symbols = 1;
  batch.dictionary.symbols = {0x5A};
  batch.kctx_flags = COLX_KCTX_COPY_VALUES;
  EXPECT_EQ(run_symbol(batch), COLX_DONE);
  const auto* const copied = static_cast<const uint8_t*>(value_decode_stage().res.colx_cv_data);
  EXPECT_EQ(Bytes(copied, copied + 77), Bytes(77, 0x5A));
}

TEST(SymbolCopy, CodesAbove255AreFollowed) {
  Random random(4);
  for (const uint16_t length : {1, 2, 4, 8, 11}) {
    for (const uint32_t rows : {31u, 32u, 33u, 200u}) {
      EXPECT_EQ(symbol_difference(copy_batch(length, 70000, rows, random)), "");
    }
  }
}

TEST(SymbolCopy, LengthZeroCopiesNothingAndMakesNoRowNull) {
  Random random(5);
  SymbolBatch batch = copy_batch(0, 5, 40, random);
  batch.with_row_flags = true;
  EXPECT_EQ(symbol_difference(batch), "");
  value_decode_stage().set(batch);
  EXPECT_EQ(value_decode_stage().call(symbol_kernel(32)), COLX_DONE);
  EXPECT_EQ(value_decode_stage().res.colx_cv_num_set, 40u);
}

TEST(SymbolCopy, NarrowCodesAndCumulativeDictionariesKnowNoCopies) {
  for (const unsigned width : symbol_widths) {
    Random random(width);
    SymbolBatch batch = random_batch(width, 100, 50, random);
    batch.kctx_flags = COLX_KCTX_COPY_VALUES;
    batch.dictionary = cumulative_dictionary(random_lengths(100, random));
    EXPECT_EQ(symbol_difference(batch), "");
    if (width == 32) continue;
    batch.dictionary = one_length_dictionary(3);
    EXPECT_EQ(symbol_difference(batch), "");
    batch.dictionary = one_length_dictionary(0);
    EXPECT_EQ(symbol_difference(batch), "");
  }
}

}  // namespace
}  // namespace colx::test
