#include "examples/star/names.h"

#include <numeric>
#include <utility>

#include "examples/star/row_values.h"
#include "host/gathered_rows.h"
#include "host/join_probe.h"
#include "host/join_table.h"
#include "host/value_reader.h"

namespace colx::star {
namespace {

// All values of a column, as pointers into its dictionary.
struct Texts {
  std::vector<const char*> starts;
  std::vector<uint16_t> lengths;
};

host::Result<Texts> texts_of(const StarStore& store, const EncodedColumn& column) {
  auto reader = host::ColumnReader::open(store.library(), store.services(), column.stored);
  if (!reader) return reader.error();
  Texts texts;
  for (;;) {
    const auto batch = reader->next();
    if (!batch) return batch.error();
    if (batch->size() == 0) return texts;
    texts.starts.insert(texts.starts.end(), batch->data.begin(), batch->data.end());
    texts.lengths.insert(texts.lengths.end(), batch->lengths.begin(), batch->lengths.end());
  }
}

// The matches of the lines with all rows of a dimension, a match a line.
host::Result<std::vector<host::Match>> match_lines(const StarStore& store,
                                                   std::span<const uint32_t> line_codes,
                                                   TableId dimension) {
  std::vector<uint32_t> codes;
  std::vector<uint64_t> rows;
  const std::vector<uint32_t>& links = store.link(dimension).code_of_row;
  for (uint32_t row = 0; row < links.size(); ++row) {
    if (links[row] == KeyLink::no_code) continue;
    codes.push_back(links[row]);
    rows.push_back(row);
  }
  auto table = host::JoinTable::create(store.library(),
                                       {.expected_rows = codes.size(), .exact_codes = true});
  if (!table) return table.error();
  const auto keys = host::KeyRows::codes(codes);
  if (!keys) return keys.error();
  if (auto built = table->build(*keys, host::RowValues::of(std::span<const uint64_t>(rows)));
      !built)
    return built.error();
  const auto wanted = host::KeyRows::codes(line_codes);
  if (!wanted) return wanted.error();
  auto probe =
      host::JoinProbe::open(store.library(), *table, *wanted, host::RowValues::numbered_from(0));
  if (!probe) return probe.error();
  std::vector<host::Match> all;
  for (;;) {
    const auto matches = probe->next();
    if (!matches) return matches.error();
    if (matches->empty()) return all;
    all.insert(all.end(), matches->begin(), matches->end());
  }
}

}  // namespace

host::Result<host::RowStore> store_rows(const StarStore& store,
                                        const std::vector<TableColumn>& columns,
                                        host::StoreForm form) {
  std::vector<Texts> texts;
  std::vector<host::KeyRows> values;
  for (const TableColumn& column : columns) {
    auto read = texts_of(store, store.column(column));
    if (!read) return read.error();
    texts.push_back(std::move(*read));
    auto keys = host::KeyRows::pointers(texts.back().starts, texts.back().lengths);
    if (!keys) return keys.error();
    values.push_back(*keys);
  }
  return host::RowStore::build(store.library(), values, {.form = form});
}

host::Result<std::vector<std::vector<std::string>>> texts_of_lines(
    const Engine& engine, const StarStore& store, std::span<const uint32_t> lines,
    TableId dimension, const host::RowStore& rows, size_t columns) {
  const EncodedColumn& key = store.column(of(StarStore::key_of(dimension)));
  const auto keys = values_at(engine, key, lines);
  if (!keys) return keys.error();
  std::vector<uint32_t> codes;
  for (const uint32_t value : *keys)
    codes.push_back(static_cast<uint32_t>(key.numbers().code_of(value).value()));
  const auto matches = match_lines(store, codes, dimension);
  if (!matches) return matches.error();
  auto gather =
      host::GatheredRows::open(store.library(), rows, host::EntryList::build_side(*matches));
  if (!gather) return gather.error();
  std::vector<std::vector<std::string>> texts;
  for (;;) {
    const auto batch = gather->next();
    if (!batch) return batch.error();
    if (batch->size() == 0) return texts;
    for (size_t i = 0; i < batch->size(); ++i) {
      texts.emplace_back();
      if (!rows.holds_rows()) {
        texts.back().emplace_back((*batch)[i]);
        continue;
      }
      for (uint32_t column = 0; column < columns; ++column)
        texts.back().emplace_back(host::row_value(batch->starts[i], column));
    }
  }
}

}  // namespace colx::star
