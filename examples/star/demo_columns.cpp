// What the demo shows of single columns: byte strings with ties, and what columns of each form
// hold.

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

#include "examples/star/check.h"
#include "examples/star/column_survey.h"
#include "examples/star/demo_queries.h"
#include "examples/star/line_terms.h"
#include "examples/star/report.h"
#include "tools/console/figures.h"

namespace colx::star {
namespace {

using namespace std::string_view_literals;

constexpr TermsFilter terms_filters[] = {
    {host::Compare::eq, "\x1A\0"sv},                     // quantity 26, discount 0
    {host::Compare::ge_le, "\x1A\0\0"sv, "\x23\x05"sv},  // a tax of 0 agreed up to none agreed
    {host::Compare::lt, "\x1A\0"sv}};                    // below, or quantity 26 alone
constexpr TermsFilter quantity_26 = {host::Compare::ge_le, "\x1A"sv, "\x1A\xFF\xFF"sv};

Expected plain_terms(const std::vector<std::string>& terms, const TermsFilter& filter,
                     const std::vector<uint32_t>* among = nullptr) {
  Expected expected;
  for (uint32_t row = 0; row < terms.size(); ++row)
    if (filter.holds(terms[row]) && (!among || std::ranges::binary_search(*among, row)))
      expected.rows.push_back(row);
  return expected;
}

host::Result<bool> scan_terms(const Session& session, const EncodedColumn& column,
                              const std::vector<std::string>& terms, const TermsFilter& filter,
                              const std::vector<uint32_t>* among = nullptr) {
  const auto answer =
      run_terms_scan(session.engine, column, filter, session.options.repeats, among);
  if (!answer) return answer.error();
  const auto wrong = difference(*answer, plain_terms(terms, filter, among));
  print_answer(*answer, wrong);
  return !wrong;
}

std::string text_of_facts(const ColumnFacts& facts) {
  return fmt::format("{:>17} {:>16} {:>22}",
                     facts.distinct ? console::grouped(*facts.distinct) + " values" : "",
                     facts.upper_half ? console::grouped(*facts.upper_half) + " rows" : "",
                     facts.sum ? "sum " + console::grouped(static_cast<uint64_t>(*facts.sum)) : "");
}

}  // namespace

host::Result<bool> terms_scans(const Session& session) {
  print_heading("Byte strings that end in zero bytes or not: what was agreed for each line");
  const std::vector<std::string> terms = line_terms(session.tables[TableId::lineorder]);
  const std::vector<uint32_t> few = plain_terms(terms, quantity_26).rows;
  bool right = true;
  for (const TermsForm form : {TermsForm::fixed, TermsForm::dynp}) {
    const auto column = encode_terms(terms, form);
    if (!column) return column.error();
    for (const TermsFilter& filter : terms_filters) {
      auto found = scan_terms(session, *column, terms, filter);
      if (!found) return found;
      right &= *found;
    }
    auto walked = scan_terms(session, *column, terms, terms_filters[2], &few);
    if (!walked) return walked;
    right &= *walked;
  }
  return right;
}

host::Result<bool> column_surveys(const Session& session) {
  print_heading(
      "Distinct values, rows of the upper half of them and sums, of a column of each form; the\n"
      "library's slots for distinct counts and sums do nothing, as they promise");
  bool right = true;
  for (const TableColumn& column : one_column_a_form(session.store)) {
    const auto found = survey(session.engine, session.store, column);
    if (!found) return found.error();
    fmt::print("  {:<18} {:<20} {:<32} {}; ", column.name(), session.store.column(column).form(),
               found->steps.empty() ? "" : found->steps.front().kernel,
               text_of_facts(found->facts));
    right &= print_verdict(found->facts == plain_facts(session.tables, session.store, column));
  }
  return right;
}

}  // namespace colx::star
