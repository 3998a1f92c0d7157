#include "examples/star/encode.h"

#include <fmt/format.h>

#include <utility>

#include "examples/star/progress.h"

namespace colx::star {
namespace {

template <class T>
host::Result<EncodedColumn> finish(host::Result<host::DictionaryColumn<T>> stored, std::string name,
                                   uint64_t plain_bytes) {
  if (!stored) return host::Error{fmt::format("{}: {}", name, stored.message())};
  return EncodedColumn{std::move(name), std::move(stored->dictionary), std::move(stored->column),
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
                std::string{column.spec.name}, bytes);
}

}  // namespace

uint64_t EncodedColumn::stored_bytes() const {
  return stored.stream_bytes() + (stored.dictionary ? stored.dictionary->bytes() : 0);
}

std::string EncodedColumn::form() const {
  return fmt::format("{}-bit codes{}{}", stored.format.width_bits, runs() ? " in runs" : "",
                     stored.format.zero_is_null ? ", nullable" : "");
}

const host::Runs* EncodedColumn::runs() const {
  if (stored.chunks.empty() || !stored.chunks.front().runs) return nullptr;
  return &*stored.chunks.front().runs;
}

Form form_of(TableId table, size_t column) {
  return table == TableId::lineorder && column == lo_orderdate ? Form::runs : Form::codes;
}

host::Result<EncodedColumn> encode_column(const Column& column, Form form) {
  host::DictionaryColumnOptions options;
  if (form == Form::runs) options.runs.emplace();
  if (column.spec.kind == Kind::text) return encode_texts(column, options);
  return encode_numbers(column, std::string{column.spec.name}, options);
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
  Progress progress(fmt::format("encoding {}", table.name()), table.columns().size());
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
