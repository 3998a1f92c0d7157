// Transpose, second half: the values that a matrix of lp records refers to, copied into a row
// store.
//
//   row   all values of a row together, each behind its 16-bit length, as one entry
//   col   each value alone, without its length, as an entry of its own
//
// The entries are cumulative offsets (cla) or lp records. A row is kept whole or given up whole:
// where a value does not fit, both write positions go back to the start of its row, and what was
// copied of the row is garbage behind them.
#include "kernels/join/row_store.h"
#include "kernels/join/transpose_kernels.h"
#include "kernels/join/value_copy.h"

namespace colx {
namespace {

enum class Form { row, col };

// Targets take entries as open(address of the bytes), close(their number), and say whether the
// length of a row counts the lengths in front of its values.

// The first row of all is preceded by an offset of 0; any other goes on from the offset that stands
// before the write position.
struct ClaEntries {
  static constexpr bool counts_prefixes = true;
  void** position;
  uint8_t* at;
  uint32_t total;

  COLX_INLINE ClaEntries(const colx_row_store* out, int32_t part, uint32_t from)
      : position(out->colx_store_cla_write + part), at(bytes_at(*position, 0)), total(0) {
    if (from == 0) {
      store_as(at, total);
      at += 4;
    } else {
      total = load_as<uint32_t>(at - 4);
    }
  }
  COLX_INLINE void open(const uint8_t*) {}
  COLX_INLINE void close(uint16_t bytes) {
    total += bytes;
    store_as(at, total);
    at += 4;
  }
};

// In the row form the bytes of a record are two a column more than its length says: it is the sum
// of the values' lengths alone. Bytes 2 to 7 of a record stay as they are.
struct LpEntries {
  static constexpr bool counts_prefixes = false;
  void** position;
  uint8_t* at;

  COLX_INLINE LpEntries(const colx_row_store* out, int32_t part, uint32_t)
      : position(out->colx_store_lp_write + part), at(bytes_at(*position, 0)) {}

  COLX_INLINE void open(const uint8_t* bytes) { store_as(at + 8, bytes); }
  COLX_INLINE void close(uint16_t bytes) {
    store_as(at, bytes);
    at += lp_record_bytes;
  }
};

// Whether the room from `cursor` to `end` suffices. A cursor past the end leaves no room for values
// alone, but any room for values behind their lengths.
template <Form form>
COLX_INLINE bool fits(const uint8_t* cursor, const uint8_t* end, uint64_t length) {
  if constexpr (form == Form::row) return static_cast<uint64_t>(end - cursor) >= length + 2;
  return end - cursor >= static_cast<int64_t>(length);
}

// Copies the values of one row and moves `cursor` and `record` behind them. False where one does
// not fit.
template <Form form, class Entries>
COLX_INLINE bool convert_row(Entries& entries, uint8_t*& cursor, const uint8_t* end,
                             const uint8_t*& record, uint64_t columns) {
  const uint8_t* const row_begin = cursor;
  if constexpr (form == Form::row) entries.open(cursor);
  for (const uint8_t* const row_end = record + columns * lp_record_bytes; record != row_end;
       record += lp_record_bytes) {
    const RowBytes value = lp_value(record);
    if (!fits<form>(cursor, end, value.length)) return false;
    if constexpr (form == Form::row) {
      store_as(cursor, static_cast<uint16_t>(value.length));
      cursor += 2;
    } else {
      entries.open(cursor);
      entries.close(static_cast<uint16_t>(value.length));
    }
    copy_value(cursor, value.bytes, value.length);
    cursor += value.length;
  }
  if constexpr (form == Form::row) {
    const uint64_t uncounted = Entries::counts_prefixes ? 0 : 2 * columns;
    // In 16 bits: a longer row has a wrong length.
    entries.close(static_cast<uint16_t>(static_cast<uint64_t>(cursor - row_begin) - uncounted));
  }
  return true;
}

template <Form form, class Entries>
COLX_INLINE uint32_t convert(const colx_row_store* out, const colx_row_store* in, int32_t part,
                             int32_t block, uint32_t from, uint32_t to, colx_kctx* kctx) {
  const uint64_t columns = in->colx_store_ncols;
  const uint8_t* const end = bytes_at(out->colx_store_data_ends[part], 0);
  void** const data_cursor = out->colx_store_data_cursors + part;
  uint8_t* cursor = bytes_at(*data_cursor, 0);
  Entries entries(out, part, from);
  const uint8_t* record =
      bytes_at(in->colx_store_lp_pages[block], from * columns * lp_record_bytes);
  uint32_t status = COLX_DONE;
  // What the loop does not need is worked out before it: it has no registers to spare.
  uint64_t left = from <= to ? uint64_t{to} - from + 1 : 0;
  const uint32_t stop = from + static_cast<uint32_t>(left);
  for (; left != 0; --left) {
    uint8_t* const row_entry = entries.at;
    uint8_t* const row_cursor = cursor;
    if (!convert_row<form>(entries, cursor, end, record, columns)) {
      entries.at = row_entry;
      cursor = row_cursor;
      status = COLX_DATA_ROOM_FULL;
      break;
    }
  }
  kctx->colx_kctx_position = stop - static_cast<uint32_t>(left);
  *data_cursor = cursor;
  *entries.position = entries.at;
  return status;
}

}  // namespace

extern "C" {

#define COLX_ENTRIES_cla ClaEntries
#define COLX_ENTRIES_lp  LpEntries
#define COLX_DEFINE(form, target)                                          \
  uint32_t colx_transpose_convert_##form##_##target(COLX_PARAMS_convert) { \
    return convert<Form::form, COLX_ENTRIES_##target>(COLX_ARGS_convert);  \
  }
COLX_CONVERSIONS(COLX_DEFINE)

}  // extern "C"
}  // namespace colx

// The row form is for sources that are not in row form themselves.
extern "C" uint32_t colx_transpose_convert_dydi(colx_row_store* out, const colx_row_store* in,
                                                int32_t part, int32_t block, uint32_t from,
                                                uint32_t to, colx_kctx* kctx) {
  if (out == nullptr) return COLX_NOT_SERVED;
  const bool rows = (out->colx_store_type & ~in->colx_store_type & COLX_STORE_ROW_FORM) != 0;
  if (out->colx_store_type & COLX_STORE_CLA)
    return rows ? colx_transpose_convert_row_cla(COLX_ARGS_convert)
                : colx_transpose_convert_col_cla(COLX_ARGS_convert);
  if (out->colx_store_type & COLX_STORE_LP)
    return rows ? colx_transpose_convert_row_lp(COLX_ARGS_convert)
                : colx_transpose_convert_col_lp(COLX_ARGS_convert);
  return COLX_NOT_SERVED;
}
