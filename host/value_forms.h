// value_forms.h: numbers as the bytes that columns and dictionaries store.
//
//   integer    two's complement, big-endian, 1, 2, 4 or 8 bytes
//   canonical  IEEE 754 bits with the sign bit flipped, or all bits flipped if it was set, big-
//              endian: unsigned byte order is numeric order
//
//   counted    an integer from -2^56 to 2^56 - 1 in a byte that says its sign and how many bytes
//              follow, and those bytes; trailing zero bytes may be missing. Small numbers are
//              short, and unsigned byte order is numeric order
//
//   integer, 1 byte    -1  FF               canonical   1.0  BF F0 00 00 00 00 00 00
//   integer, 2 bytes  300  01 2C                       -1.0  40 0F FF FF FF FF FF FF
//   counted   -300  7E FE D4      0  80      5  81 05      256  82 01      300  82 01 2C
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

// The least integer with a counted form.
inline constexpr int64_t min_counted = -(int64_t{1} << 56);
// The largest integer with a counted form.
inline constexpr int64_t max_counted = (int64_t{1} << 56) - 1;
// The shortest counted form of `value`, from min_counted to max_counted, at `at` (8 bytes, those
// behind the form are zeroed). Returns its length: 1 to 8 bytes.
size_t store_counted(uint8_t* at, int64_t value);
// The integer of a counted form, with or without its trailing zero bytes; 0 for no bytes.
int64_t counted_integer_of(std::string_view stored);

}  // namespace colx::host
