#include "examples/star/line_terms.h"

#include <fmt/format.h>

#include <utility>

#include "examples/star/column_scan.h"
#include "host/encode_rows.h"
#include "host/stored_constant.h"

namespace colx::star {
namespace {

constexpr uint32_t most_bytes = 3;

size_t agreed(std::string_view priority) {
  return priority == "4-NOT SPECIFIED" ? 1 : priority == "5-LOW" ? 2 : most_bytes;
}

std::string hexadecimal(std::string_view bytes) {
  std::string text = "X'";
  for (const char byte : bytes) text += fmt::format("{:02X}", static_cast<uint8_t>(byte));
  return text + "'";
}

std::string_view sign_of(host::Compare compare) {
  switch (compare) {
    case host::Compare::eq:
      return "=";
    case host::Compare::ne:
      return "<>";
    case host::Compare::lt:
      return "<";
    case host::Compare::le:
      return "<=";
    case host::Compare::gt:
      return ">";
    default:
      return ">=";
  }
}

}  // namespace

std::vector<std::string> line_terms(const Table& lineorder) {
  std::vector<std::string> terms;
  terms.reserve(lineorder.rows());
  for (uint32_t row = 0; row < lineorder.rows(); ++row) {
    const char all[most_bytes] = {static_cast<char>(lineorder[lo_quantity].cells[row]),
                                  static_cast<char>(lineorder[lo_discount].cells[row]),
                                  static_cast<char>(lineorder[lo_tax].cells[row])};
    terms.emplace_back(all, agreed(lineorder[lo_orderpriority].text(row)));
  }
  return terms;
}

bool TermsFilter::holds(std::string_view terms) const {
  switch (compare) {
    case host::Compare::eq:
      return terms == low;
    case host::Compare::ne:
      return terms != low;
    case host::Compare::lt:
      return terms < low;
    case host::Compare::le:
      return terms <= low;
    case host::Compare::gt:
      return terms > low;
    case host::Compare::ge:
      return terms >= low;
    default:
      return terms >= low && terms <= high;
  }
}

std::string TermsFilter::text() const {
  if (host::is_range(compare))
    return fmt::format("terms between {} and {}", hexadecimal(low), hexadecimal(high));
  return fmt::format("terms {} {}", sign_of(compare), hexadecimal(low));
}

host::Result<EncodedColumn> encode_terms(const std::vector<std::string>& terms, TermsForm form) {
  const std::vector<std::string_view> rows(terms.begin(), terms.end());
  auto stored = form == TermsForm::fixed
                    ? host::store_fixed(
                          rows, {.width_bytes = most_bytes, .lengths = host::ValueLengths::kept})
                    : host::store_dynp(rows, {.lengths = host::ValueLengths::kept});
  if (!stored) return stored.error();
  EncodedColumn column;
  column.name = "terms";
  column.stored = std::move(*stored);
  for (const std::string& bytes : terms) column.plain_bytes += bytes.size();
  return column;
}

host::Result<Answer> run_terms_scan(const Engine& engine, const EncodedColumn& terms,
                                    const TermsFilter& filter, unsigned runs,
                                    const std::vector<uint32_t>* among) {
  const auto low = host::stored_constant(filter.low);
  if (!low) return low.error();
  host::ValuePredicate predicate{filter.compare, *low, {}, true};
  if (host::is_range(filter.compare)) {
    const auto high = host::stored_constant(filter.high);
    if (!high) return high.error();
    predicate.high = *high;
  }
  const auto scan = host::PreparedScan::on_values(engine.library, terms.stored, predicate);
  if (!scan) return scan.error();
  return run_scan(engine, terms, *scan, filter.text(), runs, among);
}

}  // namespace colx::star
