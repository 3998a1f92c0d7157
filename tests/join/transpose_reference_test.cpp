// transpose reference: columns of every layout into a matrix of references.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "tests/oracle/native_numbers.h"
#include "tests/oracle/transpose_oracle.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_arrays.h"
#include "tests/support/key_column.h"
#include "tests/support/patched_output.h"
#include "tests/support/repeated_pages.h"

extern "C" {
colx_transpose_reference_call colx_transpose_reference_fixed, colx_transpose_reference_lv_sep,
    colx_transpose_reference_lv, colx_transpose_reference_lp_sep, colx_transpose_reference_lp;
}

namespace colx::test {
namespace {

using oracle::KeyLayout;

struct ReferenceKernel {
  KeyLayout layout;
  const char* name;
  colx_transpose_reference_call* kernel;
  bool takes_base;  // serves a negative block
};

constexpr ReferenceKernel kernels[] = {
    {KeyLayout::fixed, "colx_transpose_reference_fixed", colx_transpose_reference_fixed, true},
    {KeyLayout::lv_sep, "colx_transpose_reference_lv_sep", colx_transpose_reference_lv_sep, false},
    {KeyLayout::lv, "colx_transpose_reference_lv", colx_transpose_reference_lv, false},
    {KeyLayout::lp_sep, "colx_transpose_reference_lp_sep", colx_transpose_reference_lp_sep, true},
    {KeyLayout::lp, "colx_transpose_reference_lp", colx_transpose_reference_lp, false}};

colx_transpose_reference_call* entry() {
  return colx_global_specialized_ctx.colx_sctx_transpose_reference;
}

struct ReferenceBatch {
  KeyLayout layout = KeyLayout::fixed;
  std::vector<uint16_t> lengths;  // of the rows; of no meaning in a fixed column
  uint32_t width_bits = 64;
  uint32_t more_flags = 0;
  uint16_t columns = 1;
  uint32_t col = 0;
  int32_t block = 0;
  bool by_base = false;
  Edge edge = Edge::end;
  Place place = Place::end;
};

// The records of a call. The matrix ends with the last record of the column, and the array of
// matrices holds it between others that nobody may touch.
class ReferenceStage {
 public:
  void set(const ReferenceBatch& batch) {
    batch_ = batch;
    KeyBatch keys;
    keys.layout = batch.layout;
    keys.width_bits = batch.width_bits;
    keys.more_flags = batch.more_flags;
    keys.edge = batch.edge;
    for (const uint16_t length : batch.lengths) keys.rows.push_back({.length = length});
    column.set(keys);
    arrays_.clear(batch.edge, 0);
    std::memset(&store, 0xEE, sizeof store);
    store.colx_store_type = COLX_STORE_LP;
    store.colx_store_ncols = batch.columns;
    const uint64_t rows = batch.lengths.size();
    const uint64_t records = (rows - 1) * batch.columns + (batch.col & 0xFFFF) + 1;
    matrix_.place(rows == 0 ? 0 : records * oracle::record_bytes, batch.place);
    std::vector<void*> blocks(5, arrays_.unreadable());
    if (!batch.by_base) blocks[2] = matrix_.begin();
    store.colx_store_lp_write = arrays_.place_pointers(blocks) + 2 - batch.block;
    if (batch.by_base) store.colx_store_lp_write = static_cast<void**>(arrays_.unreadable());
  }

  std::string difference(colx_transpose_reference_call* kernel) {
    const auto layout = oracle::reference_layout(store, column.cv);
    const oracle::Patches expected =
        layout ? oracle::reference_patches(*layout, store, column.cv, batch_.col)
               : oracle::Patches{};
    const colx_row_store store_before = store;
    column.remember();
    void* const base = batch_.by_base ? matrix_.begin() : arrays_.unreadable();
    const uint32_t status = kernel(&store, &column.cv, batch_.col, batch_.block, base);
    if (status != (layout ? COLX_DONE : COLX_NOT_SERVED)) return "status " + std::to_string(status);
    if (std::string text = matrix_.difference(expected); !text.empty()) return "matrix: " + text;
    if (std::memcmp(&store, &store_before, sizeof store) != 0) return "changed: the store";
    return column.damage();
  }

  const uint8_t* matrix() const { return matrix_.begin(); }

  KeyColumn column;
  colx_row_store store;

 private:
  ReferenceBatch batch_;
  GuardedArrays arrays_;
  PatchedOutput matrix_;
};

ReferenceStage& stage() {
  static ReferenceStage shared;
  return shared;
}

std::string difference(const ReferenceKernel& kernel, const ReferenceBatch& batch) {
  set_crash_note("%s, %zu rows, column %u of %u", kernel.name, batch.lengths.size(), batch.col,
                 batch.columns);
  for (colx_transpose_reference_call* const call : {kernel.kernel, entry()}) {
    stage().set(batch);
    const std::string text = stage().difference(call);
    if (!text.empty()) return std::string(kernel.name) + ": " + text;
  }
  return {};
}

ReferenceBatch random_batch(const ReferenceKernel& kernel, size_t rows, Random& random) {
  constexpr uint32_t widths[] = {8, 16, 24, 32, 64, 96, 128, 200, 7, 63};
  ReferenceBatch batch;
  batch.layout = kernel.layout;
  batch.lengths.resize(rows);
  for (uint16_t& length : batch.lengths) {
    length = static_cast<uint16_t>(random.one_in(4) ? 0 : random.below(40));
  }
  batch.width_bits = random.pick<uint32_t>(widths);
  batch.columns = static_cast<uint16_t>(1 + random.below(5));
  batch.col = static_cast<uint32_t>(random.below(batch.columns));
  batch.block = static_cast<int32_t>(random.below(3));
  return batch;
}

TEST(TransposeReference, EveryLayoutAtEveryRowCount) {
  for (const ReferenceKernel& kernel : kernels) {
    Random random(1);
    for (size_t rows = 1; rows <= 70; ++rows) {
      ReferenceBatch batch = random_batch(kernel, rows, random);
      batch.edge = rows % 2 == 0 ? Edge::begin : Edge::end;
      for (const Place place : {Place::end, Place::begin, Place::middle}) {
        batch.place = place;
        ASSERT_EQ(difference(kernel, batch), "") << rows << " rows";
      }
    }
  }
}

TEST(TransposeReference, AColumnOf0RowsLeavesTheMatrixAsItIs) {
  for (const ReferenceKernel& kernel : kernels) {
    Random random(2);
    EXPECT_EQ(difference(kernel, random_batch(kernel, 0, random)), "");
  }
}

TEST(TransposeReference, Bytes2To7OfARecordAreNotWritten) {
  for (const ReferenceKernel& kernel : kernels) {
    ReferenceBatch batch;
    batch.layout = kernel.layout;
    batch.lengths = {3, 8};
    ASSERT_EQ(difference(kernel, batch), "");
    for (size_t byte = 2; byte < 8; ++byte) {
      EXPECT_EQ(stage().matrix()[byte], GuardedOutput::dirty_byte(byte));
      EXPECT_EQ(stage().matrix()[16 + byte], GuardedOutput::dirty_byte(16 + byte));
    }
  }
}

TEST(TransposeReference, LengthsAndPlacesOfThreeRows) {
  for (const ReferenceKernel& kernel : kernels) {
    ReferenceBatch batch;
    batch.layout = kernel.layout;
    batch.lengths = {8, 8, 8};
    batch.columns = 2;
    batch.col = 1;
    ASSERT_EQ(difference(kernel, batch), "");
    for (size_t row = 0; row < 3; ++row) {
      const uint8_t* const record = stage().matrix() + 16 * (2 * row + 1);
      EXPECT_EQ(oracle::native_at(record, 2), 8u);
      const uint8_t* const first = oracle::address_at(stage().matrix() + 24);
      const size_t distance = kernel.layout == KeyLayout::lv ? 10 : 8;
      EXPECT_EQ(oracle::address_at(record + 8), first + distance * row);
    }
  }
}

TEST(TransposeReference, OnlyTheLow16BitsOfTheColumnCount) {
  for (const ReferenceKernel& kernel : kernels) {
    Random random(3);
    for (const uint32_t high : {0x10000u, 0x80000000u, 0xFFFF0000u}) {
      ReferenceBatch batch = random_batch(kernel, 20, random);
      batch.col |= high;
      EXPECT_EQ(difference(kernel, batch), "");
      batch.columns = 0xFFFF;
      batch.lengths.resize(3);
      batch.col = 0xFFFE | high;
      EXPECT_EQ(difference(kernel, batch), "");
    }
  }
}

TEST(TransposeReference, WithoutColumnsAllRowsWriteTheSameRecord) {
  for (const ReferenceKernel& kernel : kernels) {
    Random random(4);
    ReferenceBatch batch = random_batch(kernel, 20, random);
    batch.columns = 0;
    EXPECT_EQ(difference(kernel, batch), "");
  }
}

TEST(TransposeReference, ANegativeBlockTakesTheBaseOfFixedAndLpSepColumns) {
  for (const ReferenceKernel& kernel : kernels) {
    if (!kernel.takes_base) continue;
    Random random(5);
    ReferenceBatch batch = random_batch(kernel, 20, random);
    batch.by_base = true;
    for (const int32_t block : {-1, -2, INT32_MIN}) {
      batch.block = block;
      EXPECT_EQ(difference(kernel, batch), "");
    }
  }
}

TEST(TransposeReference, FixedWidthsAre16BitNumbers) {
  for (const uint32_t width : {0x10008u, 0xABCD0040u, 0xFFFFu, 0x30000u}) {
    ReferenceBatch batch;
    batch.lengths = {0, 0, 0};
    batch.width_bits = width;
    EXPECT_EQ(difference(kernels[0], batch), "") << width;
  }
}

TEST(TransposeReference, TheLongestLengthsDoNotWrap) {
  for (const ReferenceKernel& kernel : kernels) {
    ReferenceBatch batch;
    batch.layout = kernel.layout;
    batch.lengths = {65535, 65534, 0, 65535, 1};
    EXPECT_EQ(difference(kernel, batch), "");
  }
}

TEST(TransposeReference, NoByteOfAValueIsRead) {
  static GuardedPages nowhere;
  for (const ReferenceKernel& kernel : kernels) {
    if (kernel.layout != KeyLayout::fixed && kernel.layout != KeyLayout::lv_sep) continue;
    Random random(6);
    stage().set(random_batch(kernel, 20, random));
    void* const readable = stage().column.cv.colx_cv_data;
    stage().column.cv.colx_cv_data = nowhere.unreadable();
    EXPECT_EQ(stage().difference(kernel.kernel), "") << kernel.name;
    stage().column.cv.colx_cv_data = readable;
  }
}

TEST(TransposeReference, LayoutsAreTriedInTheOrderFixedLvSepLvLpSepLp) {
  Random random(7);
  for (unsigned subset = 0; subset < 32; ++subset) {
    uint32_t flags = 0;
    for (size_t i = 0; i < 5; ++i) {
      if ((subset >> i & 1) != 0) flags |= oracle::layout_flag(kernels[i].layout);
    }
    for (const ReferenceKernel& kernel : kernels) {
      if ((flags & oracle::layout_flag(kernel.layout)) == 0) continue;
      ReferenceBatch batch = random_batch(kernel, 10, random);
      batch.more_flags = flags | COLX_DICT | COLX_HASH_VALUES | COLX_AUTORID;
      stage().set(batch);
      EXPECT_EQ(stage().difference(entry()), "") << kernel.name << ", flags " << flags;
      break;
    }
  }
}

TEST(TransposeReference, OtherLayoutsAreNotServedAndNothingIsTouched) {
  for (const uint32_t flags : {0u, uint32_t{COLX_DICT}, uint32_t{COLX_DLP},
                               uint32_t{COLX_RIDVALUE | COLX_HASH_VALUES | COLX_GD}}) {
    ReferenceBatch batch;
    batch.lengths = {1, 2, 3};
    stage().set(batch);
    stage().column.encoding.colx_enc_ctx_flags = flags;
    ASSERT_EQ(oracle::reference_layout(stage().store, stage().column.cv), std::nullopt);
    EXPECT_EQ(stage().difference(entry()), "");
  }
}

TEST(TransposeReference, AStoreWithoutBit0x20IsNotServedAndNothingIsTouched) {
  for (const ReferenceKernel& kernel : kernels) {
    ReferenceBatch batch;
    batch.layout = kernel.layout;
    batch.lengths = {1, 2, 3};
    for (const uint32_t type : {0u, 0x1Fu, ~0x20u}) {
      stage().set(batch);
      stage().store.colx_store_type = type;
      ASSERT_EQ(oracle::reference_layout(stage().store, stage().column.cv), std::nullopt);
      EXPECT_EQ(stage().difference(entry()), "") << kernel.name;
    }
    stage().set(batch);
    stage().store.colx_store_type = ~0u;
    EXPECT_EQ(stage().difference(entry()), "") << kernel.name;
  }
}

// Row 65540 of a matrix of 65535 columns is record 0x1'0002'FFFC, 64 GiB away from the first.
TEST(TransposeReference, RecordsAreCountedIn64Bits) {
  constexpr uint32_t rows = 65541;
  static RepeatedPages matrix(16 << 20, 4200);
  ASSERT_GT(matrix.size(), uint64_t{rows} * 65535 * 16);
  for (const ReferenceKernel& kernel : kernels) {
    ReferenceBatch batch;
    batch.layout = kernel.layout;
    batch.lengths.assign(rows, 1);
    batch.width_bits = 8;
    stage().set(batch);
    void* block[] = {matrix.begin()};
    stage().store.colx_store_ncols = 0xFFFF;
    stage().store.colx_store_lp_write = block;
    for (const uint32_t row : {rows - 1, 4098u, 2u}) {
      std::memset(matrix.begin() + uint64_t{row} * 65535 * 16, 0, 16);
    }
    EXPECT_EQ(entry()(&stage().store, &stage().column.cv, 0, 0, nullptr), COLX_DONE);
    const oracle::KeyRun run = oracle::keys_of(kernel.layout, stage().column.cv, 0, 0, rows);
    for (const uint32_t row : {rows - 1, 4098u, 2u}) {
      const uint8_t* const record = matrix.begin() + uint64_t{row} * 65535 * 16;
      EXPECT_EQ(oracle::native_at(record, 2), 1u) << kernel.name << ", row " << row;
      EXPECT_EQ(oracle::address_at(record + 8), run.keys[row].at) << kernel.name << ", row " << row;
    }
  }
}

}  // namespace
}  // namespace colx::test
