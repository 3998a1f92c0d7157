// Bloom filters: which rows of a hash column have their one bit set in a filter that the host
// built. The column is big-endian, 4 or 8 bytes a value, of which the last four count. A flat
// filter is an array of bytes, bit b being bit b & 7 of byte b >> 3; a partitioned one is an array
// of addresses of such arrays. Of a filter only the bytes of tested bits are read.
//
// The kernels never clear the result. Whole groups of rows are stored plainly where a row passed,
// single rows are set by OR: a result that was not zero keeps some of its old bits.
#include <algorithm>
#include <utility>

#include "kernels/bitvec/bit_tables.h"
#include "kernels/bitvec/found_rows.h"
#include "kernels/join/key_layouts.h"

namespace colx {
namespace {

constexpr uint32_t group_rows = 16;
constexpr uint32_t batch_rows = 256;

// How far ahead of a group its column is fetched.
constexpr size_t column_prefetch_bytes = 640;

template <unsigned hash_bytes>
struct HashColumn {
  const uint8_t* data;
  COLX_INLINE const uint8_t* at(uint32_t row) const { return data + size_t{row} * hash_bytes; }
  COLX_INLINE uint32_t hash(uint32_t row) const {
    return load_big_endian<uint32_t>(at(row) + hash_bytes - 4);
  }
};

// The values of a group, where they stand.
template <unsigned hash_bytes>
struct GroupValues {
  const uint8_t* from;
  // Four rows in lanes.
  COLX_INLINE Vec hashes(unsigned row) const {
    const uint8_t* const at = from + row * hash_bytes;
    if constexpr (hash_bytes == 4) return lanes_byte_reversed<4>(load(at));
    return lanes_byte_reversed<4>(high_halves(load(at), load(at + 16)));
  }
  // The lines that a group takes.
  COLX_INLINE void prefetch_ahead() const {
    for (unsigned line = 0; line < hash_bytes * group_rows; line += 64)
      prefetch_once(from + column_prefetch_bytes + line);
  }
};

// Four numbers of 32 bits, in pairs: moving numbers from vectors to addresses is what a group waits
// for, and a pair moves as fast as one.
struct FourNumbers {
  uint64_t pair[2];
  COLX_INLINE explicit FourNumbers(Vec four) : pair{low_half(four), high_half(four)} {}
  // The load scales it: not done ahead, together with the shift that brings it down.
  COLX_INLINE uint64_t at(unsigned k) const {
    uint64_t number = static_cast<uint32_t>(pair[k / 2] >> k % 2 * 32);
    COLX_MEET_IN_REGISTER(number);
    return number;
  }
};

// Where a bit stands: byte and number, of which the low three bits count.
struct FilterBit {
  const uint8_t* byte;
  uint32_t bit;
};

COLX_INLINE uint32_t is_set(FilterBit at) {
  return *at.byte >> (at.bit & 7) & 1;
}

struct FlatFilter {
  const uint8_t* bits;
  uint32_t hash_mask;

  COLX_INLINE explicit FlatFilter(const colx_cv* filter)
      : bits(bytes_at(filter->colx_cv_bits, 0)),
        hash_mask(filter->colx_cv_encoding_context->colx_enc_ctx_bloom_hash_mask) {}

  COLX_INLINE FilterBit at(uint32_t hash) const {
    const uint32_t bit = hash & hash_mask;
    return {bits + (bit >> 3), bit};
  }

  // Four rows: the numbers of their bits, and where the bytes of these stand.
  struct Four {
    Vec bit;
    FourNumbers byte;
  };
  COLX_INLINE Four four(Vec hashes) const {
    const Vec bit = both(hashes, splat<4>(hash_mask));
    return {bit, FourNumbers(shifted_right<4, 3>(bit))};
  }
  COLX_INLINE const uint8_t* byte(const Four& four, unsigned k) const {
    return bits + four.byte.at(k);
  }
};

// A shift of 32 bits and more is the host's mistake: it gives partition 0 to groups, and is taken
// modulo 32 for single rows.
struct PartitionedFilter {
  const uint8_t* parts;
  uint32_t hash_mask;
  uint32_t part_shift;
  uint32_t bit_mask;

  COLX_INLINE explicit PartitionedFilter(const colx_cv* filter)
      : parts(bytes_at(filter->colx_cv_bits, 0)),
        hash_mask(filter->colx_cv_encoding_context->colx_enc_ctx_bloom_hash_mask),
        part_shift(filter->colx_cv_encoding_context->colx_enc_ctx_bloom_part_shift),
        bit_mask(filter->colx_cv_encoding_context->colx_enc_ctx_bloom_bit_mask) {}

  COLX_INLINE const uint8_t* part(uint64_t number) const {
    return load_as<const uint8_t*>(parts + number * 8);
  }
  COLX_INLINE FilterBit at(uint32_t hash) const {
    const uint32_t masked = hash & hash_mask;
    const uint32_t bit = masked & bit_mask;
    return {part(masked >> (part_shift & 31)) + (bit >> 3), bit};
  }

  struct Four {
    Vec bit;
    FourNumbers part;
    FourNumbers byte;
  };
  COLX_INLINE Four four(Vec hashes) const {
    const Vec masked = both(hashes, splat<4>(hash_mask));
    const Vec bit = both(masked, splat<4>(bit_mask));
    return {bit, FourNumbers(shifted_right_by(masked, part_shift)),
            FourNumbers(shifted_right<4, 3>(bit))};
  }
  COLX_INLINE const uint8_t* byte(const Four& four, unsigned k) const {
    return part(four.part.at(k)) + four.byte.at(k);
  }
};

// Where rows that pass go.
struct Passed {
  uint8_t* bits;
  FoundRows rows = {};

  COLX_INLINE void add_row(uint32_t row) {
    uint8_t* const word = bits + (row >> 6 << 3);
    store_as(word, load_as<uint64_t>(word) | uint64_t{1} << (row & 63));
    rows.add(row, 1);
  }

  // Bit i of `group` is row `row` + i.
  COLX_INLINE void add_group(uint32_t row, uint32_t group) {
    if (group == 0) return;
    store_as(bits + (row >> 3), static_cast<uint16_t>(group));
    rows.add(row, group);
  }

  COLX_INLINE void add_four_groups(uint32_t row, uint64_t groups) {
    store_four_blocks(bits + (row >> 3), groups);
    rows.add(row, groups);
  }
};

template <class Column, class Filter>
COLX_INLINE void test_rows(Passed& passed, const Column& column, const Filter& filter, uint32_t row,
                           uint32_t end) {
  for (; row < end; ++row)
    if (is_set(filter.at(column.hash(row)))) passed.add_row(row);
}

// Puts the bytes of four rows' bits into lanes; returns the numbers of the bits.
template <unsigned lane, class Filter>
COLX_INLINE Vec fetch_four(Vec& bytes, const Filter& filter, Vec hashes) {
  const auto four = filter.four(hashes);
  bytes = with_lane<1, lane>(bytes, *filter.byte(four, 0));
  bytes = with_lane<1, lane + 1>(bytes, *filter.byte(four, 1));
  bytes = with_lane<1, lane + 2>(bytes, *filter.byte(four, 2));
  bytes = with_lane<1, lane + 3>(bytes, *filter.byte(four, 3));
  COLX_MEET_IN_VECTOR(bytes);
  return both(four.bit, splat<4>(7));
}

// Bit i is set if row i of the group passes. Rows go by fours: registers do not hold the addresses
// of more.
template <class Values, class Filter>
COLX_INLINE uint32_t group_passed(const Values& values, const Filter& filter) {
  values.prefetch_ahead();
  Vec bytes = zeros();
  const Vec first = fetch_four<0>(bytes, filter, values.hashes(0));
  const Vec second = fetch_four<4>(bytes, filter, values.hashes(4));
  const Vec third = fetch_four<8>(bytes, filter, values.hashes(8));
  const Vec fourth = fetch_four<12>(bytes, filter, values.hashes(12));
  const Vec in_byte = narrowed<2>(narrowed<4>(first, second), narrowed<4>(third, fourth));
  const Vec wanted = shuffle(load(colx_bit_possible), in_byte);
  return top_bits(equal<1>(both(bytes, wanted), wanted));
}

// Groups begin at multiples of 8 rows. The rows before the first and behind the last are tested one
// by one. Four groups are added to the result without a branch, which would be missed where few
// rows pass.
template <unsigned hash_bytes, class Filter>
COLX_INLINE uint32_t test_all(colx_cv* res, const HashColumn<hash_bytes>& column, uint32_t rows,
                              const Filter& filter, const colx_kctx* kctx) {
  Passed passed = {bytes_at(res->colx_cv_bits, 0)};
  const uint64_t start = kctx->colx_kctx_start_row;
  const auto body = static_cast<uint32_t>(std::min<uint64_t>((start + 7) & ~uint64_t{7}, rows));
  test_rows(passed, column, filter, static_cast<uint32_t>(start), body);
  uint32_t row = body;
  for (; rows - row >= 4 * group_rows; row += 4 * group_rows) {
    const uint8_t* const from = column.at(row);
    uint64_t groups = 0;
#pragma GCC unroll 1
    for (unsigned g = 0; g < 4; ++g) {
      const GroupValues<hash_bytes> values = {from + g * group_rows * hash_bytes};
      groups = with_next_block(groups, group_passed(values, filter));
    }
    passed.add_four_groups(row, groups);
  }
  for (; rows - row >= group_rows; row += group_rows)
    passed.add_group(row, group_passed(GroupValues<hash_bytes>{column.at(row)}, filter));
  test_rows(passed, column, filter, row, rows);
  return passed.rows.close(res);
}

// Selected rows in batches: all bytes of a batch are on their way before the first one is tested.
// Which rows pass is listed without a branch.
template <class Column, class Filter>
COLX_INLINE uint32_t test_selected(colx_cv* res, const Column& column, uint32_t rows,
                                   const Filter& filter, colx_kctx* kctx) {
  colx_lbiwv_ictx selected;
  colx_lbiwv_ictx_ini2_dydi(&selected, kctx->colx_kctx_selection, rows, 0,
                            kctx->colx_kctx_start_row);
  kctx->colx_kctx_flags_out |= COLX_OUT_BLOOM_SELECTED;
  Passed passed = {bytes_at(res->colx_cv_bits, 0)};
  uint32_t batch[batch_rows];
  FilterBit bits[batch_rows];
  uint64_t taken;
  do {
    taken = colx_lbiwvones_dydi(&selected, batch, batch_rows);
    for (uint64_t k = 0; k < taken; ++k) {
      bits[k] = filter.at(column.hash(batch[k]));
      prefetch(bits[k].byte);
    }
    uint64_t kept = 0;
    for (uint64_t k = 0; k < taken; ++k) {
      batch[kept] = batch[k];
      kept += is_set(bits[k]);
    }
    for (uint64_t k = 0; k < kept; ++k) passed.add_row(batch[k]);
  } while (taken == batch_rows);
  return passed.rows.close(res);
}

template <bool selective, class Column, class Filter>
COLX_INLINE uint32_t test_column(colx_cv* res, const Column& column, uint32_t rows,
                                 const Filter& filter, colx_kctx* kctx) {
  if constexpr (selective) return test_selected(res, column, rows, filter, kctx);
  return test_all(res, column, rows, filter, kctx);
}

template <unsigned hash_bytes, bool selective>
COLX_INLINE uint32_t bloom(colx_cv* res, const colx_cv* src, const colx_cv* filter,
                           colx_kctx* kctx) {
  if (!(flags_of(src) & COLX_HASH_VALUES)) return COLX_NOT_SERVED;
  const HashColumn<hash_bytes> column = {bytes_at(src->colx_cv_data, 0)};
  const uint32_t rows = src->colx_cv_num_of_rows;
  if (filter->colx_cv_encoding_context->colx_enc_ctx_bloom_partitioned)
    return test_column<selective>(res, column, rows, PartitionedFilter(filter), kctx);
  return test_column<selective>(res, column, rows, FlatFilter(filter), kctx);
}

}  // namespace
}  // namespace colx

using namespace colx;

extern "C" {

#define COLX_DEFINE(name, hash_bytes, selective)                                \
  uint32_t name(colx_cv* res, colx_cv* src, colx_cv* filter, colx_kctx* kctx) { \
    return bloom<hash_bytes, selective>(res, src, filter, kctx);                \
  }
COLX_DEFINE(colx_bloom_hash32, 4, false)
COLX_DEFINE(colx_bloom_hash64, 8, false)
COLX_DEFINE(colx_bloom_hash32_selective, 4, true)
COLX_DEFINE(colx_bloom_hash64_selective, 8, true)

// The width is compared as one byte. A selection that is there is always used.
uint32_t colx_bloom_dydi(colx_cv* res, colx_cv* src, colx_cv* filter, colx_kctx* kctx) {
  const auto width = static_cast<uint8_t>(src->colx_cv_encoding_context->colx_enc_ctx_width);
  if (kctx->colx_kctx_selection)
    return width == 32 ? colx_bloom_hash32_selective(res, src, filter, kctx)
                       : colx_bloom_hash64_selective(res, src, filter, kctx);
  return width == 32 ? colx_bloom_hash32(res, src, filter, kctx)
                     : colx_bloom_hash64(res, src, filter, kctx);
}

}  // extern "C"
