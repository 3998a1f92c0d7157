// value_forms.h: numbers as the bytes that columns and dictionaries store.
//
//   integer    two's complement, big-endian, 1, 2, 4 or 8 bytes
//   canonical  IEEE 754 bits with the sign bit flipped, or all bits flipped if it was set, big-
//              endian: unsigned byte order is numeric order
//
//   -1   1 byte   FF                       1.0   BF F0 00 00 00 00 00 00
//   300  2 bytes  01 2C                   -1.0   40 0F FF FF FF FF FF FF
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace colx::host {

// The least of 1, 2, 4 and 8 bytes that holds every integer from `low` to `high`.
size_t integer_bytes(int64_t low, int64_t high);

// The low `bytes` bytes of `value` at `at`.
void store_integer(uint8_t* at, int64_t value, size_t bytes);
// The integer of 1 to 8 stored bytes; 0 for none.
int64_t integer_of(std::string_view stored);

// 8 bytes at `at`.
void store_canonical(uint8_t* at, double value);
// The double of 8 stored bytes; `stored` must have that length.
double canonical_double_of(std::string_view stored);

}  // namespace colx::host
