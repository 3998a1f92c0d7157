// transpose: columns are entered into a matrix and converted with a data room that grows by a few
// bytes at a time; the row store is that of one call with room for all, and holds the columns'
// rows.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/oracle/native_numbers.h"
#include "tests/oracle/transpose_oracle.h"
#include "tests/support/key_column.h"
#include "tests/support/patched_output.h"

namespace colx::test {
namespace {

using oracle::ConvertForm;
using oracle::KeyLayout;
using oracle::native_at;

constexpr uint32_t rows = 60;
constexpr KeyLayout layouts[] = {KeyLayout::fixed, KeyLayout::lv_sep, KeyLayout::lv,
                                 KeyLayout::lp_sep, KeyLayout::lp};

// A column of each layout, and the matrix that refers to them.
class Columns {
 public:
  Columns() {
    Random random(1);
    for (size_t col = 0; col < 5; ++col) {
      KeyBatch batch;
      batch.layout = layouts[col];
      batch.width_bits = 40;
      for (uint32_t row = 0; row < rows; ++row) {
        const auto length = static_cast<uint16_t>(random.one_in(4) ? 0 : random.below(30));
        batch.rows.push_back({.length = length});
      }
      columns_[col].set(batch);
    }
    void* block[] = {matrix_.place(rows * 5 * oracle::record_bytes, Place::end)};
    matrix_address = block[0];
    colx_row_store store = {};
    store.colx_store_type = COLX_STORE_LP;
    store.colx_store_ncols = 5;
    store.colx_store_lp_write = block;
    for (uint32_t col = 0; col < 5; ++col) {
      EXPECT_EQ(colx_global_specialized_ctx.colx_sctx_transpose_reference(&store, &columns_[col].cv,
                                                                          col, 0, nullptr),
                COLX_DONE);
    }
  }

  Bytes value(uint32_t row, size_t col) const {
    const oracle::KeyRun run = oracle::keys_of(layouts[col], columns_[col].cv, 0, 0, rows);
    return Bytes(run.keys[row].at, run.keys[row].at + run.keys[row].length);
  }

  void* matrix_address;

 private:
  KeyColumn columns_[5];
  PatchedOutput matrix_;
};

Columns& columns() {
  static Columns shared;
  return shared;
}

// A row store of one partition, as a host keeps it over the calls. Both its arrays end where the
// last byte ends that a conversion of all rows writes.
struct Target {
  explicit Target(ConvertForm form) {
    size_t values = rows, entry = is_cla_form(form) ? 4 : oracle::record_bytes;
    for (uint32_t row = 0; row < rows; ++row) {
      for (size_t col = 0; col < 5; ++col) room += columns().value(row, col).size();
    }
    if (is_row_form(form)) room += 2 * 5 * rows;
    if (!is_row_form(form)) values *= 5;
    data = data_pages_.place(Bytes(room), 0, Edge::end);
    entries = entry_pages_.at_end(entry * values + (is_cla_form(form) ? 4 : 0));
    cursor = end = data;
    write = entries;
  }

  size_t data_bytes() const { return static_cast<uint8_t*>(cursor) - data; }
  size_t entry_bytes() const { return static_cast<uint8_t*>(write) - entries; }

  size_t room = 0;
  uint8_t* data;
  uint8_t* entries;
  void* cursor;
  void* end;
  void* write;

 private:
  GuardedPages data_pages_, entry_pages_;
};

// Converts the matrix, with `first_room` bytes and after each stop up to `more` further ones.
// Returns the number of calls. The bytes behind the end are looked at after each.
unsigned convert(ConvertForm form, size_t first_room, size_t more, Random& random, Target& target) {
  colx_row_store in = {}, out = {};
  in.colx_store_ncols = 5;
  in.colx_store_lp_pages = &columns().matrix_address;
  out.colx_store_type = (is_cla_form(form) ? COLX_STORE_CLA : COLX_STORE_LP) |
                        (is_row_form(form) ? COLX_STORE_ROW_FORM : 0);
  out.colx_store_data_cursors = &target.cursor;
  out.colx_store_data_ends = &target.end;
  (is_cla_form(form) ? out.colx_store_cla_write : out.colx_store_lp_write) = &target.write;

  colx_kctx kctx = {};
  size_t room = first_room;
  for (unsigned calls = 1; calls < 10000; ++calls) {
    target.end = target.data + room;
    const uint32_t status = colx_global_specialized_ctx.colx_sctx_transpose_convert(
        &out, &in, 0, 0, kctx.colx_kctx_position, rows - 1, &kctx);
    for (size_t i = room; i < target.room; ++i) EXPECT_EQ(target.data[i], 0);
    if (status == COLX_DONE) return calls;
    EXPECT_EQ(status, COLX_DATA_ROOM_FULL);
    if (is_cla_form(form) && kctx.colx_kctx_position == 0) target.write = target.entries;
    room = std::min(room + 1 + random.below(more), target.room);
  }
  return 10000;
}

void expect_value(const uint8_t*& at, const Bytes& value, bool with_length) {
  if (with_length) {
    EXPECT_EQ(native_at(at, 2), value.size());
    at += 2;
  }
  EXPECT_TRUE(std::equal(value.begin(), value.end(), at));
  at += value.size();
}

// The row store, read as its form says, gives the columns' values back.
void expect_the_columns_rows(ConvertForm form, const Target& target) {
  const uint8_t* at = target.data;
  const uint8_t* entry = target.entries;
  if (is_cla_form(form)) {
    EXPECT_EQ(native_at(entry, 4), 0u);
    entry += 4;
  }
  const auto expect_entry = [&](const uint8_t* begin, size_t length) {
    if (is_cla_form(form)) {
      EXPECT_EQ(native_at(entry, 4), static_cast<uint64_t>(at - target.data));
      entry += 4;
      return;
    }
    EXPECT_EQ(native_at(entry, 2), length);
    EXPECT_EQ(oracle::address_at(entry + 8), begin);
    entry += oracle::record_bytes;
  };
  for (uint32_t row = 0; row < rows; ++row) {
    const uint8_t* const row_begin = at;
    size_t row_length = 0;
    for (size_t col = 0; col < 5; ++col) {
      const uint8_t* const begin = at;
      const Bytes value = columns().value(row, col);
      row_length += value.size();
      expect_value(at, value, is_row_form(form));
      if (!is_row_form(form)) expect_entry(begin, value.size());
    }
    if (is_row_form(form)) expect_entry(row_begin, row_length);
  }
  EXPECT_EQ(target.data_bytes(), static_cast<size_t>(at - target.data));
  EXPECT_EQ(target.entry_bytes(), static_cast<size_t>(entry - target.entries));
}

TEST(TransposeResume, OneCallHoldsTheColumnsRows) {
  for (const ConvertForm form : oracle::convert_forms) {
    Random random(2);
    Target target(form);
    EXPECT_EQ(convert(form, target.room, 1, random, target), 1u);
    expect_the_columns_rows(form, target);
  }
}

TEST(TransposeResume, ARoomThatGrowsByAFewBytesGivesTheRowsOfOneCall) {
  for (const ConvertForm form : oracle::convert_forms) {
    for (const size_t more : {1, 3, 20, 100, 700}) {
      Random random(more);
      Target target(form);
      EXPECT_GT(convert(form, 0, more, random, target), 5u);
      expect_the_columns_rows(form, target);
    }
  }
}

}  // namespace
}  // namespace colx::test
