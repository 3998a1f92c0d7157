// The scalar line of a scan of dynp rows: the walk that a careful engineer writes without vectors.
//
// One row at a time: its code is taken out of a length byte, its bytes out of one 8-byte load at
// the cursor, shifted so that they are left-justified with zeros behind, tested without a branch;
// the cursor moves on by the row's length. Bits gather in a register and a full word is stored and
// counted once. With ties value and code make one comparison of two halves.
//
// Built like the scalar scans (-O3 -fno-tree-vectorize) and as unchanging as they.
#pragma once

#include <cstdint>

namespace colx::bench {

enum class WalkTest { equal, unequal, below, above, at_most, at_least, within };

// A constant as a walk takes it: the value left-justified in 64 bits, the tie code beside it.
struct WalkConstant {
  uint64_t value;
  uint8_t tie;
};

// Stores rows / 64 words, rows being a multiple of 64; returns how many bits are set. May read 8
// bytes past the rows' bytes. `within` has closed bounds, the others use `lo`.
using ScalarWalk = uint32_t (*)(const uint8_t* rows, const uint8_t* lengths, uint64_t* out,
                                uint32_t count, WalkConstant lo, WalkConstant hi);

// `word_bits` is 16, 32 or 64.
ScalarWalk scalar_walk(unsigned word_bits, WalkTest test, bool tz);

}  // namespace colx::bench
