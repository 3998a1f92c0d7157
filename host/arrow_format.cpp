#include "host/arrow_format.h"

#include <array>
#include <charconv>
#include <string_view>

namespace colx::host {
namespace {

struct NamedType {
  std::string_view format;
  ValueType type;
};

// The formats without parameters.
constexpr NamedType named_types[] = {
    {"b", {ValueKind::boolean, 1}},
    {"c", {ValueKind::integer, 8}},
    {"s", {ValueKind::integer, 16}},
    {"i", {ValueKind::integer, 32}},
    {"l", {ValueKind::integer, 64}},
    {"C", {ValueKind::unsigned_integer, 8}},
    {"S", {ValueKind::unsigned_integer, 16}},
    {"I", {ValueKind::unsigned_integer, 32}},
    {"L", {ValueKind::unsigned_integer, 64}},
    {"tdD", {ValueKind::date, 32}},
    {"tdm", {ValueKind::date, 64}},
    {"f", {ValueKind::floating, 32}},
    {"g", {ValueKind::floating, 64}},
    {"u", {ValueKind::text, 32}},
    {"U", {ValueKind::text, 64}},
    {"vu", {ValueKind::text, 128}},
};

constexpr bool is_decimal_width(int32_t bits) {
  return bits == 32 || bits == 64 || bits == 128 || bits == 256;
}

// The numbers behind "d:", or false.
bool read_decimal(std::string_view text, ValueType& type) {
  std::array<int32_t, 3> numbers{0, 0, 128};
  const char* at = text.data();
  const char* const end = at + text.size();
  size_t count = 0;
  for (; count < numbers.size(); ++count) {
    const auto [behind, failure] = std::from_chars(at, end, numbers[count]);
    if (failure != std::errc{}) return false;
    at = behind;
    if (at == end) break;
    if (*at++ != ',') return false;
  }
  if (at != end || count < 1 || numbers[0] < 1 || !is_decimal_width(numbers[2])) return false;
  type = {ValueKind::decimal, static_cast<uint32_t>(numbers[2]), numbers[0], numbers[1]};
  return true;
}

}  // namespace

Result<ValueType> type_of_arrow_format(const char* format) {
  if (!format) return make_error("the schema has no format");
  const std::string_view text = format;
  for (const NamedType& named : named_types)
    if (named.format == text) return named.type;
  ValueType decimal;
  if (text.starts_with("d:") && read_decimal(text.substr(2), decimal)) return decimal;
  return make_error(
      "the format \"%s\" is not taken; use integers, dates, decimals, float, double, "
      "boolean, utf8 or dictionaries of these",
      format);
}

Result<std::string> arrow_format_of(const ValueType& type) {
  for (const NamedType& named : named_types)
    if (named.type.kind == type.kind && named.type.bits == type.bits)
      return std::string(named.format);
  if (type.kind != ValueKind::decimal || type.precision < 1 ||
      !is_decimal_width(static_cast<int32_t>(type.bits)))
    return make_error("no type of kind %u has %u bits and %d digits",
                      static_cast<unsigned>(type.kind), type.bits, type.precision);
  std::string format = "d:" + std::to_string(type.precision) + ',' + std::to_string(type.scale);
  if (type.bits != 128) format += ',' + std::to_string(type.bits);
  return format;
}

}  // namespace colx::host
