// What memory allows an unpacking: a plain 16-byte loop that reads the same stream and writes as
// many bytes, and computes nothing.
#pragma once

#include <cstdint>

namespace colx::bench {

// For `rows` rows, a multiple of 128.
using UnpackLimit = void (*)(const uint8_t* codes, uint8_t* out, uint64_t rows);

// For widths of 1 to 32 bits and elements of 1, 2 or 4 bytes.
UnpackLimit unpack_limit(unsigned width_bits, unsigned element_bytes);

}  // namespace colx::bench
