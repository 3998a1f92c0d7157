#include "bench/support/scalar_runs.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "bench/support/scalar_scan.h"

namespace colx::bench {
namespace {

template <class T>
T big_endian(const uint8_t* from) {
  T number;
  std::memcpy(&number, from, sizeof number);
  return scalar::swapped(number);
}

// As a call: inlined, GCC makes string instructions of it, which take long to begin.
void* (*const volatile plain_memset)(void*, int, size_t) = std::memset;

template <class Element>
__attribute__((always_inline)) inline void fill(Element* out, Element value, uint64_t count) {
  if constexpr (sizeof(Element) == 1) {
    plain_memset(out, value, count);
  } else {
    uint64_t i = 0;
    for (; i + 2 <= count; i += 2) out[i] = out[i + 1] = value;
    if (i < count) out[i] = value;
  }
}

template <class Length, class Element>
void expand(const void* __restrict from, const uint8_t* __restrict lengths, uint64_t runs,
            void* __restrict to) {
  const auto* const values = static_cast<const Element*>(from);
  auto* out = static_cast<Element*>(to);
  for (uint64_t run = 0; run < runs; ++run) {
    const uint64_t count = big_endian<Length>(lengths + run * sizeof(Length));
    fill(out, values[run], count);
    out += count;
  }
}

// The rows from `first` up to `end`, which may be the same.
__attribute__((always_inline)) inline void set_rows(uint64_t* bits, uint64_t first, uint64_t end) {
  const uint64_t from_first = ~uint64_t{0} << first % 64;
  const uint64_t below_end = (uint64_t{1} << end % 64) - 1;
  if (first / 64 == end / 64) {
    bits[first / 64] |= from_first & below_end;
    return;
  }
  bits[first / 64] |= from_first;
  for (uint64_t word = first / 64 + 1; word < end / 64; ++word) bits[word] = ~uint64_t{0};
  if (below_end != 0) bits[end / 64] |= below_end;
}

template <class Length>
uint64_t burst(const uint8_t* __restrict lengths, const uint64_t* __restrict run_bits,
               uint64_t runs, uint64_t* __restrict out, uint64_t rows) {
  std::memset(out, 0, (rows + 63) / 64 * 8);
  uint64_t row = 0;
  uint64_t count = 0;
  for (uint64_t base = 0; base < runs; base += 64) {
    uint64_t hits = run_bits[base / 64];
    const uint64_t end = std::min(base + 64, runs);
    for (uint64_t run = base; run < end; ++run, hits >>= 1) {
      const uint64_t length = big_endian<Length>(lengths + run * sizeof(Length));
      if ((hits & 1) != 0) {
        set_rows(out, row, row + length);
        count += length;
      }
      row += length;
    }
  }
  return count;
}

uint64_t burst_listed(const uint8_t* __restrict first_rows, const uint64_t* __restrict run_bits,
                      uint64_t runs, uint64_t* __restrict out, uint64_t rows) {
  std::memset(out, 0, (rows + 63) / 64 * 8);
  uint64_t count = 0;
  for (uint64_t base = 0; base < runs; base += 64) {
    uint64_t hits = run_bits[base / 64];
    const uint64_t end = std::min(base + 64, runs);
    for (uint64_t run = base; run < end; ++run, hits >>= 1) {
      if ((hits & 1) == 0) continue;
      const uint64_t first = big_endian<uint32_t>(first_rows + 4 * run);
      const uint64_t behind = big_endian<uint32_t>(first_rows + 4 * run + 4);
      set_rows(out, first, behind);
      count += behind - first;
    }
  }
  return count;
}

template <class Length>
uint64_t burst_branchless(const uint8_t* __restrict lengths, const uint64_t* __restrict run_bits,
                          uint64_t runs, uint64_t* __restrict out, uint64_t) {
  uint64_t word = 0;  // its bits from `at` up are to come
  uint64_t at = 0;
  uint64_t count = 0;
  for (uint64_t run = 0; run < runs; ++run) {
    uint64_t length = big_endian<Length>(lengths + run * sizeof(Length));
    const uint64_t hit = -(run_bits[run / 64] >> run % 64 & 1);  // all ones or none
    count += length & hit;
    word |= hit << at;
    if (at + length < 64) {
      at += length;
      word &= (uint64_t{1} << at) - 1;
      continue;
    }
    *out++ = word;
    for (length -= 64 - at; length >= 64; length -= 64) *out++ = hit;
    at = length;
    word = hit & ((uint64_t{1} << at) - 1);
  }
  if (at != 0) *out = word;
  return count;
}

uint64_t burst_of_hits(const uint8_t* __restrict first_rows, const uint64_t* __restrict run_bits,
                       uint64_t runs, uint64_t* __restrict out, uint64_t rows) {
  std::memset(out, 0, (rows + 63) / 64 * 8);
  uint64_t count = 0;
  for (uint64_t base = 0; base < runs; base += 64) {
    for (uint64_t word = run_bits[base / 64]; word != 0; word &= word - 1) {
      const uint64_t run = base + static_cast<unsigned>(__builtin_ctzll(word));
      const uint64_t first = big_endian<uint32_t>(first_rows + 4 * run);
      const uint64_t behind = big_endian<uint32_t>(first_rows + 4 * run + 4);
      set_rows(out, first, behind);
      count += behind - first;
    }
  }
  return count;
}

}  // namespace

ScalarExpand scalar_expand(unsigned length_bits, unsigned element_bytes) {
  if (length_bits == 8) {
    return element_bytes == 1   ? expand<uint8_t, uint8_t>
           : element_bytes == 2 ? expand<uint8_t, uint16_t>
                                : expand<uint8_t, uint32_t>;
  }
  return element_bytes == 1   ? expand<uint16_t, uint8_t>
         : element_bytes == 2 ? expand<uint16_t, uint16_t>
                              : expand<uint16_t, uint32_t>;
}

ScalarBurst scalar_burst(unsigned length_bits) {
  return length_bits == 0 ? burst_listed : length_bits == 8 ? burst<uint8_t> : burst<uint16_t>;
}

ScalarBurst clever_burst(unsigned length_bits) {
  return length_bits == 0   ? burst_of_hits
         : length_bits == 8 ? burst_branchless<uint8_t>
                            : burst_branchless<uint16_t>;
}

}  // namespace colx::bench
