#include "host/value_forms.h"

#include <algorithm>
#include <bit>

#include "host/big_endian.h"

namespace colx::host {
namespace {

constexpr uint64_t sign = uint64_t{1} << 63;

bool fits(int64_t value, size_t bytes) {
  const size_t unused_bits = 64 - 8 * bytes;
  return value == static_cast<int64_t>(static_cast<uint64_t>(value) << unused_bits) >> unused_bits;
}

const uint8_t* bytes_of(std::string_view stored) {
  return reinterpret_cast<const uint8_t*>(stored.data());
}

}  // namespace

size_t integer_bytes(int64_t low, int64_t high) {
  size_t bytes = 1;
  while (!fits(low, bytes) || !fits(high, bytes)) bytes *= 2;
  return bytes;
}

void store_integer(uint8_t* at, int64_t value, size_t bytes) {
  store_big_endian(at, static_cast<uint64_t>(value), bytes);
}

int64_t integer_of(std::string_view stored) {
  if (stored.empty()) return 0;
  const size_t unused_bits = 64 - 8 * stored.size();
  const uint64_t number = load_big_endian(bytes_of(stored), stored.size());
  return static_cast<int64_t>(number << unused_bits) >> unused_bits;
}

void store_canonical(uint8_t* at, double value) {
  const auto bits = std::bit_cast<uint64_t>(value);
  store_big_endian(at, bits & sign ? ~bits : bits | sign, 8);
}

size_t store_counted(uint8_t* at, int64_t value) {
  // Bytes that tell the number from its neighbours of the same sign: 0 to 255 need one, -256 to -1
  // need one; 0 needs none.
  const auto magnitude = static_cast<uint64_t>(value < 0 ? ~value : value);
  size_t count = (static_cast<size_t>(std::bit_width(magnitude)) + 7) / 8;
  if (value < 0 && count == 0) count = 1;
  at[0] = static_cast<uint8_t>(value < 0 ? 0x80 - count : 0x80 + count);
  store_big_endian(at + 1, static_cast<uint64_t>(value), count);
  std::fill(at + 1 + count, at + 8, uint8_t{0});
  size_t length = 1 + count;
  while (length > 1 && at[length - 1] == 0) --length;
  return length;
}

int64_t counted_integer_of(std::string_view stored) {
  if (stored.empty()) return 0;
  const uint8_t* bytes = bytes_of(stored);
  const bool negative = bytes[0] < 0x80;
  const size_t count = std::min<size_t>(negative ? 0x80 - bytes[0] : bytes[0] - 0x80, 7);
  uint64_t number = negative ? ~uint64_t{0} : 0;
  for (size_t k = 1; k <= count; ++k) number = number << 8 | (k < stored.size() ? bytes[k] : 0);
  return static_cast<int64_t>(number);
}

double canonical_double_of(std::string_view stored) {
  const uint64_t number = load_big_endian(bytes_of(stored), 8);
  return std::bit_cast<double>(number & sign ? number & ~sign : ~number);
}

}  // namespace colx::host
