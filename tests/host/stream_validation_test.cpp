#include "host/stream_validation.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/big_endian.h"
#include "host/wpak_writer.h"
#include "tests/host/stream_decoding.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

constexpr uint32_t decodable_bytes = 1 << 20;  // larger outputs are valid, and not decoded here

std::string wpak_error(const ByteString& stream) {
  const auto valid = wpak_validate(stream.data(), stream.size());
  return valid ? "" : valid.message();
}

// Empty if the validator refuses the stream, or the decoder keeps its promises on it.
std::string wpak_difference(StreamDecoding& decoding, const ByteString& stream) {
  const auto valid = wpak_validate(stream.data(), stream.size());
  if (!valid) return valid.message().empty() ? "refused without a word" : "";
  if (valid->stream_bytes > stream.size()) return "ends behind its end";
  if (valid->decoded_bytes > decodable_bytes) return "";
  for (const test::Place place : {test::Place::end, test::Place::begin}) {
    const Decoded decoded = decoding.wpak(stream, valid->decoded_bytes, place);
    if (decoded.status != COLX_DONE) return "status " + std::to_string(decoded.status);
    if (decoded.length != valid->decoded_bytes) return "another length";
    if (!decoded.damage.empty()) return decoded.damage;
  }
  return "";
}

std::vector<WpakSymbol> symbols(const std::vector<std::string_view>& texts) {
  return {texts.begin(), texts.end()};
}

// S = 3: codes of 2 bits.
//   0 to 17 header | 18, 19 lengths 2 1 1 - | 20 "ab" | 22 "c" | 23 "d" | 24 count 5 | 28 codes
ByteString small_stream() {
  return byte_string(write_wpak_with(byte_string("abcabdc"), symbols({"ab", "c", "d"})).value());
}

// The same with sections:
//   20 6 bytes | 26 "ab" | 28 "c" | 29 "d" | 30 count 5 | 34 X, codes 6 bytes on | 40 codes
ByteString small_stream_with_sections() {
  return byte_string(write_wpak_with(byte_string("abcabdc"), symbols({"ab", "c", "d"}), 2).value());
}

ByteString changed(ByteString stream, size_t at, uint8_t byte) {
  stream.at(at) = byte;
  return stream;
}

ByteString cut(ByteString stream, size_t bytes) {
  stream.resize(bytes);
  return stream;
}

TEST(WpakValidate, TellsWhatASoundStreamIs) {
  const ByteString stream = small_stream();
  const auto valid = wpak_validate(stream.data(), stream.size());
  ASSERT_TRUE(valid) << valid.message();
  EXPECT_EQ(valid->decoded_bytes, 7u);
  EXPECT_EQ(valid->symbols, 3u);
  EXPECT_EQ(valid->code_bits, 2u);
  EXPECT_EQ(valid->codes, 5u);
  EXPECT_EQ(valid->codes_at, 28u);
  EXPECT_EQ(valid->stream_bytes, 30u);
  EXPECT_EQ(wpak_validate(small_stream_with_sections().data(), 42)->codes_at, 40u);
}

TEST(WpakValidate, AcceptsWhatTheDecoderNeverReads) {
  EXPECT_EQ(wpak_error(changed(small_stream(), 6, 0xFF)), "");   // reserved
  EXPECT_EQ(wpak_error(changed(small_stream(), 5, 0xF6)), "");   // other flags
  EXPECT_EQ(wpak_error(changed(small_stream(), 10, 0x80)), "");  // aux below 0: no sections
  EXPECT_EQ(wpak_error(changed(small_stream(), 19, 0x1F)), "");  // the length behind an odd count
  ByteString longer = small_stream();
  longer.push_back(0x77);
  EXPECT_EQ(wpak_validate(longer.data(), longer.size())->stream_bytes, 30u);
}

TEST(WpakValidate, RefusesHeaders) {
  EXPECT_EQ(wpak_error({}),
            "wpak stream: ends at 0, but a header of 18 bytes begins at offset 0; the stream is "
            "cut off or damaged");
  EXPECT_EQ(wpak_error(cut(small_stream(), 17)),
            "wpak stream: ends at 17, but a header of 18 bytes begins at offset 0; the stream is "
            "cut off or damaged");
  EXPECT_EQ(wpak_error(changed(small_stream(), 3, 'k')),
            "wpak stream: no \"WPAK\" at offset 0; this is no wpak stream");
  EXPECT_EQ(wpak_error(changed(small_stream(), 4, 1)),
            "wpak stream: version 1 at offset 4; only version 0 can be decoded");
  for (const char* const flags : {"\x00", "\x03", "\x0A", "\x01", "\xF4"})
    EXPECT_NE(wpak_error(changed(small_stream(), 5, static_cast<uint8_t>(*flags))), "");
  EXPECT_EQ(wpak_error(changed(small_stream(), 5, 0x0A)),
            "wpak stream: flags 0x0A at offset 5; 0x02 must be set, 0x01 and 0x08 clear");
}

TEST(WpakValidate, RefusesSymbolCounts) {
  EXPECT_EQ(wpak_error(changed(small_stream(), 17, 0)),
            "wpak stream: 0 symbols at offset 16; there must be 1 to 1024");
  EXPECT_EQ(wpak_error(changed(changed(small_stream(), 16, 4), 17, 1)),
            "wpak stream: 1025 symbols at offset 16; there must be 1 to 1024");
  EXPECT_EQ(wpak_error(changed(changed(small_stream(), 16, 4), 17, 0)),
            "wpak stream: ends at 30, but a table of symbol lengths of 512 bytes begins at offset "
            "18; the stream is cut off or damaged");
}

TEST(WpakValidate, RefusesSymbolLengths) {
  EXPECT_EQ(wpak_error(changed(small_stream(), 18, 0x20)),
            "wpak stream: symbol 1 has length 0 at offset 18; lengths are 1 to 8");
  EXPECT_EQ(wpak_error(changed(small_stream(), 19, 0x90)),
            "wpak stream: symbol 2 has length 9 at offset 19; lengths are 1 to 8");
}

TEST(WpakValidate, RefusesStreamsThatEndTooEarly) {
  const ByteString plain = small_stream();
  const ByteString sections = small_stream_with_sections();
  const auto cut_off = [](const std::string& what, size_t end) {
    return "wpak stream: ends at " + std::to_string(end) + ", but " + what +
           "; the stream is cut off or damaged";
  };
  EXPECT_EQ(wpak_error(cut(plain, 21)), cut_off("symbol 0 of 2 bytes begins at offset 20", 21));
  EXPECT_EQ(wpak_error(cut(plain, 23)), cut_off("symbol 2 of 1 bytes begins at offset 23", 23));
  EXPECT_EQ(wpak_error(cut(plain, 27)), cut_off("a code count of 4 bytes begins at offset 24", 27));
  EXPECT_EQ(wpak_error(cut(plain, 29)),
            cut_off("an area of codes of 2 bytes begins at offset 28", 29));
  EXPECT_EQ(wpak_error(cut(sections, 25)),
            cut_off("a skipped section of 6 bytes begins at offset 20", 25));
  EXPECT_EQ(wpak_error(cut(sections, 37)),
            cut_off("a skipped section of 4 bytes begins at offset 34", 37));
  EXPECT_EQ(wpak_error(cut(sections, 39)),
            cut_off("a skipped section of 6 bytes begins at offset 34", 39));
  for (size_t end = 0; end < plain.size(); ++end) EXPECT_NE(wpak_error(cut(plain, end)), "") << end;
  for (size_t end = 0; end < sections.size(); ++end)
    EXPECT_NE(wpak_error(cut(sections, end)), "") << end;
}

TEST(WpakValidate, RefusesASectionThatDoesNotHoldItsOwnLength) {
  ByteString stream = small_stream_with_sections();
  store_big_endian(stream.data() + 34, 3 << 7 | 127, 4);
  EXPECT_EQ(wpak_error(stream),
            "wpak stream: the section at offset 34 claims 3 bytes, but its own length takes 4");
  store_big_endian(stream.data() + 34, UINT32_MAX, 4);
  EXPECT_EQ(wpak_error(stream),
            "wpak stream: ends at 42, but a skipped section of 33554431 bytes "
            "begins at offset 34; the stream is cut off or damaged");
}

TEST(WpakValidate, RefusesCodesWithoutASymbol) {
  EXPECT_EQ(wpak_error(changed(small_stream(), 29, 0xC0)),
            "wpak stream: code 4 at offset 29, bit 0, is symbol 3 of 3");
  EXPECT_EQ(wpak_error(changed(small_stream(), 28, 0x0C)),
            "wpak stream: code 2 at offset 28, bit 4, is symbol 3 of 3");
}

TEST(WpakValidate, RefusesAnotherLengthThanTheHeaders) {
  EXPECT_EQ(wpak_error(changed(small_stream(), 15, 8)),
            "wpak stream: decoded length 8 at offset 12, but the 5 codes at offset 28 expand to 7 "
            "bytes");
  EXPECT_EQ(wpak_error(changed(small_stream(), 15, 6)),
            "wpak stream: decoded length 6 at offset 12, but the 5 codes at offset 28 expand to 7 "
            "bytes");
  // 2^32 codes of 8 bytes and no bits wrap to nothing in 32 bits.
  ByteString endless = byte_string(write_wpak(byte_string("abcdefgh")).value());
  store_big_endian(endless.data() + endless.size() - 4, 0x20000000, 4);
  store_big_endian(endless.data() + 12, 0, 4);
  EXPECT_EQ(wpak_error(endless),
            "wpak stream: decoded length 0 at offset 12, but the 536870912 codes at offset 31 "
            "expand to 4294967296 bytes");
}

// A mismatch that happens in block steps, whose stores a longer header length would have allowed.
TEST(WpakValidate, RefusesAWrongLengthOfManyCodes) {
  ByteString stream = byte_string(write_wpak(test::Random(4).bytes(5000)).value());
  store_big_endian(stream.data() + 12, 100, 4);
  EXPECT_NE(wpak_error(stream).find("decoded length 100 at offset 12"), std::string::npos);
}

TEST(WpakValidate, KeepsTheDecoderInBoundsWhateverByteIsWrong) {
  StreamDecoding decoding;
  test::Random random(11);
  std::vector<ByteString> streams = {small_stream(), small_stream_with_sections(),
                                     byte_string(write_wpak(byte_string("abcabc")).value()),
                                     byte_string(write_wpak(ByteString{}).value())};
  for (const uint32_t bits : {1, 2, 3, 5, 8}) {
    ByteString letters;
    for (int i = 0; i < 110; ++i) letters.push_back(static_cast<uint8_t>(random.below(2)));
    streams.push_back(
        byte_string(write_wpak_with(letters, symbols({std::string_view("\0", 1), "\1"})).value()));
    streams.push_back(byte_string(write_wpak(letters, {.code_bits = bits}).value()));
  }
  uint32_t accepted = 0;
  for (const ByteString& stream : streams) {
    ASSERT_EQ(wpak_error(stream), "");
    for (size_t at = 0; at < stream.size(); ++at)
      for (unsigned byte = 0; byte < 256; ++byte) {
        const ByteString damaged = changed(stream, at, static_cast<uint8_t>(byte));
        ASSERT_EQ(wpak_difference(decoding, damaged), "") << "byte " << byte << " at " << at;
        accepted += wpak_error(damaged).empty();
      }
  }
  EXPECT_GT(accepted, 1000u);
  EXPECT_EQ(decoding.scratch_blocks(), 0u);
}

TEST(WpakValidate, KeepsTheDecoderInBoundsOnBlocksWithAWrongByte) {
  StreamDecoding decoding;
  test::Random random(12);
  for (const uint32_t bits : {4, 6, 8, 9, 10}) {
    ByteString data;
    for (int i = 0; i < 900; ++i) data.push_back(static_cast<uint8_t>('a' + random.below(9)));
    const ByteString stream = byte_string(write_wpak(data, {.code_bits = bits}).value());
    for (int change = 0; change < 4000; ++change) {
      const ByteString damaged =
          changed(stream, random.below(stream.size()), static_cast<uint8_t>(random.next()));
      ASSERT_EQ(wpak_difference(decoding, damaged), "") << bits << " bits, change " << change;
    }
  }
}

struct PrefixCase {
  ByteString stream;
  PrefixShape shape;
};

// 18 values of 4 bytes: a group with a prefix of 3 at offset 0, a last one of two at offset 20.
PrefixCase two_groups() {
  std::string values;
  for (char last = 'A'; last <= 'P'; ++last) values += std::string("key") + last;
  values += "map1mat2";
  const auto groups = write_prefix_groups(byte_string(values), 4).value();
  return {byte_string(groups.stream), {.groups = 2, .values = 18, .value_bytes = 4}};
}

std::string prefix_error(const ByteString& stream, const PrefixShape& shape) {
  const auto valid = prefix_validate(stream.data(), stream.size(), shape);
  return valid ? "" : valid.message();
}

// As wpak_difference.
std::string prefix_difference(StreamDecoding& decoding, const ByteString& stream,
                              const PrefixShape& shape) {
  const auto valid = prefix_validate(stream.data(), stream.size(), shape);
  if (!valid) return valid.message().empty() ? "refused without a word" : "";
  if (valid->stream_bytes > stream.size()) return "ends behind its end";
  PrefixGroups groups;
  groups.groups = shape.groups;
  groups.values = shape.values;
  groups.value_bytes = static_cast<uint32_t>(shape.value_bytes);
  for (const test::Place place : {test::Place::end, test::Place::begin}) {
    const Decoded decoded = decoding.prefix(stream, groups, place, true);
    if (decoded.status != COLX_DONE) return "status " + std::to_string(decoded.status);
    if (!decoded.damage.empty()) return decoded.damage;
  }
  return "";
}

TEST(PrefixValidate, TellsWhatSoundGroupsAre) {
  const auto [stream, shape] = two_groups();
  const auto valid = prefix_validate(stream.data(), stream.size(), shape);
  ASSERT_TRUE(valid) << valid.message();
  EXPECT_EQ(valid->decoded_bytes, 18u * 4);
  EXPECT_EQ(valid->stream_bytes, 1u + 3 + 16 + 1 + 2 + 2 * 2);
  EXPECT_EQ(valid->stream_bytes, stream.size());
}

TEST(PrefixValidate, RefusesShapes) {
  const auto [stream, shape] = two_groups();
  PrefixShape other = shape;
  other.group_values = 8;
  EXPECT_EQ(prefix_error(stream, other), "prefix groups: 8 values a group; there must be 16");
  for (const int32_t value_bytes : {0, -4, 9}) {
    other = shape;
    other.value_bytes = value_bytes;
    EXPECT_EQ(
        prefix_error(stream, other),
        "prefix groups: values of " + std::to_string(value_bytes) + " bytes; there must be 1 to 8");
  }
  other = shape;
  other.values = 0;
  EXPECT_EQ(prefix_error(stream, other),
            "prefix groups: 0 values in 2 groups; there must be one at least");
  for (const uint32_t groups : {0, 1, 3}) {
    other = shape;
    other.groups = groups;
    EXPECT_EQ(prefix_error(stream, other),
              "prefix groups: 18 values in " + std::to_string(groups) +
                  " groups; every group but the last must have 16, the last 1 to 16");
  }
  other = shape;
  other.values = UINT32_MAX;
  EXPECT_NE(prefix_error(stream, other), "");
  other.groups = 1u << 28;
  EXPECT_NE(prefix_error(stream, other), "");
}

TEST(PrefixValidate, RefusesAPrefixLongerThanItsValues) {
  const auto [stream, shape] = two_groups();
  EXPECT_EQ(prefix_error(changed(stream, 0, 5), shape),
            "prefix stream: group 0 at offset 0 has a prefix of 5 bytes, but values have 4");
  EXPECT_EQ(prefix_error(changed(stream, 20, 255), shape),
            "prefix stream: group 1 at offset 20 has a prefix of 255 bytes, but values have 4");
}

TEST(PrefixValidate, RefusesGroupsThatEndTooEarly) {
  const auto [stream, shape] = two_groups();
  EXPECT_EQ(prefix_error({}, shape),
            "prefix stream: ends at 0, but group 0 of 1 bytes begins at offset 0; the stream is "
            "cut off or damaged");
  EXPECT_EQ(prefix_error(cut(stream, 19), shape),
            "prefix stream: ends at 19, but group 0 of 20 bytes begins at offset 0; the stream is "
            "cut off or damaged");
  EXPECT_EQ(prefix_error(cut(stream, 20), shape),
            "prefix stream: ends at 20, but group 1 of 1 bytes begins at offset 20; the stream is "
            "cut off or damaged");
  for (size_t end = 0; end < stream.size(); ++end)
    EXPECT_NE(prefix_error(cut(stream, end), shape), "") << end;
}

TEST(PrefixValidate, TakesTheRecordsOfTheDecoder) {
  auto groups = write_prefix_groups(byte_string("12341235"), 4).value();
  colx_cv source{};
  colx_enc_ctx encoding{};
  groups.describe(source, encoding);
  EXPECT_EQ(prefix_validate(source, groups.stream.size())->decoded_bytes, 8u);
  encoding.colx_enc_ctx_prefix_value_len = -1;
  EXPECT_EQ(prefix_validate(source, groups.stream.size()).message(),
            "prefix groups: values of -1 bytes; there must be 1 to 8");
}

TEST(PrefixValidate, KeepsTheDecoderInBoundsWhateverByteIsWrong) {
  StreamDecoding decoding;
  test::Random random(13);
  for (int32_t length = 1; length <= 8; ++length)
    for (const uint32_t values : {1u, 16u, 17u, 47u, 64u}) {
      ByteString all = random.bytes(values * static_cast<size_t>(length));
      for (size_t i = 0; i < all.size(); i += 2) all[i] = 7;
      const PrefixShape shape = {
          .groups = (values + 15) / 16, .values = values, .value_bytes = length};
      const ByteString stream =
          byte_string(write_prefix_groups(all, static_cast<uint32_t>(length))->stream);
      for (size_t at = 0; at < stream.size(); ++at)
        for (const unsigned byte : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 127, 128, 255})
          ASSERT_EQ(
              prefix_difference(decoding, changed(stream, at, static_cast<uint8_t>(byte)), shape),
              "")
              << values << " values of " << length << ", byte " << byte << " at " << at;
    }
}

}  // namespace
}  // namespace colx::host
