#include "host/key_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/encode_codes.h"
#include "host/encode_rows.h"
#include "host/key_hash.h"

namespace colx::host {
namespace {

struct Keys : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();

  void check_hashes(const KeyRows& keys, const std::vector<std::string>& expected) {
    ASSERT_EQ(keys.size(), expected.size());
    std::vector<uint64_t> hashes(expected.size());
    ASSERT_TRUE(hash_keys(library, keys, hashes));
    for (uint32_t row = 0; row < keys.size(); ++row) {
      EXPECT_EQ(keys.key(row), expected[row]);
      EXPECT_EQ(hashes[row], hash_key(expected[row].data(), expected[row].size(), 0)) << row;
    }
  }
};

TEST_F(Keys, OfOneWidthHashByTheirBytes) {
  const std::vector<uint8_t> data{'a', 'b', 'c', 'd', 'e', 'f'};
  check_hashes(KeyRows::fixed(data, 3).value(), {"abc", "def"});
  check_hashes(KeyRows::fixed(data, 2).value(), {"ab", "cd", "ef"});
}

TEST_F(Keys, OfAnyLengthHashByTheirBytes) {
  const std::vector<const char*> data{"pear", "", "fig"};
  const std::vector<uint16_t> lengths{4, 0, 3};
  check_hashes(KeyRows::pointers(data, lengths).value(), {"pear", "", "fig"});
}

TEST_F(Keys, OfAStoredChunkHashByTheirBytes) {
  const auto column = store_fixed_numbers(std::vector<uint64_t>{0x010203, 0x040506, 7},
                                          {.width_bytes = 3, .chunk_rows = 2})
                          .value();
  check_hashes(KeyRows::chunk(column, 0).value(), {"\1\2\3", "\4\5\6"});
}

TEST_F(Keys, OfEveryLengthHashApart) {
  const std::string zeros(20, '\0');
  std::vector<uint64_t> hashes;
  for (size_t length = 0; length <= 20; ++length)
    hashes.push_back(hash_key(zeros.data(), length, 0));
  for (size_t a = 0; a < hashes.size(); ++a)
    for (size_t b = 0; b < a; ++b) EXPECT_NE(hashes[a], hashes[b]);
  EXPECT_NE(hash_key("a", 1, 0), hash_key("a", 1, 1));
}

TEST_F(Keys, RefuseWhatIsNoKey) {
  const std::vector<uint8_t> data(6);
  EXPECT_EQ(KeyRows::fixed(data, 4).message(), "6 bytes are no whole number of keys of 4 bytes");
  EXPECT_EQ(KeyRows::fixed(data, 0).message(), "keys of 0 bytes: use 1 to 8191");
  EXPECT_FALSE(KeyRows::fixed(data, 8192));
  const std::vector<const char*> pointers{"a"};
  EXPECT_EQ(KeyRows::pointers(pointers, std::vector<uint16_t>{1, 2}).message(),
            "2 lengths for 1 keys");
  const auto codes = store_codes(std::vector<uint64_t>{1}).value();
  EXPECT_FALSE(KeyRows::chunk(codes, 0));
  const auto fixed = store_fixed_numbers(std::vector<uint64_t>{1}).value();
  EXPECT_EQ(KeyRows::chunk(fixed, 1).message(), "chunk 1 of a column with 1 chunks");
}

TEST_F(Keys, RefuseToHashHashesAndCodes) {
  const std::vector<uint64_t> ready{1, 2};
  std::vector<uint64_t> hashes(2, 7);
  EXPECT_EQ(hash_keys(library, KeyRows::hashes(ready).value(), hashes).message(),
            "codes and hash values are not hashed; pass keys");
  EXPECT_FALSE(hash_keys(library, KeyRows::codes(std::vector<uint32_t>{1, 2}).value(), hashes));
  EXPECT_EQ(hashes, (std::vector<uint64_t>{7, 7}));
  const std::vector<uint8_t> data(6);
  EXPECT_FALSE(hash_keys(library, KeyRows::fixed(data, 2).value(), hashes));
}

TEST(Values, AreCheckedAgainstKeysAndTable) {
  const std::vector<uint32_t> narrow(3);
  const std::vector<uint64_t> wide(3);
  EXPECT_TRUE(RowValues::of(narrow).check(3, 4));
  EXPECT_TRUE(RowValues::of(wide).check(3, 8));
  EXPECT_EQ(RowValues::of(narrow).check(3, 8).message(), "values of 4 bytes for a table of 8");
  EXPECT_EQ(RowValues::of(wide).check(2, 8).message(), "3 values for 2 keys");
  EXPECT_TRUE(RowValues::numbered_from(UINT32_MAX).check(1, 4));
  EXPECT_FALSE(RowValues::numbered_from(UINT32_MAX).check(2, 4));
  EXPECT_TRUE(RowValues::numbered_from(uint64_t{1} << 40).check(2, 8));
}

}  // namespace
}  // namespace colx::host
