// The routines behind colx_wpak_decode_dydi, by the width of a code. Each expands `count` codes:
// code c becomes the first lengths[c] bytes of word c of `symbols`. Returns the bytes written.
#pragma once

#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(hidden)
extern "C" {

uint64_t wpak_decode_dict_8_bit(const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                                const uint8_t* lengths, uint8_t* out);
uint64_t wpak_decode_dict_9_bit(const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                                const uint8_t* lengths, uint8_t* out);
uint64_t wpak_decode_dict_10_bit(const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                                 const uint8_t* lengths, uint8_t* out);

// Widths 0 to 7.
uint64_t wpak_decode_dict_less8_bit(const uint8_t* codes, uint32_t count, const uint8_t* symbols,
                                    const uint8_t* lengths, uint8_t* out, uint32_t width);

// One code at a time, widths 0 to 10, from bit `start_bit` of the first byte: writes exactly each
// symbol's bytes. Returns the distance from `out_start` to the end of what it wrote.
uint64_t wpak_decode_dict_remain(const uint8_t* codes, uint32_t start_bit, uint32_t count,
                                 const uint8_t* symbols, const uint8_t* lengths, uint8_t* out,
                                 const uint8_t* out_start, uint32_t width);

}  // extern "C"
#pragma GCC visibility pop
