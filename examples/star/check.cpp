#include "examples/star/check.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

namespace colx::star {

std::vector<uint32_t> plain_flight1(const Tables& tables, const Flight1Query& query) {
  const Table& lineorder = tables[TableId::lineorder];
  const Table& date = tables[TableId::date];
  std::unordered_map<uint32_t, uint32_t> row_of_day;
  for (uint32_t row = 0; row < date.rows(); ++row) row_of_day[date[d_datekey].cells[row]] = row;

  std::vector<uint32_t> rows;
  for (uint32_t row = 0; row < lineorder.rows(); ++row)
    if (query.discount.holds(lineorder[lo_discount].cells[row]) &&
        query.quantity.holds(lineorder[lo_quantity].cells[row]) &&
        query.day.holds(date, row_of_day.at(lineorder[lo_orderdate].cells[row])))
      rows.push_back(row);
  return rows;
}

std::vector<uint32_t> plain_scan(const Column& column, const NumberFilter& filter) {
  std::vector<uint32_t> rows;
  for (uint32_t row = 0; row < column.cells.size(); ++row)
    if (filter.holds(column.cells[row])) rows.push_back(row);
  return rows;
}

std::optional<std::string> difference(uint64_t count, const std::vector<uint32_t>& rows,
                                      const std::vector<uint32_t>& expected) {
  const auto [found, wanted] = std::ranges::mismatch(rows, expected);
  if (found != rows.end() && (wanted == expected.end() || *found < *wanted))
    return fmt::format("row {} is listed and does not match", *found);
  if (wanted != expected.end()) return fmt::format("row {} matches and is not listed", *wanted);
  if (count != rows.size())
    return fmt::format("{} rows were counted, {} listed", count, rows.size());
  return std::nullopt;
}

}  // namespace colx::star
