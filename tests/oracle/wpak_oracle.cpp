#include "tests/oracle/wpak_oracle.h"

#include <cstring>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/stored_numbers.h"

namespace colx::oracle {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint32_t refused = 10;

void append(Bytes& to, const Bytes& bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

void append_number(Bytes& to, uint32_t value, unsigned bytes) {
  append(to, big_endian_array(std::array{value}, bytes));
}

// An odd number of symbols leaves the last low nibble without meaning.
void append_lengths(Bytes& to, const std::vector<Bytes>& symbols) {
  for (size_t i = 0; i < symbols.size(); i += 2) {
    const size_t low = i + 1 < symbols.size() ? symbols[i + 1].size() : 15;
    to.push_back(static_cast<uint8_t>(symbols[i].size() << 4 | low));
  }
}

uint32_t expanded_bytes(const WpakParts& parts) {
  size_t bytes = 0;
  for (const uint64_t code : parts.codes) bytes += parts.symbols[code].size();
  return static_cast<uint32_t>(bytes);
}

bool has_sections(uint16_t aux) {
  return static_cast<int16_t>(aux) > 0;
}

bool header_is_right(const uint8_t* stream, uint32_t capacity) {
  if (std::memcmp(stream, "WPAK", 4) != 0) return false;
  if (stream[4] != 0) return false;
  if ((stream[5] & 0x02) == 0) return false;
  if ((stream[5] & 0x08) != 0) return false;
  if ((stream[5] & 0x01) != 0) return false;
  if (big_endian_at(stream + 12, 4) > capacity) return false;
  return wpak_code_width(static_cast<uint32_t>(big_endian_at(stream + 16, 2))) <= 10;
}

}  // namespace

unsigned wpak_code_width(uint32_t symbol_count) {
  unsigned bits = 0;
  for (uint32_t last = symbol_count - 1; last != 0; last >>= 1) ++bits;
  return bits;
}

std::vector<uint8_t> wpak_stream(const WpakParts& parts) {
  const auto count = static_cast<uint32_t>(parts.symbols.size());
  Bytes stream(parts.magic.begin(), parts.magic.end());
  stream.push_back(parts.version);
  stream.push_back(parts.flags);
  append(stream, Bytes(4, 0xFF));
  append_number(stream, parts.aux, 2);
  append_number(stream, parts.decoded_length.value_or(expanded_bytes(parts)), 4);
  append_number(stream, parts.symbol_count.value_or(static_cast<uint16_t>(count)), 2);
  append_lengths(stream, parts.symbols);
  if (has_sections(parts.aux)) append(stream, Bytes(2 * size_t{count}, 0xFF));
  for (const Bytes& symbol : parts.symbols) append(stream, symbol);
  append_number(stream, parts.code_count.value_or(static_cast<uint32_t>(parts.codes.size())), 4);
  if (has_sections(parts.aux)) {
    const auto own = static_cast<uint32_t>((4 + parts.between.size()) << 7 | 0x7F);
    append_number(stream, parts.x.value_or(own), 4);
    append(stream, parts.between);
  }
  append(stream, pack_codes(parts.codes, wpak_code_width(count)));
  return stream;
}

WpakOutcome wpak_outcome(const uint8_t* stream, uint32_t capacity) {
  if (!header_is_right(stream, capacity)) return {refused, std::nullopt, {}, {}};
  const uint64_t decoded_length = big_endian_at(stream + 12, 4);
  const auto symbol_count = static_cast<uint32_t>(big_endian_at(stream + 16, 2));
  const bool sections = has_sections(static_cast<uint16_t>(big_endian_at(stream + 10, 2)));
  const unsigned width = wpak_code_width(symbol_count);

  const uint8_t* at = stream + 18 + (symbol_count + 1) / 2 + (sections ? 2 * symbol_count : 0);
  std::vector<Bytes> symbols;
  for (uint32_t i = 0; i < symbol_count; ++i) {
    const uint8_t pair = stream[18 + i / 2];
    const unsigned length = i % 2 == 0 ? pair >> 4 : pair & 15;
    symbols.emplace_back(at, at + length);
    at += length;
  }
  const uint64_t codes = big_endian_at(at, 4);
  at += 4;
  if (sections) at += big_endian_at(at, 4) >> 7;

  WpakOutcome outcome = {};
  outcome.allocated = {{"wpak_decode_x86 length_array", uint64_t{symbol_count} + 1},
                       {"wpak_decode_x86: symbol_array", 8 * uint64_t{symbol_count}}};
  for (uint64_t i = 0; i < codes; ++i) {
    append(outcome.written, symbols[packed_code({at, (codes * width + 7) / 8}, width, i)]);
  }
  outcome.out_len = static_cast<uint32_t>(outcome.written.size());
  outcome.status = outcome.out_len == decoded_length ? 0 : refused;
  return outcome;
}

}  // namespace colx::oracle
