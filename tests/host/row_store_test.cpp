// Row stores and what is gathered from them.
#include "host/row_store.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "host/gathered_rows.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

constexpr StoreForm forms[] = {StoreForm::lp, StoreForm::dlp, StoreForm::cla};
constexpr GatherLayout layouts[] = {GatherLayout::pointers, GatherLayout::copies};

// Values of 0 to `longest` bytes, with the arrays that KeyRows takes.
struct Values {
  std::vector<std::string> texts;
  std::vector<const char*> data;
  std::vector<uint16_t> lengths;

  Values(size_t rows, size_t shortest, size_t longest) {
    test::Random random(rows);
    for (size_t row = 0; row < rows; ++row)
      texts.emplace_back(shortest + random.below(longest - shortest + 1),
                         static_cast<char>('a' + random.below(26)));
    for (const std::string& text : texts) {
      data.push_back(text.data());
      lengths.push_back(static_cast<uint16_t>(text.size()));
    }
  }
  KeyRows rows() const { return KeyRows::pointers(data, lengths).value(); }
};

struct Stores : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();

  RowStore store_of(std::vector<KeyRows> columns, const RowStoreOptions& options) {
    auto store = RowStore::build(library, columns, options);
    EXPECT_TRUE(store) << store.message();
    return std::move(store).value();
  }
  std::vector<std::string> gather(const RowStore& store, const EntryList& entries,
                                  GatherLayout layout, uint32_t room) {
    auto rows = GatheredRows::open(library, store, entries, layout, room);
    EXPECT_TRUE(rows) << rows.message();
    std::vector<std::string> all;
    for (;;) {
      const auto values = rows->next();
      EXPECT_TRUE(values) << values.message();
      if (!values || values->size() == 0) return all;
      for (size_t i = 0; i < values->size(); ++i) all.emplace_back((*values)[i]);
    }
  }
};

TEST_F(Stores, GiveBackEveryValueInAnyFormAndLayout) {
  const Values values(1000, 0, 40);
  std::vector<uint32_t> narrow;
  std::vector<uint64_t> wide;
  std::vector<Match> matches;
  std::vector<std::string> expected;
  for (uint32_t k = 0; k < 700; ++k) {
    const uint32_t entry = k * 577 % 1000;
    narrow.push_back(entry);
    wide.push_back(entry);
    matches.push_back({entry, 999 - entry});
    expected.push_back(values.texts[entry]);
  }
  std::vector<Match> turned;
  for (const Match& match : matches) turned.push_back({7, match.probe_value});
  for (const StoreForm form : forms)
    for (const uint32_t page_bits : {1u, 6u, 16u})
      for (const uint32_t page_bytes : {1u, 0u}) {
        const RowStore store = store_of({values.rows()}, {form, page_bits, page_bytes});
        EXPECT_EQ(store.entries(), 1000u);
        for (const GatherLayout layout : layouts)
          for (const uint32_t room : {1u, 100u, 100000u}) {
            ASSERT_EQ(gather(store, EntryList::of(narrow), layout, room), expected);
            ASSERT_EQ(gather(store, EntryList::of(wide), layout, room), expected);
            ASSERT_EQ(gather(store, EntryList::probe_side(matches), layout, room), expected);
            ASSERT_EQ(gather(store, EntryList::build_side(turned), layout, room), expected);
          }
      }
}

TEST_F(Stores, GiveFixedResultsOfValuesOfOneLength) {
  const Values values(300, 5, 5);
  const std::vector<uint32_t> entries{299, 0, 17, 17};
  for (const StoreForm form : forms) {
    const RowStore store = store_of({values.rows()}, {form, 4});
    EXPECT_EQ(gather(store, EntryList::of(entries), GatherLayout::fixed, 7),
              (std::vector<std::string>{values.texts[299], values.texts[0], values.texts[17],
                                        values.texts[17]}));
  }
  const RowStore uneven = store_of({Values(10, 0, 3).rows()}, {});
  EXPECT_EQ(
      GatheredRows::open(library, uneven, EntryList::of(entries), GatherLayout::fixed).message(),
      "fixed results of values of 0 to 3 bytes; gather pointers or copies");
}

TEST_F(Stores, KeepTheValuesOfARowTogether) {
  const Values names(200, 0, 20), cities(200, 3, 9);
  std::vector<uint8_t> numbers;
  for (uint32_t row = 0; row < 200; ++row) {
    numbers.push_back(static_cast<uint8_t>(row));
    numbers.push_back(7);
  }
  const std::vector<KeyRows> columns{names.rows(), cities.rows(),
                                     KeyRows::fixed(numbers, 2).value()};
  std::vector<uint32_t> entries;
  for (uint32_t row = 0; row < 200; row += 3) entries.push_back(row);
  for (const StoreForm form : {StoreForm::lp, StoreForm::cla})
    for (const uint32_t page_bytes : {1u, 0u}) {
      const RowStore store = store_of(columns, {form, 5, page_bytes});
      auto rows = GatheredRows::open(library, store, EntryList::of(entries));
      const auto values = rows->next().value();
      ASSERT_EQ(values.size(), entries.size());
      for (size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(row_value(values.starts[i], 0), names.texts[entries[i]]);
        EXPECT_EQ(row_value(values.starts[i], 1), cities.texts[entries[i]]);
        EXPECT_EQ(row_value(values.starts[i], 2), (std::string{static_cast<char>(entries[i]), 7}));
      }
    }
}

TEST_F(Stores, AreReadByManyThreadsAtOnce) {
  const Values values(5000, 0, 30);
  const RowStore store = store_of({values.rows()}, {StoreForm::lp});
  std::vector<uint32_t> entries;
  for (uint32_t k = 0; k < 5000; ++k) entries.push_back(k * 2477 % 5000);
  std::vector<std::vector<std::string>> found(4);
  std::vector<std::thread> threads;
  for (auto& of_thread : found)
    threads.emplace_back(
        [&] { of_thread = gather(store, EntryList::of(entries), GatherLayout::copies, 1000); });
  for (std::thread& thread : threads) thread.join();
  for (const auto& of_thread : found) EXPECT_EQ(of_thread, found[0]);
  EXPECT_EQ(found[0][1], values.texts[2477]);
}

TEST_F(Stores, MayBeEmpty) {
  const Values none(0, 0, 1);
  for (const StoreForm form : forms) {
    const RowStore store = store_of({none.rows()}, {form});
    EXPECT_TRUE(
        gather(store, EntryList::of(std::span<const uint32_t>()), GatherLayout::copies, 1).empty());
  }
}

TEST_F(Stores, RefuseReferencesBeyondTheirEntries) {
  const RowStore store = store_of({Values(10, 0, 3).rows()}, {});
  const std::vector<uint32_t> entries{9, 10};
  EXPECT_EQ(GatheredRows::open(library, store, EntryList::of(entries)).message(),
            "reference 1 asks for entry 10 of a store of 10");
  EXPECT_EQ(
      GatheredRows::open(library, store, EntryList::of(entries), GatherLayout::copies, 0).message(),
      "room for no byte: use 1 or more");
}

TEST_F(Stores, RefuseColumnsThatAreNoRows) {
  const Values ten(10, 0, 3), nine(9, 0, 3);
  const auto build = [&](std::vector<KeyRows> columns, const RowStoreOptions& options = {}) {
    return RowStore::build(library, columns, options);
  };
  EXPECT_EQ(build({}).message(), "a store of no columns: give one or more");
  EXPECT_EQ(build({ten.rows(), nine.rows()}).message(), "column 1 has 9 rows, column 0 has 10");
  EXPECT_FALSE(build({ten.rows(), ten.rows()}, {StoreForm::dlp}));
  EXPECT_FALSE(build({ten.rows()}, {.page_bits = 0}));
  EXPECT_FALSE(build({ten.rows()}, {.page_bits = 25}));
  const std::vector<uint64_t> hashes(10);
  EXPECT_EQ(build({KeyRows::hashes(hashes).value()}).message(),
            "column 0 holds no values; use KeyRows::fixed() or pointers()");
  const std::string large(40000, 'x');
  const std::vector<const char*> data{large.data()};
  const std::vector<uint16_t> lengths{40000};
  const KeyRows row = KeyRows::pointers(data, lengths).value();
  EXPECT_EQ(build({row, row}).message(), "row 0 takes 80004 bytes; a row may take 65535");
}

}  // namespace
}  // namespace colx::host
