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
                                           const host::RowBits* present) {
  const std::vector<int64_t> values(column.cells.begin(), column.cells.end());
  host::DictionaryColumnOptions options;
  options.present = present;
  return finish(host::store_dictionary_column<int64_t>(values, options), std::move(name),
                sizeof(uint32_t) * values.size());
}

host::Result<EncodedColumn> encode_texts(const Column& column) {
  std::vector<std::string_view> values;
  values.reserve(column.cells.size());
  uint64_t bytes = 0;
  for (size_t row = 0; row < column.cells.size(); ++row) {
    values.emplace_back(column.text(row));
    bytes += values.back().size();
  }
  return finish(host::store_dictionary_column<std::string>(values), std::string{column.spec.name},
                bytes);
}

}  // namespace

uint64_t EncodedColumn::stored_bytes() const {
  return stored.stream_bytes() + (stored.dictionary ? stored.dictionary->bytes() : 0);
}

std::string EncodedColumn::form() const {
  return fmt::format("{}-bit codes{}", stored.format.width_bits,
                     stored.format.zero_is_null ? ", nullable" : "");
}

host::Result<EncodedColumn> encode_column(const Column& column) {
  if (column.spec.kind == Kind::text) return encode_texts(column);
  return encode_numbers(column, std::string{column.spec.name}, nullptr);
}

host::Result<EncodedColumn> encode_nullable(const Column& column, uint32_t null_number,
                                            std::string name) {
  host::RowBits present(column.cells.size());
  for (size_t row = 0; row < column.cells.size(); ++row)
    if (column.cells[row] != null_number) present.set(row);
  return encode_numbers(column, std::move(name), &present);
}

host::Result<std::vector<EncodedColumn>> encode_table(const Table& table) {
  Progress progress(fmt::format("encoding {}", table.name()), table.columns().size());
  std::vector<EncodedColumn> encoded;
  for (const Column& column : table.columns()) {
    progress.at(encoded.size());
    auto stored = encode_column(column);
    if (!stored) return stored.error();
    encoded.push_back(std::move(*stored));
  }
  return encoded;
}

}  // namespace colx::star
