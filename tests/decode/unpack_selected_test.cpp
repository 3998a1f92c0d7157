// decode_unpack of chosen rows: the set bits of a selection, in blocks or walked, and row lists.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/list_of_no_rows.h"
#include "tests/support/row_counts.h"
#include "tests/support/unpack_stage.h"

namespace colx::test {
namespace {

using Codes = std::vector<uint32_t>;

// Both ways of taking a selection; they differ in nothing that a caller sees.
constexpr uint32_t both_ways[] = {0, COLX_KCTX_SELECTIVE};

UnpackBatch selected_batch(unsigned width, uint32_t rows, Random& random) {
  UnpackBatch batch = random_unpack_batch(width, rows, random);
  batch.selection = Words(rows / 64 + 1, 0);
  return batch;
}

void select(UnpackBatch& batch, uint32_t row) {
  (*batch.selection)[row / 64] |= uint64_t{1} << row % 64;
}

Words random_selection(uint32_t rows, unsigned density, Random& random) {
  const size_t words = rows / 64 + 1;
  switch (density) {
    case 0:
      return Words(words, 0);
    case 1:
      return random.words(words, 6);
    case 2:
      return random.words(words);
    case 3: {
      Words dense = random.words(words, 5);
      for (uint64_t& word : dense) word = ~word;
      return dense;
    }
    default:
      return Words(words, ~uint64_t{0});
  }
}
constexpr unsigned densities = 5;

TEST(UnpackSelected, EveryRowCountAndDensityAtBothEdgesOfAPage) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const uint32_t rows : row_counts(unpack_block_rows(width))) {
      for (unsigned density = 0; density < densities; ++density) {
        UnpackBatch batch = random_unpack_batch(width, rows, random);
        batch.selection = random_selection(rows, density, random);
        for (const uint32_t flags : both_ways) {
          batch.kctx_flags = flags;
          batch.place = Place::end;
          batch.edge = Edge::end;
          EXPECT_EQ(unpack_difference(batch), "");
          batch.kctx_flags |= COLX_KCTX_WIDE_CODES;
          batch.place = Place::begin;
          batch.edge = Edge::begin;
          EXPECT_EQ(unpack_difference(batch), "");
        }
      }
    }
  }
}

// The capacity is never passed, not even for a moment: an unreadable page follows it at once.
TEST(UnpackSelected, EveryCapacityOfADenseSelectionEndsAtThePage) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    const uint32_t rows = 2 * unpack_block_rows(width) + 70;
    UnpackBatch batch = random_unpack_batch(width, rows, random);
    for (const unsigned density : {2u, 3u, 4u}) {
      batch.selection = random_selection(rows, density, random);
      for (const uint32_t flags : {0u, 2u, 4u}) {
        batch.kctx_flags = flags;
        for (batch.capacity = 0; batch.capacity <= rows + 3; ++batch.capacity) {
          EXPECT_EQ(unpack_difference(batch), "");
        }
      }
    }
  }
}

TEST(UnpackSelected, EveryStartUpToTheAlignmentAndBeyond) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    const uint32_t aligned = unpack_alignment_rows(width);
    const uint32_t rows = 2 * aligned + 2 * unpack_block_rows(width) + 9;
    UnpackBatch batch = random_unpack_batch(width, rows, random);
    batch.selection = random_selection(rows, 2, random);
    for (uint32_t start = 0; start <= 2 * aligned + 1; ++start) {
      batch.position = start;
      batch.kctx_flags = both_ways[start % 2];
      EXPECT_EQ(unpack_difference(batch), "");
      batch.kctx_flags ^= COLX_KCTX_SELECTIVE;
      batch.capacity = 1 + start;
      EXPECT_EQ(unpack_difference(batch), "");
    }
  }
}

// Groups of four rows take a shuffle each: all sixteen, at each group of a block.
TEST(UnpackSelected, EveryCombinationOfFourRows) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    const uint32_t block = unpack_block_rows(width);
    UnpackBatch batch = random_unpack_batch(width, 2 * block, random);
    for (uint32_t group = 0; group < block / 4; ++group) {
      for (uint64_t bits = 0; bits < 16; ++bits) {
        batch.selection = Words(2 * block / 64 + 1, 0);
        (*batch.selection)[group / 16] = bits << group % 16 * 4;
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

TEST(UnpackSelected, ASelectionWithoutRowsLeavesThePositionAtTheLastRow) {
  Random random(1);
  for (const uint32_t flags : both_ways) {
    UnpackBatch batch = selected_batch(11, 300, random);
    batch.kctx_flags = flags;
    const UnpackRun run = run_unpack(batch);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
    EXPECT_EQ(run.position, 299u);
    EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);
  }
}

TEST(UnpackSelected, ACapacityOfOneDeliversOneElementAndThePositionOfItsRow) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const uint32_t flags : both_ways) {
      UnpackBatch batch = selected_batch(width, 300, random);
      for (uint32_t row = 37; row < 300; ++row) select(batch, row);
      batch.kctx_flags = flags;
      batch.capacity = 1;
      const UnpackRun run = run_unpack(batch);
      EXPECT_EQ(run.num_set, 1u);
      EXPECT_EQ(run.codes, Codes{static_cast<uint32_t>(batch.codes[37])});
      EXPECT_EQ(run.position, 37u);
      EXPECT_EQ(unpack_difference(batch), "");
    }
  }
}

TEST(UnpackSelected, WithoutCapacityThePositionIsLeftAlone) {
  Random random(2);
  for (const uint32_t flags : both_ways) {
    for (const uint32_t start : {0u, 5u, 64u, 299u, 300u}) {
      UnpackBatch batch = selected_batch(7, 300, random);
      for (uint32_t row = 0; row < 300; row += 3) select(batch, row);
      batch.kctx_flags = flags;
      batch.capacity = 0;
      batch.position = start;
      const UnpackRun run = run_unpack(batch);
      EXPECT_EQ(run.position, start);
      EXPECT_EQ(run.num_set, 0u);
      EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
      EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);
    }
  }
}

TEST(UnpackSelected, WhenTheOutputFillsWithTheLastSelectedRowThePositionIsThatRow) {
  Random random(3);
  for (const unsigned width : {1u, 6u, 8u, 13u, 16u, 19u, 24u, 32u}) {
    for (const uint32_t flags : both_ways) {
      UnpackBatch batch = selected_batch(width, 400, random);
      for (const uint32_t row : {3u, 70u, 71u, 200u, 388u}) select(batch, row);
      batch.kctx_flags = flags;
      batch.capacity = 5;
      EXPECT_EQ(run_unpack(batch).position, 388u);
      batch.capacity = 6;
      EXPECT_EQ(run_unpack(batch).position, 399u);
    }
  }
}

// Less than a block of rows or of room, before the first block and behind the last: what is not
// selected is not even stored in slots that stay free.
TEST(UnpackSelected, RowsTakenOneByOneStoreTheSelectedAlone) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    const uint32_t block = unpack_block_rows(width);
    for (const uint32_t rows : {1u, 7u, 31u, block - 1}) {
      UnpackBatch batch = selected_batch(width, rows, random);
      select(batch, 0);
      batch.capacity = block + 5;
      unpack_stage().set(batch);
      EXPECT_EQ(unpack_stage().call(unpack_kernel(width)).num_set, 1u);
      const auto* const output = static_cast<const uint8_t*>(unpack_stage().res.colx_cv_data);
      const size_t bytes = oracle::unpacked_bytes(width, 0);
      for (size_t i = bytes; i < (block + 5) * bytes; ++i) {
        ASSERT_EQ(output[i], GuardedOutput::dirty_byte(i)) << "width " << width << ", byte " << i;
      }
      EXPECT_EQ(unpack_difference(batch), "");
    }
    UnpackBatch batch = selected_batch(width, 1000, random);
    for (uint32_t row = 0; row < 1000; row += 7) select(batch, row);
    batch.capacity = block - 1;
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackSelected, WithoutRowsThePositionIs0xFFFFFFFF) {
  Random random(4);
  for (const uint32_t flags : both_ways) {
    UnpackBatch batch = selected_batch(5, 0, random);
    batch.kctx_flags = flags;
    batch.capacity = 10;
    EXPECT_EQ(run_unpack(batch).position, 0xFFFFFFFFu);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackSelected, BitsAtAndAboveTheRowsAreNoRows) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const uint32_t rows : {1u, 31u, 32u, 33u, 63u, 64u, 100u, 129u}) {
      UnpackBatch batch = selected_batch(width, rows, random);
      for (uint64_t& word : *batch.selection) word = ~uint64_t{0};
      for (const uint32_t flags : both_ways) {
        batch.kctx_flags = flags;
        batch.capacity = rows + 64;
        EXPECT_EQ(run_unpack(batch).num_set, rows);
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

// The walk draws 256 rows at a time, and a shorter batch is its last.
TEST(UnpackSelected, NumbersOfSelectedRowsAroundABatchOf256) {
  for (const unsigned width : {3u, 12u, 19u, 32u}) {
    Random random(width);
    for (const uint32_t selected : {254u, 255u, 256u, 257u, 511u, 512u, 513u, 768u}) {
      UnpackBatch batch = selected_batch(width, 2000, random);
      for (uint32_t i = 0; i < selected; ++i) select(batch, 2 * i);
      for (const uint32_t capacity : {255u, 256u, 257u, selected - 1, selected, selected + 1}) {
        for (const uint32_t flags : both_ways) {
          batch.kctx_flags = flags;
          batch.capacity = capacity;
          EXPECT_EQ(unpack_difference(batch), "");
        }
      }
    }
  }
}

TEST(UnpackSelected, ASelectionGoesBeforeARowList) {
  Random random(5);
  for (const uint32_t flags : both_ways) {
    UnpackBatch batch = selected_batch(10, 100, random);
    select(batch, 8);
    batch.list = {1, 2, 3};
    batch.kctx_flags = flags;
    EXPECT_EQ(run_unpack(batch).codes, Codes{static_cast<uint32_t>(batch.codes[8])});
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackSelected, KeepsOtherOutputFlagsAndTheState) {
  Random random(6);
  for (const uint32_t flags : both_ways) {
    UnpackBatch batch = selected_batch(10, 100, random);
    batch.kctx_flags = flags;
    batch.flags_out = 0x200;
    batch.state1 = 5;
    batch.state2 = 6;
    EXPECT_EQ(run_unpack(batch).flags_out, 0x4200u);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackSelected, ResumedWithSmallCapacitiesDeliversWhatOneCallDelivers) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (const uint32_t most : {1u, 5u, 60u, 400u}) {
      const uint32_t rows = most < 6 ? 250 : 900;
      UnpackBatch batch = random_unpack_batch(width, rows, random);
      for (unsigned density = 0; density < densities; ++density) {
        batch.selection = random_selection(rows, density, random);
        for (const uint32_t flags : both_ways) {
          batch.kctx_flags = flags;
          EXPECT_EQ(resumed_difference(batch, most, random), "");
        }
      }
    }
  }
}

TEST(UnpackSelected, DecompressesBeforeItLooksAtTheSelection) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = selected_batch(width, 200, random);
    for (const Store store : {Store::compressed, Store::decompressed}) {
      for (const uint32_t flags : both_ways) {
        batch.store = store;
        batch.kctx_flags = flags;
        batch.decode_status = flags;
        EXPECT_EQ(unpack_difference(batch), "");
        select(batch, 77);
        EXPECT_EQ(unpack_difference(batch), "");
      }
    }
  }
}

UnpackBatch list_batch(unsigned width, uint32_t rows, std::vector<uint32_t> list, Random& random) {
  UnpackBatch batch = random_unpack_batch(width, rows, random);
  batch.list = std::move(list);
  return batch;
}

TEST(UnpackList, RowsComeInTheOrderOfTheListAndMayRepeat) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    const UnpackBatch batch = list_batch(width, 100, {99, 0, 7, 7, 50, 7, 0}, random);
    Codes expected;
    for (const uint32_t row : *batch.list) {
      expected.push_back(static_cast<uint32_t>(batch.codes[row]));
    }
    const UnpackRun run = run_unpack(batch);
    EXPECT_EQ(run.codes, expected);
    EXPECT_EQ(run.num_set, 7u);
    EXPECT_EQ(run.position, 0u);
    EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);
    EXPECT_EQ(run.status, COLX_DONE);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackList, EveryLengthAtTheEdgeOfAPage) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    for (uint32_t length = 1; length <= 40; ++length) {
      std::vector<uint32_t> list(length);
      for (uint32_t& row : list) row = static_cast<uint32_t>(random.below(300));
      UnpackBatch batch = list_batch(width, 300, std::move(list), random);
      EXPECT_EQ(unpack_difference(batch), "");
      batch.kctx_flags = COLX_KCTX_WIDE_CODES | COLX_KCTX_SELECTIVE;
      EXPECT_EQ(unpack_difference(batch), "");
    }
  }
}

TEST(UnpackList, TheCapacityAndTheFirstPositionMeanNothing) {
  Random random(7);
  UnpackBatch batch = list_batch(14, 100, {5, 10, 15}, random);
  batch.capacity = 1;
  batch.position = 60;
  EXPECT_EQ(run_unpack(batch).num_set, 3u);
  EXPECT_EQ(run_unpack(batch).position, 15u);
  batch.capacity = 0;
  EXPECT_EQ(unpack_difference(batch), "");
}

TEST(UnpackList, InSlicesItDeliversWhatTheWholeListDelivers) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    std::vector<uint32_t> rows(500);
    for (uint32_t& row : rows) row = static_cast<uint32_t>(random.below(300));
    UnpackBatch batch = list_batch(width, 300, rows, random);
    const Codes whole = run_unpack(batch).codes;
    Codes pieces;
    for (size_t done = 0; done < rows.size();) {
      const size_t count = std::min<size_t>(1 + random.below(40), rows.size() - done);
      batch.list->assign(rows.begin() + done, rows.begin() + done + count);
      EXPECT_EQ(unpack_difference(batch), "");
      const Codes piece = run_unpack(batch).codes;
      pieces.insert(pieces.end(), piece.begin(), piece.end());
      done += count;
    }
    EXPECT_EQ(pieces, whole) << width;
  }
}

TEST(UnpackList, AnEmptyListTakesThePositionFromTheEntryAt0xFFFFFFFF) {
  const ListOfNoRows nothing(0x12345678);
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = random_unpack_batch(width, 10, random);
    batch.raw_list = nothing.rows();
    const UnpackRun run = run_unpack(batch);
    EXPECT_EQ(run.position, 0x12345678u);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
    EXPECT_EQ(run.flags_out, COLX_OUT_UNPACK);
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

TEST(UnpackList, DecompressesOnceUnderItsOwnName) {
  for (const unsigned width : unpack_widths) {
    Random random(width);
    UnpackBatch batch = list_batch(width, 100, {3, 2, 99}, random);
    batch.store = Store::compressed;
    EXPECT_EQ(unpack_difference(batch), "");
    batch.decode_status = 7;
    EXPECT_EQ(unpack_difference(batch), "");
  }
}

}  // namespace
}  // namespace colx::test
