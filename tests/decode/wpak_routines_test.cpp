// The routines behind the wpak decoder, called by themselves: what they return, and how far they
// read and write.
#include <gtest/gtest.h>

#include <algorithm>

#include "kernels/decode/wpak_decode.h"
#include "tests/oracle/packed_codes_oracle.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using Bytes = std::vector<uint8_t>;

// Working arrays as the decoder fills them: words whose bytes behind the symbol hold anything.
struct Table {
  Bytes words;
  Bytes lengths;
};

Table table_of(uint32_t symbols, uint64_t seed) {
  Random random(seed);
  Table table = {random.bytes(8 * size_t{symbols}), Bytes(symbols)};
  for (uint8_t& length : table.lengths) length = static_cast<uint8_t>(1 + random.below(8));
  return table;
}

Bytes expansion(const Table& table, std::span<const uint64_t> codes) {
  Bytes all;
  for (const uint64_t code : codes) {
    const auto word = table.words.begin() + static_cast<ptrdiff_t>(8 * code);
    all.insert(all.end(), word, word + table.lengths[code]);
  }
  return all;
}

std::vector<uint64_t> random_codes(uint32_t count, unsigned width, uint64_t seed) {
  Random random(seed);
  std::vector<uint64_t> codes(count);
  for (uint64_t& code : codes) code = random.below(uint64_t{1} << width);
  return codes;
}

// Arrays, codes and output, each with its last byte before an unreadable page; codes have 16 bytes
// behind them.
struct Stage {
  GuardedPages codes, words, lengths;
  GuardedOutput output;
};

Stage& stage() {
  static Stage the_stage;
  return the_stage;
}

uint64_t expand(unsigned width, const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                const uint8_t* lengths, uint8_t* out) {
  switch (width) {
    case 8:
      return wpak_decode_dict_8_bit(codes, count, symbols, lengths, out);
    case 9:
      return wpak_decode_dict_9_bit(codes, count, symbols, lengths, out);
    case 10:
      return wpak_decode_dict_10_bit(codes, count, symbols, lengths, out);
    default:
      return wpak_decode_dict_less8_bit(codes, count, symbols, lengths, out, width);
  }
}

TEST(WpakRoutines, ReturnTheBytesThatTheyWrite) {
  for (unsigned width = 0; width <= 10; ++width) {
    const Table table = table_of(1u << width, width);
    const uint8_t* const words = stage().words.place(table.words, 0, Edge::end);
    const uint8_t* const lengths = stage().lengths.place(table.lengths, 0, Edge::end);
    for (uint32_t count = 0; count <= 200; ++count) {
      const std::vector<uint64_t> codes = random_codes(count, width, count);
      const Bytes due = expansion(table, codes);
      const Bytes packed = oracle::pack_codes(codes, width);
      const uint8_t* const at = stage().codes.place(packed, 16, Edge::end);
      uint8_t* const out = stage().output.bytes(due.size(), Place::end);
      set_crash_note("wpak routine of %u bits, %u codes", width, count);
      ASSERT_EQ(expand(width, at, count, words, lengths, out), due.size()) << width;
      ASSERT_EQ(Bytes(out, out + due.size()), due) << "width " << width << ", " << count;
      ASSERT_EQ(stage().output.damage(), "") << "width " << width << ", " << count;
    }
  }
}

// Codes one by one, from any bit whose codes lie in two bytes each: at 10 bits from even ones.
TEST(WpakRoutines, RemainBeginsAtAnyBitAndCountsFromTheStartItIsTold) {
  for (unsigned width = 0; width <= 10; ++width) {
    const Table table = table_of(1u << width, width);
    const uint8_t* const words = stage().words.place(table.words, 0, Edge::end);
    const uint8_t* const lengths = stage().lengths.place(table.lengths, 0, Edge::end);
    for (uint32_t start_bit = 0; start_bit < 8; start_bit += width == 10 ? 2 : 1) {
      for (const uint32_t count : {0u, 1u, 2u, 3u, 8u, 31u, 63u, 100u}) {
        const std::vector<uint64_t> codes = random_codes(count, width, start_bit);
        // One-bit codes bring the stream to the start bit, then follow the codes' bits.
        std::vector<uint64_t> bits(start_bit, 1);
        for (const uint64_t code : codes) {
          for (unsigned b = width; b-- > 0;) bits.push_back(code >> b & 1);
        }
        const Bytes due = expansion(table, codes);
        const uint8_t* const at = stage().codes.place(oracle::pack_codes(bits, 1), 16, Edge::end);
        uint8_t* const start = stage().output.bytes(21 + due.size(), Place::end);
        set_crash_note("wpak remain of %u bits from %u, %u codes", width, start_bit, count);
        ASSERT_EQ(
            wpak_decode_dict_remain(at, start_bit, count, words, lengths, start + 21, start, width),
            21 + due.size());
        ASSERT_EQ(Bytes(start + 21, start + 21 + due.size()), due)
            << "width " << width << " from bit " << start_bit << ", " << count;
        for (size_t i = 0; i < 21; ++i) ASSERT_EQ(start[i], GuardedOutput::dirty_byte(i));
        ASSERT_EQ(stage().output.damage(), "");
      }
    }
  }
}

}  // namespace
}  // namespace colx::test
