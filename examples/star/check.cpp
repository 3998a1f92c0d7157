#include "examples/star/check.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

namespace colx::star {

Expected plain_flight1(const Tables& tables, const Flight1Query& query) {
  const Table& lineorder = tables[TableId::lineorder];
  const Table& date = tables[TableId::date];
  std::unordered_map<uint32_t, uint32_t> row_of_day;
  for (uint32_t row = 0; row < date.rows(); ++row) row_of_day[date[d_datekey].cells[row]] = row;

  Expected expected;
  uint64_t revenue = 0;
  for (uint32_t row = 0; row < lineorder.rows(); ++row) {
    const uint32_t discount = lineorder[lo_discount].cells[row];
    if (!query.discount.holds(discount) ||
        !query.quantity.holds(lineorder[lo_quantity].cells[row]) ||
        !query.day.holds(date, row_of_day.at(lineorder[lo_orderdate].cells[row])))
      continue;
    expected.rows.push_back(row);
    revenue += uint64_t{lineorder[lo_extendedprice].cells[row]} * discount;
  }
  expected.revenue = revenue;
  return expected;
}

Expected plain_scan(const Column& column, const NumberFilter& filter,
                    const std::vector<uint32_t>* among) {
  Expected expected;
  const auto look_at = [&](uint32_t row) {
    if (filter.holds(column.cells[row])) expected.rows.push_back(row);
  };
  if (among)
    std::ranges::for_each(*among, look_at);
  else
    for (uint32_t row = 0; row < column.cells.size(); ++row) look_at(row);
  return expected;
}

std::optional<std::string> difference(const Answer& answer, const Expected& expected) {
  const auto [found, wanted] = std::ranges::mismatch(answer.rows, expected.rows);
  const bool is_missing = wanted != expected.rows.end();
  if (found != answer.rows.end() && (!is_missing || *found < *wanted))
    return fmt::format("row {} is listed and does not match", *found);
  if (is_missing) return fmt::format("row {} matches and is not listed", *wanted);
  if (answer.count != answer.rows.size())
    return fmt::format("{} rows were counted, {} listed", answer.count, answer.rows.size());
  if (expected.revenue && answer.revenue != expected.revenue)
    return fmt::format("the revenue is {}, not {}", *expected.revenue, answer.revenue.value_or(0));
  return std::nullopt;
}

}  // namespace colx::star
