#include "examples/star/plain_query.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

namespace colx::star {
namespace {

bool holds(const Table& table, const Condition& condition, uint32_t row) {
  const Column& column = table[condition.column.column];
  return condition.of_texts() ? condition.holds(column.text(row))
                              : condition.holds(column.cells[row]);
}

int64_t measure_of(const Table& lines, Measure measure, uint32_t line) {
  const auto cell = [&](Lineorder column) { return int64_t{lines[column].cells[line]}; };
  switch (measure) {
    case Measure::revenue:
      return cell(lo_revenue);
    case Measure::discounted_price:
      return cell(lo_extendedprice) * cell(lo_discount);
    case Measure::profit:
      return cell(lo_revenue) - cell(lo_supplycost);
  }
  return 0;
}

}  // namespace

PlainStar::PlainStar(const Tables& tables) : tables_(tables) {
  for (const TableId id : table_ids) {
    if (id == TableId::lineorder) continue;
    std::unordered_map<uint32_t, uint32_t> row_of_key;
    for (uint32_t row = 0; row < tables[id].rows(); ++row)
      row_of_key[tables[id][0].cells[row]] = row;
    const auto& keys = tables[TableId::lineorder][StarStore::key_of(id)].cells;
    std::vector<uint32_t>& rows = rows_[static_cast<size_t>(id)];
    rows.reserve(keys.size());
    for (const uint32_t key : keys) rows.push_back(row_of_key.at(key));
  }
}

StarAnswer PlainStar::answer(const StarQuery& query) const {
  const Table& lines = tables_[TableId::lineorder];
  // A dimension's rows under its conditions, so that each is looked at once and not for each line.
  std::array<std::vector<bool>, table_ids.size()> passes;
  for (const Condition& condition : query.where) {
    const Table& table = tables_[condition.column.table];
    if (table.id() == TableId::lineorder) continue;
    std::vector<bool>& of_table = passes[static_cast<size_t>(table.id())];
    if (of_table.empty()) of_table.assign(table.rows(), true);
    for (uint32_t row = 0; row < table.rows(); ++row)
      if (!holds(table, condition, row)) of_table[row] = false;
  }
  StarAnswer answer;
  std::map<std::vector<uint32_t>, int64_t> sums;  // by the cells of the group
  std::vector<uint32_t> group(query.group_by.size());
  const auto satisfies = [&](uint32_t line) {
    for (size_t id = 0; id < passes.size(); ++id)
      if (!passes[id].empty() && !passes[id][rows_[id][line]]) return false;
    return std::ranges::all_of(query.where, [&](const Condition& condition) {
      return condition.column.table != TableId::lineorder || holds(lines, condition, line);
    });
  };
  for (uint32_t line = 0; line < lines.rows(); ++line) {
    if (!satisfies(line)) continue;
    for (size_t i = 0; i < group.size(); ++i) {
      const auto [table, column] = query.group_by[i];
      group[i] = tables_[table][column].cells[rows_[static_cast<size_t>(table)][line]];
    }
    sums[group] += measure_of(lines, query.measure, line);
    ++answer.lines;
  }
  if (group.empty()) sums.try_emplace(group, 0);
  for (const auto& [cells, sum] : sums) {
    AnswerRow row{{}, sum};
    for (size_t i = 0; i < cells.size(); ++i) {
      const Column& column = tables_[query.group_by[i].table][query.group_by[i].column];
      row.group.push_back(column.schema.kind == Kind::text ? column.texts.at(cells[i])
                                                           : std::to_string(cells[i]));
    }
    answer.rows.push_back(std::move(row));
  }
  put_in_order(query, answer.rows);
  return answer;
}

std::string text_of(const AnswerRow& row) {
  std::string text;
  for (const std::string& value : row.group) text += fmt::format("{:<18}", value);
  return text + fmt::format("{:>18}", row.sum);
}

std::optional<std::string> difference(const std::vector<AnswerRow>& rows,
                                      const std::vector<AnswerRow>& expected) {
  const auto [found, wanted] = std::ranges::mismatch(rows, expected);
  const bool missing = wanted != expected.end();
  if (found != rows.end() && missing)
    return fmt::format("row {} is [{}], not [{}]", found - rows.begin() + 1, text_of(*found),
                       text_of(*wanted));
  if (missing) return fmt::format("[{}] is missing", text_of(*wanted));
  if (found != rows.end()) return fmt::format("[{}] is too much", text_of(*found));
  return std::nullopt;
}

std::optional<std::string> difference(const StarAnswer& answer, const StarAnswer& expected) {
  if (auto wrong = difference(answer.rows, expected.rows)) return wrong;
  if (answer.lines != expected.lines)
    return fmt::format("{} lines were found, not {}", answer.lines, expected.lines);
  return std::nullopt;
}

}  // namespace colx::star
