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

#include "kernels/bitvec/bit_tables.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/platform.h"
#include "kernels/frame/vectors.h"
#include "kernels/frame/word_bits.h"

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
  const int32_t bit = ctx->colx_ictx_base + static_cast<int32_t>(lowest_set_bit(word));
  return bit < ctx->colx_ictx_limit ? static_cast<uint64_t>(bit) : Form::end;
}

// Where a batch of bits goes. Nothing is written behind `room`, and in the end nothing is changed
// behind what was delivered.
struct Batch {
  uint32_t* out;
  uint64_t room;
};

// Position of the lowest set bit; 63 if there is none, so that no branch has to ask.
COLX_INLINE uint32_t lowest_bit(uint64_t word) {
  return lowest_set_bit(word | uint64_t{1} << 63);
}

// Writes `places` numbers: the lowest bits of the word, then anything.
template <unsigned places>
COLX_INLINE void put_lowest(uint64_t word, uint32_t base, uint32_t* out) {
  *out = base + lowest_bit(word);
  if constexpr (places > 1) put_lowest<places - 1>(word & (word - 1), base, out + 1);
}

// Writes the lowest bits of the word to the places up to `last`. The steps behind it write there
// too, and first: the places are written from the end.
template <unsigned places, unsigned place = 0>
COLX_INLINE void put_lowest_up_to(uint32_t last, uint64_t word, uint32_t base, uint32_t* out) {
  if constexpr (place + 1 < places)
    put_lowest_up_to<places, place + 1>(last, word & (word - 1), base, out);
  out[place < last ? place : last] = base + lowest_bit(word);
}

// Writes 8 numbers for each of the lowest bytes of the word, the next over what the last had too
// much: `first`, the byte's bit number in all lanes, plus the positions of its set bits.
template <unsigned bytes>
COLX_INLINE void put_bytes(uint64_t word, Vec first, uint32_t* out) {
  const uint8_t byte = static_cast<uint8_t>(word);
  const Vec positions = load_low_half(bit_positions[byte].data());
  store(out, sum<4>(first, widened(positions)));
  store(out + 4, sum<4>(first, widened(moved_down<4>(positions))));
  if constexpr (bytes > 1)
    put_bytes<bytes - 1>(word >> 8, sum<4>(first, splat<4>(8)), out + colx_byte_popc[byte]);
}

// Writes the `count` lowest bits of the word, at least one, and nothing behind them; returns the
// word without them. Vectors behind the last one repeat it, so that no branch asks for the count
// once it is 4.
[[gnu::noinline]] inline uint64_t put_exactly(uint64_t word, uint32_t base, uint32_t count,
                                              uint32_t* out) {
  uint32_t numbers[64 + 8];
  put_bytes<8>(word, splat<4>(base), numbers);
  if (count < 4) {
    for (uint32_t k = 0; k < count; ++k) out[k] = numbers[k];
  } else {
    const uint32_t last = count - 4;
#pragma GCC unroll 16
    for (uint32_t k = 0; k < 64; k += 4) {
      const uint32_t at = k < last ? k : last;
      store(out + at, load(numbers + at));
    }
  }
  return word & ~uint64_t{1} << (numbers[count - 1] - base);
}

// Words of up to this many bits go bit by bit, in a fixed number of steps. Others go byte by byte,
// which costs about twice as much as a dozen bits, whatever the word holds.
inline constexpr uint32_t few_bits = 4;
inline constexpr uint32_t some_bits = 12;

// Numbers written too much: by the last byte of a word, or by steps for more bits than there are.
inline constexpr uint32_t excess_numbers = 8;
static_assert(some_bits - (few_bits + 1) <= excess_numbers);

COLX_INLINE void advance(Batch& batch, uint32_t delivered) {
  batch.out += delivered;
  batch.room -= delivered;
}

// The functions below deliver bits of a word that lies whole below the limit. What they write too
// much must be written over: next_bits(n) says how many bits the next n words have, which follow as
// long as there is room, or 0 if there are not as many words.

// Delivers what there is room for of a word with any number of bits; returns those that are left.
template <class NextBits>
COLX_INLINE uint64_t put_many(uint64_t word, uint32_t base, uint32_t bits, Batch& batch,
                              NextBits next_bits) {
  uint32_t* const out = batch.out;
  const bool has_excess_room = batch.room >= bits + excess_numbers;
  const uint32_t delivered = batch.room < bits ? static_cast<uint32_t>(batch.room) : bits;
  advance(batch, delivered);
  if (has_excess_room && next_bits(1) >= excess_numbers) {
    put_bytes<8>(word, splat<4>(base), out);
    return 0;
  }
  return bits != 0 ? put_exactly(word, base, delivered, out) : 0;
}

// The same; the way depends on how many bits the word has, its steps do not.
template <class NextBits>
COLX_INLINE uint64_t put_word(uint64_t word, uint32_t base, Batch& batch, NextBits next_bits) {
  const uint32_t bits = population(word);
  COLX_MEET_IN_REGISTER(base);  // one number, not the loop's sum anew for each place
  if (bits > some_bits || batch.room < bits + excess_numbers)
    return put_many(word, base, bits, batch, next_bits);
  if (bits <= few_bits) {
    // A word without bits writes to a spare place. By arithmetic: as a branch it would be missed.
    uint32_t spare;
    const uintptr_t some = uintptr_t{bits == 0} - 1;
    const uintptr_t nowhere = reinterpret_cast<uintptr_t>(&spare);
    const uintptr_t to = nowhere ^ ((nowhere ^ reinterpret_cast<uintptr_t>(batch.out)) & some);
    put_lowest_up_to<few_bits>(bits - (bits != 0), word, base, reinterpret_cast<uint32_t*>(to));
  } else if (next_bits(2) >= excess_numbers) {
    put_lowest<some_bits>(word, base, batch.out);
  } else {
    put_exactly(word, base, bits, batch.out);
  }
  advance(batch, bits);
  return 0;
}

// The same by a loop, for a word that stands alone among others without bits.
COLX_INLINE uint64_t put_bits(uint64_t word, uint32_t base, Batch& batch) {
  for (; word != 0 && batch.room != 0; word &= word - 1) {
    *batch.out = base + lowest_bit(word);
    advance(batch, 1);
  }
  return word;
}

COLX_INLINE bool no_bit_set(const uint64_t* four_words) {
  return is_zero(either(load(four_words), load(four_words + 2)));
}

// Bit 4k says whether word k of four has any bit set.
COLX_INLINE uint32_t words_with_bits(const uint64_t* four_words) {
  const Vec low = equal<8>(load(four_words), zeros());
  const Vec high = equal<8>(load(four_words + 2), zeros());
  return ~top_bits(narrowed<4>(low, high)) & 0x1111;
}

// Delivers from the words that lie whole below the limit until they end or the room is used up,
// and leaves the context on the last word that was looked at. Four words at once are skipped when
// they have no bit, and taken by themselves when only one of them has any.
COLX_INLINE void put_whole_words(colx_lbiwv_ictx* ctx, Batch& batch) {
  const int64_t whole_words = (int64_t{ctx->colx_ictx_limit} - ctx->colx_ictx_base) / 64;
  if (whole_words <= 0) return;
  const uint64_t* const first = ctx->colx_ictx_next;
  const uint64_t* const end = first + (whole_words - 1);
  const uint64_t* next = first;  // the word behind the current one, which begins at bit `base`
  uint32_t base = static_cast<uint32_t>(ctx->colx_ictx_base);
  uint64_t word = ctx->colx_ictx_word;
  const auto move = [&](uint32_t words) __attribute__((always_inline)) {
    next += words;
    base += 64 * words;
    word = 0;
  };
  const auto next_bits = [&](int words) __attribute__((always_inline))->uint32_t {
    if (end - next < words) return 0;
    const uint32_t bits = population(load_as<uint64_t>(next));
    return words == 1 ? bits : bits + population(load_as<uint64_t>(next + 1));
  };
  word = put_many(word, base, population(word), batch, next_bits);
  while (batch.room != 0 && end - next >= 4) {
    if (no_bit_set(next)) {
      move(4);
    } else if (const uint32_t with_bits = words_with_bits(next); std::has_single_bit(with_bits)) {
      const uint32_t place = lowest_set_bit(with_bits) / 4;
      move(place + 1);
      word = put_bits(load_as<uint64_t>(next - 1), base, batch);
      if (batch.room != 0) move(3 - place);
    } else {
      for (const uint64_t* const stop = next + 4; next != stop && batch.room != 0;) {
        move(1);
        word = put_word(load_as<uint64_t>(next - 1), base, batch, next_bits);
      }
    }
  }
  while (batch.room != 0 && next != end) {
    move(1);
    word = put_bits(load_as<uint64_t>(next - 1), base, batch);
  }
  ctx->colx_ictx_next = next;
  ctx->colx_ictx_base = static_cast<int32_t>(base);
  if (next != first) ctx->colx_ictx_offset = 0;
  ctx->colx_ictx_word = word;
}

// Up to `max` next bits to `out`: whole words together, the last ones bit by bit.
template <class Form>
COLX_INLINE uint64_t next_bits(colx_lbiwv_ictx* ctx, uint32_t* out, uint64_t max) {
  if (max == 0) return 0;
  colx_lbiwv_ictx place = *ctx;  // in registers: a context in memory could be a part of `out`
  Batch batch = {out, max};
  put_whole_words(&place, batch);
  while (batch.room != 0) {
    const uint64_t bit = next_bit<Form, false>(&place);
    if (bit == Form::end) break;
    *batch.out = static_cast<uint32_t>(bit);
    advance(batch, 1);
  }
  *ctx = place;
  return max - batch.room;
}

}  // namespace colx
