#include "tests/oracle/transpose_oracle.h"

#include "tests/oracle/native_numbers.h"

namespace colx::oracle {
namespace {

constexpr KeyLayout reference_order[] = {KeyLayout::fixed, KeyLayout::lv_sep, KeyLayout::lv,
                                         KeyLayout::lp_sep, KeyLayout::lp};

uint64_t address_of(const void* at) {
  return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(at));
}

// What a conversion has written so far. All of it stays in memory, also what a stop gives up.
struct Writing {
  uint64_t cursor;  // address
  uint64_t end;     // address
  Patches data;
  Patches entries;
  uint64_t data_bytes = 0;
  uint64_t entry_bytes = 0;
  uint32_t total = 0;  // the running offset of a cla form

  // The room as the form reads it: a cursor past its end has none in a column form, and all that an
  // unsigned number can say in a row form.
  bool has_room(ConvertForm form, uint64_t length) const {
    const uint64_t room = end - (cursor + data_bytes);
    if (is_row_form(form)) return room >= length + 2;
    return static_cast<int64_t>(room) >= static_cast<int64_t>(length);
  }

  void put_value(const KeyBytes& value, bool with_length) {
    if (with_length) {
      data.push_back(patch_of_number(data_bytes, value.length, 2));
      data_bytes += 2;
    }
    data.push_back(patch_of_bytes(data_bytes, value.at, value.length));
    data_bytes += value.length;
  }

  void put_offset(uint32_t offset) {
    entries.push_back(patch_of_number(entry_bytes, offset, 4));
    entry_bytes += 4;
  }
};

// Writes a row whole and returns true, or stops before the first value that has no room.
bool write_row(ConvertForm form, const KeyRun& row, Writing& out) {
  const bool rows = is_row_form(form);
  uint16_t with_prefixes = 0;
  uint64_t without_prefixes = 0;
  if (form == ConvertForm::row_lp) {
    out.entries.push_back(patch_of_number(out.entry_bytes + 8, out.cursor + out.data_bytes, 8));
  }
  for (const KeyBytes& value : row.keys) {
    if (!out.has_room(form, value.length)) return false;
    const uint64_t copy = out.cursor + out.data_bytes;
    out.put_value(value, rows);
    with_prefixes = static_cast<uint16_t>(with_prefixes + value.length + 2);
    without_prefixes += value.length;
    if (form == ConvertForm::col_cla) out.put_offset(out.total += value.length);
    if (form == ConvertForm::col_lp) {
      out.entries.push_back(patch_of_number(out.entry_bytes, value.length, 2));
      out.entries.push_back(patch_of_number(out.entry_bytes + 8, copy, 8));
      out.entry_bytes += record_bytes;
    }
  }
  if (form == ConvertForm::row_cla) out.put_offset(out.total += with_prefixes);
  if (form == ConvertForm::row_lp) {
    out.entries.push_back(patch_of_number(out.entry_bytes, without_prefixes, 2));
    out.entry_bytes += record_bytes;
  }
  return true;
}

}  // namespace

std::optional<KeyLayout> reference_layout(const colx_row_store& store, const colx_cv& src) {
  if ((store.colx_store_type & COLX_STORE_LP) == 0) return std::nullopt;
  for (const KeyLayout layout : reference_order) {
    if ((src.colx_cv_encoding_context->colx_enc_ctx_flags & layout_flag(layout)) != 0) {
      return layout;
    }
  }
  return std::nullopt;
}

Patches reference_patches(KeyLayout layout, const colx_row_store& store, const colx_cv& src,
                          uint32_t col) {
  Patches patches;
  const KeyRun run = keys_of(layout, src, 0, 0, src.colx_cv_num_of_rows);
  for (uint64_t row = 0; row < run.keys.size(); ++row) {
    const uint64_t record = row * store.colx_store_ncols + (col & 0xFFFF);
    patches.push_back(patch_of_number(record * record_bytes, run.keys[row].length, 2));
    patches.push_back(patch_of_number(record * record_bytes + 8, address_of(run.keys[row].at), 8));
  }
  return patches;
}

std::optional<ConvertForm> convert_form(const colx_row_store* out, const colx_row_store& in) {
  if (out == nullptr) return std::nullopt;
  const bool rows = (out->colx_store_type & COLX_STORE_ROW_FORM) != 0 &&
                    (in.colx_store_type & COLX_STORE_ROW_FORM) == 0;
  if ((out->colx_store_type & COLX_STORE_CLA) != 0) {
    return rows ? ConvertForm::row_cla : ConvertForm::col_cla;
  }
  if ((out->colx_store_type & COLX_STORE_LP) != 0) {
    return rows ? ConvertForm::row_lp : ConvertForm::col_lp;
  }
  return std::nullopt;
}

ConvertOutcome convert_outcome(ConvertForm form, const colx_row_store& out,
                               const colx_row_store& in, int32_t part, int32_t block, uint32_t from,
                               uint32_t to) {
  Writing writing = {.cursor = address_of(out.colx_store_data_cursors[part]),
                     .end = address_of(out.colx_store_data_ends[part]),
                     .data = {},
                     .entries = {}};
  if (is_cla_form(form) && from == 0) writing.put_offset(0);
  if (is_cla_form(form) && from != 0) {
    const auto* const offsets = static_cast<const uint8_t*>(out.colx_store_cla_write[part]);
    writing.total = static_cast<uint32_t>(native_at(offsets - 4, 4));
  }
  colx_enc_ctx encoding = {};
  colx_cv matrix = {};
  matrix.colx_cv_data = in.colx_store_lp_pages[block];
  matrix.colx_cv_encoding_context = &encoding;

  uint32_t status = COLX_DONE;
  uint64_t row = from;
  for (; row <= to; ++row) {
    const uint64_t data_bytes = writing.data_bytes;
    const uint64_t entry_bytes = writing.entry_bytes;
    const uint64_t columns = in.colx_store_ncols;
    if (!write_row(form, keys_of(KeyLayout::lp, matrix, row * columns, 0, columns), writing)) {
      writing.data_bytes = data_bytes;
      writing.entry_bytes = entry_bytes;
      status = COLX_DATA_ROOM_FULL;
      break;
    }
  }
  return {.status = status,
          .position = static_cast<uint32_t>(row),
          .data = writing.data,
          .entries = writing.entries,
          .data_bytes = writing.data_bytes,
          .entry_bytes = writing.entry_bytes};
}

}  // namespace colx::oracle
