// Iteration over the bits of a vector, one pattern for both forms. A form, a struct without data,
// says what differs:
//   end                the value that ends a walk
//   fetch(from, left)  the word at `from`, of which the vector has `left` bits, at least one; may
//                      be above 64
//
// Between calls the context alone holds the place: undelivered bits of the current word, its bit
// number, the address of the next word. Vectors have fewer than 2^31 bits.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/platform.h"

namespace colx {

struct WordForm {
  static constexpr uint64_t end = ~uint64_t{0};
  COLX_INLINE static uint64_t fetch(const uint64_t* from, int64_t) {
    return load_as<uint64_t>(from);
  }
};

// The last word may be cut short: what is missing reads as 0.
struct ByteForm {
  static constexpr uint64_t end = 0xFFFFFFFF;
  COLX_INLINE static uint64_t fetch(const uint64_t* from, int64_t left) {
    if (left >= 64) return load_as<uint64_t>(from);
    uint64_t word = 0;
    std::memcpy(&word, from, static_cast<size_t>(left + 7) / 8);
    return word;
  }
};

// Reads the whole word of bit `start`, whatever `nbits` is. `invert` is a byte: only 1 complements.
COLX_INLINE void start_iteration(colx_lbiwv_ictx* ctx, const void* bits, uint64_t nbits,
                                 uint64_t invert, uint64_t start) {
  const uint8_t* const at = bytes_at(bits, start >> 6 << 3);
  uint64_t word = load_as<uint64_t>(at);
  if (static_cast<uint8_t>(invert) == 1) word = ~word;
  ctx->colx_ictx_next = reinterpret_cast<const uint64_t*>(at + 8);
  ctx->colx_ictx_limit = static_cast<int32_t>(nbits);
  ctx->colx_ictx_base = static_cast<int32_t>(start & ~uint64_t{63});
  ctx->colx_ictx_offset = start & 63;
  ctx->colx_ictx_word = word & ~uint64_t{0} << (start & 63);
}

// Moves on to the next word; false, with nothing fetched, if it lies at or above the limit. The
// base moves all the same, as far as its 32 bits reach.
template <class Form, bool inverted>
COLX_INLINE bool next_word(colx_lbiwv_ictx* ctx) {
  const int64_t base = int64_t{ctx->colx_ictx_base} + 64;
  const int64_t left = ctx->colx_ictx_limit - base;
  if (base <= INT32_MAX) ctx->colx_ictx_base = static_cast<int32_t>(base);
  if (left <= 0) return false;
  const uint64_t word = Form::fetch(ctx->colx_ictx_next, left);
  ctx->colx_ictx_word = inverted ? ~word : word;
  ctx->colx_ictx_next += 1;
  ctx->colx_ictx_offset = 0;
  return true;
}

// The next bit, taken from the context even when it lies at or above the limit, or Form::end.
template <class Form, bool inverted>
COLX_INLINE uint64_t next_bit(colx_lbiwv_ictx* ctx) {
  while (ctx->colx_ictx_word == 0)
    if (!next_word<Form, inverted>(ctx)) return Form::end;
  const uint64_t word = ctx->colx_ictx_word;
  ctx->colx_ictx_word = word & (word - 1);
  const int32_t bit = ctx->colx_ictx_base + std::countr_zero(word);
  return bit < ctx->colx_ictx_limit ? static_cast<uint64_t>(bit) : Form::end;
}

// Up to `max` next bits to `out`; nothing is written behind what is delivered.
template <class Form>
COLX_INLINE uint64_t next_bits(colx_lbiwv_ictx* ctx, uint32_t* out, uint64_t max) {
  colx_lbiwv_ictx place = *ctx;  // in registers: a context in memory could be a part of `out`
  uint64_t stored = 0;
  for (; stored != max; ++stored) {
    const uint64_t bit = next_bit<Form, false>(&place);
    if (bit == Form::end) break;
    out[stored] = static_cast<uint32_t>(bit);
  }
  *ctx = place;
  return stored;
}

}  // namespace colx
