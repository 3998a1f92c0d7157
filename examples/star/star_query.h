// star_query.h: the queries of the Star Schema Benchmark, said once: the engine plans them, the
// row-by-row evaluation follows them to the letter.
//
// A query joins lineorder with the dimensions that its conditions and groups name, keeps the lines
// that satisfy all conditions, groups them and adds up one measure:
//
//   select d_year, p_brand1, sum(lo_revenue) from ... where p_category = 'MFGR#12' and ...
//   group by d_year, p_brand1 order by d_year, p_brand1
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "examples/star/number_filter.h"
#include "examples/star/schema.h"
#include "examples/star/tables.h"

namespace colx::star {

struct TableColumn {
  TableId table;
  size_t column;

  std::string_view name() const { return table_schema(table).columns[column].name; }
  bool operator==(const TableColumn&) const = default;
};

constexpr TableColumn of(Lineorder column) {
  return {TableId::lineorder, column};
}
constexpr TableColumn of(Customer column) {
  return {TableId::customer, column};
}
constexpr TableColumn of(Supplier column) {
  return {TableId::supplier, column};
}
constexpr TableColumn of(Part column) {
  return {TableId::part, column};
}
constexpr TableColumn of(Date column) {
  return {TableId::date, column};
}

// What a cell of a column has to be: one of `texts`, a text from `low` to `high`, or a number.
struct Condition {
  TableColumn column;
  std::vector<std::string_view> texts{};
  std::string_view low{};
  std::string_view high{};
  NumberFilter numbers{};

  bool of_texts() const {
    return table_schema(column.table).columns[column.column].kind == Kind::text;
  }
  bool holds(std::string_view text) const;
  bool holds(uint32_t number) const { return numbers.holds(number); }
  std::string text() const;  // as SQL
};

enum class Measure : uint8_t {
  revenue,           // sum(lo_revenue)
  discounted_price,  // sum(lo_extendedprice * lo_discount)
  profit             // sum(lo_revenue - lo_supplycost)
};

struct StarQuery {
  std::string_view name;
  Measure measure = Measure::revenue;
  std::vector<Condition> where{};
  std::vector<TableColumn> group_by{};
  // Rows of the answer are in the order of these columns of group_by; `largest_sum_first` goes
  // before the columns that are not among them.
  std::vector<TableColumn> order_by{};
  bool largest_sum_first = false;

  std::string sql() const;
};

// Q1.1 to Q4.3.
std::vector<StarQuery> benchmark_queries();

// A row of an answer: the group's columns as text, and the sum.
struct AnswerRow {
  std::vector<std::string> group;
  int64_t sum = 0;
  bool operator==(const AnswerRow&) const = default;
};

// Brings rows into the query's order; rows that it leaves open are ordered by their groups.
void put_in_order(const StarQuery& query, std::vector<AnswerRow>& rows);

}  // namespace colx::star
