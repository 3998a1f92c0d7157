// row_bits.h: owner of a word bit vector, a bit a row.
#pragma once

#include <cstdint>
#include <span>

#include "host/stream_buffer.h"

namespace colx::host {

// Bit r is in word r >> 6 at position r & 63 from the least significant bit. The words are aligned
// to a cache line and a spare word follows them: run expansion touches 7 bytes past the last word,
// and an iteration that starts at size() reads one word there.
//
// Scans store whole words, so the bits from size() up to the end of the last word may be set; they
// never count. Moves, never copies by accident: copy() says so. Not synchronised.
class RowBits {
 public:
  RowBits() = default;
  // `bits` clear bits. Iteration over the vector asks for fewer than 2^31.
  explicit RowBits(uint64_t bits) : bits_(bits), memory_((word_count() + 1) * sizeof(uint64_t)) {}

  // The same bits in memory of their own.
  RowBits copy() const;

  // Bits.
  uint64_t size() const { return bits_; }
  // Words that hold them, the spare one not counted.
  uint64_t word_count() const { return (bits_ + 63) / 64; }
  // The spare word is not part of the span.
  std::span<uint64_t> words() { return {data(), word_count()}; }
  std::span<const uint64_t> words() const { return {data(), word_count()}; }
  // The first word; the spare word follows the last one. Null of RowBits().
  uint64_t* data() { return reinterpret_cast<uint64_t*>(memory_.data()); }
  const uint64_t* data() const { return reinterpret_cast<const uint64_t*>(memory_.data()); }

  // `row` below size().
  bool test(uint64_t row) const { return data()[row >> 6] >> (row & 63) & 1; }
  // `row` below size().
  void set(uint64_t row) { data()[row >> 6] |= uint64_t{1} << (row & 63); }
  // `row` below size().
  void clear(uint64_t row) { data()[row >> 6] &= ~(uint64_t{1} << (row & 63)); }

  // Clears all words, the bits above size() too.
  void clear_all();
  // Sets the first size() bits and clears those above.
  void set_all();
  // Set bits among the first size().
  uint64_t count() const;

 private:
  uint64_t bits_ = 0;
  StreamBuffer memory_;
};

}  // namespace colx::host
