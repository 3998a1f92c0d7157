#include "tests/oracle/number_rows_oracle.h"

#include <cmath>
#include <cstring>

#include "tests/oracle/stored_numbers.h"

namespace colx::oracle {
namespace {

uint64_t sign_bit(unsigned bytes) {
  return uint64_t{1} << (8 * bytes - 1);
}

uint64_t all_bits(unsigned bytes) {
  return ~uint64_t{0} >> (64 - 8 * bytes);
}

template <class Number, class Operation>
ComputedBits computed(ComputedBits a, ComputedBits b, Operation operation) {
  const Number left = number_of<Number>(a.bits);
  const Number right = number_of<Number>(b.bits);
  return {bits_of<Number>(operation(left, right)),
          a.any_nan || b.any_nan || (std::isnan(left) && std::isnan(right))};
}

}  // namespace

uint64_t stored_bits(const void* at, unsigned bytes, NumberForm form) {
  if (form == NumberForm::native) {
    uint64_t bits = 0;
    std::memcpy(&bits, at, bytes);
    return bits;
  }
  const uint64_t stored = big_endian_at(at, bytes);
  return (stored & sign_bit(bytes)) != 0 ? stored ^ sign_bit(bytes) : stored ^ all_bits(bytes);
}

std::vector<uint8_t> stored_rows(std::span<const uint64_t> bits, unsigned bytes, NumberForm form) {
  std::vector<uint8_t> rows;
  for (const uint64_t number : bits) {
    const bool negative = (number & sign_bit(bytes)) != 0;
    const uint64_t stored = number ^ (negative ? all_bits(bytes) : sign_bit(bytes));
    for (unsigned i = 0; i < bytes; ++i) {
      rows.push_back(static_cast<uint8_t>(
          form == NumberForm::native ? number >> 8 * i : stored >> 8 * (bytes - 1 - i)));
    }
  }
  return rows;
}

bool is_nan(uint64_t bits, unsigned bytes) {
  return bytes == 4 ? std::isnan(number_of<float>(bits)) : std::isnan(number_of<double>(bits));
}

template <class Number>
ComputedBits sum_of(ComputedBits a, ComputedBits b) {
  return computed<Number>(a, b, [](Number left, Number right) { return left + right; });
}

template <class Number>
ComputedBits difference_of(ComputedBits a, ComputedBits b) {
  return computed<Number>(a, b, [](Number left, Number right) { return left - right; });
}

template <class Number>
ComputedBits product_of(ComputedBits a, ComputedBits b) {
  return computed<Number>(a, b, [](Number left, Number right) { return left * right; });
}

template ComputedBits sum_of<float>(ComputedBits a, ComputedBits b);
template ComputedBits sum_of<double>(ComputedBits a, ComputedBits b);
template ComputedBits difference_of<float>(ComputedBits a, ComputedBits b);
template ComputedBits difference_of<double>(ComputedBits a, ComputedBits b);
template ComputedBits product_of<float>(ComputedBits a, ComputedBits b);
template ComputedBits product_of<double>(ComputedBits a, ComputedBits b);

}  // namespace colx::oracle
