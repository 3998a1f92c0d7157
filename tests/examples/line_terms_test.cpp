// Byte strings with trailing zero bytes in both stored forms.
#include "examples/star/line_terms.h"

#include <gtest/gtest.h>

#include "examples/star/generate.h"
#include "tests/examples/star_host.h"

namespace colx::star {
namespace {

using host::Compare;
using namespace std::string_view_literals;

constexpr Compare comparisons[] = {Compare::eq, Compare::ne, Compare::lt,   Compare::le,
                                   Compare::gt, Compare::ge, Compare::ge_le};

TEST(LineTerms, AreAsLongAsThePriorityAsks) {
  StarHost host(small());
  const Table& lines = host.tables()[TableId::lineorder];
  const auto terms = line_terms(lines);
  ASSERT_EQ(terms.size(), lines.rows());
  for (uint32_t row = 0; row < lines.rows(); ++row) {
    const std::string& priority = lines[lo_orderpriority].text(row);
    EXPECT_EQ(terms[row].size(), priority == "4-NOT SPECIFIED" ? 1u
                                 : priority == "5-LOW"         ? 2u
                                                               : 3u);
    EXPECT_EQ(static_cast<uint8_t>(terms[row][0]), lines[lo_quantity].cells[row]);
  }
}

TEST(LineTerms, ReadAsSqlAndCompareAsByteStrings) {
  const TermsFilter below{Compare::lt, "\x11\0"sv};
  EXPECT_EQ(below.text(), "terms < X'1100'");
  EXPECT_TRUE(below.holds("\x11"sv));
  EXPECT_FALSE(below.holds("\x11\0"sv));
  EXPECT_FALSE(below.holds("\x11\0\0"sv));
  const TermsFilter between{Compare::ge_le, "\x11\0\0"sv, "\x20"sv};
  EXPECT_EQ(between.text(), "terms between X'110000' and X'20'");
  EXPECT_FALSE(between.holds("\x11\0"sv));
  EXPECT_TRUE(between.holds("\x11\0\0"sv));
  EXPECT_TRUE(between.holds("\x20"sv));
  EXPECT_FALSE(between.holds("\x20\0"sv));
}

// 72,000 rows: a full chunk and a part of one. Constants of one value and of three lengths.
TEST(LineTerms, EveryComparisonAgreesInBothFormsScannedAndWalked) {
  StarHost host(generate_tables(0.012));
  const auto terms = line_terms(host.tables()[TableId::lineorder]);
  Rows few;
  for (uint32_t row = 5; row < terms.size(); row += 97) few.push_back(row);
  for (const TermsForm form : {TermsForm::fixed, TermsForm::dynp}) {
    const auto column = encode_terms(terms, form);
    ASSERT_TRUE(column) << column.message();
    for (const Compare compare : comparisons)
      for (const std::string_view low : {"\x11"sv, "\x11\0"sv, "\x11\0\0"sv, "\x11\x03"sv}) {
        const TermsFilter filter{compare, low, "\x12\0"sv};
        Rows all, selected;
        for (uint32_t row = 0; row < terms.size(); ++row)
          if (filter.holds(terms[row])) all.push_back(row);
        for (const uint32_t row : few)
          if (filter.holds(terms[row])) selected.push_back(row);
        const auto scanned = run_terms_scan(host.engine(), *column, filter, 1);
        ASSERT_TRUE(scanned) << scanned.message();
        EXPECT_EQ(scanned->rows, all) << filter.text();
        EXPECT_FALSE(all.empty()) << filter.text();
        EXPECT_TRUE(ran(*scanned, "_32bit_tz")) << scanned->steps[0].kernel;
        const auto walked = run_terms_scan(host.engine(), *column, filter, 1, &few);
        ASSERT_TRUE(walked) << walked.message();
        EXPECT_EQ(walked->rows, selected) << filter.text();
        EXPECT_TRUE(ran(*walked, "_32bit_tz_selective")) << walked->steps[0].kernel;
      }
  }
}

TEST(LineTerms, AConstantOfNoBytesIsRefused) {
  StarHost host(small());
  const auto column =
      encode_terms(line_terms(host.tables()[TableId::lineorder]), TermsForm::dynp).value();
  EXPECT_FALSE(run_terms_scan(host.engine(), column, {Compare::eq, ""sv}, 1));
}

}  // namespace
}  // namespace colx::star
