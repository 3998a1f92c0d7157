#include "host/row_bits.h"

#include <bit>
#include <cstring>

namespace colx::host {

RowBits RowBits::copy() const {
  RowBits same(bits_);
  if (bits_) std::memcpy(same.data(), data(), word_count() * sizeof(uint64_t));
  return same;
}

void RowBits::clear_all() {
  for (uint64_t& word : words()) word = 0;
}

void RowBits::set_all() {
  for (uint64_t& word : words()) word = ~uint64_t{0};
  if (bits_ & 63) words().back() = (uint64_t{1} << (bits_ & 63)) - 1;
}

uint64_t RowBits::count() const {
  uint64_t set = 0;
  for (uint64_t word : words()) set += static_cast<uint64_t>(std::popcount(word));
  if (bits_ & 63) set -= static_cast<uint64_t>(std::popcount(words().back() >> (bits_ & 63)));
  return set;
}

}  // namespace colx::host
