#include "examples/star/demo_queries.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <string>
#include <utility>

#include "examples/star/check.h"
#include "examples/star/column_scan.h"
#include "examples/star/flight1.h"
#include "examples/star/report.h"
#include "tools/console/figures.h"

namespace colx::star {
namespace {

constexpr NumberFilter high_revenue = {host::Compare::gt, 5'000'000};  // cents

struct ColumnFilter {
  Lineorder column;
  NumberFilter filter;
};
constexpr ColumnFilter stored_value_filters[] = {
    {lo_revenue, high_revenue},
    {lo_extendedprice, {host::Compare::ge_le, 1'000'000, 2'000'000}},
    {lo_ordtotalprice, {host::Compare::lt, 2'000'000}},
    {lo_commitdate, {host::Compare::ge, 19980101}},
    {lo_commitdate, {host::Compare::ge_lt, 19940201, 19940301}}};

// The plain column that an encoded one came from.
const Column& plain(const Session& session, Lineorder column) {
  return session.tables[TableId::lineorder][column];
}

// Prints an answer; true if it is right.
bool report(const Answer& answer, const Expected& expected) {
  const auto wrong = difference(answer, expected);
  print_answer(answer, wrong);
  return !wrong;
}

}  // namespace

host::Result<bool> flight1(const Session& session) {
  bool right = true;
  for (const Flight1Query& query : flight1_queries) {
    const auto answer = run_flight1(session.engine, query, session.options.repeats);
    if (!answer) return answer.error();
    print_heading(fmt::format("{}  {}", query.name, query.where()));
    right &= report(*answer, plain_flight1(session.tables, query));
    const size_t listed = std::min<size_t>(session.options.listed_rows, answer->rows.size());
    if (auto done = print_rows(session.engine, std::span{answer->rows}.first(listed)); !done)
      return done.error();
  }
  return right;
}

host::Result<bool> nullable_scans(const Session& session) {
  // No discount given is NULL instead of 0: rows without one satisfy no comparison.
  const Column& discount = plain(session, lo_discount);
  const auto nullable = encode_nullable(discount, 0, "discount_given");
  if (!nullable) return nullable.error();
  const auto answer =
      run_column_scan(session.engine, *nullable, {host::Compare::lt, 4}, session.options.repeats);
  if (!answer) return answer.error();
  print_heading("A column with NULLs: discount_given is NULL where lo_discount is 0");
  return report(*answer, plain_scan(discount, {host::Compare::ge_le, 1, 3}));
}

host::Result<bool> stored_value_scans(const Session& session) {
  print_heading("Columns of numbers and days, stored without a dictionary");
  bool right = true;
  std::vector<uint32_t> february;
  for (const auto& [column, filter] : stored_value_filters) {
    auto answer = run_column_scan(session.engine, session.engine.lineorder[column], filter,
                                  session.options.repeats);
    if (!answer) return answer.error();
    right &= report(*answer, plain_scan(plain(session, column), filter));
    february = std::move(answer->rows);  // the last filter's
  }
  print_heading(
      fmt::format("The same among the {} rows of the last one", console::grouped(february.size())));
  const auto answer = run_column_scan(session.engine, session.engine.lineorder[lo_revenue],
                                      high_revenue, session.options.repeats, &february);
  if (!answer) return answer.error();
  right &= report(*answer, plain_scan(plain(session, lo_revenue), high_revenue, &february));
  return right;
}

}  // namespace colx::star
