#include "tools/inspect/column_values.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <utility>

namespace colx::inspect {
namespace {

constexpr size_t most_decimal_digits = 18;

bool is_digit(char letter) {
  return letter >= '0' && letter <= '9';
}

// A number as people write one: a leading zero stands alone before a point or the end. Codes with
// leading zeros are texts, since the zeros would be lost.
bool has_plain_start(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  return !text.empty() && is_digit(text[0]) &&
         (text[0] != '0' || text.size() == 1 || !is_digit(text[1]));
}

template <class T>
std::optional<T> whole_number(std::string_view text) {
  T number{};
  if (!has_plain_start(text) || text == "-0") return {};
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc{} || end != text.data() + text.size()) return {};
  return number;
}

std::optional<double> finite_number(std::string_view text) {
  const auto number = whole_number<double>(text);
  return number && std::isfinite(*number) ? number : std::nullopt;
}

// Digits behind the point of "12.50": 2; nothing if it is no such number.
std::optional<uint32_t> places_of(std::string_view text) {
  const size_t point = std::min(text.find('.'), text.size());
  const std::string_view behind = point == text.size() ? "" : text.substr(point + 1);
  const auto digits = [](std::string_view part) { return std::ranges::all_of(part, is_digit); };
  const std::string_view before = text.substr(0, point);
  if (!has_plain_start(before) || (point < text.size() && behind.empty())) return {};
  if (!digits(before.substr(before.starts_with('-'))) || !digits(behind)) return {};
  if (before.size() + behind.size() > most_decimal_digits) return {};
  return static_cast<uint32_t>(behind.size());
}

// The number in units of 10^-places.
int64_t scaled(std::string_view text, uint32_t places) {
  int64_t number = 0;
  uint32_t behind = 0;
  bool past_point = false;
  for (const char letter : text) {
    if (letter == '.') past_point = true;
    if (!is_digit(letter)) continue;
    number = number * 10 + (letter - '0');
    behind += past_point;
  }
  for (; behind < places; ++behind) number *= 10;
  return text.starts_with('-') ? -number : number;
}

// Leaves `values` as they are if one of the texts is no such value.
template <class T, class Parse>
bool parse_all(std::span<const std::string_view> texts, std::vector<T>& values, Parse parse) {
  std::vector<T> parsed(texts.size());
  for (size_t row = 0; row < texts.size(); ++row) {
    if (texts[row].empty()) continue;
    const auto value = parse(texts[row]);
    if (!value) return false;
    parsed[row] = *value;
  }
  values = std::move(parsed);
  return true;
}

// Whether all are decimals that fit 18 digits at the places of the finest one.
bool parse_decimals(ColumnValues& values) {
  std::vector<uint32_t> places;
  if (!parse_all(values.texts, places, places_of)) return false;
  values.decimal_places = *std::ranges::max_element(places);
  for (size_t row = 0; row < places.size(); ++row)
    if (values.texts[row].size() + values.decimal_places - places[row] > most_decimal_digits)
      return false;
  const uint32_t finest = values.decimal_places;
  return parse_all(values.texts, values.integers,
                   [&](std::string_view text) { return std::optional(scaled(text, finest)); });
}

std::string decimal_text(int64_t number, uint32_t places) {
  const uint64_t size =
      number < 0 ? uint64_t{0} - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
  std::string digits = fmt::format("{:0{}}", size, places + 1);
  if (places) digits.insert(digits.size() - places, 1, '.');
  return number < 0 ? fmt::format("-{}", digits) : digits;
}

template <class T>
std::pair<T, T> bounds(const std::vector<T>& values, const host::RowBits& present) {
  T low = std::numeric_limits<T>::max(), high = std::numeric_limits<T>::lowest();
  for (size_t row = 0; row < values.size(); ++row)
    if (present.test(row)) {
      low = std::min(low, values[row]);
      high = std::max(high, values[row]);
    }
  return {low, high};
}

}  // namespace

std::string ColumnValues::description() const {
  if (nulls == rows()) return "nothing but NULL";
  if (kind == ValueKind::doubles) {
    const auto [low, high] = bounds(doubles, present);
    return fmt::format("doubles from {} to {}", low, high);
  }
  if (kind != ValueKind::texts) {
    const auto [low, high] = bounds(integers, present);
    return fmt::format("{} from {} to {}",
                       kind == ValueKind::integers
                           ? std::string("integers")
                           : fmt::format("decimals with {} places", decimal_places),
                       decimal_text(low, decimal_places), decimal_text(high, decimal_places));
  }
  size_t shortest = SIZE_MAX, longest = 0;
  for (const std::string_view text : texts)
    if (!text.empty()) {
      shortest = std::min(shortest, text.size());
      longest = std::max(longest, text.size());
    }
  if (shortest == longest) return fmt::format("texts of {} bytes", longest);
  return fmt::format("texts of {} to {} bytes", shortest, longest);
}

ColumnValues parse_values(std::span<const std::string_view> texts) {
  ColumnValues values;
  values.texts = texts;
  values.present = host::RowBits(texts.size());
  for (size_t row = 0; row < texts.size(); ++row) {
    values.text_bytes += texts[row].size();
    if (texts[row].empty())
      ++values.nulls;
    else
      values.present.set(row);
  }
  if (values.nulls == texts.size()) return values;
  if (parse_all(texts, values.integers, whole_number<int64_t>))
    values.kind = ValueKind::integers;
  else if (parse_decimals(values))
    values.kind = ValueKind::decimals;
  else if (parse_all(texts, values.doubles, finite_number))
    values.kind = ValueKind::doubles;
  else
    values.decimal_places = 0;
  if (values.kind != ValueKind::decimals) values.decimal_places = 0;
  return values;
}

}  // namespace colx::inspect
