#include "examples/star/report.h"

#include <fmt/format.h>

#include <algorithm>

namespace colx::star {

std::string grouped(uint64_t number) {
  std::string digits = fmt::to_string(number);
  for (size_t left = digits.size(); left > 3; left -= 3) digits.insert(left - 3, 1, ',');
  return digits;
}

void print_columns(const Table& table, const std::vector<EncodedColumn>& columns) {
  const double rows = std::max(table.rows(), 1u);
  fmt::print("{}, {} rows\n", table.name(), grouped(table.rows()));
  uint64_t stored = 0;
  uint64_t plain = 0;
  for (const EncodedColumn& column : columns) {
    fmt::print("  {:<20} {:<20} {:>8.2f} bytes a row, plain {:>6.2f}\n", column.name, column.form(),
               static_cast<double>(column.stored_bytes()) / rows,
               static_cast<double>(column.plain_bytes) / rows);
    stored += column.stored_bytes();
    plain += column.plain_bytes;
  }
  fmt::print("  {:<20} {:<20} {:>8.2f} bytes a row, plain {:>6.2f}\n\n", "all", "",
             static_cast<double>(stored) / rows, static_cast<double>(plain) / rows);
}

void print_answer(std::string_view name, std::string_view where, const Answer& answer,
                  const std::optional<std::string>& wrong) {
  fmt::print("{}  {}\n", name, where);
  for (const Step& step : answer.steps)
    fmt::print("  {:<46} {:<38} {:>11} of {:>11} rows {:>7.0f} M rows/s\n", step.work, step.kernel,
               grouped(step.hits), grouped(step.rows), step.rows_per_second() / 1e6);
  fmt::print(
      "  {} rows match; {}\n", grouped(answer.count),
      wrong ? fmt::format("WRONG: {}", *wrong) : "the row-by-row evaluation finds the same rows");
}

void print_rows(const Table& lineorder, const std::vector<uint32_t>& rows, unsigned listed) {
  constexpr Lineorder shown[] = {lo_orderkey, lo_linenumber, lo_orderdate,
                                 lo_quantity, lo_discount,   lo_extendedprice};
  const size_t count = std::min<size_t>(listed, rows.size());
  if (count > 0) {
    fmt::print(" ");
    for (const Lineorder column : shown) fmt::print(" {:>16}", lineorder[column].spec.name);
    fmt::print("\n");
  }
  for (size_t i = 0; i < count; ++i) {
    fmt::print(" ");
    for (const Lineorder column : shown) fmt::print(" {:>16}", lineorder.cell(column, rows[i]));
    fmt::print("\n");
  }
  fmt::print("\n");
}

}  // namespace colx::star
