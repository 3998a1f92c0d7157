// The selective twins of the predicates on dynamically packed rows, plain and with ties: they walk
// the length stream once, skip groups by table and decode selected rows alone.
#include "tests/predicate/twin_checks.h"

namespace colx::test {
namespace {

using Rows = std::vector<uint32_t>;

template <class Body>
void for_each_twin(Body body) {
  for (const bool tz : {false, true}) for_each_dynp(tz, body);
}

uint32_t rows_per_group(const ValueScan& scan) {
  return 8 / oracle::code_bits(scan.word_bits);
}

TEST(DynpSelective, EveryStepEdge) {
  for_each_twin([](const ValueScan& scan, unsigned word) {
    check_step_edges(scan, word, COLX_KCTX_SELECTIVE);
  });
}
TEST(DynpSelective, EveryRowAloneIsTestedAtItsPlace) {
  for_each_twin(check_every_row_alone);
}
TEST(DynpSelective, FullScanWithSelectionAndTwinAgree) {
  for_each_twin(check_twin_against_full_scan);
}
TEST(DynpSelective, EmptySelectionClearsTheOutputSetsTheFlagAndGivesStatusOne) {
  for_each_twin(check_empty_selection);
}
TEST(DynpSelective, SelectionsOfEverySize) {
  for_each_twin(check_sizes_of_selection);
}
TEST(DynpSelective, SelectedBitsAtOrAboveTheRowsAreIgnored) {
  for_each_twin(check_selection_beyond_the_rows);
}
TEST(DynpSelective, NoRowsReadNothing) {
  for_each_twin(check_no_rows);
}
TEST(DynpSelective, RowsAreTheSourcesBitsTheResultsAndRunsAreNotConsulted) {
  for_each_twin(check_rows_of_source_and_bits_of_result);
}
TEST(DynpSelective, NullsVectorIsTheOnlyAnd) {
  for_each_twin(check_nulls_are_the_only_and);
}
TEST(DynpSelective, TextsBearThePlainKernelsName) {
  for_each_twin(check_texts_of_the_plain_name);
}
TEST(DynpSelective, OutputFlagIsOredIn) {
  for_each_twin(check_output_flag_is_ored_in);
}

// --- the walk

TEST(DynpSelective, OneSelectedRowInTheLastGroup) {
  for (const unsigned word : dynp_words) {
    const ValueScan eq = dynp_scan(COLX_OPC_EQ, word);
    Random random(word);
    ValueRows rows = pattern_rows(eq, word, Pattern::random, 128, 0, random);
    rows[127] = dynp_row({0xAB, 0xCD});
    const ScanBatch batch = value_batch(eq, word, rows, {stored({0xAB, 0xCD})});
    EXPECT_EQ(hits(eq, walked(batch, {0, uint64_t{1} << 63})), Rows{127});
  }
}

TEST(DynpSelective, TwoSelectedRowsInOneGroup) {
  for (const unsigned word : dynp_words) {
    const ValueScan eq = dynp_scan(COLX_OPC_EQ, word);
    const uint32_t group = rows_per_group(eq);
    for (uint32_t first = 0; first + 1 < group; ++first) {
      for (uint32_t second = first + 1; second < group; ++second) {
        Random random(mixed_seed(word, first * 8 + second));
        ValueRows rows = pattern_rows(eq, word, Pattern::random, 5 * group, 0, random);
        rows[3 * group + first] = rows[3 * group + second] = dynp_row({0xAB, 0xCD});
        const uint64_t both = (uint64_t{1} << first | uint64_t{1} << second) << 3 * group;
        const ScanBatch batch = value_batch(eq, word, rows, {stored({0xAB, 0xCD})});
        EXPECT_EQ(hits(eq, walked(batch, {both})), (Rows{3 * group + first, 3 * group + second}));
      }
    }
  }
}

TEST(DynpSelective, EveryLengthByteIsSkippedAndWalkedInto) {
  for (const bool tz : {false, true}) {
    for (const unsigned word : dynp_words) {
      const ValueScan scan = dynp_scan(COLX_OPC_GE_LE, word, tz);
      const uint32_t group = rows_per_group(scan);
      for (unsigned byte = 0; byte < 256; ++byte) {
        const uint8_t length_byte[] = {static_cast<uint8_t>(byte)};
        ValueRows rows;
        for (uint32_t r = 0; r < 3 * group; ++r) {
          const unsigned code = oracle::code_at(length_byte, word, r % group) % (word / 8);
          rows.push_back({~uint64_t{0} << (56 - 8 * code) & (0x0101010101010101 * (r + 1)),
                          static_cast<uint8_t>(code)});
        }
        const uint64_t selected = (uint64_t{1} << (2 * group - 1)) | uint64_t{1} << 2 * group |
                                  uint64_t{1} << (3 * group - 1);
        const ValueConstant at = {rows[2 * group].value, rows[2 * group].code};
        const ScanBatch batch = value_batch(scan, word, rows, at, at);
        ASSERT_EQ(value_difference(scan, walked(batch, {selected})), "") << byte;
      }
    }
  }
}

// --- what is not read

// The data of all groups but the selected row's lie in unreadable pages.
TEST(DynpSelective, DataOfGroupsBeforeTheSelectedOneAreNotRead) {
  for_each_twin([](const ValueScan& scan, unsigned word) {
    const uint32_t group = rows_per_group(scan);
    const uint32_t row = 20 * group + 1;  // in the middle of a group
    Words selection(words_of(24 * group), 0);
    selection[row / 64] = uint64_t{1} << row % 64;
    ScanBatch batch = walked_equal_rows(scan, word, 24 * group, selection);  // two bytes each
    batch.edge = Edge::begin;
    batch.stream = Bytes(batch.stream.begin() + 2 * 20 * group, batch.stream.end());
    batch.skipped_bytes = 2 * 20 * group;
    const ScanRun run = run_value_scan(scan, batch);
    ASSERT_EQ(run.bits, is_closed(scan) ? selection : Words(selection.size(), 0));
  });
}

TEST(DynpSelective, DataAndLengthsOfGroupsBehindTheLastSelectedOneAreNotRead) {
  for_each_twin([](const ValueScan& scan, unsigned word) {
    const uint32_t group = rows_per_group(scan);
    const uint32_t row = 4 * group + 1;
    ScanBatch batch = walked_equal_rows(scan, word, 24 * group, Words(words_of(24 * group), 0));
    (*batch.selection)[row / 64] = uint64_t{1} << row % 64;
    batch.stream.resize(2 * 4 * group);
    batch.stream.insert(batch.stream.end(), {0x21, 0, 0x21, 0});
    batch.slack_bytes = 16 - 4;  // 16 bytes from the group's start
    batch.aux.resize(5);
    batch.aux_slack_bytes = 0;
    const Words selection = *batch.selection;
    ASSERT_EQ(run_value_scan(scan, batch).bits,
              is_closed(scan) ? selection : Words(selection.size(), 0));
  });
}

TEST(DynpSelective, EmptySelectionReadsNoDataAndNoLengths) {
  for_each_twin([](const ValueScan& scan, unsigned word) {
    ScanBatch batch = walked_equal_rows(scan, word, 100, {0, 0});
    batch.stream_readable = false;
    batch.aux.resize(1);
    batch.aux_slack_bytes = 0;
    ASSERT_EQ(run_value_scan(scan, batch).num_set, 0u);
  });
}

TEST(DynpSelective, WithTiesNothingBehindTheLastLengthIsRead) {
  for_each_twin([](const ValueScan& scan, unsigned word) {
    ScanBatch batch = walked_equal_rows(scan, word, 128, {all_rows, all_rows});
    batch.aux_slack_bytes = 0;
    ASSERT_EQ(value_difference(scan, batch), "");
  });
}

TEST(DynpSelective, ASkippedGroupWithANibbleOf8OrMoreTakes16Bytes) {
  for (const bool tz : {false, true}) {
    const ValueScan eq = dynp_scan(COLX_OPC_EQ, 64, tz);
    for (const uint8_t length_byte : {0x08, 0x80, 0x88, 0xFF}) {
      ScanBatch batch = value_batch(eq, 64, {}, {});
      batch.set_rows(6);
      batch.aux = {0x00, length_byte, 0x00};
      batch.stream = {1, 2};
      batch.stream.insert(batch.stream.end(), 16, 0xFF);
      batch.stream.insert(batch.stream.end(), {3, 4});
      batch.slack_bytes = 14;
      set_value_constants(batch, eq, 0, {stored({4}), 0});
      EXPECT_EQ(hits(eq, walked(batch, {0b110011})), Rows{5});
    }
  }
}

// --- the twins by their own names

TEST(DynpSelective, ThereAre60DistinctTwins) {
  EXPECT_EQ(distinct_twins("_dynp_"), 60u);
}

TEST(DynpSelective, ATwinCalledByItsOwnNameWalksWithoutFlag2) {
  check_twins_by_name("_dynp_");
}

}  // namespace
}  // namespace colx::test
