#include "host/wpak_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/big_endian.h"
#include "host/stream_validation.h"
#include "tests/host/stream_decoding.h"
#include "tests/support/seeded_random.h"

namespace colx::host {
namespace {

std::vector<WpakSymbol> symbols(const std::vector<std::string_view>& texts) {
  return {texts.begin(), texts.end()};
}

ByteString repeated(std::string_view text, size_t bytes) {
  ByteString all;
  for (size_t i = 0; i < bytes; ++i) all.push_back(static_cast<uint8_t>(text[i % text.size()]));
  return all;
}

ByteString sentences(size_t bytes, uint64_t seed) {
  constexpr std::string_view words[] = {
      "the ",     "column ",  "of ",      "a ",     "table ",    "is ",  "kept ",    "in ",
      "memory, ", "scanned ", "without ", "being ", "decoded. ", "and ", "Customer#"};
  test::Random random(seed);
  std::string text;
  while (text.size() < bytes) {
    text += random.pick(std::span<const std::string_view>(words));
    if (random.one_in(9)) text += std::to_string(random.below(1000000));
  }
  return byte_string(text.substr(0, bytes));
}

ByteString few_letters(size_t bytes, uint64_t letters, uint64_t seed) {
  test::Random random(seed);
  ByteString all;
  for (size_t i = 0; i < bytes; ++i)
    all.push_back(static_cast<uint8_t>('a' + random.below(letters)));
  return all;
}

struct Data {
  std::string name;
  ByteString bytes;
};

std::vector<Data> data_sets() {
  ByteString every_byte;
  for (int i = 0; i < 3 * 256; ++i) every_byte.push_back(static_cast<uint8_t>(i * 7));
  std::vector<Data> sets = {{"nothing", {}},
                            {"one byte", {0}},
                            {"8 bytes", byte_string("abcdefgh")},
                            {"9 bytes", byte_string("abcdefghi")},
                            {"every byte value", every_byte},
                            {"a long run", repeated("x", 100003)},
                            {"two runs", repeated("x", 5000)},
                            {"a period of 7", repeated("abcdefg", 70000)},
                            {"random bytes", test::Random(1).bytes(20000)},
                            {"text", sentences(300000, 2)}};
  sets[6].bytes.insert(sets[6].bytes.end(), 5000, 'y');
  for (const size_t bytes : {31, 32, 33, 63, 64, 65, 95, 96, 97, 127, 128, 129, 1000})
    sets.push_back({std::to_string(bytes) + " bytes of text", sentences(bytes, bytes)});
  for (const uint64_t letters : {2, 3, 4, 5, 8, 9, 17, 26})
    sets.push_back({std::to_string(letters) + " letters", few_letters(3000, letters, letters)});
  return sets;
}

// Empty if the decoder gives `data` back, within its buffers and with its scratch memory returned.
std::string round_trip(StreamDecoding& decoding, const ByteString& data,
                       const StreamBuffer& stream) {
  const auto valid = wpak_validate(stream.data(), stream.size());
  if (!valid) return valid.message();
  if (valid->decoded_bytes != data.size()) return "the header has another length";
  if (valid->stream_bytes != stream.size()) return "the stream has bytes behind its codes";
  for (const test::Place place : {test::Place::end, test::Place::begin}) {
    const Decoded decoded = decoding.wpak(stream.bytes(), data.size(), place);
    if (decoded.status != COLX_DONE) return "status " + std::to_string(decoded.status);
    if (decoded.length != data.size()) return "length " + std::to_string(decoded.length);
    if (decoded.bytes != data) return "other bytes";
    if (!decoded.damage.empty()) return decoded.damage;
  }
  return decoding.scratch_blocks() == 0 ? "" : "scratch memory was kept";
}

TEST(WpakWriter, WritesTheFormByteForByte) {
  const auto stream = write_wpak_with(byte_string("abcabcab"), symbols({"abc", "a", "b"}));
  ASSERT_TRUE(stream) << stream.message();
  EXPECT_EQ(byte_string(*stream),
            (ByteString{'W', 'P', 'A', 'K', 0,   2, 0,    0,    0, 0,         0, 0,  //
                        0,   0,   0,   8,   0,   3, 0x31, 0x10,                      //
                        'a', 'b', 'c', 'a', 'b', 0, 0,    0,    4, 0b00000110}));
}

TEST(WpakWriter, WritesTheSectionsThatDecodersSkip) {
  const auto stream = write_wpak_with(byte_string("aba"), symbols({"a", "b"}), 3);
  ASSERT_TRUE(stream) << stream.message();
  ASSERT_EQ(stream->size(), 18u + 1 + 2 * 2 + 2 + 4 + 4 + 3 + 1);
  EXPECT_EQ(stream->data()[11], 1);
  EXPECT_EQ(stream->data()[23], 'a');
  EXPECT_EQ(load_big_endian(stream->data() + 29, 4) >> 7, 7u);
  EXPECT_EQ(stream->data()[36], 0b01000000);
  StreamDecoding decoding;
  EXPECT_EQ(round_trip(decoding, byte_string("aba"), *stream), "");
}

TEST(WpakWriter, TakesTheLongestSymbolThatFits) {
  const auto table = symbols({"a", "ab", "abcd", "b", "c", "abcdefgh", "d"});
  const WpakMatcher matcher(table);
  const auto longest = [&](std::string_view text) {
    return matcher.longest(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  };
  EXPECT_EQ(longest("abcdefghi"), 5u);
  EXPECT_EQ(longest("abcdefg"), 2u);
  EXPECT_EQ(longest("abc"), 1u);
  EXPECT_EQ(longest("a"), 0u);
  EXPECT_EQ(longest("x"), WpakMatcher::none);
  // A zero byte behind the end is no part of the data.
  EXPECT_EQ(WpakMatcher(symbols({"a", std::string_view("a\0", 2)}))
                .longest(reinterpret_cast<const uint8_t*>("a\0"), 1),
            0u);
}

TEST(WpakWriter, GivesAllDataBack) {
  StreamDecoding decoding;
  for (const auto& [name, bytes] : data_sets()) {
    const auto stream = write_wpak(bytes);
    ASSERT_TRUE(stream) << name << ": " << stream.message();
    EXPECT_EQ(round_trip(decoding, bytes, *stream), "") << name;
    const auto with_sections = write_wpak(bytes, {.section_gap_bytes = bytes.size() % 50});
    ASSERT_TRUE(with_sections) << name << ": " << with_sections.message();
    EXPECT_EQ(round_trip(decoding, bytes, *with_sections), "") << name << " with sections";
  }
}

TEST(WpakWriter, GivesAllDataBackAtEveryWidth) {
  StreamDecoding decoding;
  for (const auto& [name, bytes] : data_sets())
    for (uint32_t bits = 0; bits <= 10; ++bits) {
      const auto stream = write_wpak(bytes, {.code_bits = bits});
      if (!stream) continue;  // too few codes for the byte values: the test of refusals
      EXPECT_EQ(wpak_validate(stream->data(), stream->size())->code_bits, bits) << name;
      EXPECT_EQ(round_trip(decoding, bytes, *stream), "") << name << " at " << bits << " bits";
    }
}

TEST(WpakWriter, GivesDataBackAroundEveryBlockOfCodes) {
  StreamDecoding decoding;
  test::Random random(5);
  for (uint32_t bits = 1; bits <= 10; ++bits) {
    std::vector<WpakSymbol> table;
    for (uint32_t i = 0; i < 1u << bits; ++i) {
      std::string text = {static_cast<char>('A' + i / 64), static_cast<char>('0' + i % 64)};
      table.emplace_back(text.append(random.below(7), '.'));
    }
    for (size_t codes = 0; codes <= 200; ++codes) {
      ByteString data;
      for (size_t i = 0; i < codes; ++i) {
        const std::string_view text = table[random.below(table.size())].text();
        data.insert(data.end(), text.begin(), text.end());
      }
      const auto stream = write_wpak_with(data, table);
      ASSERT_TRUE(stream) << stream.message();
      ASSERT_EQ(wpak_validate(stream->data(), stream->size())->codes, codes);
      ASSERT_EQ(round_trip(decoding, data, *stream), "") << codes << " codes of " << bits;
    }
  }
}

TEST(WpakWriter, NeedsNoCodesForARepeatedString) {
  const auto run = write_wpak(repeated("x", 80000));
  EXPECT_EQ(run->size(), 18u + 1 + 8 + 4);
  const auto period = write_wpak(repeated("abcdefg", 7000));
  EXPECT_EQ(period->size(), 18u + 1 + 7 + 4);
  EXPECT_EQ(write_wpak(ByteString{})->size(), 18u + 1 + 1 + 4);
}

TEST(WpakWriter, MakesTextSmaller) {
  const ByteString text = sentences(300000, 2);
  EXPECT_LT(write_wpak(text)->size(), text.size() * 2 / 5);
  // Four letters that have no order take their two bits, and a table.
  EXPECT_LT(write_wpak(few_letters(100000, 4, 3))->size(), 100000 / 4 + 1000u);
}

TEST(WpakWriter, ChoosesNoWidthThatAnotherOneBeats) {
  for (const size_t bytes : {60, 600, 6000, 60000}) {
    const ByteString text = sentences(bytes, bytes);
    const size_t chosen = write_wpak(text)->size();
    for (uint32_t bits = 6; bits <= 10; ++bits) {
      // A search of its own may end a little elsewhere.
      if (const auto forced = write_wpak(text, {.code_bits = bits})) {
        EXPECT_LE(chosen, forced->size() * 102 / 100) << bytes << " bytes at " << bits;
      }
    }
  }
}

TEST(WpakWriter, WritesTheSameStreamEachTime) {
  const ByteString text = sentences(50000, 7);
  EXPECT_EQ(byte_string(*write_wpak(text)), byte_string(*write_wpak(text)));
}

TEST(WpakWriter, RefusesWhatTheFormCannotHold) {
  const ByteString abc = byte_string("abc");
  EXPECT_EQ(write_wpak(abc, {.code_bits = 11}).message(),
            "wpak codes of 11 bits do not exist; use 0 to 10");
  EXPECT_EQ(write_wpak(byte_string("abca"), {.code_bits = 1}).message(),
            "3 byte values occur, too many for wpak codes of 1 bits; use 2 or more");
  EXPECT_EQ(write_wpak(abc, {.section_gap_bytes = 1u << 25}).message(),
            "a gap of 33554432 bytes before the codes; use at most 33554427");
  const std::span<const uint8_t> endless(abc.data(), size_t{1} << 32);
  EXPECT_EQ(write_wpak(endless).message(),
            "4294967296 bytes are too many for one wpak stream; split them at 2^32 - 1");
}

TEST(WpakWriter, RefusesTablesThatAreNone) {
  const ByteString abc = byte_string("abc");
  EXPECT_EQ(write_wpak_with(abc, {}).message(), "a wpak table of 0 symbols; use 1 to 1024");
  EXPECT_EQ(write_wpak_with(abc, std::vector<WpakSymbol>(1025)).message(),
            "a wpak table of 1025 symbols; use 1 to 1024");
  EXPECT_EQ(write_wpak_with(abc, std::vector<WpakSymbol>(1)).message(),
            "wpak symbol 0 has 0 bytes; use 1 to 8");
  EXPECT_EQ(write_wpak_with(abc, symbols({"a", "b", "a"})).message(),
            "wpak symbol 2 occurs before; use each string once");
  EXPECT_EQ(write_wpak_with(abc, symbols({"a", "b"})).message(),
            "no symbol fits the data at offset 2, byte 0x63; add the byte itself");
}

}  // namespace
}  // namespace colx::host
