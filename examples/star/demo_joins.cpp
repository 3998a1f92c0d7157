// What the demo shows beside the benchmark's queries: joins, names, groups and numbers.

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "examples/star/demo_queries.h"
#include "examples/star/flight1.h"
#include "examples/star/groupings.h"
#include "examples/star/joins.h"
#include "examples/star/line_numbers.h"
#include "examples/star/names.h"
#include "examples/star/plain_query.h"
#include "examples/star/report.h"
#include "tools/console/figures.h"

namespace colx::star {
namespace {

// Calls `call` and tells how many seconds it took.
template <class Call>
auto with_seconds(Call call) {
  const auto start = std::chrono::steady_clock::now();
  auto result = call();
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  return std::pair{std::move(result), time.count()};
}

const std::vector<Condition>& joined_parts() {
  static const std::vector<Condition> conditions = {
      {.column = of(c_region), .texts = {"ASIA"}},
      {.column = of(s_region), .texts = {"ASIA"}},
      {.column = of(p_mfgr), .texts = {"MFGR#1", "MFGR#2"}},
      {.column = of(d_year), .numbers = {host::Compare::eq, 1993}}};
  return conditions;
}

uint64_t lines_of(const Session& session) {
  return session.tables[TableId::lineorder].rows();
}

// The texts of a dimension's columns for each line, from the plain tables.
std::vector<std::vector<std::string>> plain_texts(const Tables& tables,
                                                  const std::vector<uint32_t>& lines,
                                                  const std::vector<TableColumn>& columns) {
  const Table& dimension = tables[columns.front().table];
  const auto& keys = tables[TableId::lineorder][StarStore::key_of(dimension.id())].cells;
  std::vector<std::vector<std::string>> texts;
  for (const uint32_t line : lines) {
    texts.emplace_back();
    uint32_t row = 0;
    while (dimension[0].cells[row] != keys[line]) ++row;
    for (const TableColumn& column : columns)
      texts.back().push_back(dimension[column.column].text(row));
  }
  return texts;
}

}  // namespace

host::Result<bool> joins(const Session& session) {
  print_heading("Joins of all lines with each dimension");
  bool right = true;
  for (const Condition& condition : joined_parts()) {
    const JoinTally expected = plain_join(session.tables, condition);
    for (const JoinMethod method : join_methods) {
      const auto [found, seconds] = with_seconds(
          [&] { return join_lines(session.store, condition, method, session.options.threads); });
      if (!found) return found.error();
      fmt::print("  {:<34} {:<41} {:>11} pairs {:>7.0f} M lines/s; ", condition.text(),
                 name_of(method), console::grouped(found->pairs),
                 static_cast<double>(lines_of(session)) / seconds / 1e6);
      right &= print_verdict(*found == expected);
    }
  }
  return right;
}

host::Result<bool> names(const Session& session) {
  struct Fetch {
    std::vector<TableColumn> columns;
    host::StoreForm form;
    std::string_view form_name;
  };
  const Fetch fetches[] = {{{of(c_name), of(c_city), of(c_phone)}, host::StoreForm::lp, "rows, lp"},
                           {{of(s_name), of(s_address)}, host::StoreForm::cla, "rows, cla"},
                           {{of(c_name)}, host::StoreForm::dlp, "values, dlp"},
                           {{of(s_name)}, host::StoreForm::cla, "values, cla"}};
  const auto answer = run_flight1(session.engine, flight1_queries[2], 1);
  if (!answer) return answer.error();
  print_heading(fmt::format("Names for the {} lines of Q1.3, gathered from row stores",
                            console::grouped(answer->rows.size())));
  bool right = true;
  for (const Fetch& fetch : fetches) {
    const TableId dimension = fetch.columns.front().table;
    const auto rows = store_rows(session.store, fetch.columns, fetch.form);
    if (!rows) return rows.error();
    const auto texts = texts_of_lines(session.engine, session.store, answer->rows, dimension, *rows,
                                      fetch.columns.size());
    if (!texts) return texts.error();
    std::string first;
    if (!texts->empty())
      for (const std::string& text : texts->front()) first += fmt::format("{:<20} ", text);
    fmt::print("  {:<10} {:<12} first {:<58} ", table_schema(dimension).name, fetch.form_name,
               first);
    right &= print_verdict(*texts == plain_texts(session.tables, answer->rows, fetch.columns));
  }
  return right;
}

host::Result<bool> groupings(const Session& session) {
  print_heading("Revenue grouped by two and three columns of dimensions");
  const PlainStar plain(session.tables);
  bool right = true;
  for (const auto& groups : {std::vector{of(d_year), of(s_nation)},
                             std::vector{of(d_year), of(s_nation), of(p_brand1)}}) {
    const StarQuery query{.name = "grouping", .group_by = groups, .order_by = groups};
    const StarAnswer expected = plain.answer(query);
    std::string columns;
    for (const TableColumn& column : groups)
      columns += fmt::format("{}{}", columns.empty() ? "" : ", ", column.name());
    const auto by_keys = answer_by_group_keys(session.store, session.tables, query);
    if (!by_keys) return by_keys.error();
    const auto by_shares = answer(session.store, query, session.options.threads);
    if (!by_shares) return by_shares.error();
    for (const auto& [way, found] : {std::pair{"group keys of wide columns", &*by_keys},
                                     std::pair{"translated codes added up", &*by_shares}}) {
      fmt::print("  {:<28} {:<28} {:>8} groups; ", columns, way,
                 console::grouped(found->rows.size()));
      right &= print_verdict(!difference(*found, expected));
    }
  }
  return right;
}

host::Result<bool> line_numbers(const Session& session) {
  print_heading("Numbers of all lines");
  const Table& lines = session.tables[TableId::lineorder];
  const host::Library& library = session.engine.library;
  const Triangle triangle = {{{0.5, -0.5}, {30.5, -0.5}, {0.5, 8.5}}};
  int64_t discounted = 0, revenue = 0;
  uint64_t within = 0;
  for (uint32_t line = 0; line < lines.rows(); ++line) {
    const uint32_t quantity = lines[lo_quantity].cells[line];
    const uint32_t discount = lines[lo_discount].cells[line];
    discounted += int64_t{lines[lo_extendedprice].cells[line]} * discount;
    revenue += lines[lo_revenue].cells[line];
    within += 9.0 * (quantity - 0.5) + 30.0 * (discount + 0.5) < 270.0;
  }
  const auto& customers = lines[lo_custkey].cells;
  const size_t ordering = std::unordered_set<uint32_t>(customers.begin(), customers.end()).size();
  const auto total = discounted_total(library, session.tables);
  if (!total) return total.error();
  const auto converted = revenue_total(library, session.tables);
  if (!converted) return converted.error();
  const auto inside = lines_within(library, session.tables, triangle);
  if (!inside) return inside.error();
  const auto customers_found = customers_with_orders(library, session.tables);
  if (!customers_found) return customers_found.error();
  bool right = true;
  fmt::print("  sum(lo_extendedprice * lo_discount) in doubles   {:>22.0f}; ", *total);
  // Sums above 2^53 are rounded, in the order in which they were added.
  const auto exact = static_cast<double>(discounted);
  right &=
      print_verdict(exact < 0x1p53 ? *total == exact : std::abs(*total - exact) < exact * 1e-12);
  fmt::print("  sum(lo_revenue) by conversion                    {:>22}; ", *converted);
  right &= print_verdict(*converted == revenue);
  fmt::print("  lines of small quantity and discount, in a triangle {:>19}; ", *inside);
  right &= print_verdict(*inside == within);
  fmt::print("  customers who ordered something                  {:>22}; ", *customers_found);
  right &= print_verdict(*customers_found == ordering);
  return right;
}

}  // namespace colx::star
