// wpak_symbols.h: the short strings that a wpak stream replaces by codes, and how data falls apart
// into them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace colx::host {

// Symbols of a table at most.
inline constexpr uint32_t max_wpak_symbols = 1024;
// Bytes of a symbol at most.
inline constexpr uint32_t max_wpak_symbol_bytes = 8;

// A string of 1 to 8 bytes; its place in a table is its code.
struct WpakSymbol {
  uint64_t word = 0;   // the string as it lies in memory, bytes of 0 behind it
  uint8_t length = 0;  // bytes, 1 to 8

  // No string.
  WpakSymbol() = default;
  // `text` of 1 to 8 bytes.
  explicit WpakSymbol(std::string_view text) : length(static_cast<uint8_t>(text.size())) {
    std::memcpy(&word, text.data(), length);
  }
  // The string of one byte.
  explicit WpakSymbol(uint8_t byte) : word(byte), length(1) {}

  // The string, in this object.
  std::string_view text() const { return {reinterpret_cast<const char*>(&word), length}; }
  // Whether the strings are equal.
  bool operator==(const WpakSymbol&) const = default;
};

// Bits of a code in a table of `symbols` symbols, 1 to 1024.
uint32_t wpak_code_bits(size_t symbols);

// Finds the longest symbol that data begins with. Threads may share it.
class WpakMatcher {
 public:
  // Distinct symbols, 65536 at most; they are copied.
  explicit WpakMatcher(std::span<const WpakSymbol> symbols);

  // No code.
  static constexpr uint32_t none = ~uint32_t{0};
  // Code of the longest symbol at `at`, where `left` bytes may be read; `none` if there is none.
  uint32_t longest(const uint8_t* at, size_t left) const;

 private:
  struct Entry {
    WpakSymbol symbol;
    uint32_t code;
  };
  uint32_t of_byte_[256];                // codes of single bytes, or none
  std::vector<uint32_t> first_of_pair_;  // into longer_, by a string's first two bytes
  std::vector<Entry> longer_;            // by first two bytes, then longest first
};

// How a table is searched for.
struct WpakSearch {
  uint32_t most_symbols = max_wpak_symbols;  // at least the distinct bytes of the data
  size_t sample_bytes = 64 << 10;            // what is looked at, spread over the data
  uint32_t generations = 8;                  // tables tried, one made of the other
};

// A table for `data`: each byte value that occurs, so that whatever the data hold can be encoded,
// and strings that pay for their place in the table. A generation encodes the sample with the
// table it has, counts symbols and pairs of neighbours, and keeps those strings, pairs joined
// included, that cover most of the sample: frequency times length. So strings double in length
// from one generation to the next while chance finds fade; the table that took the fewest bits
// wins. The principle is that of P. Boncz, T. Neumann, V. Leis, "FSST: Fast Random Access String
// Compression", VLDB 2020, with wider codes and no escapes. `start` is a table to begin with.
std::vector<WpakSymbol> find_wpak_symbols(std::span<const uint8_t> data, const WpakSearch& search,
                                          std::span<const WpakSymbol> start = {});

}  // namespace colx::host
