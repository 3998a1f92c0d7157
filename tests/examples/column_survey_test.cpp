// Surveys of columns against the plain cells, and what a library that serves more would change.
#include "examples/star/column_survey.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/examples/store_host.h"

namespace colx::star {
namespace {

TEST(ColumnSurvey, AgreesWithThePlainCellsOnAColumnOfEachForm) {
  StoreHost& host = three_chunks();
  const auto columns = one_column_a_form(host.store());
  EXPECT_GE(columns.size(), 12u);
  for (const TableColumn& column : columns) {
    const auto found = survey(host.engine(), host.store(), column);
    ASSERT_TRUE(found) << column.name() << ": " << found.message();
    EXPECT_EQ(found->facts, plain_facts(host.tables(), host.store(), column)) << column.name();
  }
}

TEST(ColumnSurvey, CountsWhatTheColumnOfQuantitiesHolds) {
  StoreHost& host = three_chunks();
  const ColumnFacts facts = plain_facts(host.tables(), host.store(), of(lo_quantity));
  EXPECT_EQ(facts.distinct, 50u);
  const auto& cells = host.tables()[TableId::lineorder][lo_quantity].cells;
  EXPECT_EQ(facts.upper_half,
            static_cast<uint64_t>(std::ranges::count_if(cells, [](auto c) { return c > 25; })));
}

TEST(ColumnSurvey, AsksTheSlotsThatDoNothing) {
  StoreHost& host = three_chunks();
  const auto unserved = [&](TableColumn column) {
    return survey(host.engine(), host.store(), column)->unserved;
  };
  EXPECT_EQ(unserved(of(lo_quantity)),
            (std::vector<std::string>{"colx_distinct_dict_6bit", "colx_sum_dict_6bit"}));
  EXPECT_EQ(unserved(of(lo_revenue)), (std::vector<std::string>{"colx_sum_fixed_32bit"}));
  EXPECT_EQ(unserved(of(c_nation)), (std::vector<std::string>{"colx_distinct_dict_5bit"}));
}

uint32_t touches_its_result(colx_cv* result, colx_cv*, colx_cv*, colx_kctx*) {
  result->colx_cv_num_set = 0;
  return COLX_DONE;
}

TEST(ColumnSurvey, RefusesALibraryWhoseUnservedSlotTouchesItsResult) {
  StoreHost& host = three_chunks();
  const host::Library library = host::Library::open(COLX_LIBRARY_FILE).value();
  const auto begin = library.record().colx_sctx_dispatch;
  std::vector<colx_kernel_fn> table(begin, begin + COLX_DISPATCH_SLOTS);
  const uint8_t key = host.store().column(of(lo_quantity)).stored.format.key();
  table[colx_column_index(COLX_OPC_DISTINCT, key)] =
      reinterpret_cast<colx_kernel_fn>(touches_its_result);
  colx_specialized_ctx record = library.record();
  record.colx_sctx_dispatch = table.data();
  const host::Library touching = library.through(record);
  const Engine engine = host.engine();
  const auto found = survey({touching, engine.services, engine.lineorder, engine.date},
                            host.store(), of(lo_quantity));
  ASSERT_FALSE(found);
  EXPECT_EQ(found.message(), "colx_distinct_dict_6bit returned status 0 or touched its result");
}

}  // namespace
}  // namespace colx::star
