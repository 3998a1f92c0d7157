// Predicates on dynamically packed rows of one to 2, 4 or 8 bytes.
#include "tests/predicate/value_checks.h"

namespace colx::test {
namespace {

using Rows = std::vector<uint32_t>;

constexpr uint64_t all_ones = ~uint64_t{0};

ValueRows repeated(uint32_t count, const ValueRow& row) {
  return ValueRows(count, row);
}

// The longest row of a kernel with this first byte and zeros behind.
ValueRow longest_row(unsigned word_bits, uint8_t first) {
  return {stored({first}), static_cast<uint8_t>(word_bits / 8 - 1)};
}

// --- sweeps

TEST(Dynp, EveryStepEdge) {
  for_each_dynp(false, [](const auto& scan, unsigned word) { check_step_edges(scan, word); });
}

TEST(Dynp, EveryPatternAgainstEveryBound) {
  for_each_dynp(false,
                [](const auto& scan, unsigned word) { check_patterns_and_bounds(scan, word); });
}

TEST(Dynp, EveryCombinationOfConditions) {
  for_each_dynp(false, [](const auto& scan, unsigned word) { check_conditions(scan, word); });
}

// Every length byte there is, in each of the four groups of a step and in the tail.
TEST(Dynp, EveryLengthByteInEveryGroupOfAStep) {
  for (const unsigned word : dynp_words) {
    for (const uint32_t opc : {COLX_OPC_EQ, COLX_OPC_GE_LT}) {
      const ValueScan scan = dynp_scan(opc, word);
      const uint32_t per_byte = 8 / oracle::code_bits(word);
      for (unsigned byte = 0; byte < 256; ++byte) {
        const uint8_t length_byte[] = {static_cast<uint8_t>(byte)};
        ValueRows rows;
        for (uint32_t r = 0; r < 5 * per_byte; ++r) {
          const unsigned other = r / per_byte == byte % 4 || r >= 4 * per_byte;
          const auto code = static_cast<uint8_t>(
              other ? oracle::code_at(length_byte, word, r % per_byte) : r * 3 % (word / 8));
          rows.push_back({0, static_cast<uint8_t>(code % (word / 8))});
          for (unsigned i = 0; i <= rows[r].code; ++i) {
            rows[r].value |= uint64_t{r * 16 + i + 1} % 256 << (56 - 8 * i);
          }
        }
        for (uint32_t r = 0; r < rows.size(); r += 3) {
          const ValueConstant lo = {rows[r].value};
          ASSERT_EQ(value_difference(scan, value_batch(scan, word, rows, lo, {all_ones})), "")
              << "length byte " << byte << " row " << r;
        }
      }
    }
  }
}

// --- the format

TEST(Dynp, FourRowsAt32BitsStoreTenBytesUnderLengthByte1B) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 32);
  ScanBatch batch = value_batch(eq, 32, {}, {});
  batch.set_rows(4);
  batch.aux = {0x1B};
  batch.stream = {0x12, 0x12, 0x34, 0xAA, 0xBB, 0xCC, 0x01, 0x02, 0x03, 0x04};
  const uint64_t values[] = {stored({0x12}), stored({0x12, 0x34}), stored({0xAA, 0xBB, 0xCC}),
                             stored({1, 2, 3, 4})};
  for (uint32_t row = 0; row < 4; ++row) {
    set_value_constants(batch, eq, 0, {values[row]});
    EXPECT_EQ(hits(eq, batch), Rows{row});
  }
}

TEST(Dynp, FourRowsAt32BitsInEachGroupOfAStep) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 32);
  ScanBatch batch = value_batch(eq, 32, {}, {});
  batch.set_rows(16);
  batch.aux = Bytes(4, 0x1B);
  for (int group = 0; group < 4; ++group) {
    batch.stream.insert(batch.stream.end(), {0x12, 0x12, 0x34, 0xAA, 0xBB, 0xCC, 1, 2, 3, 4});
  }
  batch.slack_bytes = 6;
  set_value_constants(batch, eq, 0, {stored({0xAA, 0xBB, 0xCC})});
  EXPECT_EQ(hits(eq, batch), (Rows{2, 6, 10, 14}));
}

TEST(Dynp, TwoRowsAt64BitsStoreFourBytesUnderLengthByte02) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 64);
  ScanBatch batch = value_batch(eq, 64, {}, {stored({0x11})});
  batch.set_rows(2);
  batch.aux = {0x02};
  batch.stream = {0x11, 0x22, 0x33, 0x44};
  EXPECT_EQ(hits(eq, batch), Rows{0});
  set_value_constants(batch, eq, 0, {stored({0x22, 0x33, 0x44})});
  EXPECT_EQ(hits(eq, batch), Rows{1});
}

TEST(Dynp, EightRowsAt16BitsOfWhichTheSecondHasTwoBytesHaveLengthByte40) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 16);
  ScanBatch batch = value_batch(eq, 16, {}, {});
  batch.set_rows(8);
  batch.aux = {0x40};
  batch.stream = {1, 2, 0xEE, 3, 4, 5, 6, 7, 8};
  set_value_constants(batch, eq, 0, {stored({2, 0xEE})});
  EXPECT_EQ(hits(eq, batch), Rows{1});
  set_value_constants(batch, eq, 0, {stored({8})});
  EXPECT_EQ(hits(eq, batch), Rows{7});
}

// --- row counts

TEST(Dynp, NoRowsReadAndWriteNothingAndGiveStatusOne) {
  for_each_dynp(false, [](const auto& scan, unsigned word) {
    ScanBatch batch = value_batch(scan, word, {}, {}, {});
    batch.stream_readable = false;
    batch.src_rows = 100;
    const ScanRun run = run_value_scan(scan, batch);
    ASSERT_EQ(run.status, 1u);
    ASSERT_EQ(run.num_set, 0u);
    ASSERT_EQ(run.bits, (Words{GuardedOutput::dirty_word(0), GuardedOutput::dirty_word(1)}));
    ASSERT_EQ(run.damage, "");
  });
}

// The tail takes rows byte by byte: nothing behind them need be readable.
void check_tail_alone(unsigned word_bits, uint32_t rows) {
  for (const uint32_t opc : predicate_opcs) {
    const ValueScan scan = dynp_scan(opc, word_bits);
    Random random(mixed_seed(opc, rows));
    ScanBatch batch = random_value_batch(scan, word_bits, Pattern::near, rows,
                                         {stored({0x80}), stored({0x81})}, random);
    batch.slack_bytes = 0;
    ASSERT_EQ(value_difference(scan, batch), "");
  }
}

TEST(Dynp, Of31RowsAt16BitsAllAreTestedInTheTail) {
  check_tail_alone(16, 31);
}

TEST(Dynp, Of15RowsAt32BitsAllAreTestedInTheTail) {
  check_tail_alone(32, 15);
}

TEST(Dynp, Of7RowsAt64BitsAllAreTestedInTheTail) {
  check_tail_alone(64, 7);
}

TEST(Dynp, Of17RowsAt32BitsTheLastHasItsCodeInTheTopBitsOfLengthByte4) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 32);
  ValueRows rows = repeated(17, dynp_row({7}));
  rows[16] = dynp_row({1, 2, 3});
  ScanBatch batch = value_batch(eq, 32, rows, {stored({1, 2, 3})});
  ASSERT_EQ(batch.aux, (Bytes{0, 0, 0, 0, 0x80}));
  EXPECT_EQ(hits(eq, batch), Rows{16});
  batch.aux[4] = 0xBF;  // the codes behind the last row's are nobody's
  EXPECT_EQ(hits(eq, batch), Rows{16});
}

TEST(Dynp, BelowOneStepTheOutputIsClearedFromItsFirstByte) {
  for (const unsigned word : dynp_words) {
    const ValueScan scan = dynp_scan(COLX_OPC_GT, word);
    const uint32_t rows = oracle::rows_per_step(scan) - 1;
    const ScanRun run =
        run_value_scan(scan, value_batch(scan, word, repeated(rows, dynp_row({0})), {0}));
    EXPECT_EQ(run.bits, Words{0});
    EXPECT_EQ(run.status, 1u);
  }
}

TEST(Dynp, NeSetsNoBitAtOrPastTheRows) {
  for (const unsigned word : dynp_words) {
    const ValueScan scan = dynp_scan(COLX_OPC_NE, word);
    const ScanRun run =
        run_value_scan(scan, value_batch(scan, word, repeated(131, dynp_row({3})), {stored({4})}));
    EXPECT_EQ(run.bits, (Words{all_ones, all_ones, 7}));
    EXPECT_EQ(run.num_set, 131u);
  }
}

// --- values

TEST(Dynp, Stored12And1200BothEqualConstant1200At16Bits) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 16);
  ValueRows rows;
  for (int i = 0; i < 17; ++i) {
    rows.push_back(dynp_row({0x12}));
    rows.push_back(dynp_row({0x12, 0x00}));
  }
  EXPECT_EQ(hits(eq, 16, rows, {stored({0x12, 0x00})}).size(), 34u);
}

TEST(Dynp, AllRowsAtTheShortestLength) {
  for (const unsigned word : dynp_words) {
    for (const uint32_t opc : predicate_opcs) {
      const ValueScan scan = dynp_scan(opc, word);
      ValueRows rows;
      for (unsigned r = 0; r < 3 * oracle::rows_per_step(scan); ++r) {
        rows.push_back(dynp_row({static_cast<uint8_t>(r * 37)}));
      }
      const ScanBatch batch = value_batch(scan, word, rows, {stored({74})}, {stored({0xB0})});
      ASSERT_EQ(batch.stream.size(), rows.size());
      ASSERT_EQ(value_difference(scan, batch), "");
    }
  }
}

TEST(Dynp, AGroupOf64BitsAtTheShortestLengthTakesTwoBytes) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 64);
  ValueRows rows;
  for (uint8_t r = 0; r < 8; ++r) rows.push_back(dynp_row({r}));
  const ScanBatch batch = value_batch(eq, 64, rows, {stored({5})});
  ASSERT_EQ(batch.stream.size() + batch.slack_bytes, 6u + 16u);
  EXPECT_EQ(hits(eq, batch), Rows{5});
}

TEST(Dynp, AllRowsAtTheLongestLengthGiveTheBitsOfFixedRows) {
  for (const unsigned word : dynp_words) {
    for (const uint32_t opc : predicate_opcs) {
      Random random(mixed_seed(word, opc));
      ValueRows rows =
          pattern_rows(fixed_scan(opc, word), word, Pattern::near, 150, stored({0x80}), random);
      for (ValueRow& row : rows) row.code = static_cast<uint8_t>(word / 8 - 1);
      const ValueConstant lo = {stored({0x80})};
      const ValueConstant hi = {stored({0x80, 1})};
      EXPECT_EQ(hits(dynp_scan(opc, word), word, rows, lo, hi),
                hits(fixed_scan(opc, word), word, rows, lo, hi));
    }
  }
}

TEST(Dynp, StoredFFIsGreaterThan7FFFFFFFAt32Bits) {
  EXPECT_EQ(
      hits(dynp_scan(COLX_OPC_GT, 32), 32, {dynp_row({0xFF}), dynp_row({0x7F, 0xFF, 0xFF, 0xFF})},
           {stored({0x7F, 0xFF, 0xFF, 0xFF})}),
      Rows{0});
}

TEST(Dynp, OrderIsUnsignedAcrossTheTopBitInStepAndTail) {
  for (const unsigned word : dynp_words) {
    ValueRows rows;
    for (int i = 0; i < 33; ++i) {
      rows.push_back(dynp_row({0x80}));
      rows.push_back(longest_row(word, 0x7F));
    }
    EXPECT_EQ(hits(dynp_scan(COLX_OPC_GT, word), word, rows, {stored({0x7F})}).size(), 33u);
    EXPECT_EQ(hits(dynp_scan(COLX_OPC_LE, word), word, rows, {stored({0x7F})}).size(), 33u);
  }
}

// --- a nibble of 8 or more

// 8 rows of a step, `length_byte` in the second group, whose 16 bytes are all ones.
ScanBatch batch_with_length_byte(const ValueScan& scan, uint8_t length_byte, ValueConstant lo) {
  ScanBatch batch = value_batch(scan, 64, {}, lo);
  batch.set_rows(8);
  batch.aux = {0x00, length_byte, 0x00, 0x00};
  batch.stream = {1, 2};
  batch.stream.insert(batch.stream.end(), 16, 0xFF);
  batch.stream.insert(batch.stream.end(), {3, 4, 5, 6});
  batch.slack_bytes = 14;
  return batch;
}

TEST(Dynp, ANibbleOf8OrMoreZeroesBothRowsOfItsGroupAndTakes16Bytes) {
  const ValueScan eq = dynp_scan(COLX_OPC_EQ, 64);
  for (const uint8_t length_byte : {0x08, 0x80, 0x88, 0x8F, 0xF0, 0x0F, 0x79, 0x97, 0xFF}) {
    EXPECT_EQ(hits(eq, batch_with_length_byte(eq, length_byte, {0})), (Rows{2, 3}));
    EXPECT_EQ(hits(eq, batch_with_length_byte(eq, length_byte, {stored({3})})), Rows{4});
    EXPECT_EQ(hits(eq, batch_with_length_byte(eq, length_byte, {stored({6})})), Rows{7});
  }
}

// --- what is not read

TEST(Dynp, NoWidthIsReadAndItsPlaceMayBeNull) {
  for_each_dynp(false, [](const auto& scan, unsigned word) {
    const ScanBatch batch =
        value_batch(scan, word, repeated(70, dynp_row({7})), {stored({7})}, {stored({7})});
    ASSERT_EQ(batch.args.size(), 1u);  // the array ends behind its first entry
    ScanStage& stage = scan_stage();
    stage.set(batch);
    const void* const with_nulls[] = {stage.args[0], nullptr, nullptr, nullptr};
    stage.args = with_nulls;
    ASSERT_EQ(stage.call(value_kernel(scan)).damage, "");
  });
}

TEST(Dynp, DataEnds16BytesFromTheLastGroupsStartAndLengthsEndAtOnce) {
  for_each_dynp(false, [](const auto& scan, unsigned word) {
    const uint32_t per_byte = 8 / oracle::code_bits(word);
    for (uint32_t steps = 1; steps <= 3; ++steps) {
      const uint32_t rows = steps * oracle::rows_per_step(scan);
      const ScanBatch batch =
          value_batch(scan, word, repeated(rows, dynp_row({7})), {stored({7})}, {stored({7})});
      ASSERT_EQ(batch.stream.size() + batch.slack_bytes, rows - per_byte + 16);
      ASSERT_EQ(batch.aux.size(), 4 * steps);
      ASSERT_EQ(batch.aux_slack_bytes, 0u);
      ASSERT_EQ(value_difference(scan, batch), "");
    }
  });
}

// --- names

TEST(Dynp, OnlyTheDataAreDecompressedAndTheTextsBearTheKernelsName) {
  for (const unsigned word : dynp_words) {
    const ValueScan scan = dynp_scan(COLX_OPC_LT, word);
    ScanBatch batch = value_batch(scan, word, repeated(70, dynp_row({7})), {stored({8})});
    batch.store = Store::compressed;
    batch.decode_status = 3;
    ASSERT_EQ(value_difference(scan, batch), "");
    const std::string name = "colx_lt_dynp_" + std::to_string(word) + "bit";
    EXPECT_EQ(scan_stage().host.cached_allocations.size(), 1u);
    EXPECT_EQ(scan_stage().host.cached_allocations.at(0).label, name + ": vec1_decomp");
    EXPECT_EQ(scan_stage().host.raised.at(0).text, name + ": colx_wpak_decode failed");
  }
}

}  // namespace
}  // namespace colx::test
