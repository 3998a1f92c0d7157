// decode_unpack of run-length columns: the walk from rows to runs, ranges, selections and lists,
// and the two words of state between calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "tests/support/unpack_stage.h"

namespace colx::test {
namespace {

using Codes = std::vector<uint32_t>;

constexpr unsigned length_widths[] = {8, 16};

// Every row takes part.
Words whole_selection(uint32_t rows) {
  return Words(rows / 64 + 1, ~uint64_t{0});
}

std::vector<uint32_t> random_lengths(size_t runs, uint32_t shortest, uint32_t longest,
                                     Random& random) {
  std::vector<uint32_t> lengths(runs);
  for (uint32_t& length : lengths) {
    length = shortest + static_cast<uint32_t>(random.below(longest - shortest + 1));
  }
  return lengths;
}

// Runs of 5, 1, 10 and 4 rows with the codes 3, 1, 2, 0.
UnpackBatch small_column(unsigned width) {
  Random random(1);
  UnpackBatch batch = random_run_batch(width, 8, {5, 1, 10, 4}, random);
  batch.codes = {3, 1, 2, 0};
  return batch;
}

TEST(UnpackRunRange, EveryWidthElementAndLengthAtBothEdgesOfAPage) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const unsigned length_bits : length_widths) {
      for (const uint32_t longest : {1u, 2u, 5u, 40u, 255u}) {
        UnpackBatch batch = random_run_batch(
            width, length_bits, random_lengths(1 + random.below(300), 1, longest, random), random);
        for (const Place place : {Place::end, Place::begin, Place::middle}) {
          batch.place = place;
          batch.edge = place == Place::begin ? Edge::begin : Edge::end;
          batch.kctx_flags = 0;
          EXPECT_EQ(unpack_difference(batch), "");
          batch.kctx_flags = COLX_KCTX_WIDE_CODES;
          EXPECT_EQ(unpack_difference(batch), "");
        }
      }
    }
  }
}

TEST(UnpackRunRange, ASliceBeginsAndEndsInsideRuns) {
  UnpackBatch batch = small_column(3);
  batch.position = 3;
  batch.capacity = 9;
  const UnpackRun run = run_unpack(batch);
  EXPECT_EQ(run.codes, (Codes{3, 3, 1, 2, 2, 2, 2, 2, 2}));
  EXPECT_EQ(run.num_set, 9u);
  EXPECT_EQ(run.position, 11u);
  EXPECT_EQ(run.state1, 2u);
  EXPECT_EQ(run.state2, 16u);
  EXPECT_EQ(run.flags_out, 0u);
  EXPECT_EQ(run.status, COLX_DONE);
}

TEST(UnpackRunRange, EveryStartAndCapacityOfAColumn) {
  for (const unsigned width : {1u, 3u, 8u, 9u, 16u, 19u, 24u, 32u}) {
    Random random(width);
    for (const unsigned length_bits : length_widths) {
      UnpackBatch batch =
          random_run_batch(width, length_bits, random_lengths(12, 1, 7, random), random);
      for (batch.position = 0; batch.position <= batch.rows; ++batch.position) {
        for (batch.capacity = 0; batch.capacity <= batch.rows - batch.position; ++batch.capacity) {
          EXPECT_EQ(unpack_difference(batch), "");
        }
      }
    }
  }
}

TEST(UnpackRunRange, OneRunExpandedWholeIsItsCodeThroughout) {
  for (const unsigned width : unpack_widths) {
    for (const unsigned length_bits : length_widths) {
      const uint32_t longest = length_bits == 8 ? 255 : 65535;
      for (const uint32_t rows : {1u, 2u, 16u, 17u, 100u, longest}) {
        Random random(rows);
        UnpackBatch batch = random_run_batch(width, length_bits, {rows}, random);
        EXPECT_EQ(run_unpack(batch).codes, Codes(rows, static_cast<uint32_t>(batch.codes[0])));
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

TEST(UnpackRunRange, NoCapacityStoresCountAndPositionAlone) {
  for (const uint32_t start : {0u, 1u, 7u, 20u}) {
    UnpackBatch batch = small_column(4);
    batch.position = start;
    batch.capacity = 0;
    batch.state1 = 41;
    batch.state2 = 42;
    batch.flags_out = 0x400;
    const UnpackRun run = run_unpack(batch);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.position, start - 1);
    EXPECT_EQ(run.state1, 41u);
    EXPECT_EQ(run.state2, 42u);
    EXPECT_EQ(run.flags_out, 0x400u);
    EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
  }
}

TEST(UnpackRunRange, AStartBehindTheLastRowStoresCountAndPositionAlone) {
  UnpackBatch batch = small_column(4);
  batch.position = 20;
  batch.capacity = 10;
  batch.state1 = 41;
  EXPECT_EQ(run_unpack(batch).position, 19u);
  EXPECT_EQ(unpack_difference(batch), "");
}

TEST(UnpackRunRange, LeavesTheOutputFlagsAloneAndTheRecordsAsTheyWere) {
  UnpackBatch batch = small_column(5);
  batch.flags_out = 0x1200;
  EXPECT_EQ(run_unpack(batch).flags_out, 0x1200u);
  EXPECT_EQ(unpack_difference(batch), "");  // both views are compared field by field
}

// A walk that goes on knows nothing of the runs before: their lengths may be anything.
TEST(UnpackRunRange, ResumesInTheMiddleOfARunWithoutAWalkFromTheStart) {
  for (const unsigned width : unpack_widths) {
    UnpackBatch batch = small_column(width > 2 ? width : 3);
    batch.lengths = {200, 200, 10, 4};
    batch.position = 9;
    batch.state1 = 2;
    batch.state2 = 16;
    batch.capacity = 11;
    const UnpackRun run = run_unpack(batch);
    EXPECT_EQ(run.codes, (Codes{2, 2, 2, 2, 2, 2, 2, 0, 0, 0, 0}));
    EXPECT_EQ(run.state1, 3u);
    EXPECT_EQ(run.state2, 20u);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackRunWalk, StartsFreshAtPositionZeroWhateverTheState) {
  for (const bool selected : {false, true}) {
    UnpackBatch batch = small_column(6);
    if (selected) batch.selection = whole_selection(20);
    batch.state1 = 3;
    batch.state2 = 999;
    EXPECT_EQ(run_unpack(batch).codes[0], 3u);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackRunWalk, StartsFreshWhenTheRunEndsAtZeroWhateverThePosition) {
  for (const bool selected : {false, true}) {
    UnpackBatch batch = small_column(6);
    if (selected) batch.selection = whole_selection(20);
    batch.position = 6;
    batch.capacity = 14;
    batch.state1 = 3;
    batch.state2 = 0;
    EXPECT_EQ(run_unpack(batch).codes[0], 2u);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackRunWalk, SkipsRunsOfNoRows) {
  for (const unsigned width : unpack_widths) {
    for (const unsigned length_bits : length_widths) {
      Random random(width);
      UnpackBatch batch = random_run_batch(width, length_bits, {0, 0, 3, 0, 2, 0, 0, 1}, random);
      batch.selection = whole_selection(batch.rows);
      EXPECT_EQ(unpack_difference(batch), "");
      batch.selection.reset();
      batch.list = {0, 2, 3, 5};
      EXPECT_EQ(unpack_difference(batch), "");
    }
  }
}

TEST(UnpackRunRange, BeginsBehindRunsOfNoRows) {
  Random random(2);
  UnpackBatch batch = random_run_batch(7, 8, {0, 0, 3, 2}, random);
  EXPECT_EQ(unpack_difference(batch), "");
}

TEST(UnpackRunWalk, ALengthOf0100Is256RowsAt16Bits) {
  Random random(3);
  UnpackBatch batch = random_run_batch(9, 16, {256, 3}, random);
  const Codes codes = run_unpack(batch).codes;
  EXPECT_EQ(std::count(codes.begin(), codes.end(), batch.codes[0]), 256);
}

TEST(UnpackRunSelected, EveryDensityAndCapacity) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const unsigned length_bits : length_widths) {
      for (const unsigned sparsity : {0u, 1u, 2u, 5u}) {
        UnpackBatch batch =
            random_run_batch(width, length_bits, random_lengths(60, 0, 12, random), random);
        const size_t words = batch.rows / 64 + 1;
        batch.selection =
            sparsity == 0 ? whole_selection(batch.rows) : random.words(words, sparsity);
        for (const uint32_t capacity : {1u, 2u, 63u, 255u, 256u, 257u, 1000u}) {
          batch.capacity = capacity;
          batch.place = capacity % 2 == 0 ? Place::end : Place::begin;
          batch.kctx_flags = static_cast<uint32_t>(random.below(8));
          EXPECT_EQ(unpack_difference(batch), "");
        }
      }
    }
  }
}

TEST(UnpackRunSelected, StoresTheRunOfTheLastRowHandled) {
  UnpackBatch batch = small_column(3);
  batch.selection = Words{uint64_t{1} << 4 | uint64_t{1} << 5 | uint64_t{1} << 12};
  batch.capacity = 2;
  UnpackRun run = run_unpack(batch);
  EXPECT_EQ(run.codes, (Codes{3, 1}));
  EXPECT_EQ(run.position, 5u);
  EXPECT_EQ(run.state1, 1u);
  EXPECT_EQ(run.state2, 6u);
  EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);

  batch.capacity = 3;
  EXPECT_EQ(run_unpack(batch).position, 12u);
  batch.capacity = 4;
  run = run_unpack(batch);
  EXPECT_EQ(run.position, 19u);
  EXPECT_EQ(run.state1, 2u);
  EXPECT_EQ(run.state2, 16u);
}

TEST(UnpackRunSelected, ResumingInsideARunExtractsItsCodeAgain) {
  for (const unsigned width : unpack_widths) {
    UnpackBatch batch = small_column(width > 2 ? width : 3);
    batch.selection = whole_selection(20);
    batch.position = 10;
    batch.state1 = 2;
    batch.state2 = 16;
    batch.capacity = 3;
    EXPECT_EQ(run_unpack(batch).codes, (Codes{2, 2, 2}));
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackRunSelected, WithoutSelectedRowsThePositionIsTheLastRowAndTheWalkHasNotBegun) {
  UnpackBatch batch = small_column(3);
  batch.selection = Words{0};
  const UnpackRun run = run_unpack(batch);
  EXPECT_EQ(run.num_set, 0u);
  EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
  EXPECT_EQ(run.position, 19u);
  EXPECT_EQ(run.state1, 0xFFFFFFFFu);
  EXPECT_EQ(run.state2, 0u);
  EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);
}

TEST(UnpackRunSelected, WithoutCapacityThePositionIsLeftAlone) {
  UnpackBatch batch = small_column(3);
  batch.selection = whole_selection(20);
  batch.capacity = 0;
  batch.position = 7;
  batch.state1 = 2;
  batch.state2 = 16;
  const UnpackRun run = run_unpack(batch);
  EXPECT_EQ(run.position, 7u);
  EXPECT_EQ(run.state1, 2u);
  EXPECT_EQ(run.state2, 16u);
  EXPECT_EQ(run.num_set, 0u);
  EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
  EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);
  EXPECT_EQ(unpack_difference(batch), "");
}

TEST(UnpackRunSelected, GoesBeforeARowList) {
  UnpackBatch batch = small_column(3);
  batch.selection = Words{1 << 5};
  batch.list = {0, 1};
  EXPECT_EQ(run_unpack(batch).codes, Codes{1});
  EXPECT_EQ(unpack_difference(batch), "");
}

TEST(UnpackRunList, MapsRisingRowsToTheirRuns) {
  UnpackBatch batch = small_column(3);
  batch.list = {0, 4, 5, 6, 15, 16, 19};
  batch.capacity = 0;  // a list has no capacity check
  const UnpackRun run = run_unpack(batch);
  EXPECT_EQ(run.codes, (Codes{3, 3, 1, 2, 2, 0, 0}));
  EXPECT_EQ(run.position, 19u);
  EXPECT_EQ(run.state1, 3u);
  EXPECT_EQ(run.state2, 20u);
  EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);
  EXPECT_EQ(run.status, COLX_DONE);
}

TEST(UnpackRunList, EveryWidthOnRandomRisingRows) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const unsigned length_bits : length_widths) {
      UnpackBatch batch =
          random_run_batch(width, length_bits, random_lengths(80, 0, 10, random), random);
      for (const uint64_t stride : {1, 3, 30}) {
        batch.list = std::vector<uint32_t>();
        for (uint64_t row = random.below(stride); row < batch.rows;
             row += 1 + random.below(stride)) {
          batch.list->push_back(static_cast<uint32_t>(row));
        }
        batch.kctx_flags = static_cast<uint32_t>(random.below(8));
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

TEST(UnpackRunList, AnEmptyListIsReportedToTheHostAndDeliversNothing) {
  static GuardedPages nowhere;
  for (const unsigned width : unpack_widths) {
    UnpackBatch batch = small_column(width > 2 ? width : 3);
    batch.raw_list = reinterpret_cast<const uint32_t*>(nowhere.unreadable());
    const UnpackRun run = run_unpack(batch);
    EXPECT_EQ(unpack_stage().host.raised.size(), 1u);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
    EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackRunList, TheReportOfA3BitColumn) {
  static GuardedPages nowhere;
  UnpackBatch batch = small_column(3);
  batch.raw_list = reinterpret_cast<const uint32_t*>(nowhere.unreadable());
  run_unpack(batch);
  EXPECT_EQ(unpack_stage().host.raised.at(0).text,
            "colx_decode_unpack_dict_3bit: [rle] ones_vec size is zero");
}

TEST(UnpackRuns, ResumedWithSmallCapacitiesDeliverWhatOneCallDelivers) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const unsigned length_bits : length_widths) {
      for (const uint32_t most : {1u, 4u, 30u, 300u}) {
        const size_t runs = most < 5 ? 40 : 150;
        UnpackBatch batch =
            random_run_batch(width, length_bits, random_lengths(runs, 1, 12, random), random);
        EXPECT_EQ(resumed_difference(batch, most, random), "");
        batch.kctx_flags = COLX_KCTX_WIDE_CODES;
        EXPECT_EQ(resumed_difference(batch, most, random), "");
        batch.selection = random.words(batch.rows / 64 + 1, 1 + random.below(3));
        EXPECT_EQ(resumed_difference(batch, most, random), "");
      }
    }
  }
}

TEST(UnpackRuns, AListInSlicesDeliversWhatTheWholeListDelivers) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const unsigned length_bits : length_widths) {
      UnpackBatch batch =
          random_run_batch(width, length_bits, random_lengths(100, 0, 9, random), random);
      std::vector<uint32_t> rows;
      for (uint32_t row = 0; row < batch.rows; ++row) {
        if (random.one_in(2)) rows.push_back(row);
      }
      batch.list = rows;
      const Codes whole = run_unpack(batch).codes;
      Codes pieces;
      for (size_t done = 0; done < rows.size();) {
        const size_t count = std::min<size_t>(1 + random.below(20), rows.size() - done);
        batch.list->assign(rows.begin() + done, rows.begin() + done + count);
        EXPECT_EQ(unpack_difference(batch), "");
        const UnpackRun run = run_unpack(batch);
        pieces.insert(pieces.end(), run.codes.begin(), run.codes.end());
        batch.position = run.position + 1;
        batch.state1 = run.state1;
        batch.state2 = run.state2;
        done += count;
      }
      EXPECT_EQ(pieces, whole) << width;
    }
  }
}

TEST(UnpackRuns, DecompressOnceUnderTheirOwnName) {
  for (const unsigned width : unpack_widths) {
    UnpackBatch batch = small_column(width > 2 ? width : 3);
    for (const Store store : {Store::compressed, Store::decompressed}) {
      for (const uint32_t decode_status : {0, 3}) {
        batch.store = store;
        batch.decode_status = decode_status;
        batch.selection.reset();
        batch.list.reset();
        EXPECT_EQ(unpack_difference(batch), "");
        batch.list = {3, 8, 17};
        EXPECT_EQ(unpack_difference(batch), "");
        batch.selection = whole_selection(20);
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

}  // namespace
}  // namespace colx::test
