// gather: every kernel at every form of store, result and index, and what the forms keep on
// purpose.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/oracle/native_numbers.h"
#include "tests/support/crash_note.h"
#include "tests/support/gather_stage.h"

namespace colx::test {
namespace {

using oracle::GatherForm;
using oracle::GatherIndex;
using oracle::GatherResult;
using oracle::GatherStore;
using oracle::native_at;

constexpr GatherStore stores[] = {GatherStore::lp, GatherStore::dlp, GatherStore::cla};
constexpr uint32_t row_edges[] = {0, 1, 2, 7, 15, 16, 17, 31, 32, 33, 48, 65};

Bytes text(const char* letters) {
  return Bytes(letters, letters + std::strlen(letters));
}

// Rows of 8-byte indices into one page of these values.
GatherBatch batch_of(GatherStore store, GatherResult result, std::vector<Bytes> values,
                     std::vector<uint64_t> indices) {
  GatherBatch batch;
  batch.form = {store, result, GatherIndex::fixed_8};
  batch.pages = {std::move(values)};
  batch.indices = std::move(indices);
  batch.capacity = 1000;
  return batch;
}

const uint8_t* data_of_result() {
  return gather_stage().data.begin();
}
uint64_t length_of(size_t row) {
  return native_at(gather_stage().aux.begin() + 2 * row, 2);
}

TEST(Gather, EveryKernelAtEveryRowCount) {
  for (const GatherKernel& kernel : gather_kernels()) {
    EXPECT_EQ(oracle::gather_name(kernel.form), kernel.name);
    Random random(1);
    for (const uint32_t rows : row_edges) {
      for (const Place place : {Place::end, Place::begin, Place::middle}) {
        GatherBatch batch = random_gather_batch(kernel.form, rows, random);
        batch.place = place;
        batch.edge = rows % 2 == 0 ? Edge::begin : Edge::end;
        ASSERT_EQ(gather_difference(batch), "");
      }
    }
  }
}

TEST(Gather, EveryKernelWithTooLittleRoomFromAnyRow) {
  for (const GatherKernel& kernel : gather_kernels()) {
    Random random(2);
    for (int i = 0; i < 40; ++i) {
      GatherBatch batch = random_gather_batch(kernel.form, 40, random);
      batch.capacity = random.below(batch.capacity + 1);
      batch.position = static_cast<uint32_t>(random.below(42));
      ASSERT_EQ(gather_difference(batch), "") << "batch " << i;
    }
  }
}

TEST(Gather, ManyRowsOfEveryKernel) {
  for (const GatherKernel& kernel : gather_kernels()) {
    Random random(3);
    ASSERT_EQ(gather_difference(random_gather_batch(kernel.form, 1500, random)), "");
  }
}

TEST(Gather, APositionAtOrPastTheRowsRunsNoneAndBecomesTheRowCount) {
  for (const GatherKernel& kernel : gather_kernels()) {
    Random random(4);
    GatherBatch batch = random_gather_batch(kernel.form, 20, random);
    for (const uint32_t position : {20u, 21u, 0x80000000u, 0xFFFFFFFFu}) {
      batch.position = position;
      EXPECT_EQ(run_gather(batch).status, COLX_DONE);
      EXPECT_EQ(gather_stage().kctx.colx_kctx_position, 20u);
      EXPECT_EQ(gather_difference(batch), "");
    }
  }
}

TEST(Gather, ThreeNamesFromEachStore) {
  for (const GatherStore store : stores) {
    GatherBatch batch =
        batch_of(store, GatherResult::lv, {text("Ann"), text(""), text("Zoe B")}, {2, 0, 1, 2});
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    const uint8_t expected[] = {5,   0, 'Z', 'o', 'e', ' ', 'B', 3,   0,   'A', 'n',
                                'n', 0, 0,   5,   0,   'Z', 'o', 'e', ' ', 'B'};
    EXPECT_EQ(std::memcmp(data_of_result(), expected, sizeof expected), 0);
  }
}

TEST(Gather, AFixedResultStopsBeforeItsLastPartialValue) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::fixed, {text("12345678")}, {0, 0, 0, 0, 0});
    batch.value_bits = 32;
    batch.capacity = 15;
    const GatherRun run = run_gather(batch);
    EXPECT_EQ(run.status, COLX_OUT_OF_ROOM);
    EXPECT_EQ(run.position, 3u);
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, AFixedResultCutsLongValuesAndFillsShortOnesWithTheBytesBehind) {
  for (const GatherStore store : stores) {
    GatherBatch batch =
        batch_of(store, GatherResult::fixed, {text("long value"), text("s"), text("next")}, {0, 1});
    batch.value_bits = 40;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(std::memcmp(data_of_result(), "long snext", 10), 0);
  }
}

TEST(Gather, FixedValuesOfLessThanAByteTakeNoRoom) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::fixed, {text("value")}, {0, 0});
    batch.value_bits = 7;
    batch.capacity = 0;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, AShiftOf64TakesTheIndexWholeWhateverTheHighestPageBit) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::lv, {}, {299, 3});
    batch.pages[0].assign(300, text("x"));
    for (const uint8_t page_hi : {0, 1, 7, 62, 63}) {
      batch.page_hi = page_hi;
      EXPECT_EQ(run_gather(batch).status, COLX_DONE);
      EXPECT_EQ(gather_difference(batch), "");
    }
  }
}

TEST(Gather, AShiftOf0MakesEveryIndexAPage) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::lv, {}, {2, 0, 1});
    batch.page_shift = 0;
    batch.pages = {{text("a")}, {text("b")}, {text("c")}};
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(std::memcmp(data_of_result(), "\1\0c\1\0a\1\0b", 9), 0);
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, EntriesAreNotCutByTheHighestPageBit) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::lv, {}, {15, 4});
    batch.page_shift = 4;
    batch.page_hi = 1;  // no bit is left for the page: all entries are of page 0
    batch.pages = {{}, {}};
    for (char letter = 'a'; letter < 'a' + 16; ++letter) batch.pages[0].push_back(Bytes(1, letter));
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(std::memcmp(data_of_result(), "\1\0p\1\0e", 6), 0);
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, PagesAndEntriesAreSplitIn64Bits) {
  for (const GatherStore store : stores) {
    for (const uint8_t shift : {31, 32, 33, 47, 61, 63}) {
      const uint64_t second_page = uint64_t{1} << shift;
      GatherBatch batch =
          batch_of(store, GatherResult::lv, {text("a"), text("b")}, {1, second_page, 0});
      batch.pages.push_back({text("c")});
      batch.page_shift = shift;
      batch.page_hi = 63;
      EXPECT_EQ(run_gather(batch).status, COLX_DONE);
      EXPECT_EQ(std::memcmp(data_of_result(), "\1\0b\1\0c\1\0a", 9), 0);
      if (shift < 63) {
        batch.page_hi = shift;
        batch.indices[1] |= uint64_t{1} << (shift + 1);  // above the highest page bit
      }
      EXPECT_EQ(gather_difference(batch), "");
    }
  }
}

TEST(Gather, ClaOffsetsAreUnsignedAndInHostOrder) {
  for (const uint32_t first : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u}) {
    GatherBatch batch =
        batch_of(GatherStore::cla, GatherResult::lv, {text("abc"), text("defgh")}, {1, 0});
    batch.first_offset = first;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(std::memcmp(data_of_result(), "\5\0defgh\3\0abc", 12), 0);
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, ClaLengthsAreCutTo16Bits) {
  GatherBatch batch = batch_of(GatherStore::cla, GatherResult::lp_sep,
                               {Bytes(65536), Bytes(65541), Bytes(65535)}, {0, 1, 2});
  EXPECT_EQ(run_gather(batch).status, COLX_DONE);
  EXPECT_EQ(length_of(0), 0u);
  EXPECT_EQ(length_of(1), 5u);
  EXPECT_EQ(length_of(2), 65535u);
  batch.form.result = GatherResult::lv;
  batch.capacity = 1 << 20;
  EXPECT_EQ(gather_difference(batch), "");
}

TEST(Gather, FallingClaOffsetsGiveTheLow16BitsOfTheDifference) {
  GatherBatch batch = batch_of(GatherStore::cla, GatherResult::lp_sep, {Bytes(9)}, {0});
  GatherStage& stage = gather_stage();
  stage.set(batch);
  static_cast<uint32_t*>(stage.store.colx_store_cla_pages[0])[0] = 10;  // to 9
  EXPECT_EQ(stage.call(colx_global_specialized_ctx.colx_sctx_gather).status, COLX_DONE);
  EXPECT_EQ(length_of(0), 0xFFFFu);
}

TEST(Gather, AllValuesOfADlpStoreLieInOneDataPage) {
  // What its places hold above the offset is dropped before the page number is taken.
  for (const GatherResult result : {GatherResult::fixed, GatherResult::lv_sep, GatherResult::lv,
                                    GatherResult::lp_sep, GatherResult::lp, GatherResult::dlp}) {
    GatherBatch batch =
        batch_of(GatherStore::dlp, result, {text("one"), text("two"), text("three")}, {2, 1, 0});
    batch.value_bits = 24;
    batch.dlp_bits = 12;
    for (const uint64_t noise : {uint64_t{1}, uint64_t{0xFFFFFFFFF}}) {
      batch.dlp_noise = noise;
      EXPECT_EQ(gather_difference(batch), "");
    }
  }
}

TEST(Gather, ADlpStoreTakesBitsAndPagesFromTheResult) {
  GatherBatch batch = batch_of(GatherStore::dlp, GatherResult::lv, {text("one"), text("two")}, {1});
  gather_stage().set(batch);
  gather_stage().src_encoding.colx_enc_ctx_dlp_bits = 1;
  EXPECT_EQ(gather_stage().call(colx_global_specialized_ctx.colx_sctx_gather).status, COLX_DONE);
  EXPECT_EQ(std::memcmp(data_of_result(), "\3\0two", 5), 0);
}

TEST(Gather, DirectKernelsTakeBitsAndPagesFromTheSourceAndThePageCounts) {
  for (const GatherResult result : {GatherResult::lv, GatherResult::lv_sep}) {
    GatherBatch batch;
    batch.form = {GatherStore::none, result, GatherIndex::dlp};
    batch.page_shift = 1;
    batch.pages = {{text("a"), text("bb")}, {text("ccc"), text("d")}, {text("e"), text("f")}};
    batch.indices = {5, 0, 2, 3};
    batch.capacity = 100;
    for (const unsigned bits : {2u, 5u, 16u, 46u}) {
      batch.dlp_bits = bits;
      EXPECT_EQ(run_gather(batch).status, COLX_DONE);
      EXPECT_EQ(gather_difference(batch), "");
    }
  }
}

TEST(Gather, DirectKernelsLookAtNoStore) {
  for (const GatherKernel& kernel : gather_kernels()) {
    if (kernel.form.store != GatherStore::none) continue;
    Random random(5);
    GatherStage& stage = gather_stage();
    stage.set(random_gather_batch(kernel.form, 10, random));
    const oracle::GatherOutcome expected = stage.expected();
    EXPECT_EQ(
        colx_global_specialized_ctx.colx_sctx_gather(&stage.res, &stage.src, nullptr, &stage.kctx),
        COLX_DONE);
    EXPECT_EQ(stage.data.difference(expected.data), "");
    EXPECT_EQ(stage.aux.difference(expected.aux), "");
  }
}

TEST(Gather, ADlpResultWritesAtTheRowsElementAndKeepsTheOnesBefore) {
  for (const GatherStore store : stores) {
    GatherBatch batch =
        batch_of(store, GatherResult::dlp, {text("one"), text("two")}, {0, 1, 0, 1});
    batch.position = 2;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(gather_difference(batch), "");
    for (size_t byte = 0; byte < 16; ++byte) {
      ASSERT_EQ(data_of_result()[byte], GuardedOutput::dirty_byte(byte));
    }
  }
}

TEST(Gather, OtherResultsBeginAtTheStartOfTheirBuffersWhateverThePosition) {
  for (const GatherStore store : stores) {
    GatherBatch batch =
        batch_of(store, GatherResult::lv_sep, {text("one"), text("two")}, {0, 0, 1});
    batch.position = 2;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(std::memcmp(data_of_result(), "two", 3), 0);
    EXPECT_EQ(length_of(0), 3u);
  }
}

TEST(Gather, ADlpResultTestsNoRoom) {
  for (const GatherStore store : stores) {
    Random random(6);
    GatherBatch batch =
        random_gather_batch({store, GatherResult::dlp, GatherIndex::fixed_4}, 40, random);
    batch.capacity = 0;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, ADlpResultKeepsAsMuchOfAPlaceAsAWordHas) {
  for (const GatherStore store : stores) {
    for (const unsigned bits : {0u, 1u, 40u, 47u, 48u, 63u}) {
      GatherBatch batch = batch_of(store, GatherResult::dlp, {text("one"), text("two")}, {2, 1, 3});
      batch.pages.push_back({text("three"), text("four")});
      batch.page_shift = 1;
      batch.dlp_bits = bits;
      for (int i = 0; i < 40; ++i) batch.indices.push_back(i % 4);
      EXPECT_EQ(gather_difference(batch), "") << bits;
    }
  }
}

TEST(Gather, LengthsBesideTheDataDoNotCountAgainstTheRoom) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::lv_sep, {text("one"), text("four")}, {0, 1});
    batch.capacity = 7;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    batch.form.result = GatherResult::lp_sep;
    batch.capacity = 16;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    batch.capacity = 15;
    EXPECT_EQ(run_gather(batch).status, COLX_OUT_OF_ROOM);
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, Bytes2To7OfAnLpRecordAreNotWritten) {
  for (const GatherStore store : stores) {
    const GatherBatch batch = batch_of(store, GatherResult::lp, {text("one")}, {0, 0});
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    for (const size_t byte : {2, 3, 4, 5, 6, 7, 18, 19, 20, 21, 22, 23}) {
      EXPECT_EQ(data_of_result()[byte], GuardedOutput::dirty_byte(byte));
    }
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, AnEmptyValueNeedsTwoBytesInLvAndNoneInLvSep) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::lv, {text("")}, {0});
    batch.capacity = 1;
    EXPECT_EQ(run_gather(batch).status, COLX_OUT_OF_ROOM);
    batch.capacity = 2;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    batch.form.result = GatherResult::lv_sep;
    batch.capacity = 0;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(length_of(0), 0u);
  }
}

TEST(Gather, TheLongestValueNeedsItsPrefixToo) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::lv, {Bytes(65535, 'x')}, {0});
    batch.dlp_bits = 20;
    batch.capacity = 65536;
    EXPECT_EQ(run_gather(batch).status, COLX_OUT_OF_ROOM);
    EXPECT_EQ(gather_difference(batch), "");
    batch.capacity = 65537;
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(gather_difference(batch), "");
  }
}

TEST(Gather, AValueThatFitsNowhereStopsEveryCallAtItsRow) {
  for (const GatherStore store : stores) {
    GatherBatch batch =
        batch_of(store, GatherResult::lv_sep, {text("a"), text("far too long")}, {0, 1, 0});
    batch.capacity = 5;
    EXPECT_EQ(run_gather(batch).position, 1u);
    batch.position = 1;
    for (int call = 0; call < 3; ++call) {
      const GatherRun run = run_gather(batch);
      EXPECT_EQ(run.status, COLX_OUT_OF_ROOM);
      EXPECT_EQ(run.position, 1u);
      EXPECT_EQ(gather_stage().data.difference({}), "");
      EXPECT_EQ(gather_stage().aux.difference({}), "");
    }
  }
}

TEST(Gather, RoomIsAnUnsigned64BitNumber) {
  for (const GatherKernel& kernel : gather_kernels()) {
    Random random(7);
    GatherBatch batch = random_gather_batch(kernel.form, 20, random);
    for (const uint64_t room :
         {uint64_t{1} << 31, uint64_t{1} << 32, uint64_t{1} << 63, UINT64_MAX}) {
      batch.capacity = room;
      EXPECT_EQ(gather_difference(batch), "");
    }
  }
}

TEST(Gather, IndicesOfLessThanAByteAreAll0) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::lv, {text("zero"), text("one")}, {0, 0, 0});
    batch.form.index = GatherIndex::fixed;
    for (uint32_t bits = 0; bits < 8; ++bits) {
      batch.index_bits = bits;
      EXPECT_EQ(run_gather(batch).status, COLX_DONE);
      EXPECT_EQ(std::memcmp(data_of_result(), "\4\0zero\4\0zero\4\0zero", 18), 0);
      EXPECT_EQ(gather_difference(batch), "");
    }
  }
}

TEST(Gather, BothSidesOfARidvalueRecordLeadToValues) {
  for (const GatherStore store : stores) {
    GatherBatch batch = batch_of(store, GatherResult::lv, {text("row id"), text("value")}, {});
    batch.form.index = GatherIndex::ridvalue;
    batch.indices = {1};
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(std::memcmp(data_of_result(), "\5\0value", 7), 0);
    batch.form.index = GatherIndex::ridvalue_rid;
    batch.indices = {0};
    EXPECT_EQ(run_gather(batch).status, COLX_DONE);
    EXPECT_EQ(std::memcmp(data_of_result(), "\6\0row id", 8), 0);
  }
}

// Bytes of a row of the source's first array.
uint64_t source_row_bytes(const GatherStage& stage, GatherIndex index) {
  switch (index) {
    case GatherIndex::ridvalue:
    case GatherIndex::ridvalue_rid:
    case GatherIndex::lp:
      return 16;
    case GatherIndex::lp_sep:
    case GatherIndex::dlp:
      return 8;
    default:
      return oracle::index_bytes(index, stage.src);
  }
}

TEST(Gather, RowsUpToTheHighestRowNumber) {
  constexpr uint32_t rows = 40;
  constexpr uint64_t first = 0xFFFFFFFF - rows;
  const auto moved_down = [](void* array, uint64_t row_bytes) {
    return static_cast<uint8_t*>(array) - first * row_bytes;
  };
  for (const GatherKernel& kernel : gather_kernels()) {
    Random random(8);
    GatherStage& stage = gather_stage();
    stage.set(random_gather_batch(kernel.form, rows, random));
    oracle::GatherOutcome expected = stage.expected();
    expected.position = 0xFFFFFFFF;
    stage.src.colx_cv_num_of_rows = 0xFFFFFFFF;
    stage.kctx.colx_kctx_position = first;
    stage.src.colx_cv_data =
        moved_down(stage.src.colx_cv_data, source_row_bytes(stage, kernel.form.index));
    if (kernel.form.index == GatherIndex::lp_sep) {
      stage.src.colx_cv_aux = moved_down(stage.src.colx_cv_aux, 2);
    }
    if (kernel.form.result == GatherResult::dlp) {
      stage.res.colx_cv_data = moved_down(stage.res.colx_cv_data, 8);
    }
    set_crash_note("%s, rows up to the highest", kernel.name);
    EXPECT_EQ(stage.difference(stage.call(kernel.kernel), expected), "") << kernel.name;
  }
}

}  // namespace
}  // namespace colx::test
