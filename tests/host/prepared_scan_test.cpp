#include "host/prepared_scan.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace colx::host {
namespace {

struct Scans : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};

  std::vector<uint32_t> rows_of(const StoredColumn& column, const CodePredicate& predicate,
                                size_t chunk = 0, Selection selection = {}) {
    const auto scan = PreparedScan::on_codes(library, column, predicate);
    EXPECT_TRUE(scan) << scan.message();
    RowBits hits(column.chunks[chunk].rows);
    const auto count = scan->run(chunk, hits, services, selection);
    EXPECT_TRUE(count) << count.message();
    EXPECT_EQ(*count, hits.count());
    std::vector<uint32_t> rows;
    for (uint32_t row = 0; row < hits.size(); ++row)
      if (hits.test(row)) rows.push_back(row);
    return rows;
  }
};

using Rows = std::vector<uint32_t>;

TEST_F(Scans, AnswerAValuePredicateOverStoredValues) {
  const std::vector<int64_t> years{1994, 1992, 1998, 1993, 1992, 1995};
  const auto stored = store_dictionary_column<int64_t>(years, {.width_bits = 8}).value();
  const auto& [dictionary, column] = stored;
  EXPECT_EQ(rows_of(column, dictionary.where(Compare::eq, 1992)), (Rows{1, 4}));
  EXPECT_EQ(rows_of(column, dictionary.where(Compare::ge_le, 1993, 1995)), (Rows{0, 3, 5}));
  EXPECT_EQ(rows_of(column, dictionary.where(Compare::lt, 1900)), (Rows{}));
  EXPECT_EQ(rows_of(column, dictionary.where(Compare::ne, 1997)), (Rows{0, 1, 2, 3, 4, 5}));
}

TEST_F(Scans, AgreeWithPlainEvaluationOverChunksAtEveryWidth) {
  std::mt19937 random(7);
  std::vector<int64_t> values(3 * 500 + 77);
  for (int64_t& value : values) value = random() % 200;
  for (const uint32_t width :
       {8u, 9u, 10u, 11u, 12u, 13u, 14u, 15u, 16u, 17u, 18u, 19u, 20u, 24u, 32u, 64u}) {
    const auto stored =
        store_dictionary_column<int64_t>(values, {.width_bits = width, .chunk_rows = 500}).value();
    for (size_t chunk = 0; chunk < 4; ++chunk) {
      Rows expected;
      for (size_t row = chunk * 500; row < std::min<size_t>(values.size(), chunk * 500 + 500);
           ++row)
        if (values[row] > 20 && values[row] <= 120)
          expected.push_back(static_cast<uint32_t>(row % 500));
      EXPECT_EQ(rows_of(stored.column, stored.dictionary.where(Compare::gt_le, 20, 120), chunk),
                expected)
          << width << " bits, chunk " << chunk;
    }
  }
}

TEST_F(Scans, AnswerOverTheNarrowestWidths) {
  for (int64_t values = 1; values <= 130; values += values < 10 ? 1 : 40) {
    std::vector<int64_t> rows;
    for (int64_t row = 0; row < 300; ++row) rows.push_back(row * 7 % values);
    const auto stored = store_dictionary_column<int64_t>(rows).value();
    for (const int64_t constant : {int64_t{0}, values / 2, values - 1, values}) {
      Rows expected;
      for (uint32_t row = 0; row < rows.size(); ++row)
        if (rows[row] <= constant) expected.push_back(row);
      EXPECT_EQ(rows_of(stored.column, stored.dictionary.where(Compare::le, constant)), expected)
          << values << " values, " << stored.column.format.width_bits << " bits, at most "
          << constant;
    }
  }
}

TEST_F(Scans, NeverReportNullsAndWalkToTheSameRows) {
  for (const int64_t values : {1, 3, 6, 200, 5000}) {
    std::vector<int64_t> rows(600);
    RowBits present(rows.size()), selection(rows.size());
    for (size_t row = 0; row < rows.size(); ++row) {
      rows[row] = static_cast<int64_t>(row * 2654435761u % 1000003) % values;
      if (row % 5) present.set(row);
      if (row % 17 < 3) selection.set(row);
    }
    const auto stored = store_dictionary_column<int64_t>(rows, {.present = &present}).value();
    for (const Compare compare : {Compare::ne, Compare::le, Compare::gt}) {
      const CodePredicate predicate = stored.dictionary.where(compare, values / 2);
      Rows all, selected;
      for (uint32_t row = 0; row < rows.size(); ++row) {
        const bool hit = compare == Compare::ne   ? rows[row] != values / 2
                         : compare == Compare::le ? rows[row] <= values / 2
                                                  : rows[row] > values / 2;
        if (!hit || !present.test(row)) continue;
        all.push_back(row);
        if (selection.test(row)) selected.push_back(row);
      }
      SCOPED_TRACE(testing::Message() << name_of(compare) << " on " << values << " values");
      EXPECT_EQ(rows_of(stored.column, predicate), all);
      EXPECT_EQ(rows_of(stored.column, predicate, 0, {.rows = &selection}), selected);
      EXPECT_EQ(rows_of(stored.column, predicate, 0, {&selection, true}), selected);
    }
  }
}

TEST_F(Scans, ApplyASelection) {
  const auto column = store_codes(std::vector<uint64_t>{5, 6, 5, 5}, {.width_bits = 8}).value();
  RowBits selection(4);
  selection.set(1);
  selection.set(2);
  EXPECT_EQ(rows_of(column, {Compare::eq, 5}, 0, {.rows = &selection}), (Rows{2}));
}

TEST_F(Scans, ApplyReportableRows) {
  auto column = store_codes(std::vector<uint64_t>{5, 6, 5, 5}, {.width_bits = 8}).value();
  column.chunks[0].reportable = RowBits(4);
  column.chunks[0].reportable->set(3);
  EXPECT_EQ(rows_of(column, {Compare::eq, 5}), (Rows{3}));
}

// Runs are scanned run by run and expanded by the burst kernel that suits their lengths.
TEST_F(Scans, AnswerOverRunLengthColumnsRowByRow) {
  std::vector<int64_t> values;
  for (int64_t run = 0; run < 400; ++run)
    values.insert(values.end(), static_cast<size_t>(1 + run * run % 300), run * 7 % 11);
  for (const uint32_t length_bits : {8u, 16u})
    for (const bool positions : {false, true}) {
      const DictionaryColumnOptions options{.chunk_rows = 20000,
                                            .runs = RunLengthOptions{length_bits, positions}};
      const auto stored = store_dictionary_column<int64_t>(values, options).value();
      ASSERT_GT(stored.column.chunks.size(), 1u);
      for (const int64_t constant : {-1, 0, 4, 10})
        for (size_t chunk = 0; chunk < stored.column.chunks.size(); ++chunk) {
          Rows expected;
          const size_t first = chunk * 20000;
          for (size_t row = first; row < std::min(values.size(), first + 20000); ++row)
            if (values[row] <= constant) expected.push_back(static_cast<uint32_t>(row - first));
          EXPECT_EQ(rows_of(stored.column, stored.dictionary.where(Compare::le, constant), chunk),
                    expected)
              << length_bits << " bits, positions " << positions << ", at most " << constant;
        }
    }
}

TEST_F(Scans, KnowTheirKernel) {
  const auto column = store_codes(std::vector<uint64_t>{5}, {.width_bits = 16}).value();
  EXPECT_STREQ(PreparedScan::on_codes(library, column, {Compare::ge_lt, 1, 9})->kernel_name(),
               "colx_ge_lt_dict_16bit");
}

TEST_F(Scans, RefuseConstantsThatDoNotFit) {
  const auto column = store_codes(std::vector<uint64_t>{5}, {.width_bits = 8}).value();
  EXPECT_EQ(PreparedScan::on_codes(library, column, {Compare::eq, 256}).message(),
            "constant 256 does not fit the column's 8-bit codes; the largest is 255");
  EXPECT_EQ(PreparedScan::on_codes(library, column, {Compare::ge_le, 1, 300}).message(),
            "constant 300 does not fit the column's 8-bit codes; the largest is 255");
  EXPECT_TRUE(PreparedScan::on_codes(library, column, {Compare::eq, 255}));
  for (const uint32_t width : {2u, 3u, 7u, 9u, 13u, 15u, 17u, 20u, 24u}) {
    const auto packed = store_codes(std::vector<uint64_t>{1}, {.width_bits = width}).value();
    EXPECT_TRUE(PreparedScan::on_codes(library, packed, {Compare::lt, (1u << width) - 1}));
    EXPECT_FALSE(PreparedScan::on_codes(library, packed, {Compare::lt, 1u << width}));
    EXPECT_FALSE(PreparedScan::on_codes(library, packed, {Compare::gt_le, 0, 1u << width}));
  }
}

TEST_F(Scans, RefuseColumnsWithoutCodes) {
  StoredColumn column;
  column.format = {Encoding::fixed, 32};
  EXPECT_EQ(PreparedScan::on_codes(library, column, {Compare::eq, 1}).message(),
            "a predicate on codes needs a column of dictionary codes");
}

TEST_F(Scans, NameAKernelThatTheLibraryLacks) {
  std::vector<colx_kernel_fn> none(COLX_DISPATCH_SLOTS);
  colx_specialized_ctx record = library.record();
  record.colx_sctx_dispatch = none.data();
  const char* names[] = {"colx_invalid_dispatch"};
  const auto bare = Library::attach(record, names, "bare.so").value();
  const auto column = store_codes(std::vector<uint64_t>{5}, {.zero_is_null = true}).value();
  EXPECT_EQ(PreparedScan::on_codes(bare, column, {Compare::eq, 1}).message(),
            "bare.so: has no kernel colx_eq_dict_3bit_null");
  EXPECT_EQ(PreparedScan::on_codes(bare, column, {Compare::gt_lt, 1, 2}).message(),
            "bare.so: has no kernel colx_gt_lt_dict_3bit_null");
}

TEST_F(Scans, RefuseWrongSizesAndLeaveTheResult) {
  const auto column = store_codes(std::vector<uint64_t>{5, 6}, {.width_bits = 8}).value();
  const auto scan = PreparedScan::on_codes(library, column, {Compare::eq, 5}).value();
  RowBits hits(2), three(3);
  hits.set(1);
  three.set(2);
  EXPECT_EQ(scan.run(1, hits, services).message(), "chunk 1 of a column with 1 chunks");
  EXPECT_EQ(scan.run(0, three, services).message(),
            "chunk 0 has 2 rows, the result has room for 3");
  EXPECT_EQ(scan.run(0, hits, services, {.rows = &three}).message(),
            "chunk 0 has 2 rows, the selection 3");
  EXPECT_EQ(hits.words()[0], 2u);
  EXPECT_EQ(three.words()[0], 4u);
}

TEST_F(Scans, RefuseASelectionOnRuns) {
  auto column = store_codes(std::vector<uint64_t>{5, 6}, {.width_bits = 8}).value();
  column.chunks[0].runs = Runs{2, 8, StreamBuffer(2), {}};
  const auto scan = PreparedScan::on_codes(library, column, {Compare::eq, 5}).value();
  RowBits hits(2), selection(2);
  const auto refused = scan.run(0, hits, services, {.rows = &selection});
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.message(),
            "chunk 0 is run-length coded, where a selection would be taken as one of runs; scan "
            "without it and combine the results");
}

// A stand-in for a library with all one-bit kernels: it is asked for, never called.
uint32_t never_called() {
  ADD_FAILURE() << "a refused scan reached its kernel";
  return 0;
}

TEST_F(Scans, RefuseAOneBitScanThatTakesEveryRowOfNone) {
  std::vector<colx_kernel_fn> slots(COLX_DISPATCH_SLOTS,
                                    reinterpret_cast<colx_kernel_fn>(never_called));
  std::vector<const char*> names(COLX_DISPATCH_SLOTS, "one bit");
  colx_specialized_ctx record = library.record();
  record.colx_sctx_dispatch = slots.data();
  const auto all = Library::attach(record, names.data(), "all.so").value();
  StoredColumn column;
  column.format = {Encoding::dict, 1};
  column.chunks.emplace_back().data = StreamBuffer(0);
  RowBits hits(0);
  const CodePredicate takes_all[] = {{Compare::le, 1}, {Compare::ge, 0}, {Compare::ge_le, 0, 1}};
  for (const CodePredicate& predicate : takes_all) {
    const auto refused = PreparedScan::on_codes(all, column, predicate)->run(0, hits, services);
    ASSERT_FALSE(refused) << name_of(predicate.compare);
    EXPECT_EQ(refused.message(),
              "chunk 0 has no rows; a one-bit scan that takes every row needs one");
  }
}

}  // namespace
}  // namespace colx::host
