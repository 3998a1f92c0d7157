#include "host/prefix_writer.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "host/stream_validation.h"
#include "tests/host/stream_decoding.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

std::string round_trip(StreamDecoding& decoding, const ByteString& values,
                       const PrefixGroups& groups) {
  colx_cv source{};
  colx_enc_ctx encoding{};
  groups.describe(source, encoding);
  const auto valid = prefix_validate(source, groups.stream.size());
  if (!valid) return valid.message();
  if (valid->decoded_bytes != values.size()) return "another length";
  if (valid->stream_bytes != groups.stream.size()) return "bytes behind the last group";
  for (const test::Place place : {test::Place::end, test::Place::begin})
    for (const bool descriptors : {false, true}) {
      const Decoded decoded = decoding.prefix(groups.stream.bytes(), groups, place, descriptors);
      if (decoded.status != COLX_DONE) return "status " + std::to_string(decoded.status);
      if (decoded.bytes != values) return "other bytes";
      if (!decoded.damage.empty()) return decoded.damage;
    }
  return "";
}

TEST(PrefixWriter, StoresTheLongestSharedPrefixOnce) {
  const auto groups = write_prefix_groups(byte_string("abcxabcyabdz"), 4);
  ASSERT_TRUE(groups) << groups.message();
  EXPECT_EQ(byte_string(groups->stream), (ByteString{2, 'a', 'b', 'c', 'x', 'c', 'y', 'd', 'z'}));
  EXPECT_EQ(groups->values, 3u);
  EXPECT_EQ(groups->groups, 1u);
  EXPECT_EQ(groups->output_bytes(), 3u * 4 + 15);
  EXPECT_EQ(groups->descriptor_bytes(), 3u * 16);
}

TEST(PrefixWriter, StoresEqualValuesAsTheirPrefixAlone) {
  const auto groups = write_prefix_groups(byte_string(std::string(17, 'q')), 1);
  EXPECT_EQ(byte_string(groups->stream), (ByteString{1, 'q', 1, 'q'}));
  EXPECT_EQ(groups->groups, 2u);
}

TEST(PrefixWriter, StoresValuesWithoutAPrefixAsTheyAre) {
  EXPECT_EQ(byte_string(write_prefix_groups(byte_string("abxy"), 2)->stream),
            (ByteString{0, 'a', 'b', 'x', 'y'}));
}

TEST(PrefixWriter, DescribesItsGroupsToTheDecoder) {
  const auto groups = write_prefix_groups(byte_string(std::string(17 * 3, 'q')), 3).value();
  colx_cv source{};
  colx_enc_ctx encoding{};
  groups.describe(source, encoding);
  EXPECT_EQ(source.colx_cv_data, groups.stream.data());
  EXPECT_EQ(source.colx_cv_encoding_context, &encoding);
  EXPECT_EQ(source.colx_cv_num_of_rows, 2u);
  EXPECT_EQ(encoding.colx_enc_ctx_prefix_stride, 16);
  EXPECT_EQ(encoding.colx_enc_ctx_prefix_value_len, 3);
  EXPECT_EQ(encoding.colx_enc_ctx_prefix_values, 17u);
}

TEST(PrefixWriter, GivesValuesBackAtEveryLengthCountAndPrefix) {
  StreamDecoding decoding;
  test::Random random(3);
  for (uint32_t length = 1; length <= 8; ++length)
    for (uint32_t prefix = 0; prefix <= length; ++prefix)
      for (const uint32_t values : {1, 2, 15, 16, 17, 31, 32, 33, 48, 49, 160, 161}) {
        ByteString all = random.bytes(size_t{values} * length);
        for (size_t i = 0; i < all.size(); ++i)
          if (i % length < prefix) all[i] = static_cast<uint8_t>(i / length / 16 * 7 + i % length);
        const auto groups = write_prefix_groups(all, length);
        ASSERT_TRUE(groups) << groups.message();
        ASSERT_EQ(round_trip(decoding, all, *groups), "")
            << values << " values of " << length << ", prefix " << prefix;
      }
}

TEST(PrefixWriter, MakesRisingDigitsSmaller) {
  std::string digits;
  for (int number = 0; number < 16000; ++number) {
    char text[12];
    std::snprintf(text, sizeof text, "%08d", number);
    digits += text;
  }
  const auto groups = write_prefix_groups(byte_string(digits), 8);
  EXPECT_LT(groups->stream.size(), digits.size() / 3);
  StreamDecoding decoding;
  EXPECT_EQ(round_trip(decoding, byte_string(digits), *groups), "");
}

TEST(PrefixWriter, RefusesWhatTheFormCannotHold) {
  const ByteString values = byte_string("abcdefghi");
  EXPECT_EQ(write_prefix_groups(values, 0).message(),
            "prefix groups of values of 0 bytes; use 1 to 8");
  EXPECT_EQ(write_prefix_groups(values, 9).message(),
            "prefix groups of values of 9 bytes; use 1 to 8");
  EXPECT_EQ(write_prefix_groups({}, 4).message(), "no values: prefix groups hold at least one");
  EXPECT_EQ(write_prefix_groups(values, 4).message(),
            "9 bytes are no whole number of values of 4 bytes: 1 are left over");
  EXPECT_EQ(write_prefix_groups({values.data(), size_t{1} << 32}, 1).message(),
            "4294967296 values are too many for one prefix stream; split them at 2^32 - 1");
}

}  // namespace
}  // namespace colx::host
