// The scalar line of a selective scan: walk the set bits of the selection, test the code of each.
#pragma once

#include <cstdint>

namespace colx::bench {

// Rows whose code is `a`, of those that `selection` has set. Stores rows / 64 words, `rows` being a
// multiple of 64; returns how many bits are set. May read 8 bytes past the rows' bytes.
using ScalarSelected = uint32_t (*)(const uint8_t* codes, const uint64_t* selection, uint64_t* out,
                                    uint32_t rows, uint64_t a);

// For widths of 1 to 20, 24, 32, 64 bits.
ScalarSelected scalar_selected(unsigned width_bits);

}  // namespace colx::bench
