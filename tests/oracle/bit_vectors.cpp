#include "tests/oracle/bit_vectors.h"

namespace colx::oracle {
namespace {

const uint8_t* bytes_of(const void* bits) {
  return static_cast<const uint8_t*>(bits);
}

bool combined_bit(BitOp op, bool a, bool b, bool c) {
  switch (op) {
    case BitOp::op_and:
      return a && b;
    case BitOp::op_or:
      return a || b;
    case BitOp::op_xor:
      return a != b;
    case BitOp::op_andnot:
      return !a && b;
    case BitOp::op_and3:
      return a && b && c;
    case BitOp::op_or3:
      return a || b || c;
    case BitOp::op_xor3:
      return (a != b) != c;
    case BitOp::op_not:
      return !a;
  }
  return false;
}

// The first `count` bytes at `from` as the low end of a word; the other bytes read as 0.
uint64_t low_bytes(const void* from, uint64_t count) {
  uint64_t word = 0;
  for (uint64_t i = 0; i < count; ++i) word |= uint64_t{bytes_of(from)[i]} << (8 * i);
  return word;
}

// Bytes of the word at the context's base that the iterators may read. The word form reads it
// whole; the byte form stops at the vector's last byte.
uint64_t readable_bytes(BitForm form, const colx_lbiwv_ictx& ctx) {
  const int64_t bits_left = int64_t{ctx.colx_ictx_limit} - ctx.colx_ictx_base;
  return form == BitForm::words || bits_left >= 64 ? 8 : uint64_t(bits_left + 7) / 8;
}

}  // namespace

uint64_t stored_bytes(BitForm form, uint64_t nbits) {
  return form == BitForm::words ? (nbits + 63) / 64 * 8 : (nbits + 7) / 8;
}

bool bit_at(const void* bits, uint64_t bit) {
  return bytes_of(bits)[bit >> 3] >> (bit & 7) & 1;
}

void put_bit(void* bits, uint64_t bit, bool value) {
  uint8_t& byte = static_cast<uint8_t*>(bits)[bit >> 3];
  const unsigned mask = 1u << (bit & 7);
  byte = static_cast<uint8_t>(value ? byte | mask : byte & ~mask);
}

uint32_t count_bits(const void* bits, uint64_t nbits) {
  uint32_t count = 0;
  for (uint64_t bit = 0; bit < nbits; ++bit) count += bit_at(bits, bit);
  return count;
}

unsigned inputs_of(BitOp op) {
  switch (op) {
    case BitOp::op_not:
      return 1;
    case BitOp::op_and3:
    case BitOp::op_or3:
    case BitOp::op_xor3:
      return 3;
    default:
      return 2;
  }
}

std::vector<uint8_t> combined(BitForm form, BitOp op, const void* a, const void* b, const void* c,
                              uint64_t nbits) {
  std::vector<uint8_t> result(stored_bytes(form, nbits));
  for (uint64_t bit = 0; bit < 8 * result.size(); ++bit)
    put_bit(result.data(), bit,
            combined_bit(op, bit_at(a, bit), inputs_of(op) > 1 && bit_at(b, bit),
                         inputs_of(op) > 2 && bit_at(c, bit)));
  return result;
}

void fill_range(void* bits, uint64_t first, uint64_t last, bool value) {
  for (uint64_t bit = first; bit <= last; ++bit) put_bit(bits, bit, value);
}

uint64_t end_value(BitForm form) {
  return form == BitForm::words ? ~uint64_t{0} : 0xFFFFFFFF;
}

void begin_iteration(colx_lbiwv_ictx* ctx, const void* bits, uint64_t nbits, uint64_t invert,
                     uint64_t start) {
  const uint64_t entered = start / 64 * 64;
  uint64_t word = low_bytes(bytes_of(bits) + entered / 8, 8);
  if ((invert & 0xFF) == 1) word = ~word;
  for (uint64_t bit = 0; bit < start % 64; ++bit) word &= ~(uint64_t{1} << bit);
  ctx->colx_ictx_next = reinterpret_cast<const uint64_t*>(bytes_of(bits) + entered / 8 + 8);
  ctx->colx_ictx_limit = static_cast<int32_t>(nbits);
  ctx->colx_ictx_base = static_cast<int32_t>(entered);
  ctx->colx_ictx_offset = start % 64;
  ctx->colx_ictx_word = word;
}

uint64_t next_bit(BitForm form, Seek seek, colx_lbiwv_ictx* ctx) {
  while (ctx->colx_ictx_word == 0) {
    ctx->colx_ictx_base += 64;
    if (ctx->colx_ictx_base >= ctx->colx_ictx_limit) return end_value(form);
    const uint64_t word = low_bytes(ctx->colx_ictx_next, readable_bytes(form, *ctx));
    ctx->colx_ictx_word = seek == Seek::clear_bits ? ~word : word;
    ctx->colx_ictx_next += 1;
    ctx->colx_ictx_offset = 0;
  }
  unsigned place = 0;
  while ((ctx->colx_ictx_word >> place & 1) == 0) ++place;
  ctx->colx_ictx_word &= ~(uint64_t{1} << place);
  const int64_t bit = int64_t{ctx->colx_ictx_base} + place;
  return bit < ctx->colx_ictx_limit ? static_cast<uint64_t>(bit) : end_value(form);
}

uint64_t next_ones(BitForm form, colx_lbiwv_ictx* ctx, uint32_t* out, uint64_t max) {
  uint64_t stored = 0;
  while (stored < max) {
    const uint64_t bit = next_bit(form, Seek::set_bits, ctx);
    if (bit == end_value(form)) break;
    out[stored++] = static_cast<uint32_t>(bit);
  }
  return stored;
}

}  // namespace colx::oracle
