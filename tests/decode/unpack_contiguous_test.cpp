// decode_unpack over a range of rows: elements, position, resuming, and what is left alone.
#include <gtest/gtest.h>

#include "kernels/frame/operation_names.h"
#include "tests/oracle/packed_codes_oracle.h"
#include "tests/support/code_patterns.h"
#include "tests/support/row_counts.h"
#include "tests/support/unpack_stage.h"

namespace colx::test {
namespace {

using Codes = std::vector<uint32_t>;

TEST(UnpackContiguous, EveryRowCountAroundBlocksAtBothEdgesOfAPage) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const uint32_t rows : row_counts(unpack_block_rows(width))) {
      UnpackBatch batch = random_unpack_batch(width, rows, random);
      for (const Place place : {Place::end, Place::begin, Place::middle}) {
        batch.place = place;
        batch.edge = place == Place::begin ? Edge::begin : Edge::end;
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

TEST(UnpackContiguous, EveryPatternOfCodes) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const Pattern pattern : all_patterns) {
      const auto codes = pattern_codes(pattern, width, 400, top_code(width) / 2, random);
      EXPECT_EQ(unpack_difference(unpack_batch(width, codes)), "");
    }
  }
}

// One code with all bits set among zeros, and the other way round, at every place of a block.
TEST(UnpackContiguous, EveryPlaceOfABlock) {
  for (const unsigned width : unpack_widths) {
    const uint32_t rows = 2 * unpack_block_rows(width);
    for (uint32_t row = 0; row < rows; ++row) {
      std::vector<uint64_t> codes(rows, 0);
      codes[row] = top_code(width);
      EXPECT_EQ(unpack_difference(unpack_batch(width, codes)), "");
      for (uint64_t& code : codes) code ^= top_code(width);
      EXPECT_EQ(unpack_difference(unpack_batch(width, codes)), "");
    }
  }
}

TEST(UnpackContiguous, WideCodesAreFourBytesAtEveryWidth) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const uint32_t rows : row_counts(unpack_block_rows(width))) {
      UnpackBatch batch = random_unpack_batch(width, rows, random);
      batch.kctx_flags = COLX_KCTX_WIDE_CODES;
      EXPECT_EQ(unpack_difference(batch), "");
    }
  }
}

TEST(UnpackContiguous, AnElementHasOneByteUpTo8BitsTwoUpTo16AndFourAbove) {
  for (const unsigned width : unpack_widths) {
    UnpackBatch batch = unpack_batch(width, {top_code(width), 1});
    unpack_stage().set(batch);
    unpack_stage().call(unpack_kernel(width));
    const auto* const output = static_cast<const uint8_t*>(unpack_stage().res.colx_cv_data);
    const unsigned bytes = width <= 8 ? 1 : width <= 16 ? 2 : 4;
    EXPECT_EQ(Bytes(output + bytes, output + 2 * bytes), native_bytes(1, bytes)) << width;
  }
}

// Codes straddle bytes: the stream B5 27 of 3-bit codes is 5 5 2 2 3, and one bit remains.
TEST(UnpackContiguous, ThreeBitCodesOfTheBytesB527) {
  EXPECT_EQ(oracle::pack_codes(std::vector<uint64_t>{5, 5, 2, 2, 3}, 3), (Bytes{0xB5, 0x27}));
  EXPECT_EQ(run_unpack(unpack_batch(3, {5, 5, 2, 2, 3})).codes, (Codes{5, 5, 2, 2, 3}));
}

TEST(UnpackContiguous, A17BitCodeFromBit7OfAByteIsRead) {
  std::vector<uint64_t> codes(8, 0);
  codes[7] = 0x1FFFF;  // stream bits 119 to 135: bit 7 of byte 14 to the end of byte 16
  EXPECT_EQ(run_unpack(unpack_batch(17, codes)).codes.at(7), 0x1FFFFu);
  codes[7] = 0x10001;
  EXPECT_EQ(run_unpack(unpack_batch(17, codes)).codes.at(7), 0x10001u);
}

TEST(UnpackContiguous, A19BitCodeThatSpansFourBytesIsRead) {
  std::vector<uint64_t> codes(8, 0);
  codes[5] = 0x7FFFF;  // stream bits 95 to 113: bit 7 of byte 11 to bit 1 of byte 14
  EXPECT_EQ(run_unpack(unpack_batch(19, codes)).codes.at(5), 0x7FFFFu);
  codes[5] = 0x40001;
  EXPECT_EQ(run_unpack(unpack_batch(19, codes)).codes.at(5), 0x40001u);
}

TEST(UnpackContiguous, AStartThatIsNotAlignedGivesTheCodesOfThoseRows) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    const uint32_t aligned = unpack_alignment_rows(width);
    const uint32_t rows = 3 * aligned + 2 * unpack_block_rows(width) + 5;
    UnpackBatch batch = random_unpack_batch(width, rows, random);
    const Codes all = run_unpack(batch).codes;
    for (uint32_t start = 0; start <= 2 * aligned + 1; ++start) {
      batch.position = start;
      batch.capacity = rows - start;
      EXPECT_EQ(unpack_difference(batch), "");
      EXPECT_EQ(run_unpack(batch).codes, Codes(all.begin() + start, all.end())) << width;
    }
  }
}

TEST(UnpackContiguous, LessThanABlockComesFromAlignmentAndTailAlone) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = random_unpack_batch(width, 400, random);
    for (const uint32_t start :
         {0u, 1u, 7u, 8u, unpack_alignment_rows(width) - 1, unpack_alignment_rows(width)}) {
      for (uint32_t count = 1; count < unpack_block_rows(width); ++count) {
        batch.position = start;
        batch.capacity = count;
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

TEST(UnpackContiguous, StopsAtTheCapacityWithThePositionOfTheLastElement) {
  Random random(1);
  UnpackBatch batch = random_unpack_batch(5, 200, random);
  batch.position = 20;
  batch.capacity = 100;
  const UnpackRun run = run_unpack(batch);
  EXPECT_EQ(run.num_set, 100u);
  EXPECT_EQ(run.position, 119u);
  EXPECT_EQ(run.status, COLX_DONE);
}

// A capacity above the rows that are left promises no room beyond them.
TEST(UnpackContiguous, WritesNothingBehindTheLastRowHoweverLargeTheCapacity) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = random_unpack_batch(width, 300, random);
    for (const uint32_t start : {0u, 3u, 299u}) {
      batch.position = start;
      batch.room = 300 - start;
      batch.capacity = 0xFFFFFF00;
      EXPECT_EQ(unpack_difference(batch), "");
    }
  }
}

TEST(UnpackContiguous, AStartBehindTheLastRowDeliversNothing) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = random_unpack_batch(width, 100, random);
    batch.position = 100;
    const UnpackRun run = run_unpack(batch);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
    EXPECT_EQ(run.position, 99u);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackContiguous, NoCapacityAtRow0LeavesThePosition0xFFFFFFFF) {
  Random random(2);
  UnpackBatch batch = random_unpack_batch(9, 100, random);
  batch.capacity = 0;
  EXPECT_EQ(run_unpack(batch).position, 0xFFFFFFFFu);
  EXPECT_EQ(unpack_difference(batch), "");
  EXPECT_EQ(run_unpack(unpack_batch(9, {})).position, 0xFFFFFFFFu);
}

TEST(UnpackContiguous, LeavesTheOutputFlagsAndTheStateAlone) {
  Random random(3);
  UnpackBatch batch = random_unpack_batch(12, 300, random);
  batch.flags_out = 0x400;
  batch.state1 = 77;
  batch.state2 = 88;
  const UnpackRun run = run_unpack(batch);
  EXPECT_EQ(run.flags_out, 0x400u);
  EXPECT_EQ(run.state1, 77u);
  EXPECT_EQ(run.state2, 88u);
}

TEST(UnpackContiguous, TheSelectiveFlagMeansNothingWithoutASelection) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = random_unpack_batch(width, 300, random);
    batch.kctx_flags = ~uint32_t{COLX_KCTX_WIDE_CODES};
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackContiguous, ResumedWithSmallCapacitiesDeliversWhatOneCallDelivers) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const uint32_t most : {1u, 3u, 40u, 300u}) {
      UnpackBatch batch = random_unpack_batch(width, most < 4 ? 200 : 1000, random);
      EXPECT_EQ(resumed_difference(batch, most, random), "");
      batch.kctx_flags = COLX_KCTX_WIDE_CODES;
      EXPECT_EQ(resumed_difference(batch, most, random), "");
    }
  }
}

TEST(UnpackContiguous, DecompressesOnceUnderItsOwnName) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = random_unpack_batch(width, 300, random);
    for (const Store store : {Store::compressed, Store::decompressed}) {
      for (const uint32_t start : {0u, 300u}) {
        batch.store = store;
        batch.position = start;
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

TEST(UnpackContiguous, TheLabelOfA3BitColumn) {
  Random random(4);
  UnpackBatch batch = random_unpack_batch(3, 10, random);
  batch.store = Store::compressed;
  batch.decode_status = 10;
  run_unpack(batch);
  const RecordingHost& host = unpack_stage().host;
  EXPECT_EQ(host.cached_allocations.at(0).label, "colx_decode_unpack_dict_3bit: vec1_decomp");
  EXPECT_EQ(host.raised.at(0).text, "colx_decode_unpack_dict_3bit: colx_wpak_decode failed");
}

TEST(UnpackContiguous, CarriesOnWithTheBufferBehindAFailedDecompression) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = random_unpack_batch(width, 300, random);
    batch.store = Store::compressed;
    batch.decode_status = 1;
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

// The library's own way to the kernel.
TEST(UnpackDispatch, TakesTheSlotFromTheColumnsKey) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    const UnpackKernel through_key = {unpack_kernel(width).name, colx_dispatch_decode_unpack,
                                      width};
    UnpackBatch batch = random_unpack_batch(width, 200, random);
    EXPECT_EQ(unpack_difference(through_key, batch), "");
    batch.position = 200;  // status 1
    EXPECT_EQ(unpack_difference(through_key, batch), "");
  }
}

}  // namespace
}  // namespace colx::test
