#include "host/group_keys.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/encode_codes.h"
#include "host/value_dictionary.h"

namespace colx::host {
namespace {

// Columns of few values in chunks of 500 rows, plain or run-length coded.
struct Keys : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};
  static constexpr size_t rows = 1700;

  static std::vector<int64_t> values(int64_t distinct, size_t stretch) {
    std::vector<int64_t> all;
    for (size_t row = 0; row < rows; ++row)
      all.push_back(static_cast<int64_t>(row / stretch * 7919 % 10007) % distinct);
    return all;
  }
  static DictionaryColumn<int64_t> column(int64_t distinct, size_t stretch, bool runs) {
    DictionaryColumnOptions options{.chunk_rows = 500};
    if (runs) options.runs = RunLengthOptions{};
    return store_dictionary_column<int64_t>(values(distinct, stretch), options).value();
  }
};

TEST_F(Keys, ComposeTheCodesOfAllColumns) {
  for (const KeyComposition composition : {KeyComposition::multiplied, KeyComposition::shifted})
    for (const bool runs : {false, true}) {
      const auto year = column(7, 100, runs), nation = column(25, 3, false),
                 brand = column(300, 1, false);
      const auto keys = GroupKeys::bind(library, services,
                                        {&year.column, &nation.column, &brand.column}, composition)
                            .value();
      const auto years = values(7, 100), nations = values(25, 3), brands = values(300, 1);
      std::vector<uint32_t> found(500);
      for (size_t chunk = 0; chunk < 4; ++chunk) {
        const uint32_t count = chunk < 3 ? 500 : 200;
        ASSERT_EQ(keys.run(chunk, found).value(), count);
        for (uint32_t row = 0; row < count; ++row) {
          const size_t at = chunk * 500 + row;
          const int64_t split[] = {found[row] / keys.place(0), found[row] / keys.place(1),
                                   found[row] / keys.place(2)};
          ASSERT_LT(found[row], keys.key_space());
          ASSERT_EQ(year.dictionary.value(static_cast<uint32_t>(split[0])), years[at]);
          const uint32_t nation_radix = keys.place(0) / keys.place(1);
          ASSERT_EQ(nation.dictionary.value(static_cast<uint32_t>(split[1] % nation_radix)),
                    nations[at]);
          const uint32_t brand_radix = keys.place(1);
          ASSERT_EQ(brand.dictionary.value(static_cast<uint32_t>(split[2] % brand_radix)),
                    brands[at]);
        }
      }
    }
}

TEST_F(Keys, OfSelectedRows) {
  const auto year = column(7, 100, false), brand = column(300, 1, false);
  const auto keys = GroupKeys::bind(library, services, {&year.column, &brand.column}).value();
  std::vector<uint32_t> all(500), some(167);
  ASSERT_TRUE(keys.run(2, all));
  RowBits selection(500);
  std::vector<uint32_t> expected;
  for (uint32_t row = 0; row < 500; row += 3) {
    selection.set(row);
    expected.push_back(all[row]);
  }
  EXPECT_EQ(keys.run(2, some, &selection).value(), 167u);
  EXPECT_EQ(some, expected);
}

TEST_F(Keys, OfSelectedRowsOfRunsAreThoseOfPlainColumns) {
  const auto plain = column(7, 100, false), runs = column(7, 100, true),
             brand = column(300, 1, false);
  RowBits selection(500);
  for (uint32_t row = 3; row < 500; row += 7) selection.set(row);
  std::vector<uint32_t> of_plain(500), of_runs(500);
  const auto run = [&](const StoredColumn& first, std::vector<uint32_t>& keys) {
    return GroupKeys::bind(library, services, {&first, &brand.column})
        ->run(1, keys, &selection)
        .value();
  };
  EXPECT_EQ(run(plain.column, of_plain), 71u);
  EXPECT_EQ(run(runs.column, of_runs), 71u);
  of_plain.resize(71);
  of_runs.resize(71);
  EXPECT_EQ(of_runs, of_plain);
}

TEST_F(Keys, NameAnUnpackingKernelThatTheLibraryLacks) {
  const auto year = column(7, 100, false);
  std::vector<colx_kernel_fn> slots(COLX_DISPATCH_SLOTS);
  colx_specialized_ctx record = library.record();
  record.colx_sctx_dispatch = slots.data();
  const auto refused = GroupKeys::bind(library.through(record), services, {&year.column});
  ASSERT_FALSE(refused);
  EXPECT_NE(refused.message().find(": has no kernel colx_decode_unpack_dict_3bit"),
            std::string::npos)
      << refused.message();
}

TEST_F(Keys, RefuseColumnsThatDoNotGoTogether) {
  const auto year = column(7, 100, false);
  const auto other = store_dictionary_column<int64_t>(values(7, 1), {.chunk_rows = 600}).value();
  const auto codes = store_codes(std::vector<uint64_t>(rows), {.chunk_rows = 500}).value();
  const auto bind = [&](std::vector<const StoredColumn*> columns) {
    return GroupKeys::bind(library, services, std::move(columns));
  };
  auto wide = store_dictionary_column<int64_t>(values(7, 1), {.width_bits = 64}).value();
  EXPECT_EQ(bind({&wide.column}).message(), "column 0 holds no dictionary codes of up to 32 bits");
  EXPECT_EQ(bind({}).message(), "group keys of no columns: give one or more");
  EXPECT_EQ(bind({&year.column, nullptr}).message(), "column 1 is null");
  EXPECT_EQ(bind({&year.column, &codes}).message(),
            "column 1 has no dictionary, which says how many codes there are");
  EXPECT_EQ(bind({&year.column, &other.column}).message(), "column 1 has 3 chunks, column 0 has 4");
}

TEST_F(Keys, RefuseAKeySpaceAbove32Bits) {
  const auto brand = column(1700, 1, false);
  std::vector<const StoredColumn*> columns(5, &brand.column);
  EXPECT_TRUE(GroupKeys::bind(library, services, {&brand.column, &brand.column}));
  EXPECT_EQ(GroupKeys::bind(library, services, columns).message(),
            "columns 0 to 3 have more than 2^32 - 1 group keys; group by fewer");
}

TEST_F(Keys, RefuseTooLittleRoom) {
  const auto year = column(7, 100, false);
  const auto keys = GroupKeys::bind(library, services, {&year.column}).value();
  std::vector<uint32_t> room(499);
  EXPECT_EQ(keys.run(0, room).message(), "500 keys want room, there is room for 499");
  EXPECT_FALSE(keys.run(4, room));
  const RowBits selection(499);
  EXPECT_FALSE(keys.run(0, room, &selection));
}

}  // namespace
}  // namespace colx::host
