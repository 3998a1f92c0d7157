#include "host/translation_table.h"

#include <gtest/gtest.h>

#include <vector>

namespace colx::host {
namespace {

using Pairs = std::vector<KeyCode>;

std::vector<uint8_t> elements(const TranslationTable& table, size_t bytes) {
  const auto* at = static_cast<const uint8_t*>(table.elements());
  return {at, at + bytes};
}
using Bytes = std::vector<uint8_t>;

TEST(TranslationTables, WriteElementsOfEveryWidth) {
  const auto flat = [](ElementWidth element, const Pairs& pairs) {
    return TranslationTable::build(pairs, {.element = element}).value();
  };
  EXPECT_EQ(elements(flat(ElementWidth::one_bit, {{1, 0}, {8, 0}}), 2), (Bytes{0xFD, 0xFE}));
  EXPECT_EQ(elements(flat(ElementWidth::four_bits, {{0, 3}, {1, 14}, {2, 5}}), 2),
            (Bytes{0xE3, 0xF5}));
  EXPECT_EQ(elements(flat(ElementWidth::one_byte, {{0, 254}, {2, 7}}), 3), (Bytes{254, 255, 7}));
  EXPECT_EQ(elements(flat(ElementWidth::two_bytes, {{1, 0x1234}}), 4),
            (Bytes{0xFF, 0xFF, 0x34, 0x12}));
  EXPECT_EQ(elements(flat(ElementWidth::four_bytes, {{0, 0x12345678}}), 4),
            (Bytes{0x78, 0x56, 0x34, 0x12}));
}

TEST(TranslationTables, FindCodesInEveryForm) {
  const Pairs pairs{{100, 3}, {163, 0}, {164, 9}, {5000, 1}};
  for (const TableForm form : {TableForm::flat, TableForm::offset, TableForm::paged})
    for (const ElementWidth element : {ElementWidth::four_bits, ElementWidth::two_bytes}) {
      const auto table = TranslationTable::build(pairs, {.form = form,
                                                         .element = element,
                                                         .first_key = 90,
                                                         .last_key = 6000,
                                                         .page_shift = 6})
                             .value();
      for (uint32_t key = 90; key <= 6000; ++key) {
        uint32_t expected = no_code(element);
        for (const KeyCode& pair : pairs)
          if (pair.key == key) expected = pair.code;
        ASSERT_EQ(table.code(key), expected) << key;
      }
    }
}

TEST(TranslationTables, KeepOnlyThePagesThatHaveACode) {
  const auto table = TranslationTable::build(Pairs{{1, 1}, {1000000, 2}},
                                             {.form = TableForm::paged, .page_shift = 8})
                         .value();
  EXPECT_EQ(table.bytes(), 2 * 256 + (1000000 / 256 + 1) * sizeof(void*));
}

TEST(TranslationTables, CoverTheHighestKey) {
  const auto table = TranslationTable::build(
      Pairs{{UINT32_MAX, 4}}, {.form = TableForm::offset, .first_key = UINT32_MAX - 1});
  EXPECT_EQ(table->size(), 2u);
  EXPECT_EQ(table->code(UINT32_MAX), 4u);
  EXPECT_FALSE(table->covers(UINT32_MAX - 2));
}

TEST(TranslationTables, ChooseTheLeastWidth) {
  const struct {
    uint32_t largest, bits;
  } cases[] = {{0, 1},      {1, 4},      {14, 4},
               {15, 8},     {254, 8},    {255, 16},
               {65534, 16}, {65535, 32}, {UINT32_MAX - 1, 32}};
  for (const auto& [largest, bits] : cases)
    EXPECT_EQ(element_bits(element_width_for(largest).value()), bits) << largest;
  EXPECT_EQ(element_width_for(UINT32_MAX).message(),
            "code 4294967295 means no code in every table");
}

TEST(TranslationTables, RefuseCodesThatMeanNoCode) {
  EXPECT_EQ(TranslationTable::build(Pairs{{4, 0}, {5, 255}}, {}).message(),
            "pair 1: code 255 of key 5; elements of 8 bits hold codes below 255, which means no "
            "code");
  EXPECT_FALSE(TranslationTable::build(Pairs{{4, 1}}, {.element = ElementWidth::one_bit}));
  EXPECT_FALSE(TranslationTable::build(Pairs{{4, 16}}, {.element = ElementWidth::four_bits}));
}

TEST(TranslationTables, RefuseKeysOutside) {
  EXPECT_EQ(TranslationTable::build(Pairs{{11, 0}}, {.last_key = 10}).message(),
            "pair 0: key 11 is outside the table's keys 0 to 10");
  EXPECT_EQ(
      TranslationTable::build(Pairs{{4, 0}}, {.form = TableForm::offset, .first_key = 5}).message(),
      "pair 0: key 4 is outside the table's keys 5 to 5");
}

TEST(TranslationTables, RefuseAKeyWithTwoCodes) {
  EXPECT_EQ(TranslationTable::build(Pairs{{3, 1}, {3, 2}}, {}).message(),
            "pair 1: key 3 has code 2, but an earlier pair says 1");
  EXPECT_TRUE(TranslationTable::build(Pairs{{3, 1}, {3, 1}}, {}));
}

TEST(TranslationTables, RefusePagesWhoseKeysOverlap) {
  const auto build = [](uint32_t mask) {
    return TranslationTable::build(
        Pairs{{0x123, 1}},
        {.form = TableForm::paged, .last_key = 0xFFF, .page_shift = 4, .page_mask = mask});
  };
  EXPECT_EQ(build(0x17).message(),
            "page mask 0x17 leaves out bits below the page shift 4, so keys of a page would "
            "overlap; use 0xF or more bits");
  const auto larger = build(0x3F).value();
  EXPECT_EQ(larger.code(0x123), 1u);
  EXPECT_EQ(larger.code(0x122), no_code(ElementWidth::one_byte));
  EXPECT_EQ(larger.code(0x163), no_code(ElementWidth::one_byte));
  EXPECT_EQ(larger.bytes(), 64 + 256 * sizeof(void*));
}

TEST(TranslationTables, RefuseOptionsOutOfRange) {
  EXPECT_EQ(TranslationTable::build({}, {.first_key = 5, .last_key = 4}).message(),
            "a table of keys 5 to 4: the last key comes before the first");
  for (const uint32_t shift : {0u, 32u, 64u})
    EXPECT_FALSE(TranslationTable::build({}, {.form = TableForm::paged, .page_shift = shift}));
}

}  // namespace
}  // namespace colx::host
