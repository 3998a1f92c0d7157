#include "host/value_dictionary.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <unordered_set>

#include "host/value_forms.h"

namespace colx::host {
namespace {

bool is_nan(int64_t) {
  return false;
}
bool is_nan(std::string_view) {
  return false;
}
bool is_nan(double value) {
  return std::isnan(value);
}

int64_t normalized(int64_t value) {
  return value;
}
double normalized(double value) {
  return value == 0 ? 0.0 : value;
}

std::string shown(int64_t value) {
  return std::to_string(value);
}
std::string shown(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}
std::string shown(std::string_view value) {
  constexpr size_t shown_bytes = 60;
  return '"' + std::string(value.substr(0, shown_bytes)) +
         (value.size() > shown_bytes ? "...\"" : "\"");
}

Result<void> check_value(int64_t, size_t) {
  return {};
}
Result<void> check_value(double value, size_t entry) {
  if (!std::isnan(value)) return {};
  return make_error("entry %zu is NaN, which has no place in the order of a dictionary", entry);
}
Result<void> check_value(std::string_view value, size_t entry) {
  if (value.empty())
    return make_error(
        "entry %zu is an empty text, which decoders cannot tell from NULL; store it "
        "as NULL or give it a value",
        entry);
  if (value.size() > max_symbol_bytes)
    return make_error("entry %zu has %zu bytes; a dictionary value has at most %zu", entry,
                      value.size(), max_symbol_bytes);
  return {};
}

// Numbers may have as many values as rows: sort blocks and merge, without a table of nodes.
template <class Number>
std::vector<Number> sorted_distinct(std::span<const Number> values) {
  constexpr size_t block_rows = size_t{1} << 20;
  std::vector<Number> distinct, block, merged;
  for (size_t first = 0; first < values.size(); first += block_rows) {
    const auto part = values.subspan(first, std::min(block_rows, values.size() - first));
    block.assign(part.begin(), part.end());
    for (Number& value : block) value = normalized(value);
    std::ranges::sort(block);
    block.erase(std::unique(block.begin(), block.end()), block.end());
    merged.clear();
    std::set_union(distinct.begin(), distinct.end(), block.begin(), block.end(),
                   std::back_inserter(merged));
    distinct.swap(merged);
  }
  return distinct;
}

// A table by distance from the smallest of these integers costs no more than looking at some rows.
bool lie_close(int64_t smallest, int64_t largest, size_t rows) {
  constexpr uint64_t distances_per_row = 2;
  return static_cast<uint64_t>(largest) - static_cast<uint64_t>(smallest) <
         rows * distances_per_row;
}

size_t distance(int64_t smallest, int64_t value) {
  return static_cast<uint64_t>(value) - static_cast<uint64_t>(smallest);
}

std::vector<int64_t> sorted_distinct(std::span<const int64_t> values) {
  if (values.empty()) return {};
  const auto [smallest, largest] = std::ranges::minmax(values);
  if (!lie_close(smallest, largest, values.size())) return sorted_distinct<int64_t>(values);
  std::vector<bool> seen(distance(smallest, largest) + 1);
  for (const int64_t value : values) seen[distance(smallest, value)] = true;
  std::vector<int64_t> distinct;
  for (size_t at = 0; at < seen.size(); ++at)
    if (seen[at]) distinct.push_back(smallest + static_cast<int64_t>(at));
  return distinct;
}

// Positions in `distinct`, plus 1, by distance from the smallest; 0 for a value that is not there.
// Empty where a search is better.
std::vector<uint32_t> close_positions(const std::vector<int64_t>& distinct, size_t rows) {
  if (distinct.empty() || !lie_close(distinct.front(), distinct.back(), rows)) return {};
  std::vector<uint32_t> positions(distance(distinct.front(), distinct.back()) + 1);
  uint32_t position = 0;
  for (const int64_t value : distinct) positions[distance(distinct.front(), value)] = ++position;
  return positions;
}
template <class Value>
std::vector<uint32_t> close_positions(const std::vector<Value>&, size_t) {
  return {};
}

// Text repeats more than it varies, and comparing it is dear: hash first.
std::vector<std::string> sorted_distinct(std::span<const std::string_view> values) {
  const std::unordered_set<std::string_view> seen(values.begin(), values.end());
  std::vector<std::string> distinct(seen.begin(), seen.end());
  std::ranges::sort(distinct);
  return distinct;
}

// Bytes of each value, one behind the other in `bytes`.
void append_symbols(const std::vector<int64_t>& values, std::string& bytes,
                    std::vector<size_t>& lengths) {
  if (values.empty()) return;
  const size_t width = integer_bytes(values.front(), values.back());
  for (const int64_t value : values) {
    uint8_t stored[8];
    store_integer(stored, value, width);
    bytes.append(reinterpret_cast<const char*>(stored), width);
    lengths.push_back(width);
  }
}

void append_symbols(const std::vector<double>& values, std::string& bytes,
                    std::vector<size_t>& lengths) {
  for (const double value : values) {
    uint8_t stored[8];
    store_canonical(stored, value);
    bytes.append(reinterpret_cast<const char*>(stored), 8);
    lengths.push_back(8);
  }
}

void append_symbols(const std::vector<std::string>& values, std::string& bytes,
                    std::vector<size_t>& lengths) {
  for (const std::string& value : values) {
    bytes += value;
    lengths.push_back(value.size());
  }
}

}  // namespace

const char* name_of(Compare compare) {
  constexpr const char* names[] = {"eq", "lt",    "gt",    "le",    "ge",
                                   "ne", "gt_lt", "gt_le", "ge_lt", "ge_le"};
  return names[static_cast<uint32_t>(compare)];
}

template <class T>
Result<Dictionary<T>> Dictionary<T>::build(std::span<const Key> values, bool nullable) {
  for (size_t entry = 0; entry < values.size(); ++entry)
    if (auto sound = check_value(values[entry], entry); !sound) return sound.error();
  Dictionary dictionary;
  dictionary.values_ = sorted_distinct(values);
  dictionary.nullable_ = nullable;
  return dictionary;
}

template <class T>
uint32_t Dictionary<T>::narrowest_width_bits() const {
  return narrowest_code_width(end_code() ? end_code() - 1 : 0);
}

template <class T>
uint64_t Dictionary<T>::lower_bound(Key value) const {
  const auto at = std::lower_bound(values_.begin(), values_.end(), value);
  return first_code() + static_cast<uint64_t>(at - values_.begin());
}

template <class T>
uint64_t Dictionary<T>::upper_bound(Key value) const {
  const auto at = std::upper_bound(values_.begin(), values_.end(), value);
  return first_code() + static_cast<uint64_t>(at - values_.begin());
}

template <class T>
std::optional<uint64_t> Dictionary<T>::code_of(Key value) const {
  const uint64_t code = lower_bound(value);
  if (code == end_code() || this->value(code) != value) return std::nullopt;
  return code;
}

// Codes `from` to `to` - 1 as the cheapest comparison that says the same.
template <class T>
CodePredicate Dictionary<T>::interval(uint64_t from, uint64_t to) const {
  using Matches = CodePredicate::Matches;
  if (from >= to) return {Compare::lt, first_code(), 0, Matches::none};
  if (from == first_code() && to == end_code()) return {Compare::ge, first_code(), 0, Matches::all};
  if (to - from == 1) return {Compare::eq, from, 0, Matches::some};
  if (from == first_code()) return {Compare::lt, to, 0, Matches::some};
  if (to == end_code()) return {Compare::ge, from, 0, Matches::some};
  return {Compare::ge_le, from, to - 1, Matches::some};
}

template <class T>
CodePredicate Dictionary<T>::where(Compare compare, Key value) const {
  if (is_nan(value))
    return compare == Compare::ne ? interval(first_code(), end_code()) : interval(0, 0);
  const uint64_t lower = lower_bound(value);
  const uint64_t upper = upper_bound(value);
  switch (compare) {
    case Compare::eq:
      return interval(lower, upper);
    case Compare::lt:
      return interval(first_code(), lower);
    case Compare::le:
      return interval(first_code(), upper);
    case Compare::gt:
      return interval(upper, end_code());
    case Compare::ge:
      return interval(lower, end_code());
    case Compare::ne:
      if (lower == upper) return interval(first_code(), end_code());
      if (size() == 1) return interval(0, 0);
      return {Compare::ne, lower, 0, CodePredicate::Matches::some};
    default:
      return interval(0, 0);
  }
}

template <class T>
CodePredicate Dictionary<T>::where(Compare compare, Key low, Key high) const {
  if (!is_range(compare) || is_nan(low) || is_nan(high)) return interval(0, 0);
  const bool low_open = compare == Compare::gt_lt || compare == Compare::gt_le;
  const bool high_open = compare == Compare::gt_lt || compare == Compare::ge_lt;
  return interval(low_open ? upper_bound(low) : lower_bound(low),
                  high_open ? lower_bound(high) : upper_bound(high));
}

template <class T>
Result<std::vector<uint64_t>> Dictionary<T>::encode(std::span<const Key> values,
                                                    const RowBits* present) const {
  if (present && present->size() != values.size())
    return make_error("%zu values come with presence bits for %llu rows", values.size(),
                      static_cast<unsigned long long>(present->size()));
  const std::vector<uint32_t> close = close_positions(values_, values.size());
  const auto find = [&](Key value) -> std::optional<uint64_t> {
    if constexpr (std::is_same_v<T, int64_t>) {
      if (!close.empty()) {
        const size_t at = distance(values_.front(), value);
        if (at >= close.size() || close[at] == 0) return std::nullopt;
        return first_code() + close[at] - 1;
      }
    }
    return code_of(value);
  };
  std::vector<uint64_t> codes(values.size());
  for (size_t row = 0; row < values.size(); ++row) {
    if (present && !present->test(row)) {
      if (!nullable_) return make_error("row %zu is NULL, and the dictionary has no NULL", row);
      continue;
    }
    const auto code = find(values[row]);
    if (!code)
      return make_error("row %zu: %s is not in the dictionary", row, shown(values[row]).c_str());
    codes[row] = *code;
  }
  return codes;
}

template <class T>
Result<DictionaryImage> Dictionary<T>::image() const {
  std::string bytes;
  std::vector<size_t> lengths;
  if (nullable_) lengths.push_back(0);
  append_symbols(values_, bytes, lengths);
  std::vector<std::string_view> symbols;
  symbols.reserve(lengths.size());
  size_t at = 0;
  for (const size_t length : lengths) {
    symbols.push_back(std::string_view(bytes).substr(at, length));
    at += length;
  }
  return DictionaryImage::write(symbols);
}

template class Dictionary<int64_t>;
template class Dictionary<double>;
template class Dictionary<std::string>;

template <class T>
Result<Dictionary<T>> dictionary_of_column(std::span<const typename Dictionary<T>::Key> values,
                                           const RowBits* present) {
  if (!present) return Dictionary<T>::build(values, false);
  if (present->size() != values.size())
    return make_error("%zu values come with presence bits for %llu rows", values.size(),
                      static_cast<unsigned long long>(present->size()));
  // Values of NULL rows do not enter the dictionary.
  std::vector<typename Dictionary<T>::Key> known;
  for (size_t row = 0; row < values.size(); ++row)
    if (present->test(row)) known.push_back(values[row]);
  return Dictionary<T>::build(known, true);
}

template <class T>
Result<DictionaryColumn<T>> store_dictionary_column(
    std::span<const typename Dictionary<T>::Key> values, const DictionaryColumnOptions& options) {
  auto dictionary = dictionary_of_column<T>(values, options.present);
  if (!dictionary) return dictionary.error();
  return store_dictionary_column<T>(std::move(dictionary).value(), values, options);
}

template <class T>
Result<DictionaryColumn<T>> store_dictionary_column(
    Dictionary<T> dictionary, std::span<const typename Dictionary<T>::Key> values,
    const DictionaryColumnOptions& options) {
  auto codes = dictionary.encode(values, options.present);
  if (!codes) return codes.error();
  auto image = dictionary.image();
  if (!image) return image.error();
  const uint32_t narrowest = dictionary.narrowest_width_bits();
  const uint32_t width_bits = options.width_bits ? options.width_bits : narrowest;
  if (width_bits < narrowest)
    return make_error("a dictionary of %llu codes does not fit %u bits; it takes %u",
                      static_cast<unsigned long long>(dictionary.end_code()), width_bits,
                      narrowest);
  auto column =
      store_codes(*codes, {width_bits, dictionary.nullable(), options.chunk_rows, options.runs});
  if (!column) return column.error();
  column->dictionary = std::make_shared<const DictionaryImage>(std::move(image).value());
  return DictionaryColumn<T>{std::move(dictionary), std::move(column).value()};
}

COLX_DICTIONARY_COLUMNS(, int64_t)
COLX_DICTIONARY_COLUMNS(, double)
COLX_DICTIONARY_COLUMNS(, std::string)

}  // namespace colx::host
