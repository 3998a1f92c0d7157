// A stream of one-bit codes as a bit vector: the stream has its first row in a byte's top bit, the
// vector in its lowest. Shared by the one-bit predicates and the one-bit set kernel.
#pragma once

#include "kernels/frame/colx_x86.h"

namespace colx {

// Stores ceil(rows / 64) words of codes, or of their complements if `inverted`, and returns how
// many of the first `rows` bits are set. The bits above come out as those of code 0 do: clear, or
// set and uncounted. Reads whole 16-byte blocks of 128 rows, then four bytes from the byte of each
// remaining row.
uint32_t one_bit_codes(uint64_t* out, const uint8_t* stream, uint32_t rows, bool inverted);

}  // namespace colx
