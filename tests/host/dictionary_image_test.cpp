#include "host/dictionary_image.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace colx::host {
namespace {

using Symbols = std::vector<std::string_view>;

std::vector<uint8_t> bytes_at(const void* at, size_t count) {
  const auto* bytes = static_cast<const uint8_t*>(at);
  return {bytes, bytes + count};
}

TEST(DictionaryImage, ValuesOfOneLengthShareIt) {
  const auto image = DictionaryImage::write(Symbols{"ab", "cd", "ef"});
  ASSERT_TRUE(image) << image.message();
  colx_enc_ctx encoding{};
  image->describe(encoding);
  EXPECT_EQ(encoding.colx_enc_ctx_layout, 0u);
  EXPECT_EQ(encoding.colx_enc_ctx_num_symbols, 3u);
  EXPECT_EQ(bytes_at(encoding.colx_enc_ctx_one_len, 2), (std::vector<uint8_t>{0, 2}));
  EXPECT_EQ(bytes_at(encoding.colx_enc_ctx_symbols, 6),
            (std::vector<uint8_t>{'a', 'b', 'c', 'd', 'e', 'f'}));
  EXPECT_EQ(image->symbol(1), "cd");
}

TEST(DictionaryImage, ValuesOfSeveralLengthsHaveOffsets) {
  const auto image = DictionaryImage::write(Symbols{"", "a", "bcd"});
  ASSERT_TRUE(image) << image.message();
  colx_enc_ctx encoding{};
  image->describe(encoding);
  EXPECT_EQ(encoding.colx_enc_ctx_layout, 1u);
  EXPECT_EQ(bytes_at(encoding.colx_enc_ctx_cla, 16),
            (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 4}));
  EXPECT_EQ(image->symbol(0), "");
  EXPECT_EQ(image->symbol(1), "a");
  EXPECT_EQ(image->symbol(2), "bcd");
  EXPECT_EQ(image->bytes(), 4u + 16u);
}

TEST(DictionaryImage, TheCumulativeFormIsToBeHadForOneLengthToo) {
  const auto image = DictionaryImage::write_cumulative(Symbols{"ab", "cd"});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->layout(), 1u);
  EXPECT_EQ(image->symbol(0), "ab");
  EXPECT_EQ(image->symbol(1), "cd");
}

TEST(DictionaryImage, OneNullAloneIsALengthOfZero) {
  const auto image = DictionaryImage::write(Symbols{""});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->layout(), 0u);
  EXPECT_EQ(image->symbol(0), "");
}

TEST(DictionaryImage, AnEmptyDictionaryHasOneOffset) {
  const auto image = DictionaryImage::write(Symbols{});
  ASSERT_TRUE(image);
  EXPECT_EQ(image->layout(), 1u);
  EXPECT_EQ(image->num_symbols(), 0u);
  EXPECT_EQ(image->bytes(), 4u);
}

TEST(DictionaryImage, TheLongestValueFitsAndALongerOneDoesNot) {
  const std::string longest(65535, 'x'), longer(65536, 'x');
  EXPECT_TRUE(DictionaryImage::write(Symbols{longest, "y"}));
  EXPECT_TRUE(DictionaryImage::write(Symbols{longest}));
  const auto refused = DictionaryImage::write(Symbols{"y", longer});
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.message(), "dictionary value 1 has 65536 bytes; at most 65535 fit");
  EXPECT_FALSE(DictionaryImage::write(Symbols{longer}));
}

}  // namespace
}  // namespace colx::host
