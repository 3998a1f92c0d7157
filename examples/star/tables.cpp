#include "examples/star/tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace colx::star {

uint32_t TextPool::number_of(std::string_view text) {
  if (const auto known = numbers_.find(text); known != numbers_.end()) return known->second;
  const uint32_t number = size();
  numbers_.emplace(texts_.emplace_back(text), number);
  return number;
}

Table::Table(TableId id) : id_(id) {
  for (const ColumnSchema& schema : table_schema(id).columns) columns_.push_back({schema, {}, {}});
}

void Table::reserve(uint32_t rows) {
  for (Column& column : columns_) column.cells.reserve(rows);
}

void Table::add(size_t column, std::string_view text) {
  Column& to = columns_[column];
  to.cells.push_back(to.texts.number_of(text));
}

void Table::sort_by(size_t column) {
  std::vector<uint32_t> order(rows());
  std::iota(order.begin(), order.end(), 0);
  const std::vector<uint32_t>& keys = columns_[column].cells;
  std::ranges::stable_sort(order, {}, [&](uint32_t row) { return keys[row]; });
  for (Column& sorted : columns_) {
    std::vector<uint32_t> cells(rows());
    std::ranges::transform(order, cells.begin(), [&](uint32_t row) { return sorted.cells[row]; });
    sorted.cells = std::move(cells);
  }
}

std::string Table::cell(size_t column, size_t row) const {
  const Column& from = columns_[column];
  return from.schema.kind == Kind::text ? from.text(row) : fmt::to_string(from.cells[row]);
}

Tables::Tables() {
  for (const TableId id : table_ids) tables_.emplace_back(id);
}

}  // namespace colx::star
