// What transpose is measured against: loops that make the same stores, and memcpy calls of the same
// lengths.
#pragma once

#include <cstdint>

namespace colx::bench {

// A 16-byte store a row, `stride_bytes` apart, and nothing else.
void store_limit(uint8_t* matrix, uint64_t rows, uint64_t stride_bytes);

// Copies the values that lp records (16-bit length at byte 0, pointer at byte 8) lead to, one
// behind the other, by a call of memcpy each. Returns the end.
uint8_t* memcpy_calls(const uint8_t* records, uint64_t count, uint8_t* out);

}  // namespace colx::bench
