// Naive forms of the bit vector operations: a bit at a time, plain loops, no tables. They state
// what the kernels of both vector forms must store, count and deliver.
#pragma once

#include <cstdint>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

// Both forms keep bit r in byte r >> 3 at position r & 7; they differ in what is stored whole.
enum class BitForm { words, bytes };

// Bytes of a vector of `nbits` bits: whole 64-bit words, or no byte more than the bits need.
uint64_t stored_bytes(BitForm form, uint64_t nbits);

bool bit_at(const void* bits, uint64_t bit);
void put_bit(void* bits, uint64_t bit, bool value);

// Set bits among the first `nbits`.
uint32_t count_bits(const void* bits, uint64_t nbits);

enum class BitOp { op_and, op_or, op_xor, op_andnot, op_and3, op_or3, op_xor3, op_not };

// How many of a, b and c the operation reads: 1 to 3.
unsigned inputs_of(BitOp op);

// The stored_bytes(form, nbits) bytes that the operation stores, bits at and above `nbits`
// included. Inputs beyond inputs_of(op) are not read and may be null.
std::vector<uint8_t> combined(BitForm form, BitOp op, const void* a, const void* b, const void* c,
                              uint64_t nbits);

// Bits first to last, both included, become `value`; the same for both forms.
void fill_range(void* bits, uint64_t first, uint64_t last, bool value);

// What an iterator returns when no bit is left below the limit.
uint64_t end_value(BitForm form);

// Iteration on the kernels' own record, so that every field can be compared after every call. The
// first word is read whole in both forms.
void begin_iteration(colx_lbiwv_ictx* ctx, const void* bits, uint64_t nbits, uint64_t invert,
                     uint64_t start);
enum class Seek { set_bits, clear_bits };
uint64_t next_bit(BitForm form, Seek seek, colx_lbiwv_ictx* ctx);
uint64_t next_ones(BitForm form, colx_lbiwv_ictx* ctx, uint32_t* out, uint64_t max);

}  // namespace colx::oracle
