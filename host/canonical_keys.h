// canonical_keys.h: floating numbers as unsigned numbers of the same order, the bits that canonical
// rows store.
#pragma once

#include <bit>
#include <cstdint>
#include <type_traits>

namespace colx::host {

// The unsigned number of a float or a double has as many bits as it has.
template <class Number>
using CanonicalKey = std::conditional_t<sizeof(Number) == 4, uint32_t, uint64_t>;

// The key of a float or double: keys are ordered as numbers are.
template <class Number>
constexpr CanonicalKey<Number> canonical_key(Number number) {
  using Key = CanonicalKey<Number>;
  constexpr Key sign = Key{1} << (8 * sizeof(Key) - 1);
  const auto bits = std::bit_cast<Key>(number);
  return static_cast<Key>(bits & sign ? ~bits : bits | sign);
}

// The number that has this key.
template <class Number>
constexpr Number number_of_key(CanonicalKey<Number> key) {
  using Key = CanonicalKey<Number>;
  constexpr Key sign = Key{1} << (8 * sizeof(Key) - 1);
  return std::bit_cast<Number>(static_cast<Key>(key & sign ? key & ~sign : ~key));
}

static_assert(canonical_key(1.0f) == 0xBF800000);
static_assert(canonical_key(-1.0) < canonical_key(0.0) && canonical_key(0.0) < canonical_key(1e-9));
static_assert(number_of_key<float>(canonical_key(-2.5f)) == -2.5f);

}  // namespace colx::host
