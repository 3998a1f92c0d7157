#include "examples/star/groupings.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "examples/star/dimension_rows.h"
#include "host/chunk_rows.h"
#include "host/encode_codes.h"
#include "host/encode_rows.h"
#include "host/group_keys.h"
#include "host/group_sums.h"
#include "host/translation.h"

namespace colx::star {
namespace {

// Days are far apart as numbers, keys of the other dimensions follow each other.
host::TableForm table_form(TableId dimension) {
  switch (dimension) {
    case TableId::date:
      return host::TableForm::paged;
    case TableId::part:
      return host::TableForm::flat;
    default:
      return host::TableForm::offset;
  }
}

// From a dimension's keys to the codes of one of its columns.
host::Result<host::TranslationTable> table_of(const StarStore& store, const Table& dimension,
                                              const EncodedColumn& column) {
  const auto codes = all_codes(store, column);
  if (!codes) return codes.error();
  const std::vector<uint32_t>& keys = dimension[0].cells;
  std::vector<host::KeyCode> pairs;
  for (uint32_t row = 0; row < dimension.rows(); ++row) pairs.push_back({keys[row], (*codes)[row]});
  const auto element = host::element_width_for(column.stored.dictionary->num_symbols());
  if (!element) return element.error();
  return host::TranslationTable::build(
      pairs,
      {.form = table_form(dimension.id()),
       .element = std::max(*element, host::ElementWidth::one_byte),
       .first_key =
           table_form(dimension.id()) == host::TableForm::offset ? std::ranges::min(keys) : 0,
       .page_shift = 9});
}

uint32_t element_at(const std::vector<uint8_t>& elements, size_t row, host::ElementWidth width) {
  uint32_t element = 0;
  const size_t bytes = host::element_bits(width) / 8;
  std::memcpy(&element, elements.data() + row * bytes, bytes);
  return element;
}

// A dimension's column with a row a line.
host::Result<host::StoredColumn> widen(const StarStore& store, const Tables& tables,
                                       const TableColumn& which) {
  const EncodedColumn& column = store.column(which);
  const auto table = table_of(store, tables[which.table], column);
  if (!table) return table.error();
  const auto& cells = tables[TableId::lineorder][StarStore::key_of(which.table)].cells;
  const std::vector<uint64_t> numbers(cells.begin(), cells.end());
  const auto stored = host::store_fixed_numbers(numbers, {.width_bytes = 4});
  if (!stored) return stored.error();
  const auto keys = host::KeyColumn::of(*stored);
  if (!keys) return keys.error();
  const auto translation = host::Translation::bind(store.library(), *keys, *table,
                                                   host::Translation::Output::rows_and_codes);
  if (!translation) return translation.error();
  std::vector<uint64_t> codes;
  for (size_t chunk = 0; chunk < stored->chunks.size(); ++chunk) {
    const uint32_t rows = stored->chunks[chunk].rows;
    host::RowBits hits(rows);
    std::vector<uint8_t> elements(translation->code_bytes(rows));
    const auto found = translation->run(chunk, hits, elements);
    if (!found) return found.error();
    if (found->hits != rows) return host::make_error("a line refers to no row of the dimension");
    for (uint32_t row = 0; row < rows; ++row)
      codes.push_back(element_at(elements, row, table->element()));
  }
  auto wide = host::store_codes(codes, {.width_bits = column.stored.format.width_bits});
  if (wide) wide->dictionary = column.stored.dictionary;
  return wide;
}

std::string value_of(const StarStore& store, const TableColumn& which, uint32_t code) {
  const EncodedColumn& column = store.column(which);
  if (table_schema(which.table).columns[which.column].kind == Kind::text)
    return std::string{column.stored.dictionary->symbol(code)};
  return std::to_string(column.numbers().value(code));
}

}  // namespace

host::Result<StarAnswer> answer_by_group_keys(const StarStore& store, const Tables& tables,
                                              const StarQuery& query) {
  std::vector<host::StoredColumn> wide;
  for (const TableColumn& column : query.group_by) {
    auto widened = widen(store, tables, column);
    if (!widened) return widened.error();
    wide.push_back(std::move(*widened));
  }
  std::vector<const host::StoredColumn*> columns;
  columns.reserve(wide.size());
  for (const host::StoredColumn& column : wide) columns.push_back(&column);
  const auto groups = host::GroupKeys::bind(store.library(), store.services(), columns);
  if (!groups) return groups.error();
  auto sums = host::GroupSums::create(store.library(), COLX_TYPE_DSB, groups->key_space());
  if (!sums) return sums.error();
  host::RowBits seen(groups->key_space());
  host::ChunkRows rows(store.library(), store.services());
  std::vector<uint64_t> numbers;
  StarAnswer answer;
  for (size_t chunk = 0; chunk < wide.front().chunks.size(); ++chunk) {
    rows.start(chunk, wide.front().chunks[chunk].rows);
    std::vector<uint32_t> keys(rows.count());
    if (const auto made = groups->run(chunk, keys); !made) return made.error();
    const auto picked = host::pick_numbers(rows, store.column(of(lo_revenue)).stored, numbers);
    if (!picked) return picked.error();
    if (auto done = sums->add({picked->data(), rows.count()}, keys); !done) return done.error();
    for (const uint32_t key : keys) seen.set(key);
    answer.lines += rows.count();
  }
  for (uint32_t key = 0; key < groups->key_space(); ++key) {
    if (!seen.test(key)) continue;
    AnswerRow row{{}, sums->integer_sum(key)};
    for (size_t i = 0; i < columns.size(); ++i)
      row.group.push_back(
          value_of(store, query.group_by[i], key / groups->place(i) % groups->codes(i)));
    answer.rows.push_back(std::move(row));
  }
  put_in_order(query, answer.rows);
  return answer;
}

}  // namespace colx::star
