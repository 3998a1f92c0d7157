#include "host/value_forms.h"

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

double canonical_double_of(std::string_view stored) {
  const uint64_t number = load_big_endian(bytes_of(stored), 8);
  return std::bit_cast<double>(number & sign ? number & ~sign : ~number);
}

}  // namespace colx::host
