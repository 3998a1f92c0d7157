// What the composition of group keys is made of: passes over arrays of native 32-bit numbers, one
// per row. Numbers wrap; an array of no numbers is not touched. Any address will do.
#pragma once

#include <cstdint>

#pragma GCC visibility push(hidden)
extern "C" {

// keys[i] *= the low 32 bits of `factor`.
void colx_mul_ub4_const(uint32_t* keys, uint64_t factor, uint64_t n);

// keys[i] <<= `shift` & 31.
void colx_shl_ub4_const(uint32_t* keys, uint64_t shift, uint64_t n);

// keys[i] += other[i].
void colx_add_ub4(uint32_t* keys, const uint32_t* other, uint64_t n);

}  // extern "C"
#pragma GCC visibility pop
