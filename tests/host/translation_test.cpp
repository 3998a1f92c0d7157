#include "host/translation.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "host/encode_codes.h"
#include "host/encode_rows.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

struct Translations : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  std::vector<uint64_t> numbers;
  std::vector<KeyCode> pairs;

  // Keys 1000 to 4999, every third of which has a code below 15.
  Translations() {
    test::Random random(5);
    for (size_t row = 0; row < 700; ++row) numbers.push_back(1000 + random.below(4000));
    for (uint32_t key = 1000; key < 5000; key += 3) pairs.push_back({key, key % 14});
  }
  StoredColumn column(uint32_t chunk_rows = 300) const {
    return store_fixed_numbers(numbers, {.width_bytes = 4, .chunk_rows = chunk_rows}).value();
  }
};

constexpr ElementWidth coded_widths[] = {ElementWidth::four_bits, ElementWidth::one_byte,
                                         ElementWidth::two_bytes, ElementWidth::four_bytes};

uint32_t element(const std::vector<uint8_t>& codes, uint32_t row, ElementWidth width) {
  if (width == ElementWidth::four_bits) return codes[row / 2] >> (row % 2 * 4) & 15;
  uint32_t code = 0;
  std::memcpy(&code, codes.data() + row * element_bits(width) / 8, element_bits(width) / 8);
  return code;
}

TEST_F(Translations, AgreeWithTheTableInEveryForm) {
  const StoredColumn stored = column();
  const KeyColumn keys = KeyColumn::of(stored).value();
  for (const TableForm form : {TableForm::flat, TableForm::offset, TableForm::paged})
    for (const ElementWidth width : coded_widths)
      for (const bool selected : {false, true}) {
        const auto table =
            TranslationTable::build(
                pairs, {.form = form, .element = width, .first_key = 1000, .last_key = 4999})
                .value();
        const auto translation =
            Translation::bind(library, keys, table, Translation::Output::rows_and_codes).value();
        RowBits hits(300), selection(300);
        for (uint32_t row = 1; row < 300; row += 2) selection.set(row);
        std::vector<uint8_t> codes(translation.code_bytes(300), 0xAA);
        const auto found = translation.run(1, hits, codes, selected ? &selection : nullptr).value();
        uint32_t expected = 0, first = UINT32_MAX, last = UINT32_MAX;
        for (uint32_t row = 0; row < 300; ++row) {
          const uint32_t code = table.code(static_cast<uint32_t>(numbers[300 + row]));
          const bool looked_up = !selected || selection.test(row);
          const bool hit = looked_up && code != no_code(width);
          ASSERT_EQ(hits.test(row), hit) << translation.kernel_name() << " row " << row;
          if (looked_up) {
            ASSERT_EQ(element(codes, row, width), code)
                << translation.kernel_name() << " row " << row;
          }
          if (!hit) continue;
          ++expected;
          last = row;
          if (first == UINT32_MAX) first = row;
        }
        EXPECT_EQ(found.hits, expected);
        EXPECT_EQ(found.first, first);
        EXPECT_EQ(found.last, last);
      }
}

TEST_F(Translations, OfSingleBitsSayWhichRowsAreIn) {
  std::vector<KeyCode> in;
  for (const KeyCode& pair : pairs) in.push_back({pair.key, 0});
  const StoredColumn stored = column(700);
  const KeyColumn keys = KeyColumn::of(stored).value();
  const auto table =
      TranslationTable::build(in, {.element = ElementWidth::one_bit, .last_key = 4999}).value();
  const auto translation =
      Translation::bind(library, keys, table, Translation::Output::rows).value();
  RowBits hits(700);
  hits.set_all();
  ASSERT_TRUE(translation.run(0, hits));
  for (uint32_t row = 0; row < 700; ++row)
    ASSERT_EQ(hits.test(row), (numbers[row] - 1000) % 3 == 0) << row;
  EXPECT_FALSE(Translation::bind(library, keys, table, Translation::Output::rows_and_codes));
}

TEST_F(Translations, RefuseKeysOutsideTheTableBeforeAnyIsLookedUp) {
  const StoredColumn stored =
      store_fixed_numbers(std::vector<uint64_t>{7, 5, 9}, {.width_bytes = 4}).value();
  const KeyColumn keys = KeyColumn::of(stored).value();
  const auto bind = [&](uint32_t first, uint32_t last) {
    const auto table = TranslationTable::build(
        {}, {.form = TableForm::offset, .first_key = first, .last_key = last});
    return Translation::bind(library, keys, *table, Translation::Output::rows);
  };
  EXPECT_TRUE(bind(5, 9));
  EXPECT_EQ(bind(6, 9).message(), "the column's keys go from 5 to 9, the table's from 6 to 9");
  EXPECT_FALSE(bind(5, 8));
}

TEST_F(Translations, RefuseColumnsThatHoldNoKeys) {
  const auto codes = store_codes(std::vector<uint64_t>{1}).value();
  EXPECT_FALSE(KeyColumn::of(codes));
  const auto narrow = store_fixed_numbers(std::vector<uint64_t>{1}, {.width_bytes = 3}).value();
  EXPECT_FALSE(KeyColumn::of(narrow));
}

TEST_F(Translations, RefuseTooLittleRoom) {
  const StoredColumn stored = column();
  const KeyColumn keys = KeyColumn::of(stored).value();
  const auto table = TranslationTable::build(pairs, {.last_key = 4999}).value();
  const auto translation =
      Translation::bind(library, keys, table, Translation::Output::rows_and_codes).value();
  RowBits hits(300), other(299);
  std::vector<uint8_t> codes(299);
  EXPECT_EQ(translation.run(0, hits, codes).message(),
            "the codes of 300 rows take 300 bytes, there is room for 299");
  EXPECT_FALSE(translation.run(0, other, codes));
  EXPECT_FALSE(translation.run(3, hits, codes));
}

TEST_F(Translations, AddSharesToGroupKeys) {
  const std::vector<uint32_t> codes{0, 2, 1, 2, 0};
  for (const ElementWidth width : coded_widths) {
    const auto table =
        TranslationTable::build(std::vector<KeyCode>{{0, 5}, {1, 6}, {2, 7}}, {.element = width})
            .value();
    std::vector<uint32_t> keys{100, 0, 0, UINT32_MAX, 1};
    ASSERT_TRUE(add_group_share(library, table, codes, 10, keys));
    EXPECT_EQ(keys, (std::vector<uint32_t>{150, 70, 60, 69, 51}));
    const std::vector<uint32_t> wrong{0, 3};
    std::vector<uint32_t> two{1, 2};
    EXPECT_EQ(add_group_share(library, table, wrong, 1, two).message(),
              "row 1 has code 3, but the table ends at 2");
    EXPECT_EQ(two, (std::vector<uint32_t>{1, 2}));
    EXPECT_FALSE(add_group_share(library, table, codes, 1, two));
  }
}

}  // namespace
}  // namespace colx::host
