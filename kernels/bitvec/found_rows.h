// The rows that a filter or a translation has found so far, and their bits in the result, which are
// not cleared: a block of sixteen rows stores its bits if it has any, and else leaves what stands.
#pragma once

#include <bit>
#include <cstdint>

#include "kernels/bitvec/bit_tables.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/platform.h"
#include "kernels/frame/word_bits.h"

namespace colx {

inline constexpr uint32_t no_row = 0xFFFFFFFF;

// Rows are visited in ascending order. The last one is kept as the rows that it was found among.
struct FoundRows {
  uint32_t count = 0;
  uint32_t first = no_row;
  uint32_t last_from = no_row;
  uint64_t last_found = 1;

  // Bit k of `found` is row + k. Without a branch on what was found, but for the very first row.
  COLX_INLINE void add(uint32_t row, uint64_t found) {
    if (first == no_row) [[unlikely]] {
      if (found != 0) first = row + static_cast<uint32_t>(std::countr_zero(found));
    }
    last_from = found != 0 ? row : last_from;
    last_found = found != 0 ? found : last_found;
    count += population(found);
  }

  COLX_INLINE uint32_t last() const {
    return last_from + 63 - static_cast<uint32_t>(std::countl_zero(last_found));
  }

  // The count, the first and the last row, and the status.
  COLX_INLINE uint32_t close(colx_cv* res) const {
    res->colx_cv_num_set = count;
    store_as(bytes_at(res->colx_cv_data, 0), first);
    store_as(bytes_at(res->colx_cv_data, 4), last());
    return count == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
  }
};

// The bits of the next block above those of the three before it. Not to be joined: shifts of two
// registers are slow.
COLX_INLINE uint64_t with_next_block(uint64_t found, uint64_t block) {
  found |= block;
  COLX_MEET_IN_REGISTER(found);
  return std::rotr(found, 16);
}

// All bits of each lane of 2 bytes that is not 0.
constexpr uint64_t lanes_not_zero(uint64_t lanes) {
  constexpr uint64_t top = 0x8000800080008000;
  return (((((lanes & ~top) + ~top) | lanes) & top) >> 15) * 0xFFFF;
}
static_assert(lanes_not_zero(0x8000000000017FFF) == 0xFFFF0000FFFFFFFF);

// The bits of four blocks without a branch; those of blocks without any are written as they were.
COLX_INLINE void store_four_blocks(uint8_t* to, uint64_t found) {
  store_as(to, (load_as<uint64_t>(to) & ~lanes_not_zero(found)) | found);
}

}  // namespace colx
