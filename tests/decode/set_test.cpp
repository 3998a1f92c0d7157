// Set kernels: the rows whose code is in a table of wanted codes, scanned whole or by a selection.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <algorithm>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/support/code_patterns.h"
#include "tests/support/row_counts.h"
#include "tests/support/set_batch.h"
#include "tests/support/unpack_stage.h"

namespace colx::test {
namespace {

// Widths of `set` are those of `decode_unpack`.
constexpr auto& set_widths = unpack_widths;

// Codes stay below this where a table for all of them would be large.
constexpr uint64_t widest_table = 1 << 15;

uint64_t codes_below(unsigned width) {
  return std::min(top_code(width) + 1, widest_table);
}

std::vector<uint64_t> random_codes(unsigned width, uint32_t rows, Random& random) {
  std::vector<uint64_t> codes(rows);
  for (uint64_t& code : codes) code = random.below(codes_below(width));
  return codes;
}

Words random_table(const std::vector<uint64_t>& codes, unsigned sparsity, Random& random) {
  const uint64_t largest = codes.empty() ? 0 : *std::max_element(codes.begin(), codes.end());
  return random.words(largest / 64 + 1, sparsity);
}

ScanBatch random_batch(unsigned width, uint32_t rows, Random& random) {
  const std::vector<uint64_t> codes = random_codes(width, rows, random);
  return set_batch(width, codes, random_table(codes, 1, random));
}

// Rows of a block.
uint32_t block_rows(unsigned width) {
  if (width == 1) return 128;
  return width <= 10 || width == 12 || width == 16 ? 32 : 16;
}

TEST(Set, EveryRowCountAtBothEdgesOfAPage) {
  for (const unsigned width : set_widths) {
    Random random(width);
    for (const uint32_t rows : row_counts(block_rows(width))) {
      ScanBatch batch = random_batch(width, rows, random);
      for (const Place place : {Place::end, Place::begin, Place::middle}) {
        batch.place = place;
        batch.edge = place == Place::begin ? Edge::begin : Edge::end;
        EXPECT_EQ(set_difference(width, batch), "");
      }
    }
  }
}

TEST(Set, FewAndManyWantedCodes) {
  for (const unsigned width : set_widths) {
    Random random(width);
    const std::vector<uint64_t> codes = random_codes(width, 500, random);
    for (const unsigned sparsity : {1u, 2u, 4u, 8u}) {
      Words table = random_table(codes, sparsity, random);
      EXPECT_EQ(set_difference(width, set_batch(width, codes, table)), "");
      for (uint64_t& word : table) word = ~word;
      EXPECT_EQ(set_difference(width, set_batch(width, codes, table)), "");
    }
  }
}

// One row alone holds the wanted code, at every place of a block and of the rows behind it.
TEST(Set, EveryPlaceOfABlock) {
  for (const unsigned width : set_widths) {
    const uint64_t wanted = std::min<uint64_t>(top_code(width), 200);
    for (uint32_t row = 0; row < 3 * block_rows(width) + 8; ++row) {
      std::vector<uint64_t> codes(3 * block_rows(width) + 8, 0);
      codes[row] = wanted;
      const ScanRun run =
          run_set(width, set_batch(width, codes, code_table(std::vector{wanted}, wanted)));
      EXPECT_EQ(run.num_set, 1u) << width;
      EXPECT_TRUE(oracle::bit_at(run.bits.data(), row)) << width << ", row " << row;
    }
  }
}

TEST(Set, EveryCodeOfNarrowWidthsAlone) {
  for (unsigned width = 1; width <= 10; ++width) {
    std::vector<uint64_t> codes;
    for (uint64_t code = 0; code <= top_code(width); ++code) codes.push_back(code);
    for (uint64_t wanted = 0; wanted <= top_code(width); ++wanted) {
      const Words table = code_table(std::vector{wanted}, top_code(width));
      EXPECT_EQ(set_difference(width, set_batch(width, codes, table)), "");
    }
  }
}

TEST(Set, TheTableHasABitForTheLargestCodeOf20Bits) {
  std::vector<uint64_t> codes(70, 0x12345);
  codes[3] = codes[69] = 0xFFFFF;
  const Words table = code_table(std::vector<uint64_t>{0xFFFFF}, 0xFFFFF);
  EXPECT_EQ(run_set(20, set_batch(20, codes, table)).bits, (Words{8, 32}));
}

TEST(Set, TheTableHasABitForTheLargestCodeOf24Bits) {
  std::vector<uint64_t> codes(70, 0x12345);
  codes[3] = codes[69] = 0xFFFFFF;
  const Words table = code_table(std::vector<uint64_t>{0xFFFFFF}, 0xFFFFFF);
  EXPECT_EQ(run_set(24, set_batch(24, codes, table)).bits, (Words{8, 32}));
}

// A table for all 32-bit codes has half a gigabyte; of this one few pages are more than reserved.
TEST(Set, TheTableHasABitForTheLargestCodeOf32Bits) {
  constexpr size_t bytes = size_t{1} << 29;
  void* const reserved = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(reserved, MAP_FAILED);
  auto* const table = static_cast<uint64_t*>(reserved);
  table[0xFFFFFFFF / 64] = uint64_t{1} << 63;
  table[0x80000000 / 64] = 1;
  std::vector<uint64_t> codes(70, 0x12345);
  codes[3] = codes[68] = 0xFFFFFFFF;
  codes[4] = codes[69] = 0x80000000;
  ScanStage& stage = scan_stage();
  stage.set(set_batch(32, codes, Words{0}));
  colx_cv table_vector = {};
  table_vector.colx_cv_bits = table;
  const auto kernel = reinterpret_cast<colx_binary_fn>(set_kernel(32).kernel);
  EXPECT_EQ(kernel(&stage.res, &stage.src, &table_vector, nullptr), COLX_DONE);
  EXPECT_EQ(stage.res.colx_cv_bits[0], 0x18u);
  EXPECT_EQ(stage.res.colx_cv_bits[1], 0x30u);
  munmap(reserved, bytes);
}

TEST(Set, ATableWithNoBitSetFindsNothing) {
  for (const unsigned width : set_widths) {
    Random random(width);
    const std::vector<uint64_t> codes = random_codes(width, 200, random);
    const ScanRun run = run_set(width, set_batch(width, codes, Words(widest_table / 64, 0)));
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
    EXPECT_EQ(run.bits, (Words{0, 0, 0, 0}));
  }
}

TEST(Set, OfNoRowsFindsNothingAndWritesNothing) {
  for (const unsigned width : set_widths) {
    for (const uint64_t wanted : {0, 1, 2, 3}) {
      const ScanBatch batch = set_batch(width, {}, Words{wanted});
      EXPECT_EQ(run_set(width, batch).status, COLX_NOTHING_FOUND);
      EXPECT_EQ(set_difference(width, batch), "");
    }
  }
}

TEST(Set, ThirtyOneRowsOf3BitCodesAreAllTail) {
  Random random(3);
  EXPECT_EQ(set_difference(3, random_batch(3, 31, random)), "");
}

TEST(Set, A17BitCodeFromBit7OfAByteIsLookedUp) {
  for (const uint32_t rows : {8u, 64u}) {  // by the tail, by a block
    std::vector<uint64_t> codes(rows, 0);
    codes[7] = 0x1FFFF;
    const Words table = code_table(std::vector<uint64_t>{0x1FFFF}, 0x1FFFF);
    EXPECT_EQ(run_set(17, set_batch(17, codes, table)).bits, Words{0x80});
  }
}

TEST(Set, A19BitCodeThatSpansFourBytesIsLookedUp) {
  for (const uint32_t rows : {8u, 64u}) {
    std::vector<uint64_t> codes(rows, 0);
    codes[5] = 0x7FFFF;
    const Words table = code_table(std::vector<uint64_t>{0x7FFFF}, 0x7FFFF);
    EXPECT_EQ(run_set(19, set_batch(19, codes, table)).bits, Words{0x20});
  }
}

// Bits of the table above the codes of a narrow width are nobody's.
TEST(Set, BitsAboveTheCodesMeanNothing) {
  for (unsigned width = 1; width <= 5; ++width) {
    Random random(width);
    const std::vector<uint64_t> codes = random_codes(width, 200, random);
    for (const uint64_t wanted : {0, 1, 2, 3}) {
      const uint64_t above = ~uint64_t{0} << (uint64_t{1} << width);
      EXPECT_EQ(run_set(width, set_batch(width, codes, Words{wanted | above})).bits,
                run_set(width, set_batch(width, codes, Words{wanted})).bits);
    }
  }
}

TEST(SetOneBit, BothCodesWantedFillWholeWords) {
  ScanBatch batch = set_batch(1, std::vector<uint64_t>(70, 0), Words{3});
  batch.stream_readable = false;
  const ScanRun run = run_set(1, batch);
  EXPECT_EQ(run.bits, (Words{~0ull, ~0ull}));
  EXPECT_EQ(run.num_set, 70u);
  EXPECT_EQ(run.status, COLX_DONE);
}

TEST(SetOneBit, NoCodeWantedClearsWithoutLookingAtTheRows) {
  ScanBatch batch = set_batch(1, std::vector<uint64_t>(70, 0), Words{~3ull});
  batch.stream_readable = false;
  const ScanRun run = run_set(1, batch);
  EXPECT_EQ(run.bits, (Words{0, 0}));
  EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
}

TEST(SetOneBit, CodeOneIsTheStreamReversedInEachByte) {
  ScanBatch batch = set_batch(1, std::vector<uint64_t>(70, 0), Words{2});
  batch.stream = {0x80, 0x01, 0xC0, 0x35, 0, 0, 0, 0xFF, 0xFF};
  EXPECT_EQ(run_set(1, batch).bits, (Words{0xFF000000AC038001, 0x3F}));
  EXPECT_EQ(run_set(1, batch).num_set, 1u + 1 + 2 + 4 + 8 + 6);
}

TEST(SetOneBit, CodeZeroLeavesTheBitsAboveTheRowsSet) {
  ScanBatch batch = set_batch(1, std::vector<uint64_t>(70, 1), Words{1});
  EXPECT_EQ(run_set(1, batch).bits, (Words{0, ~0ull << 6}));
  EXPECT_EQ(run_set(1, batch).num_set, 0u);
  EXPECT_EQ(run_set(1, batch).status, COLX_NOTHING_FOUND);
}

TEST(SetOneBit, TheTwinWithBothCodesWantedCopiesWholeWordsOfTheSelection) {
  ScanBatch batch = set_batch(1, std::vector<uint64_t>(70, 0), Words{3});
  batch.selection = Words{0x123456789ABCDEF0, 0xFFFFFFFFFFFFFFC5};
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  batch.stream_readable = false;
  const ScanRun run = run_set(1, batch);
  EXPECT_EQ(run.bits, *batch.selection);
  EXPECT_EQ(run.num_set, 32u + 2);
  EXPECT_EQ(run.flags_out, COLX_OUT_SET);
  EXPECT_EQ(set_difference(1, batch), "");
}

TEST(SetOneBit, TheTwinWithNoCodeWantedClears) {
  ScanBatch batch = set_batch(1, std::vector<uint64_t>(70, 0), Words{0});
  batch.selection = Words{~0ull, ~0ull};
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  batch.stream_readable = false;
  const ScanRun run = run_set(1, batch);
  EXPECT_EQ(run.bits, (Words{0, 0}));
  EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
  EXPECT_EQ(run.flags_out, COLX_OUT_SET);
}

TEST(SetOneBit, EveryTableWithAndWithoutASelection) {
  Random random(8);
  for (const uint32_t rows : row_counts(128)) {
    for (const uint64_t wanted : {0, 1, 2, 3}) {
      ScanBatch batch = set_batch(1, random_codes(1, rows, random), Words{wanted});
      EXPECT_EQ(set_difference(1, batch), "");
      batch.selection = random.words(std::max(words_of(rows), 1u));
      EXPECT_EQ(set_difference(1, batch), "");
      batch.kctx_flags = COLX_KCTX_SELECTIVE;
      EXPECT_EQ(set_difference(1, batch), "");
    }
  }
}

TEST(SetFrame, NullsAreIgnored) {
  for (const unsigned width : set_widths) {
    Random random(width);
    ScanBatch batch = random_batch(width, 200, random);
    batch.nulls = Words(4, 0);
    EXPECT_EQ(set_difference(width, batch), "");
    batch.selection = random.words(4);
    batch.kctx_flags = COLX_KCTX_SELECTIVE;
    EXPECT_EQ(set_difference(width, batch), "");
  }
}

TEST(SetFrame, ASelectionWithoutTheSelectiveFlagIsAndedAtTheEnd) {
  for (const unsigned width : set_widths) {
    Random random(width);
    ScanBatch batch = random_batch(width, 200, random);
    const ScanRun whole = run_set(width, batch);
    batch.selection = random.words(4);
    const ScanRun run = run_set(width, batch);
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(run.bits[i], whole.bits[i] & (*batch.selection)[i]);
    EXPECT_EQ(run.flags_out, COLX_OUT_SET);
    EXPECT_EQ(set_difference(width, batch), "");
  }
}

TEST(SetFrame, WithoutASelectionNoOutputFlagIsSet) {
  for (const unsigned width : set_widths) {
    Random random(width);
    ScanBatch batch = random_batch(width, 100, random);
    batch.kctx_flags = COLX_KCTX_SELECTIVE;
    EXPECT_EQ(run_set(width, batch).flags_out, 0u);
    batch.with_kctx = false;
    EXPECT_EQ(set_difference(width, batch), "");
  }
}

TEST(SetTwin, GivesTheBitsAndTheCountOfTheWholeScan) {
  for (const unsigned width : set_widths) {
    if (width == 1) continue;  // the one-bit forms differ above the rows, see SetOneBit
    Random random(width);
    for (const unsigned sparsity : {1u, 2u, 5u}) {
      ScanBatch batch = random_batch(width, 300, random);
      batch.selection = random.words(words_of(300), sparsity);
      const ScanRun whole = run_set(width, batch);
      batch.kctx_flags = COLX_KCTX_SELECTIVE;
      const ScanRun twin = run_set(width, batch);
      EXPECT_EQ(twin.bits, whole.bits);
      EXPECT_EQ(twin.num_set, whole.num_set);
      EXPECT_EQ(twin.status, whole.status);
      EXPECT_EQ(set_difference(width, batch), "");
    }
  }
}

TEST(SetTwin, NumbersOfSelectedRowsAroundABatchOfEight) {
  for (const unsigned width : set_widths) {
    Random random(width);
    for (const uint32_t selected : {0u, 1u, 7u, 8u, 9u, 15u, 16u, 17u, 100u}) {
      ScanBatch batch = random_batch(width, 300, random);
      batch.selection = Words(5, 0);
      for (uint32_t i = 0; i < selected; ++i) {
        (*batch.selection)[3 * i / 64] |= uint64_t{1} << 3 * i % 64;
      }
      batch.kctx_flags = COLX_KCTX_SELECTIVE;
      EXPECT_EQ(set_difference(width, batch), "");
    }
  }
}

TEST(SetTwin, SetsItsFlagOnEntryAndReturnsNothingFoundForAnEmptySelection) {
  for (const unsigned width : set_widths) {
    Random random(width);
    ScanBatch batch = random_batch(width, 100, random);
    batch.selection = Words{0, 0};
    batch.kctx_flags = COLX_KCTX_SELECTIVE;
    const ScanRun run = run_set(width, batch);
    EXPECT_EQ(run.flags_out, COLX_OUT_SET);
    EXPECT_EQ(run.status, COLX_NOTHING_FOUND);
    EXPECT_EQ(run.num_set, 0u);
    EXPECT_EQ(run.bits, (Words{0, 0}));
  }
}

TEST(SetRuns, BitsLandPerRunAndTheStatusIsTheCallbacks) {
  for (const unsigned width : set_widths) {
    Random random(width);
    ScanBatch batch = random_batch(width, 150, random);
    batch.run_length = true;
    batch.res_rows = 1000;
    batch.src_rows = 1000;
    batch.expand_status = 77;
    EXPECT_EQ(run_set(width, batch).status, 77u);
    EXPECT_EQ(set_difference(width, batch), "");
    batch.selection = random.words(3);
    EXPECT_EQ(set_difference(width, batch), "");
  }
}

TEST(SetRuns, TheTwinTakesNoNoticeOfRuns) {
  for (const unsigned width : set_widths) {
    Random random(width);
    ScanBatch batch = random_batch(width, 150, random);
    batch.run_length = true;
    batch.run_rows = 20;
    batch.res_rows = 7;
    batch.selection = random.words(3);
    batch.kctx_flags = COLX_KCTX_SELECTIVE;
    batch.expand_status = 77;
    EXPECT_NE(run_set(width, batch).status, 77u);
    EXPECT_EQ(set_difference(width, batch), "");
  }
}

TEST(SetCompressed, DecompressesOnceUnderTheNameOfTheKernelAlsoInTheTwin) {
  for (const unsigned width : set_widths) {
    Random random(width);
    ScanBatch batch = random_batch(width, 150, random);
    if (width == 1) batch.code_table = Words{2};
    batch.selection = random.words(3);
    for (const Store store : {Store::compressed, Store::decompressed}) {
      for (const uint32_t flags : {uint32_t{0}, uint32_t{COLX_KCTX_SELECTIVE}}) {
        for (const uint32_t decode_status : {0, 4}) {
          batch.store = store;
          batch.kctx_flags = flags;
          batch.decode_status = decode_status;
          EXPECT_EQ(set_difference(width, batch), "");
        }
      }
    }
  }
}

// As the predicates on one-bit codes do, also where nobody looks at the rows afterwards.
TEST(SetCompressed, OneBitColumnsAreDecompressedFirstInAnyCase) {
  Random random(9);
  for (const uint64_t wanted : {0, 1, 2, 3}) {
    ScanBatch batch = set_batch(1, random_codes(1, 150, random), Words{wanted});
    batch.store = Store::compressed;
    EXPECT_EQ(set_difference(1, batch), "");
    batch.selection = random.words(3);
    batch.kctx_flags = COLX_KCTX_SELECTIVE;
    EXPECT_EQ(set_difference(1, batch), "");
  }
}

TEST(SetCompressed, TheTextsOfA3BitColumn) {
  Random random(3);
  ScanBatch batch = random_batch(3, 10, random);
  batch.store = Store::compressed;
  batch.decode_status = 1;
  run_set(3, batch);
  const RecordingHost& host = scan_stage().host;
  EXPECT_EQ(host.cached_allocations.at(0).label, "colx_set_dict_3bit: vec1_decomp");
  EXPECT_EQ(host.raised.at(0).text, "colx_set_dict_3bit: colx_wpak_decode failed");
}

}  // namespace
}  // namespace colx::test
