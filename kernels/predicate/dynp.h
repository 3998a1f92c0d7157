// Columns of dynp rows: every row keeps as many bytes as it needs, 1 to 2, 4 or 8 of them. The data
// stream has the rows' bytes back to back, the length stream at colx_cv_aux a code per row, its
// length minus one. There are no offsets: a row lies where the lengths before it end.
//
//   rows 12, 12 34, AA BB CC, 01 02 03 04   lengths  1B   data  12|12 34|AA BB CC|01 02 03 04
//
// A row is compared as its kernel's word with zeros behind its bytes. Steps load 16 bytes at the
// first row of each group, so reads reach at most 16 bytes past the last group's start; a row by
// itself is read to its last byte and no further, and so is the length stream.
#pragma once

#include "kernels/predicate/dynp_tables.h"
#include "kernels/predicate/value_rows.h"

namespace colx {

// The `length` bytes at `bytes`, at least one, on top of 64 bits. Reads nothing else. Of an
// impossible length above 8 the first 8 bytes count.
template <unsigned L>
COLX_INLINE uint64_t leading_bytes(const uint8_t* bytes, unsigned length) {
  if (L == 8 && length >= 8) return load_big_endian<uint64_t>(bytes);
  // Two reads that overlap where the length is odd.
  const unsigned end = 64 - 8 * length;
  if (L == 8 && length >= 4)
    return uint64_t{load_big_endian<uint32_t>(bytes)} << 32 |
           uint64_t{load_big_endian<uint32_t>(bytes + length - 4)} << end;
  if (L >= 4 && length >= 2)
    return uint64_t{load_big_endian<uint16_t>(bytes)} << 48 |
           uint64_t{load_big_endian<uint16_t>(bytes + length - 2)} << end;
  return uint64_t{bytes[0]} << 56 | uint64_t{bytes[length - 1]} << end;
}

template <unsigned L>
struct DynpColumn {
  static constexpr unsigned lane = L;
  static constexpr unsigned vectors_per_step = 4;  // a group each
  static constexpr uint32_t steps_at_once = 1;
  static constexpr bool stored_lanes = false;
  static constexpr bool spare_byte = false;
  static constexpr uint32_t group_rows = rows_per_code_byte(L);

  struct Rows {
    const uint8_t* next;          // data
    const uint8_t* next_lengths;  // of the next step
    const uint8_t* lengths;
    const DynpTables* tables;
  };

  COLX_INLINE static Rows open(const ScanInput& in, const ScanArgs&) {
    const auto* lengths = static_cast<const uint8_t*>(in.src->colx_cv_aux);
    const DynpTables* tables = &dynp_tables<L>;
    COLX_MEET_IN_REGISTER(tables);  // or each table would take one
    return {in.data, lengths, lengths, tables};
  }

  COLX_INLINE static const uint8_t* next_codes(const Rows& rows) { return rows.next_lengths; }

  template <unsigned n>
  struct Groups {
    const uint8_t* data[n];
    size_t code_bytes[n];
    const DynpTables* tables;
  };

  template <unsigned n>
  COLX_INLINE static Groups<n> next_vectors(Rows& rows) {
    Groups<n> groups;
    groups.tables = rows.tables;
    prefetch(rows.next + stream_prefetch_bytes);
#pragma GCC unroll 8
    for (unsigned v = 0; v < n; ++v) {
      groups.data[v] = rows.next;
      groups.code_bytes[v] = rows.next_lengths[v];
      rows.next += rows.tables->lengths[groups.code_bytes[v]];
    }
    rows.next_lengths += n;
    return groups;
  }

  template <unsigned v, unsigned n>
  COLX_INLINE static Vec lanes(const Groups<n>& groups) {
    return shuffle(load(groups.data[v]), load(groups.tables->shuffles[groups.code_bytes[v]]));
  }

  COLX_INLINE static uint64_t value(Rows& rows, uint32_t r) {
    const unsigned length = row_code<L>(rows.lengths, r) + 1;
    const uint64_t value = leading_bytes<L>(rows.next, length);
    rows.next += length;
    return value;
  }

  template <Op>
  COLX_INLINE static uint64_t tail_constant(const Rows&, uint64_t c) {
    return c;
  }

  // The group of the row that was asked for last, or group 0.
  struct Walk {
    const uint8_t* data;    // the group's first row
    const uint8_t* length;  // the group's length byte
    uint32_t next_group;    // first row behind the group
  };

  COLX_INLINE static Walk walk(const uint8_t* data, const ScanArgs&, const colx_cv* src) {
    return {data, static_cast<const uint8_t*>(src->colx_cv_aux), group_rows};
  }

  // Whole groups are passed by their length bytes alone.
  COLX_INLINE static uint64_t value(Walk& walk, uint32_t r) {
    constexpr const LengthTable& length = dynp_tables<L>.lengths;
    for (; r >= walk.next_group; walk.next_group += group_rows) walk.data += length[*walk.length++];
    // As if the rows from r on had a byte each.
    const unsigned code_byte = *walk.length;
    const unsigned first = r % group_rows;
    const unsigned before = code_byte & ~(0xFFu >> first * code_bits(L));
    const unsigned offset = length[before] - (group_rows - first);
    return leading_bytes<L>(walk.data + offset, code_in_byte(L, code_byte, r) + 1);
  }
};

}  // namespace colx
