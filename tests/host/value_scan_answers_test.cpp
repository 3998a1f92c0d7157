// Scans of stored values through the built library, from values to answers: every operation, width
// and form of constant against a comparison of the values themselves.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/encode_rows.h"
#include "host/prepared_scan.h"
#include "tests/host/comparisons.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

// The values as if zero bytes followed, then, with ties, their lengths.
std::partial_ordering order(std::string a, std::string b, bool ties) {
  const auto lengths = a.size() <=> b.size();
  a.resize(8);
  b.resize(8);
  const auto values = a <=> b;
  return values == 0 && ties ? lengths : values;
}

bool holds(Compare compare, const std::string& value, const std::string& low,
           const std::string& high, bool ties) {
  return holds(compare, order(value, low, ties), order(value, high, ties));
}

// Few different bytes, zeros among them, so that values tie and begin alike.
std::string some_value(test::Random& random, size_t most_bytes) {
  std::string value(1 + random.below(most_bytes), '\0');
  for (char& byte : value) byte = "\0\0\1\x7F\x80\xFF"[random.below(6)];
  return value;
}

struct Answers : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};
  test::Random random{20};

  // Scans with constants of up to `most_bytes` bytes, all rows and every third.
  void check(const StoredColumn& column, const std::vector<std::string>& values, size_t most_bytes,
             bool ties) {
    const uint32_t rows = static_cast<uint32_t>(values.size());
    RowBits every_third(rows);
    for (uint32_t row = 0; row < rows; row += 3) every_third.set(row);
    for (const Compare compare : comparisons) {
      const std::string low =
          random.below(2) ? values[random.below(rows)] : some_value(random, most_bytes);
      const std::string high = some_value(random, most_bytes);
      const auto scan = PreparedScan::on_values(
          library, column,
          {compare, stored_constant(low).value(), stored_constant(high).value(), ties});
      ASSERT_TRUE(scan) << scan.message();
      for (const Selection selection :
           {Selection{}, Selection{&every_third, false}, Selection{&every_third, true}}) {
        RowBits hits(rows);
        const auto count = scan->run(0, hits, services, selection);
        ASSERT_TRUE(count) << count.message();
        uint32_t expected = 0;
        for (uint32_t row = 0; row < rows; ++row) {
          const bool hit = holds(compare, values[row], low, high, ties) &&
                           (!selection.rows || selection.rows->test(row));
          expected += hit;
          ASSERT_EQ(hits.test(row), hit)
              << scan->kernel_name() << " row " << row << " of " << rows << ": "
              << testing::PrintToString(values[row]) << " against " << testing::PrintToString(low)
              << " and " << testing::PrintToString(high) << ", walk " << selection.walk;
        }
        ASSERT_EQ(*count, expected) << scan->kernel_name();
      }
    }
  }

  std::vector<std::string> some_values(size_t rows, size_t most_bytes) {
    std::vector<std::string> values(rows);
    for (std::string& value : values) value = some_value(random, most_bytes);
    return values;
  }
};

std::vector<std::string_view> views(const std::vector<std::string>& values) {
  return {values.begin(), values.end()};
}

TEST_F(Answers, OfFixedRowsOfOneToEightBytes) {
  for (uint32_t width = 1; width <= 8; ++width)
    for (const size_t rows : {1, 70, 300})
      for (int repeat = 0; repeat < 4; ++repeat) {
        const auto values = some_values(rows, width);
        const auto column = store_fixed(views(values), {.width_bytes = width}).value();
        check(column, values, 8, false);
      }
}

TEST_F(Answers, OfFixedRowsWithTheirLengths) {
  for (uint32_t width = 2; width <= 8; ++width)
    for (const size_t rows : {1, 70, 300})
      for (int repeat = 0; repeat < 4; ++repeat) {
        const auto values = some_values(rows, width);
        const auto column =
            store_fixed(views(values), {.width_bytes = width, .lengths = ValueLengths::kept})
                .value();
        check(column, values, 8, true);
      }
}

TEST_F(Answers, OfDynpRowsWithAndWithoutTheirLengths) {
  for (const uint32_t most : {2u, 4u, 8u})
    for (const size_t rows : {1, 70, 300})
      for (const bool ties : {false, true})
        for (int repeat = 0; repeat < 4; ++repeat) {
          const auto values = some_values(rows, most);
          const auto lengths = ties ? ValueLengths::kept : ValueLengths::shortest;
          const auto column =
              store_dynp(views(values), {.max_bytes = most, .lengths = lengths}).value();
          check(column, values, 8, ties);
        }
}

}  // namespace
}  // namespace colx::host
