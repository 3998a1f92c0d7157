// Tables of the dynp form, indexed by a length byte, which describes the rows of one group: eight
// rows of up to 2 bytes, four of up to 4, two of up to 8. A shuffle row turns the 16 bytes from the
// group's first row on into lanes; a length entry is how many of them the group takes.
//
//   length byte 1B   codes 0 1 2 3, rows of 1, 2, 3 and 4 bytes
//   stored           a|b b|c c c|d d d d
//   lanes            a 0 0 0|b b 0 0|c c c 0|d d d d   first byte on top
//
// Rows of one length are fixed rows, so the fixed kernels read rows of 3, 5, 6 and 7 bytes by them.
#pragma once

#include "kernels/predicate/row_codes.h"

namespace colx {

struct ShuffleTable {
  Mask rows[256];
  constexpr const Mask& operator[](unsigned length_byte) const { return rows[length_byte]; }
};

struct LengthTable {
  uint8_t bytes[256];
  constexpr unsigned operator[](unsigned length_byte) const { return bytes[length_byte]; }
};

// Codes of 4 bits have room for lengths that no row has. Such a byte is taken for a full group of
// zeros.
constexpr bool has_impossible_length(unsigned lane, unsigned length_byte) {
  return lane == 8 && (length_byte & 0x88) != 0;
}

constexpr ShuffleTable shuffle_table(unsigned lane) {
  ShuffleTable table{};
  for (unsigned i = 0; i < 256; ++i) {
    Mask& row = table.rows[i];
    for (uint8_t& byte : row.bytes) byte = 0x80;
    if (has_impossible_length(lane, i)) continue;
    unsigned cursor = 0;
    for (unsigned j = 0; j < rows_per_code_byte(lane); ++j)
      for (unsigned m = 0; m <= code_in_byte(lane, i, j); ++m)
        row.bytes[j * lane + lane - 1 - m] = static_cast<uint8_t>(cursor++);
  }
  return table;
}

constexpr LengthTable length_table(unsigned lane) {
  LengthTable table{};
  for (unsigned i = 0; i < 256; ++i) {
    unsigned length = 0;
    for (unsigned j = 0; j < rows_per_code_byte(lane); ++j) length += code_in_byte(lane, i, j) + 1;
    table.bytes[i] = static_cast<uint8_t>(has_impossible_length(lane, i) ? 16 : length);
  }
  return table;
}

// The tables of lanes of L bytes, side by side: a step reaches both from one register.
struct DynpTables {
  ShuffleTable shuffles;
  LengthTable lengths;
};
template <unsigned L>
inline constexpr DynpTables dynp_tables = {shuffle_table(L), length_table(L)};

inline constexpr const ShuffleTable& colx_shuffle_masks_dynp_maxwidth2 = dynp_tables<2>.shuffles;
inline constexpr const ShuffleTable& colx_shuffle_masks_dynp_maxwidth4 = dynp_tables<4>.shuffles;
inline constexpr const ShuffleTable& colx_shuffle_masks_dynp_maxwidth8 = dynp_tables<8>.shuffles;
inline constexpr const LengthTable& colx_length_consumed_dynp_maxwidth2 = dynp_tables<2>.lengths;
inline constexpr const LengthTable& colx_length_consumed_dynp_maxwidth4 = dynp_tables<4>.lengths;
inline constexpr const LengthTable& colx_length_consumed_dynp_maxwidth8 = dynp_tables<8>.lengths;

template <unsigned L>
constexpr bool group_is(unsigned length_byte, std::array<uint8_t, 16> shuffle, unsigned length) {
  return begins(dynp_tables<L>.shuffles[length_byte], shuffle) &&
         dynp_tables<L>.lengths[length_byte] == length;
}
static_assert(group_is<2>(0x00,
                          {0x80, 0, 0x80, 1, 0x80, 2, 0x80, 3,  //
                           0x80, 4, 0x80, 5, 0x80, 6, 0x80, 7},
                          8));
static_assert(group_is<2>(0x80,
                          {1, 0, 0x80, 2, 0x80, 3, 0x80, 4,  //
                           0x80, 5, 0x80, 6, 0x80, 7, 0x80, 8},
                          9));
static_assert(group_is<2>(0xFF, {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14}, 16));
static_assert(group_is<4>(0x00,
                          {0x80, 0x80, 0x80, 0, 0x80, 0x80, 0x80, 1,  //
                           0x80, 0x80, 0x80, 2, 0x80, 0x80, 0x80, 3},
                          4));
static_assert(group_is<4>(0x1B,
                          {0x80, 0x80, 0x80, 0, 0x80, 0x80, 2, 1,  //
                           0x80, 5, 4, 3, 9, 8, 7, 6},
                          10));
static_assert(group_is<4>(0xAA, {0x80, 2, 1, 0, 0x80, 5, 4, 3, 0x80, 8, 7, 6, 0x80, 11, 10, 9},
                          12));
static_assert(group_is<4>(0xFF, {3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12}, 16));
static_assert(group_is<8>(0x00,
                          {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0,  //
                           0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 1},
                          2));
static_assert(group_is<8>(0x44, {0x80, 0x80, 0x80, 4, 3, 2, 1, 0, 0x80, 0x80, 0x80, 9, 8, 7, 6, 5},
                          10));
static_assert(group_is<8>(0x77, {7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8}, 16));
static_assert(group_is<8>(0x08,
                          {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,  //
                           0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80},
                          16));

}  // namespace colx
