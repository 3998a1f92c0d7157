#include "bench/support/transpose_cases.h"

#include <cstring>
#include <memory>
#include <vector>

#include "bench/support/random_stream.h"
#include "bench/support/transpose_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr uint64_t record_bytes = 16;
constexpr unsigned column_value_bytes = 8;  // on average; lengths of 0 to 16

void put_record(uint8_t* record, uint16_t length, const uint8_t* value) {
  std::memcpy(record, &length, sizeof length);
  std::memcpy(record + 8, &value, sizeof value);
}

bool record_is(const uint8_t* record, uint16_t length, const uint8_t* value) {
  return std::memcmp(record, &length, sizeof length) == 0 &&
         std::memcmp(record + 8, &value, sizeof value) == 0;
}

struct Column {
  std::vector<uint16_t> lengths;
  std::vector<const uint8_t*> values;  // where the references have to point
  std::vector<uint8_t> data;           // a stream, pointers or records
  colx_cv cv = {};
  colx_enc_ctx encoding = {};
};

// Bytes of a row that a reference reads.
uint64_t column_bytes(uint32_t layout) {
  switch (layout) {
    case COLX_LV_SEP:
      return 2;
    case COLX_LV:
      return column_value_bytes + 2;
    case COLX_LP_SEP:
      return 10;
    case COLX_LP:
      return record_bytes;
    default:
      return 0;
  }
}

const char* layout_name(uint32_t layout) {
  return layout == COLX_FIXED    ? "fixed"
         : layout == COLX_LV_SEP ? "lv_sep"
         : layout == COLX_LV     ? "lv"
         : layout == COLX_LP_SEP ? "lp_sep"
                                 : "lp";
}

// Values that nobody reads: of all but lv streams there is the address alone.
std::shared_ptr<Column> column_of(uint32_t layout, uint64_t rows) {
  auto column = std::make_shared<Column>();
  const uint8_t* at = random_bytes(in_l2);
  RandomNumbers random(layout);
  for (uint64_t row = 0; row < rows; ++row) {
    const bool fixed = layout == COLX_FIXED;
    column->lengths.push_back(static_cast<uint16_t>(fixed ? column_value_bytes : random.below(17)));
    column->values.push_back(at);
    at += column->lengths.back();
  }
  if (layout == COLX_LV) {
    for (const uint16_t length : column->lengths) {
      column->data.push_back(static_cast<uint8_t>(length));
      column->data.push_back(0);
      column->data.resize(column->data.size() + length);
    }
    at = column->data.data();
    for (uint64_t row = 0; row < rows; ++row) {
      column->values[row] = at + 2;
      at += column->lengths[row] + 2;
    }
  } else if (layout == COLX_LP) {
    column->data.resize(rows * record_bytes);
    for (uint64_t row = 0; row < rows; ++row) {
      put_record(column->data.data() + row * record_bytes, column->lengths[row],
                 column->values[row]);
    }
  }
  const bool stream = layout == COLX_LV || layout == COLX_LP;
  column->cv.colx_cv_data = stream                  ? static_cast<void*>(column->data.data())
                            : layout == COLX_LP_SEP ? static_cast<void*>(column->values.data())
                                                    : const_cast<uint8_t*>(column->values[0]);
  column->cv.colx_cv_aux = column->lengths.data();
  column->cv.colx_cv_encoding_context = &column->encoding;
  column->cv.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
  column->encoding.colx_enc_ctx_flags = layout;
  column->encoding.colx_enc_ctx_width = 8 * column_value_bytes;
  return column;
}

uint32_t enter(Column& column, unsigned columns, void* matrix) {
  colx_row_store store = {};
  store.colx_store_type = COLX_STORE_LP;
  store.colx_store_ncols = static_cast<uint16_t>(columns);
  store.colx_store_lp_write = &matrix;
  return colx_transpose_reference_dydi(&store, &column.cv, 0, 0, nullptr);
}

std::string fault_of(Column& column, unsigned columns, uint8_t* matrix) {
  const uint64_t rows = column.lengths.size();
  std::memset(matrix, 0x5A, rows * columns * record_bytes);
  if (enter(column, columns, matrix) != COLX_DONE) return "not served";
  for (uint64_t row = 0; row < rows; ++row) {
    const uint8_t* const record = matrix + row * columns * record_bytes;
    if (!record_is(record, column.lengths[row], column.values[row])) {
      return "a reference does not lead to its value";
    }
  }
  return "";
}

// A matrix of 8 columns with its values, and the row store that they go to.
struct ConvertCall {
  static constexpr unsigned columns = 8;

  ConvertTo form;
  uint64_t values;
  uint64_t data_bytes = 0;
  uint8_t* matrix;
  uint8_t* data;
  uint8_t* entries;

  bool is_cla() const { return form == ConvertTo::row_cla || form == ConvertTo::col_cla; }
  bool is_row() const { return form == ConvertTo::row_cla || form == ConvertTo::row_lp; }

  uint32_t run() {
    void* cursor = data;
    void* end = data + data_bytes + (is_row() ? 2 * values : 0);
    void* write = entries;
    void* page = matrix;
    colx_row_store in = {}, out = {};
    in.colx_store_ncols = columns;
    in.colx_store_lp_pages = &page;
    out.colx_store_type =
        (is_cla() ? COLX_STORE_CLA : COLX_STORE_LP) | (is_row() ? COLX_STORE_ROW_FORM : 0);
    out.colx_store_data_cursors = &cursor;
    out.colx_store_data_ends = &end;
    (is_cla() ? out.colx_store_cla_write : out.colx_store_lp_write) = &write;
    colx_kctx kctx = {};
    const auto last_row = static_cast<uint32_t>(values / columns - 1);
    return colx_transpose_convert_dydi(&out, &in, 0, 0, 0, last_row, &kctx);
  }
};

std::shared_ptr<ConvertCall> convert_call(ConvertTo form, uint64_t values, unsigned mean_bytes,
                                          ValueLengths lengths, const SizeClass& size) {
  auto call = std::make_shared<ConvertCall>();
  call->form = form;
  call->values = values;
  call->matrix = lasting_bytes(values * record_bytes);
  call->entries = lasting_bytes((values + 1) * record_bytes);
  call->data = output_bytes(size);
  RandomNumbers random(mean_bytes);
  const uint8_t* value = random_bytes(size);
  for (uint64_t i = 0; i < values; ++i) {
    const bool alike = lengths == ValueLengths::alike;
    const auto length =
        static_cast<uint16_t>(alike ? mean_bytes : 2 + random.below(2 * mean_bytes - 3));
    put_record(call->matrix + i * record_bytes, length, value);
    value += length;
    call->data_bytes += length;
  }
  return call;
}

// The data of a column form is what memcpy calls make; a row form has lengths between.
std::string fault_of(ConvertCall& call) {
  if (call.run() != COLX_DONE) return "the room is too small";
  const uint8_t* at = call.data;
  for (uint64_t i = 0; i < call.values; ++i) {
    uint16_t length;
    const uint8_t* value;
    std::memcpy(&length, call.matrix + i * record_bytes, sizeof length);
    std::memcpy(&value, call.matrix + i * record_bytes + 8, sizeof value);
    if (call.is_row()) {
      if (std::memcmp(at, &length, sizeof length) != 0) return "a length is wrong";
      at += 2;
    }
    if (std::memcmp(at, value, length) != 0) return "a value is wrong";
    at += length;
  }
  return "";
}

const char* form_name(ConvertTo form) {
  constexpr const char* names[] = {"row_cla", "col_cla", "row_lp", "col_lp"};
  return names[static_cast<size_t>(form)];
}

}  // namespace

Case reference_case(uint32_t layout, unsigned columns, const SizeClass& size) {
  const uint64_t row_bytes = columns * record_bytes + column_bytes(layout);
  // The stores alone touch less memory: in cache there is to be room for column and matrix too.
  const uint64_t bytes = size.windows == 1 ? size.bytes / 2 : size.bytes;
  const uint64_t rows = bytes / (row_bytes + 10);
  const auto prepare = [=] {
    const auto column = column_of(layout, rows);
    const auto matrix = [=](unsigned window) { return output_bytes(size) + window * size.bytes; };
    Contest contest;
    contest.fault = fault_of(*column, columns, matrix(0));
    contest.kernel = [=](unsigned window) { enter(*column, columns, matrix(window)); };
    contest.limit = [=](unsigned window) {
      store_limit(matrix(window), rows, columns * record_bytes);
    };
    return contest;
  };
  const std::string name = std::string("colx_transpose_reference_") + layout_name(layout) + ", " +
                           std::to_string(columns) + (columns == 1 ? " column" : " columns");
  return {name, "", size, rows, rows * (record_bytes + column_bytes(layout)), prepare};
}

Case convert_case(ConvertTo form, unsigned mean_bytes, ValueLengths lengths,
                  const SizeClass& size) {
  const uint64_t value_bytes = 2 * record_bytes + 2 * mean_bytes + 2;
  const uint64_t values =
      size.bytes / value_bytes / 10 * 9 / ConvertCall::columns * ConvertCall::columns;
  const auto prepare = [=] {
    const auto call = convert_call(form, values, mean_bytes, lengths, size);
    Contest contest;
    contest.fault = fault_of(*call);
    contest.kernel = [=](unsigned) { call->run(); };
    contest.peer = [=](unsigned) { memcpy_calls(call->matrix, values, call->data); };
    return contest;
  };
  const std::string name = std::string("colx_transpose_convert_") + form_name(form) +
                           (lengths == ValueLengths::alike ? ", " : ", about ") +
                           std::to_string(mean_bytes) + " bytes";
  return {name, "memcpy calls", size, values, values * value_bytes, prepare};
}

}  // namespace colx::bench
