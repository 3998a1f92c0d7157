#include "examples/star/report.h"

#include <fmt/format.h>

#include <algorithm>

#include "examples/star/row_values.h"
#include "tools/console/figures.h"

namespace colx::star {

void print_columns(const Table& table, const std::vector<EncodedColumn>& columns) {
  const double rows = std::max(table.rows(), 1u);
  fmt::print("\n{}, {} rows\n", table.name(), console::grouped(table.rows()));
  uint64_t stored = 0;
  uint64_t plain = 0;
  for (const EncodedColumn& column : columns) {
    fmt::print("  {:<20} {:<20} {:>8.2f} bytes a row, plain {:>6.2f}\n", column.name, column.form(),
               static_cast<double>(column.stored_bytes()) / rows,
               static_cast<double>(column.plain_bytes) / rows);
    stored += column.stored_bytes();
    plain += column.plain_bytes;
  }
  fmt::print("  {:<20} {:<20} {:>8.2f} bytes a row, plain {:>6.2f}\n", "all", "",
             static_cast<double>(stored) / rows, static_cast<double>(plain) / rows);
}

void print_heading(std::string_view text) {
  fmt::print("\n{}\n", text);
}

bool print_verdict(bool right) {
  fmt::print("{}\n", right ? "the row-by-row evaluation finds the same" : "WRONG");
  return right;
}

void print_answer(const Answer& answer, const std::optional<std::string>& wrong) {
  for (const Step& step : answer.steps)
    fmt::print("  {:<54} {:<38} {:>11} of {:>11} rows {:>7.0f} M rows/s\n", step.work, step.kernel,
               console::grouped(step.hits), console::grouped(step.rows),
               step.rows_per_second() / 1e6);
  fmt::print("  {} rows match{}; {}\n", console::grouped(answer.count),
             answer.revenue ? fmt::format(", revenue {}", console::grouped(*answer.revenue)) : "",
             wrong ? fmt::format("WRONG: {}", *wrong) : "the row-by-row evaluation finds the same");
}

host::Result<void> print_rows(const Engine& engine, std::span<const uint32_t> rows) {
  constexpr Lineorder shown[] = {lo_orderkey, lo_linenumber, lo_orderdate,
                                 lo_quantity, lo_discount,   lo_extendedprice};
  if (rows.empty()) return {};
  std::string heading;
  std::vector<std::string> lines(rows.size());
  for (const Lineorder column : shown) {
    const EncodedColumn& stored = engine.lineorder[column];
    const auto values = values_at(engine, stored, rows);
    if (!values) return values.error();
    heading += fmt::format("{:>18}", stored.name);
    for (size_t row = 0; row < rows.size(); ++row)
      lines[row] += fmt::format("{:>18}", (*values)[row]);
  }
  fmt::print("{}\n", heading);
  for (const std::string& line : lines) fmt::print("{}\n", line);
  return {};
}

}  // namespace colx::star
