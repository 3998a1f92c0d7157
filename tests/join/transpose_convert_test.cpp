// transpose convert: a matrix of references into a row store, by rows and by columns, with offsets
// and with records, in one call and in many.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/oracle/native_numbers.h"
#include "tests/support/convert_stage.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

using oracle::ConvertForm;
using oracle::native_at;

Bytes text(const char* letters) {
  return Bytes(letters, letters + std::strlen(letters));
}

// Two rows of two columns: "ab", "c" and "", "def".
ConvertBatch two_rows(ConvertForm form) {
  ConvertBatch batch;
  batch.form = form;
  batch.columns = 2;
  batch.values = {text("ab"), text("c"), text(""), text("def")};
  batch.to = 1;
  batch.room = 100;
  return batch;
}

uint64_t offset(size_t entry) {
  return native_at(convert_stage().entries() + 4 * entry, 4);
}
uint64_t record_length(size_t record) {
  return native_at(convert_stage().entries() + 16 * record, 2);
}
ptrdiff_t record_place(size_t record) {
  return oracle::address_at(convert_stage().entries() + 16 * record + 8) - convert_stage().data();
}

TEST(TransposeConvert, EveryFormAtEveryNumberOfRowsAndColumns) {
  for (const ConvertForm form : oracle::convert_forms) {
    Random random(1);
    for (uint32_t rows = 1; rows <= 40; ++rows) {
      for (const uint16_t columns : {1, 2, 3, 8, 17}) {
        ConvertBatch batch = random_convert_batch(form, rows, columns, random);
        batch.edge = rows % 2 == 0 ? Edge::begin : Edge::end;
        batch.place = rows % 3 == 0 ? Place::middle : rows % 3 == 1 ? Place::end : Place::begin;
        ASSERT_EQ(convert_difference(batch), "");
      }
    }
  }
}

TEST(TransposeConvert, EveryFormWithEveryRoom) {
  for (const ConvertForm form : oracle::convert_forms) {
    Random random(2);
    for (int i = 0; i < 30; ++i) {
      ConvertBatch batch =
          random_convert_batch(form, 4, static_cast<uint16_t>(1 + random.below(4)), random);
      batch.room_behind = random.one_in(2) ? 100 : 0;
      for (int64_t room = batch.room; room >= 0; --room) {
        batch.room = room;
        ASSERT_EQ(convert_difference(batch), "") << "batch " << i;
      }
    }
  }
}

TEST(TransposeConvert, PartsOfAMatrix) {
  for (const ConvertForm form : oracle::convert_forms) {
    Random random(3);
    for (int i = 0; i < 200; ++i) {
      ConvertBatch batch = random_convert_batch(form, 10, 3, random);
      batch.from = batch.first_row + static_cast<uint32_t>(random.below(10));
      batch.to =
          batch.from + static_cast<uint32_t>(random.below(batch.first_row + 10 - batch.from));
      ASSERT_EQ(convert_difference(batch), "");
    }
  }
}

TEST(TransposeConvert, RowClaCountsTheLengthPrefixes) {
  EXPECT_EQ(run_convert(two_rows(ConvertForm::row_cla)).status, COLX_DONE);
  const uint8_t expected[] = {2, 0, 'a', 'b', 1, 0, 'c', 0, 0, 3, 0, 'd', 'e', 'f'};
  EXPECT_EQ(std::memcmp(convert_stage().data(), expected, sizeof expected), 0);
  EXPECT_EQ(offset(0), 0u);
  EXPECT_EQ(offset(1), 7u);
  EXPECT_EQ(offset(2), 14u);
}

TEST(TransposeConvert, RowLpRecordsDoNotCountTheLengthPrefixesAndAreTooShortByTwoBytesAColumn) {
  EXPECT_EQ(run_convert(two_rows(ConvertForm::row_lp)).status, COLX_DONE);
  const uint8_t expected[] = {2, 0, 'a', 'b', 1, 0, 'c', 0, 0, 3, 0, 'd', 'e', 'f'};
  EXPECT_EQ(std::memcmp(convert_stage().data(), expected, sizeof expected), 0);
  EXPECT_EQ(record_length(0), 3u);
  EXPECT_EQ(record_place(0), 0);
  EXPECT_EQ(record_length(1), 3u);
  EXPECT_EQ(record_place(1), 7);
}

TEST(TransposeConvert, AnEmptyValueInColClaRepeatsTheOffsetBefore) {
  EXPECT_EQ(run_convert(two_rows(ConvertForm::col_cla)).status, COLX_DONE);
  EXPECT_EQ(std::memcmp(convert_stage().data(), "abcdef", 6), 0);
  const uint64_t expected[] = {0, 2, 3, 3, 6};
  for (size_t i = 0; i < 5; ++i) EXPECT_EQ(offset(i), expected[i]);
}

TEST(TransposeConvert, ColLpMakesARecordAValue) {
  EXPECT_EQ(run_convert(two_rows(ConvertForm::col_lp)).status, COLX_DONE);
  EXPECT_EQ(std::memcmp(convert_stage().data(), "abcdef", 6), 0);
  const uint64_t lengths[] = {2, 1, 0, 3};
  const ptrdiff_t places[] = {0, 2, 3, 3};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(record_length(i), lengths[i]);
    EXPECT_EQ(record_place(i), places[i]);
  }
}

TEST(TransposeConvert, Bytes2To7OfARecordAreNotWritten) {
  for (const ConvertForm form : {ConvertForm::row_lp, ConvertForm::col_lp}) {
    ASSERT_EQ(convert_difference(two_rows(form)), "");
    for (size_t byte = 2; byte < 8; ++byte) {
      EXPECT_EQ(convert_stage().entries()[byte], GuardedOutput::dirty_byte(byte));
    }
  }
}

TEST(TransposeConvert, OnlyRow0WritesTheLeadingOffsetAndOtherRowsReadTheOneBefore) {
  for (const ConvertForm form : {ConvertForm::row_cla, ConvertForm::col_cla}) {
    ConvertBatch batch = two_rows(form);
    EXPECT_EQ(run_convert(batch).entry_bytes, form == ConvertForm::row_cla ? 12 : 20);
    EXPECT_EQ(offset(0), 0u);
    batch.from = 1;
    batch.offset_before = 0xFFFFFFFE;  // offsets have 32 bits
    EXPECT_EQ(run_convert(batch).entry_bytes, form == ConvertForm::row_cla ? 4 : 8);
    EXPECT_EQ(offset(form == ConvertForm::row_cla ? 0 : 1), form == ConvertForm::row_cla ? 5u : 1u);
    EXPECT_EQ(convert_difference(batch), "");
  }
}

TEST(TransposeConvert, TheNumberOfColumnsIsThatOfTheMatrix) {
  for (const ConvertForm form : oracle::convert_forms) {
    for (const uint16_t columns : {0, 1, 3, 0xFFFF}) {
      convert_stage().set(two_rows(form));
      convert_stage().out.colx_store_ncols = columns;
      const oracle::ConvertOutcome expected = convert_stage().expected();
      const ConvertRun run = convert_stage().call(convert_kernel(form).kernel);
      EXPECT_EQ(convert_stage().difference(run, expected), "");
    }
  }
}

TEST(TransposeConvert, WithoutColumnsNoBytesButAnOffsetOrARecordPerRow) {
  ConvertBatch batch;
  batch.columns = 0;
  batch.to = 4;
  for (const uint32_t from : {0u, 2u}) {
    batch.from = from;
    batch.offset_before = 77;
    const int64_t leading = from == 0 ? 4 : 0;
    const int64_t rows = 5 - from;
    const int64_t entry_bytes[] = {leading + 4 * rows, leading, 16 * rows, 0};
    for (const ConvertForm form : oracle::convert_forms) {
      batch.form = form;
      EXPECT_EQ(convert_difference(batch), "");
      const ConvertRun run = run_convert(batch);
      EXPECT_EQ(run.status, COLX_DONE);
      EXPECT_EQ(run.position, 5u);
      EXPECT_EQ(run.data_bytes, 0);
      EXPECT_EQ(run.entry_bytes, entry_bytes[static_cast<size_t>(form)]);
    }
    batch.form = ConvertForm::row_cla;
    run_convert(batch);
    EXPECT_EQ(offset(0), from == 0 ? 0u : 77u);
    EXPECT_EQ(offset(2), from == 0 ? 0u : 77u);
  }
}

TEST(TransposeConvert, RowsOf65536BytesGetTheLow16BitsInTheirOffset) {
  ConvertBatch batch;
  batch.columns = 2;
  batch.values = {Bytes(40000, 'x'), Bytes(30000, 'y'), text("a"), text("b")};
  batch.to = 1;
  batch.room = convert_room(batch);
  EXPECT_EQ(convert_difference(batch), "");
  run_convert(batch);
  EXPECT_EQ(offset(1), (70004u & 0xFFFF));
  EXPECT_EQ(offset(2), (70004u & 0xFFFF) + 6);
  batch.form = ConvertForm::row_lp;
  EXPECT_EQ(convert_difference(batch), "");
  run_convert(batch);
  EXPECT_EQ(record_length(0), 70000u & 0xFFFF);
  EXPECT_EQ(record_place(1), 70004);
}

TEST(TransposeConvert, TheLongestValueNeedsItsPrefixToo) {
  for (const ConvertForm form : oracle::convert_forms) {
    ConvertBatch batch;
    batch.form = form;
    batch.values = {Bytes(65535, 'z')};
    const int64_t needs = is_row_form(form) ? 65537 : 65535;
    for (const int64_t room : {needs, needs - 1, int64_t{65534}, int64_t{1}}) {
      batch.room = room;
      EXPECT_EQ(run_convert(batch).status, room >= needs ? COLX_DONE : COLX_DATA_ROOM_FULL);
      EXPECT_EQ(convert_difference(batch), "");
    }
  }
}

TEST(TransposeConvert, AStoppedRowIsGivenUpWhole) {
  for (const ConvertForm form : oracle::convert_forms) {
    ConvertBatch batch = two_rows(form);
    batch.values[2] = text("zz");
    const int64_t first_row = is_row_form(form) ? 7 : 3;
    batch.room = first_row + (is_row_form(form) ? 4 : 2);  // room for "zz", none for "def"
    const ConvertRun run = run_convert(batch);
    EXPECT_EQ(run.status, COLX_DATA_ROOM_FULL);
    EXPECT_EQ(run.position, 1u);
    EXPECT_EQ(run.data_bytes, first_row);
    const int64_t entries = form == ConvertForm::row_cla   ? 8
                            : form == ConvertForm::col_cla ? 12
                            : form == ConvertForm::row_lp  ? 16
                                                           : 32;
    EXPECT_EQ(run.entry_bytes, entries);
    EXPECT_EQ(convert_difference(batch), "");
  }
}

TEST(TransposeConvert, AStoppedRowLpRowHasItsPointerWrittenAlready) {
  ConvertBatch batch = two_rows(ConvertForm::row_lp);
  batch.room = 7;
  EXPECT_EQ(run_convert(batch).status, COLX_DATA_ROOM_FULL);
  EXPECT_EQ(record_place(1), 7);
  EXPECT_EQ(native_at(convert_stage().entries() + 16, 1), GuardedOutput::dirty_byte(16));
}

TEST(TransposeConvert, AStopInRow0StoresTheOffsetPositionBehindTheLeading0) {
  for (const ConvertForm form : {ConvertForm::row_cla, ConvertForm::col_cla}) {
    ConvertBatch batch = two_rows(form);
    batch.room = 1;
    const ConvertRun run = run_convert(batch);
    EXPECT_EQ(run.status, COLX_DATA_ROOM_FULL);
    EXPECT_EQ(run.position, 0u);
    EXPECT_EQ(run.entry_bytes, 4);
    EXPECT_EQ(run.data_bytes, 0);
    EXPECT_EQ(convert_difference(batch), "");
  }
}

TEST(TransposeConvert, ColumnFormsReadTheRoomAsASignedNumber) {
  for (const ConvertForm form : {ConvertForm::col_cla, ConvertForm::col_lp}) {
    ConvertBatch batch = two_rows(form);
    batch.room_behind = 100;
    for (const int64_t room : {-1, -8, -4096}) {
      batch.room = room;
      EXPECT_EQ(run_convert(batch).status, COLX_DATA_ROOM_FULL);
      EXPECT_EQ(convert_difference(batch), "");
    }
  }
}

TEST(TransposeConvert, RowFormsReadTheRoomAsAnUnsignedNumber) {
  for (const ConvertForm form : {ConvertForm::row_cla, ConvertForm::row_lp}) {
    ConvertBatch batch = two_rows(form);
    batch.room_behind = 14;
    batch.room = -1;
    EXPECT_EQ(run_convert(batch).status, COLX_DONE);
    EXPECT_EQ(convert_difference(batch), "");
  }
}

// 4 GiB and more, whose low half would be no room.
TEST(TransposeConvert, RoomsHave64Bits) {
  for (const ConvertForm form : oracle::convert_forms) {
    for (const uint64_t room : {uint64_t{1} << 32, uint64_t{3} << 32}) {
      convert_stage().set(two_rows(form));
      colx_row_store& out = convert_stage().out;
      const auto cursor = reinterpret_cast<uintptr_t>(out.colx_store_data_cursors[0]);
      out.colx_store_data_ends[0] = reinterpret_cast<void*>(cursor + room);
      const oracle::ConvertOutcome expected = convert_stage().expected();
      const ConvertRun run = convert_stage().call(convert_kernel(form).kernel);
      EXPECT_EQ(run.status, COLX_DONE);
      EXPECT_EQ(convert_stage().difference(run, expected), "");
    }
  }
}

TEST(TransposeConvert, FromAboveToRunsNoRowAndThePositionBecomesFrom) {
  for (const ConvertForm form : oracle::convert_forms) {
    ConvertBatch batch = two_rows(form);
    for (const uint32_t from : {1u, 2u, 0xFFFFFFFFu}) {
      batch.from = from;
      batch.to = 0;
      const ConvertRun run = run_convert(batch);
      EXPECT_EQ(run.status, COLX_DONE);
      EXPECT_EQ(run.position, from);
      EXPECT_EQ(run.data_bytes, 0);
      EXPECT_EQ(run.entry_bytes, 0);
      EXPECT_EQ(convert_difference(batch), "");
    }
  }
}

TEST(TransposeConvert, RowsUpToTheHighestRowNumber) {
  for (const ConvertForm form : oracle::convert_forms) {
    Random random(4);
    ConvertBatch batch = random_convert_batch(form, 10, 5, random);
    for (const uint32_t last : {0xFFFFFFFEu, 0xFFFFFFFFu, 0x80000004u, 0x10009u, 0x80000009u}) {
      batch.to = last;
      batch.from = batch.first_row = last - 9;
      EXPECT_EQ(convert_difference(batch), "");
      EXPECT_EQ(run_convert(batch).position, last + 1);
    }
  }
}

// Without columns a call of many rows needs no matrix.
TEST(TransposeConvert, ACallHasMoreThan65535Rows) {
  for (const ConvertForm form : oracle::convert_forms) {
    for (const uint32_t rows : {65535u, 65536u, 70001u}) {
      ConvertBatch batch;
      batch.form = form;
      batch.columns = 0;
      batch.to = rows - 1;
      EXPECT_EQ(run_convert(batch).position, rows);
      EXPECT_EQ(convert_difference(batch), "");
    }
  }
}

TEST(TransposeConvert, PartAndBlockMayBeNegative) {
  for (const ConvertForm form : oracle::convert_forms) {
    ConvertBatch batch = two_rows(form);
    for (const int32_t index : {-1, -1000000, 5}) {
      batch.part = index;
      EXPECT_EQ(convert_difference(batch), "");
      batch.part = 0;
      batch.block = index;
      EXPECT_EQ(convert_difference(batch), "");
      batch.block = 0;
    }
  }
}

TEST(TransposeConvert, ClaIsTriedBeforeLpAndRowsNeedBit2OfTheTargetAlone) {
  for (uint32_t out_type = 0; out_type < 64; ++out_type) {
    for (uint32_t in_type = 0; in_type < 64; ++in_type) {
      colx_row_store out = {}, in = {};
      out.colx_store_type = out_type;
      in.colx_store_type = in_type;
      const auto form = oracle::convert_form(&out, in);
      if (form) {
        ConvertBatch batch = two_rows(*form);
        batch.out_type = out_type;
        batch.in_type = in_type;
        convert_stage().set(batch);
        convert_stage().out.colx_store_type = out_type;
        const oracle::ConvertOutcome expected = convert_stage().expected();
        set_crash_note("%s, types %x and %x", convert_kernel(*form).name, out_type, in_type);
        const ConvertRun run =
            convert_stage().call(colx_global_specialized_ctx.colx_sctx_transpose_convert);
        ASSERT_EQ(convert_stage().difference(run, expected), "") << out_type << " " << in_type;
        continue;
      }
      GuardedPages nowhere;
      colx_kctx kctx = {};
      kctx.colx_kctx_position = 7;
      auto* const untouchable = reinterpret_cast<void**>(nowhere.unreadable());
      out.colx_store_cla_write = out.colx_store_lp_write = untouchable;
      out.colx_store_data_cursors = out.colx_store_data_ends = in.colx_store_lp_pages = untouchable;
      ASSERT_EQ(
          colx_global_specialized_ctx.colx_sctx_transpose_convert(&out, &in, 0, 0, 0, 1, &kctx),
          COLX_NOT_SERVED);
      ASSERT_EQ(kctx.colx_kctx_position, 7u);
    }
  }
}

TEST(TransposeConvert, ARowTargetOfAMatrixThatIsInRowFormItselfGoesByColumns) {
  for (const ConvertForm form : {ConvertForm::col_cla, ConvertForm::col_lp}) {
    ConvertBatch batch = two_rows(form);
    batch.out_type = COLX_STORE_ROW_FORM;
    batch.in_type = COLX_STORE_ROW_FORM;
    EXPECT_EQ(run_convert(batch).status, COLX_DONE);
    EXPECT_EQ(std::memcmp(convert_stage().data(), "abcdef", 6), 0);
    EXPECT_EQ(convert_difference(batch), "");
  }
}

TEST(TransposeConvert, WithoutATargetNothingIsServed) {
  GuardedPages nowhere;
  colx_row_store in = {};
  in.colx_store_lp_pages = reinterpret_cast<void**>(nowhere.unreadable());
  colx_kctx kctx = {};
  kctx.colx_kctx_position = 7;
  EXPECT_EQ(
      colx_global_specialized_ctx.colx_sctx_transpose_convert(nullptr, &in, 0, 0, 0, 1, &kctx),
      COLX_NOT_SERVED);
  EXPECT_EQ(kctx.colx_kctx_position, 7u);
}

}  // namespace
}  // namespace colx::test
