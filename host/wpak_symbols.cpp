#include "host/wpak_symbols.h"

#include <algorithm>
#include <bit>
#include <unordered_map>

namespace colx::host {
namespace {

constexpr size_t sample_piece_bytes = 512;

uint64_t first_bytes(uint64_t word, unsigned length) {
  return length < 8 ? word & ((uint64_t{1} << 8 * length) - 1) : word;
}

struct SymbolHash {
  size_t operator()(const WpakSymbol& symbol) const {
    const uint64_t mixed = (symbol.word ^ symbol.length) * 0x9E3779B97F4A7C15;
    return mixed ^ mixed >> 29;
  }
};
using Gains = std::unordered_map<WpakSymbol, uint64_t, SymbolHash>;

// Pieces at equal distances, one behind the other.
std::vector<uint8_t> sample_of(std::span<const uint8_t> data, size_t bytes) {
  if (data.size() <= bytes) return {data.begin(), data.end()};
  const size_t pieces = std::max<size_t>(1, bytes / sample_piece_bytes);
  const size_t piece_bytes = bytes / pieces;
  std::vector<uint8_t> sample;
  for (size_t i = 0; i < pieces; ++i) {
    const auto piece = data.subspan(data.size() / pieces * i, piece_bytes);
    sample.insert(sample.end(), piece.begin(), piece.end());
  }
  return sample;
}

std::vector<WpakSymbol> single_bytes(std::span<const uint8_t> data) {
  bool occurs[256] = {};
  for (const uint8_t byte : data) occurs[byte] = true;
  std::vector<WpakSymbol> singles;
  for (unsigned byte = 0; byte < 256; ++byte)
    if (occurs[byte]) singles.emplace_back(static_cast<uint8_t>(byte));
  return singles;
}

// What a generation counts: how often each code occurs, and each code behind each other one.
struct Counts {
  explicit Counts(size_t codes) : each(codes), pairs(codes * codes) {}
  std::vector<uint32_t> each;
  std::vector<uint32_t> pairs;  // first code * codes + second code
  uint64_t codes = 0;
};

Counts count_codes(std::span<const uint8_t> sample, std::span<const WpakSymbol> table) {
  const WpakMatcher matcher(table);
  Counts counts(table.size());
  uint32_t before = WpakMatcher::none;
  for (size_t at = 0; at < sample.size();) {
    const uint32_t code = matcher.longest(sample.data() + at, sample.size() - at);
    ++counts.codes;
    ++counts.each[code];
    if (before != WpakMatcher::none) ++counts.pairs[before * table.size() + code];
    before = code;
    at += table[code].length;
  }
  return counts;
}

class SymbolSearch {
 public:
  SymbolSearch(std::span<const uint8_t> data, const WpakSearch& search)
      : search_(search),
        singles_(single_bytes(data)),
        sample_(sample_of(data, search.sample_bytes)),
        scale_(sample_.empty() ? 1 : double(data.size()) / double(sample_.size())),
        code_bits_(wpak_code_bits(search.most_symbols)) {}

  std::vector<WpakSymbol> run(std::span<const WpakSymbol> start) const {
    std::vector<WpakSymbol> table = singles_;
    for (const WpakSymbol& symbol : start)
      if (symbol.length > 1) table.push_back(symbol);
    std::vector<WpakSymbol> best = singles_;
    double best_bits = -1;
    for (uint32_t generation = 0; generation <= search_.generations; ++generation) {
      const Counts counts = count_codes(sample_, table);
      const double bits = stream_bits(table, counts);
      if (table.size() <= search_.most_symbols && (best_bits < 0 || bits < best_bits)) {
        best_bits = bits;
        best = table;
      }
      table = next_table(table, counts);
    }
    return best;
  }

 private:
  static double table_bits(const WpakSymbol& symbol) { return 8.0 * symbol.length + 4; }

  double stream_bits(std::span<const WpakSymbol> table, const Counts& counts) const {
    double bits = scale_ * double(counts.codes) * wpak_code_bits(table.size());
    for (const WpakSymbol& symbol : table) bits += table_bits(symbol);
    return bits;
  }

  // A string that occurs `count` times in the sample saves at least a code each time.
  void offer(Gains& gains, const WpakSymbol& symbol, uint64_t count) const {
    if (symbol.length < 2 || scale_ * double(count) * code_bits_ <= table_bits(symbol)) return;
    gains[symbol] += count * symbol.length;
  }

  std::vector<WpakSymbol> next_table(std::span<const WpakSymbol> table,
                                     const Counts& counts) const {
    Gains gains;
    for (size_t first = 0; first < table.size(); ++first) {
      if (counts.each[first] == 0) continue;
      offer(gains, table[first], counts.each[first]);
      for (size_t second = 0; second < table.size(); ++second) {
        const uint32_t count = counts.pairs[first * table.size() + second];
        const unsigned length = table[first].length;
        if (count < 2 || length == max_wpak_symbol_bytes) continue;
        WpakSymbol joined;
        joined.length = static_cast<uint8_t>(
            std::min<unsigned>(max_wpak_symbol_bytes, length + table[second].length));
        joined.word = table[first].word | table[second].word << 8 * length;
        offer(gains, joined, count);
      }
    }
    return best_of(gains);
  }

  // The single bytes, and the strings with the highest gains that fit beside them.
  std::vector<WpakSymbol> best_of(const Gains& gains) const {
    using Ranked = std::pair<uint64_t, WpakSymbol>;
    std::vector<Ranked> ranked;
    for (const auto& [symbol, gain] : gains) ranked.emplace_back(gain, symbol);
    const size_t kept = std::min(ranked.size(), search_.most_symbols - singles_.size());
    const auto is_better = [](const Ranked& a, const Ranked& b) {
      if (a.first != b.first) return a.first > b.first;
      return a.second.text() < b.second.text();
    };
    std::partial_sort(ranked.begin(), ranked.begin() + static_cast<ptrdiff_t>(kept), ranked.end(),
                      is_better);
    std::vector<WpakSymbol> table = singles_;
    for (size_t i = 0; i < kept; ++i) table.push_back(ranked[i].second);
    return table;
  }

  const WpakSearch search_;
  const std::vector<WpakSymbol> singles_;
  const std::vector<uint8_t> sample_;
  const double scale_;  // occurrences in the data for each in the sample
  const uint32_t code_bits_;
};

}  // namespace

uint32_t wpak_code_bits(size_t symbols) {
  return static_cast<uint32_t>(std::bit_width(symbols - 1));
}

WpakMatcher::WpakMatcher(std::span<const WpakSymbol> symbols) : first_of_pair_((1 << 16) + 1) {
  std::fill(std::begin(of_byte_), std::end(of_byte_), none);
  for (uint32_t code = 0; code < symbols.size(); ++code) {
    if (symbols[code].length == 1)
      of_byte_[symbols[code].word] = code;
    else
      longer_.push_back({symbols[code], code});
  }
  const auto pair = [](const Entry& entry) { return entry.symbol.word & 0xFFFF; };
  std::sort(longer_.begin(), longer_.end(), [&](const Entry& a, const Entry& b) {
    return pair(a) != pair(b) ? pair(a) < pair(b) : a.symbol.length > b.symbol.length;
  });
  for (const Entry& entry : longer_) ++first_of_pair_[pair(entry) + 1];
  for (size_t i = 1; i < first_of_pair_.size(); ++i) first_of_pair_[i] += first_of_pair_[i - 1];
}

uint32_t WpakMatcher::longest(const uint8_t* at, size_t left) const {
  uint64_t word = 0;
  std::memcpy(&word, at, std::min<size_t>(left, sizeof word));
  if (left >= 2) {
    const uint32_t end = first_of_pair_[(word & 0xFFFF) + 1];
    for (uint32_t i = first_of_pair_[word & 0xFFFF]; i < end; ++i) {
      const WpakSymbol& symbol = longer_[i].symbol;
      if (symbol.length <= left && first_bytes(word, symbol.length) == symbol.word)
        return longer_[i].code;
    }
  }
  return of_byte_[word & 0xFF];
}

std::vector<WpakSymbol> find_wpak_symbols(std::span<const uint8_t> data, const WpakSearch& search,
                                          std::span<const WpakSymbol> start) {
  return SymbolSearch(data, search).run(start);
}

}  // namespace colx::host
