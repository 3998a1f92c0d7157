#include "examples/star/encode.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/encode_rows.h"
#include "host/value_forms.h"
#include "tools/console/progress_line.h"

namespace colx::star {
namespace {

template <class T>
host::Result<EncodedColumn> finish(host::Result<host::DictionaryColumn<T>> stored, std::string name,
                                   uint64_t plain_bytes) {
  if (!stored) return host::Error{fmt::format("{}: {}", name, stored.message())};
  return EncodedColumn{std::move(name), std::move(stored->dictionary), std::move(stored->column), 0,
                       plain_bytes};
}

host::Result<EncodedColumn> encode_numbers(const Column& column, std::string name,
                                           const host::DictionaryColumnOptions& options) {
  const std::vector<int64_t> values(column.cells.begin(), column.cells.end());
  return finish(host::store_dictionary_column<int64_t>(values, options), std::move(name),
                sizeof(uint32_t) * values.size());
}

host::Result<EncodedColumn> encode_texts(const Column& column,
                                         const host::DictionaryColumnOptions& options) {
  std::vector<std::string_view> values;
  values.reserve(column.cells.size());
  uint64_t bytes = 0;
  for (size_t row = 0; row < column.cells.size(); ++row) {
    values.emplace_back(column.text(row));
    bytes += values.back().size();
  }
  return finish(host::store_dictionary_column<std::string>(values, options),
                std::string{column.schema.name}, bytes);
}

// A column of stored rows, without a dictionary.
host::Result<EncodedColumn> encode_rows(const Column& column, uint32_t number_bytes,
                                        host::Result<host::StoredColumn> rows) {
  if (!rows) return host::Error{fmt::format("{}: {}", column.schema.name, rows.message())};
  EncodedColumn encoded;
  encoded.name = column.schema.name;
  encoded.stored = std::move(*rows);
  encoded.number_bytes = number_bytes;
  encoded.plain_bytes = sizeof(uint32_t) * column.cells.size();
  return encoded;
}

host::Result<EncodedColumn> encode_days(const Column& column) {
  std::vector<uint64_t> days(column.cells.size());
  std::ranges::transform(column.cells, days.begin(), packed_day);
  return encode_rows(column, 0, host::store_fixed_numbers(days, {.width_bytes = 3}));
}

// All numbers of the column take 3 bytes, or 4 if one of them needs 4.
uint32_t number_bytes(const Column& column) {
  return column.cells.empty() || std::ranges::max(column.cells) >> 24 == 0 ? 3 : 4;
}

host::Result<EncodedColumn> encode_plain(const Column& column) {
  const uint32_t bytes = number_bytes(column);
  const std::vector<uint64_t> numbers(column.cells.begin(), column.cells.end());
  return encode_rows(column, bytes, host::store_fixed_numbers(numbers, {.width_bytes = bytes}));
}

host::Result<EncodedColumn> encode_trimmed(const Column& column) {
  const uint32_t bytes = number_bytes(column);
  std::vector<uint8_t> all(bytes * column.cells.size());
  std::vector<std::string_view> rows;
  rows.reserve(column.cells.size());
  for (const uint32_t number : column.cells) {
    uint8_t* const at = all.data() + bytes * rows.size();
    host::store_integer(at, number, bytes);
    rows.emplace_back(reinterpret_cast<const char*>(at), bytes);
  }
  return encode_rows(column, bytes, host::store_dynp(rows, {.max_bytes = 4}));
}

}  // namespace

uint64_t EncodedColumn::stored_bytes() const {
  return stored.stream_bytes() + (stored.dictionary ? stored.dictionary->bytes() : 0);
}

std::string EncodedColumn::form() const {
  switch (stored.format.encoding) {
    case host::Encoding::fixed:
      return fmt::format("rows of {} bytes", stored.format.width_bits / 8);
    case host::Encoding::dynp:
      return fmt::format("rows of 1 to {} bytes", stored.format.width_bits / 8);
    case host::Encoding::dict:
      break;
  }
  return fmt::format("{}-bit codes{}{}", stored.format.width_bits, runs() ? " in runs" : "",
                     stored.format.zero_is_null ? ", nullable" : "");
}

const host::Runs* EncodedColumn::runs() const {
  if (stored.chunks.empty() || !stored.chunks.front().runs) return nullptr;
  return &*stored.chunks.front().runs;
}

Form form_of(TableId table, size_t column) {
  if (table != TableId::lineorder) return Form::codes;
  switch (column) {
    case lo_orderdate:
      return Form::runs;
    case lo_commitdate:
      return Form::days;
    case lo_extendedprice:
    case lo_revenue:
    case lo_supplycost:
      return Form::numbers;
    case lo_ordtotalprice:
      return Form::trimmed;
    default:
      return Form::codes;
  }
}

host::Result<EncodedColumn> encode_column(const Column& column, Form form) {
  const std::string name{column.schema.name};
  host::DictionaryColumnOptions options;
  switch (form) {
    case Form::days:
      return encode_days(column);
    case Form::numbers:
      return encode_plain(column);
    case Form::trimmed:
      return encode_trimmed(column);
    case Form::runs:
      options.runs.emplace();
      break;
    case Form::codes:
      break;
  }
  if (column.schema.kind == Kind::text) return encode_texts(column, options);
  return encode_numbers(column, name, options);
}

host::Result<EncodedColumn> encode_nullable(const Column& column, uint32_t null_number,
                                            std::string name) {
  host::RowBits present(column.cells.size());
  for (size_t row = 0; row < column.cells.size(); ++row)
    if (column.cells[row] != null_number) present.set(row);
  host::DictionaryColumnOptions options;
  options.present = &present;
  return encode_numbers(column, std::move(name), options);
}

host::Result<std::vector<EncodedColumn>> encode_table(const Table& table) {
  console::ProgressLine progress(fmt::format("encoding {}", table.name()), table.columns().size());
  std::vector<EncodedColumn> encoded;
  for (size_t column = 0; column < table.columns().size(); ++column) {
    progress.at(column);
    auto stored = encode_column(table[column], form_of(table.id(), column));
    if (!stored) return stored.error();
    encoded.push_back(std::move(*stored));
  }
  return encoded;
}

}  // namespace colx::star
