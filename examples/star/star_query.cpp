#include "examples/star/star_query.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace colx::star {
namespace {

// Texts of different lengths compare as SQL does, numbers (all of four digits) as well.
std::string_view measure_text(Measure measure) {
  switch (measure) {
    case Measure::revenue:
      return "sum(lo_revenue)";
    case Measure::discounted_price:
      return "sum(lo_extendedprice * lo_discount)";
    case Measure::profit:
      return "sum(lo_revenue - lo_supplycost)";
  }
  return {};
}

std::string joined(const std::vector<TableColumn>& columns) {
  std::string text;
  for (const TableColumn& column : columns)
    text += fmt::format("{}{}", text.empty() ? "" : ", ", column.name());
  return text;
}

size_t position(const std::vector<TableColumn>& columns, const TableColumn& column) {
  return static_cast<size_t>(std::ranges::find(columns, column) - columns.begin());
}

}  // namespace

bool Condition::holds(std::string_view text) const {
  if (texts.empty()) return text >= low && text <= high;
  return std::ranges::find(texts, text) != texts.end();
}

std::string Condition::text() const {
  if (!of_texts()) return numbers.text(column.name());
  if (texts.empty()) return fmt::format("{} between '{}' and '{}'", column.name(), low, high);
  if (texts.size() == 1) return fmt::format("{} = '{}'", column.name(), texts.front());
  std::string list;
  for (const auto& text : texts) list += fmt::format("{}'{}'", list.empty() ? "" : ", ", text);
  return fmt::format("{} in ({})", column.name(), list);
}

std::string StarQuery::sql() const {
  std::set<TableId> tables;
  for (const Condition& condition : where) tables.insert(condition.column.table);
  for (const TableColumn& column : group_by) tables.insert(column.table);
  std::string from = "lineorder";
  std::string conditions;
  const auto add = [&](const std::string& condition) {
    conditions += fmt::format("{}{}", conditions.empty() ? " where " : " and ", condition);
  };
  for (const ForeignKey& key : foreign_keys) {
    if (key.column == lo_commitdate || !tables.contains(key.table)) continue;
    const TableSchema& schema = table_schema(key.table);
    from += fmt::format(", {}", schema.name);
    add(fmt::format("{} = {}", of(key.column).name(), schema.columns[0].name));
  }
  for (const Condition& condition : where) add(condition.text());
  const std::string groups = joined(group_by);
  std::string order = joined(order_by);
  if (largest_sum_first)
    order += fmt::format("{}{} desc", order.empty() ? "" : ", ", measure_text(measure));
  for (const TableColumn& column : group_by)
    if (std::ranges::find(order_by, column) == order_by.end())
      order += fmt::format("{}{}", order.empty() ? "" : ", ", column.name());
  return fmt::format("select {}{}{} from {}{}{}{}", groups, groups.empty() ? "" : ", ",
                     measure_text(measure), from, conditions,
                     groups.empty() ? "" : " group by " + groups,
                     order.empty() ? "" : " order by " + order);
}

void put_in_order(const StarQuery& query, std::vector<AnswerRow>& rows) {
  std::ranges::sort(rows, [&](const AnswerRow& left, const AnswerRow& right) {
    for (const TableColumn& column : query.order_by) {
      const size_t at = position(query.group_by, column);
      if (left.group[at] != right.group[at]) return left.group[at] < right.group[at];
    }
    if (query.largest_sum_first && left.sum != right.sum) return left.sum > right.sum;
    return left.group < right.group;
  });
}

}  // namespace colx::star
