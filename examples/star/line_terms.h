// line_terms.h: a column of byte strings that may end in zero bytes, told apart by their lengths.
//
// A line's terms are what was agreed for it: its quantity, then its discount, then its tax, a byte
// each, as many of them as the order's priority asks for. A discount of 0 is not the same as none
// agreed: three lines of quantity 17 may have the terms 11, 11 00 and 11 00 00, which come in this
// order. Stored rows compare as if zero bytes followed; what tells the three apart are the ties.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "examples/star/engine.h"
#include "examples/star/tables.h"
#include "host/result.h"
#include "host/value_dictionary.h"

namespace colx::star {

// Of each line: 1 byte at priority "4-NOT SPECIFIED", 2 at "5-LOW", 3 at the others.
std::vector<std::string> line_terms(const Table& lineorder);

// A comparison of terms, as byte strings compare in SQL: by their bytes, a prefix before the whole.
struct TermsFilter {
  host::Compare compare;  // eq, ne, lt, le, gt, ge or ge_le
  std::string_view low;
  std::string_view high{};

  bool holds(std::string_view terms) const;
  std::string text() const;  // "terms = X'1100'"
};

// In rows of 3 bytes with a tie code each, or in rows of their own lengths.
enum class TermsForm : uint8_t { fixed, dynp };
host::Result<EncodedColumn> encode_terms(const std::vector<std::string>& terms, TermsForm form);

// As run_column_scan().
host::Result<Answer> run_terms_scan(const Engine& engine, const EncodedColumn& terms,
                                    const TermsFilter& filter, unsigned runs,
                                    const std::vector<uint32_t>* among = nullptr);

}  // namespace colx::star
