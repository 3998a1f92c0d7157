#include "host/wpak_writer.h"

#include <algorithm>
#include <set>
#include <string>

#include "host/big_endian.h"

namespace colx::host {
namespace {

constexpr size_t fixed_header_bytes = 18;
constexpr uint32_t widest_code_bits = 10;
constexpr uint32_t max_section_gap_bytes = (1u << 25) - 1 - 4;  // X has 25 bits for the distance

// Data in codes of a table.
struct Encoded {
  std::vector<WpakSymbol> symbols;
  std::vector<uint16_t> codes;

  uint32_t code_bits() const { return wpak_code_bits(symbols.size()); }
  size_t code_bytes() const { return (codes.size() * code_bits() + 7) / 8; }
  size_t symbol_bytes() const {
    size_t bytes = 0;
    for (const WpakSymbol& symbol : symbols) bytes += symbol.length;
    return bytes;
  }
  size_t stream_bytes() const {
    return fixed_header_bytes + (symbols.size() + 1) / 2 + symbol_bytes() + 4 + code_bytes();
  }
};

Result<Encoded> encode(std::span<const uint8_t> data, std::span<const WpakSymbol> symbols) {
  const WpakMatcher matcher(symbols);
  Encoded encoded{{symbols.begin(), symbols.end()}, {}};
  for (size_t at = 0; at < data.size();) {
    const uint32_t code = matcher.longest(data.data() + at, data.size() - at);
    if (code == WpakMatcher::none)
      return make_error("no symbol fits the data at offset %zu, byte 0x%02X; add the byte itself",
                        at, data[at]);
    encoded.codes.push_back(static_cast<uint16_t>(code));
    at += symbols[code].length;
  }
  return encoded;
}

// Without the symbols that no code names; one stays.
void drop_unused(Encoded& encoded) {
  std::vector<bool> is_used(encoded.symbols.size());
  for (const uint16_t code : encoded.codes) is_used[code] = true;
  std::vector<uint16_t> new_code(encoded.symbols.size());
  std::vector<WpakSymbol> kept;
  for (size_t code = 0; code < is_used.size(); ++code) {
    if (!is_used[code]) continue;
    new_code[code] = static_cast<uint16_t>(kept.size());
    kept.push_back(encoded.symbols[code]);
  }
  if (kept.empty()) kept.push_back(encoded.symbols.front());
  encoded.symbols = std::move(kept);
  for (uint16_t& code : encoded.codes) code = new_code[code];
}

// One symbol for data that repeat a string of at most 8 bytes a whole number of times: codes of 0
// bits, so that the stream is its header.
std::optional<WpakSymbol> only_symbol(std::span<const uint8_t> data) {
  for (size_t length = std::min<size_t>(max_wpak_symbol_bytes, data.size()); length > 0; --length)
    if (data.size() % length == 0 &&
        std::equal(data.begin() + static_cast<ptrdiff_t>(length), data.end(), data.begin()))
      return WpakSymbol({reinterpret_cast<const char*>(data.data()), length});
  return {};
}

size_t distinct_bytes(std::span<const uint8_t> data) {
  std::vector<bool> occurs(256);
  for (const uint8_t byte : data) occurs[byte] = true;
  return static_cast<size_t>(std::count(occurs.begin(), occurs.end(), true));
}

// As many symbols that do not occur in the table yet as it takes to need codes of that width.
void fill_up(std::vector<WpakSymbol>& symbols, uint32_t code_bits) {
  const size_t least = code_bits == 0 ? 1 : (size_t{1} << (code_bits - 1)) + 1;
  std::set<std::string> taken;
  for (const WpakSymbol& symbol : symbols) taken.emplace(symbol.text());
  for (unsigned number = 0; symbols.size() < least; ++number) {
    const char text[2] = {static_cast<char>(number >> 8), static_cast<char>(number)};
    const std::string_view filler = number < 256 ? std::string_view(text + 1, 1)  //
                                                 : std::string_view(text, 2);
    if (taken.emplace(filler).second) symbols.emplace_back(filler);
  }
}

Result<Encoded> encode_at_width(std::span<const uint8_t> data, uint32_t code_bits,
                                size_t sample_bytes) {
  if (code_bits > widest_code_bits)
    return make_error("wpak codes of %u bits do not exist; use 0 to %u", code_bits,
                      widest_code_bits);
  std::vector<WpakSymbol> symbols;
  if (const auto only = only_symbol(data); code_bits == 0 && only) {
    symbols = {*only};
  } else if (const size_t distinct = distinct_bytes(data); distinct > size_t{1} << code_bits) {
    return make_error("%zu byte values occur, too many for wpak codes of %u bits; use %u or more",
                      distinct, code_bits, wpak_code_bits(distinct));
  } else {
    symbols = find_wpak_symbols(data, {.most_symbols = 1u << code_bits,  //
                                       .sample_bytes = sample_bytes});
  }
  fill_up(symbols, code_bits);
  return encode(data, symbols);
}

// Narrower tables begin with what was found for the next wider one, so one generation brings most.
Encoded encode_smallest(std::span<const uint8_t> data, size_t sample_bytes) {
  if (const auto only = only_symbol(data); only || data.empty()) {
    const WpakSymbol symbol = only.value_or(WpakSymbol(uint8_t{0}));
    return {{symbol}, std::vector<uint16_t>(data.size() / symbol.length)};
  }
  const uint32_t narrowest_bits = wpak_code_bits(distinct_bytes(data));
  std::optional<Encoded> smallest;
  std::vector<WpakSymbol> table;
  for (uint32_t bits = widest_code_bits; bits >= std::max(narrowest_bits, 1u); --bits) {
    const bool is_first = bits == widest_code_bits;
    table = find_wpak_symbols(data,
                              {.most_symbols = 1u << bits,
                               .sample_bytes = sample_bytes,
                               .generations = is_first ? WpakSearch{}.generations : 3},
                              table);
    Encoded encoded = encode(data, table).value();  // every byte of the data is a symbol
    drop_unused(encoded);
    if (!smallest || encoded.stream_bytes() < smallest->stream_bytes())
      smallest = std::move(encoded);
  }
  return *std::move(smallest);
}

// Codes of one width, the first at the top of the first byte.
void pack(std::span<const uint16_t> codes, uint32_t code_bits, uint8_t* at) {
  uint32_t pending = 0;
  uint32_t pending_bits = 0;
  for (const uint16_t code : codes) {
    pending = pending << code_bits | code;
    for (pending_bits += code_bits; pending_bits >= 8; pending_bits -= 8)
      *at++ = static_cast<uint8_t>(pending >> (pending_bits - 8));
  }
  if (pending_bits > 0) *at = static_cast<uint8_t>(pending << (8 - pending_bits));
}

void fill_with_noise(uint8_t* at, size_t bytes) {
  for (size_t i = 0; i < bytes; ++i) at[i] = static_cast<uint8_t>(0xC5 ^ (i * 37));
}

StreamBuffer stream_of(const Encoded& encoded, uint32_t decoded_bytes,
                       std::optional<uint32_t> section_gap_bytes) {
  const size_t symbols = encoded.symbols.size();
  const size_t gap = section_gap_bytes.value_or(0);
  StreamBuffer stream(encoded.stream_bytes() + (section_gap_bytes ? 2 * symbols + 4 + gap : 0));
  uint8_t* at = stream.data();
  std::memcpy(at, "WPAK\0\2", 6);
  store_big_endian(at + 10, section_gap_bytes ? 1 : 0, 2);
  store_big_endian(at + 12, decoded_bytes, 4);
  store_big_endian(at + 16, symbols, 2);
  at += fixed_header_bytes;
  for (size_t i = 0; i < symbols; ++i)
    at[i / 2] |= static_cast<uint8_t>(encoded.symbols[i].length << (i % 2 == 0 ? 4 : 0));
  at += (symbols + 1) / 2;
  if (section_gap_bytes) {
    fill_with_noise(at, 2 * symbols);
    at += 2 * symbols;
  }
  for (const WpakSymbol& symbol : encoded.symbols) {
    std::memcpy(at, symbol.text().data(), symbol.length);
    at += symbol.length;
  }
  store_big_endian(at, encoded.codes.size(), 4);
  at += 4;
  if (section_gap_bytes) {
    store_big_endian(at, (4 + gap) << 7 | 0x55, 4);  // decoders ignore the low 7 bits
    fill_with_noise(at + 4, gap);
    at += 4 + gap;
  }
  pack(encoded.codes, encoded.code_bits(), at);
  return stream;
}

Result<void> check_sizes(std::span<const uint8_t> data, std::optional<uint32_t> section_gap_bytes) {
  if (data.size() > UINT32_MAX)
    return make_error("%zu bytes are too many for one wpak stream; split them at 2^32 - 1",
                      data.size());
  if (section_gap_bytes.value_or(0) > max_section_gap_bytes)
    return make_error("a gap of %u bytes before the codes; use at most %u", *section_gap_bytes,
                      max_section_gap_bytes);
  return {};
}

Result<void> check_symbols(std::span<const WpakSymbol> symbols) {
  if (symbols.empty() || symbols.size() > max_wpak_symbols)
    return make_error("a wpak table of %zu symbols; use 1 to %u", symbols.size(), max_wpak_symbols);
  std::set<std::string> taken;
  for (size_t i = 0; i < symbols.size(); ++i) {
    if (symbols[i].length < 1 || symbols[i].length > max_wpak_symbol_bytes)
      return make_error("wpak symbol %zu has %u bytes; use 1 to %u", i, symbols[i].length,
                        max_wpak_symbol_bytes);
    if (!taken.emplace(symbols[i].text()).second)
      return make_error("wpak symbol %zu occurs before; use each string once", i);
  }
  return {};
}

}  // namespace

Result<StreamBuffer> write_wpak(std::span<const uint8_t> data, const WpakOptions& options) {
  if (const auto checked = check_sizes(data, options.section_gap_bytes); !checked)
    return checked.error();
  const auto decoded_bytes = static_cast<uint32_t>(data.size());
  if (!options.code_bits)
    return stream_of(encode_smallest(data, options.sample_bytes), decoded_bytes,
                     options.section_gap_bytes);
  const auto encoded = encode_at_width(data, *options.code_bits, options.sample_bytes);
  if (!encoded) return encoded.error();
  return stream_of(*encoded, decoded_bytes, options.section_gap_bytes);
}

Result<StreamBuffer> write_wpak_with(std::span<const uint8_t> data,
                                     std::span<const WpakSymbol> symbols,
                                     std::optional<uint32_t> section_gap_bytes) {
  if (const auto checked = check_sizes(data, section_gap_bytes); !checked) return checked.error();
  if (const auto checked = check_symbols(symbols); !checked) return checked.error();
  const auto encoded = encode(data, symbols);
  if (!encoded) return encoded.error();
  return stream_of(*encoded, static_cast<uint32_t>(data.size()), section_gap_bytes);
}

}  // namespace colx::host
