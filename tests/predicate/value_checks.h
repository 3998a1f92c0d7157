// Checks that hold for predicates on stored values of any form, crossed over operations, widths,
// row counts, patterns, constants and conditions. Each expects that nothing differs from the
// oracle; a failure says kernel, row and seed.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <vector>

#include "tests/support/dict_batch.h"
#include "tests/support/seeded_random.h"
#include "tests/support/value_batch.h"

namespace colx::test {

using oracle::ValueConstant;
using oracle::ValueScan;

inline ValueScan fixed_scan(uint32_t opc, unsigned width_bits, bool tz = false) {
  return {opc, COLX_ENC_FIXED, word_of_width(width_bits), tz};
}

inline ValueScan dynp_scan(uint32_t opc, unsigned word_bits, bool tz = false) {
  return {opc, COLX_ENC_DYNP, word_bits, tz};
}

// Calls body(scan, width) for the ten operations at each row width.
template <class Body>
void for_each_fixed(bool tz, Body body) {
  for (const unsigned width : fixed_widths) {
    for (const uint32_t opc : predicate_opcs) body(fixed_scan(opc, width, tz), width);
  }
}

template <class Body>
void for_each_dynp(bool tz, Body body) {
  for (const unsigned word : dynp_words) {
    for (const uint32_t opc : predicate_opcs) body(dynp_scan(opc, word, tz), word);
  }
}

struct ValueBounds {
  uint64_t lo;
  uint64_t hi;
};

// Bottom, top, middle, short and present constants; bounds in order, equal and reversed.
inline std::vector<ValueBounds> telling_value_bounds(unsigned width_bits) {
  const uint64_t one = uint64_t{1} << (64 - width_bits);
  const uint64_t top = 0 - one;
  const uint64_t middle = uint64_t{1} << 63;
  const uint64_t brief = stored({0x12});
  return {{0, top},
          {one, top - one},
          {middle, top},
          {middle, middle},
          {top, top},
          {top, 0},
          {0, 0},
          {middle, middle - one},
          {brief, middle},
          {brief, brief},
          {middle - one, middle}};
}

// Codes that rows have, one above them, and where nothing is refused any byte.
inline uint8_t random_tie(const ValueScan& scan, Random& random) {
  const unsigned longest = scan.word_bits / 8;
  if (scan.is_fixed() && random.one_in(3)) return static_cast<uint8_t>(random.next());
  return static_cast<uint8_t>(random.below(longest + 1));
}

inline ScanBatch random_value_batch(const ValueScan& scan, unsigned width_bits, Pattern pattern,
                                    uint32_t rows, ValueBounds bounds, Random& random) {
  const uint64_t centre = random.one_in(2) ? bounds.lo : bounds.hi;
  const ValueRows column = pattern_rows(scan, width_bits, pattern, rows, centre, random);
  return value_batch(scan, width_bits, column, {bounds.lo, random_tie(scan, random)},
                     {bounds.hi, random_tie(scan, random)});
}

// Every row count around the step edges; patterns and bounds take turns, so that each row count
// meets several of both and each pair meets several row counts.
inline void check_step_edges(const ValueScan& scan, unsigned width_bits, uint32_t kctx_flags = 0) {
  const std::vector<ValueBounds> bounds = telling_value_bounds(width_bits);
  size_t turn = scan.opc;
  for (const uint32_t rows : row_counts(oracle::rows_per_step(scan))) {
    for (uint32_t i = 0; i < 6; ++i, ++turn) {
      const uint64_t seed = mixed_seed(value_index(scan) * 64 + width_bits, 64 * rows + i);
      Random random(seed);
      ScanBatch batch =
          random_value_batch(scan, width_bits, all_patterns[turn / 2 % std::size(all_patterns)],
                             rows, bounds[turn % bounds.size()], random);
      batch.edge = i % 3 == 2 ? Edge::begin : Edge::end;
      batch.place = i % 2 == 0 ? Place::end : Place::middle;
      if (kctx_flags != 0) {
        batch.kctx_flags = kctx_flags;
        batch.selection = random.words(std::max(words_of(rows), 1u), 1 + i % 4);
      }
      ASSERT_EQ(value_difference(scan, batch), "") << "seed " << seed << " width " << width_bits;
    }
  }
}

// The whole cross product of patterns and bounds at a row count with a step and a tail.
inline void check_patterns_and_bounds(const ValueScan& scan, unsigned width_bits) {
  const uint32_t rows = oracle::rows_per_step(scan) + 7;
  for (const ValueBounds bounds : telling_value_bounds(width_bits)) {
    for (const Pattern pattern : all_patterns) {
      const uint64_t seed = mixed_seed(value_index(scan) * 64 + width_bits, bounds.lo ^ bounds.hi);
      Random random(seed);
      const ScanBatch batch = random_value_batch(scan, width_bits, pattern, rows, bounds, random);
      ASSERT_EQ(value_difference(scan, batch), "") << "seed " << seed << " width " << width_bits;
    }
  }
}

// Nulls, selection, both, walked selection, runs and the three ways to hold the column, all
// crossed.
inline void check_conditions(const ValueScan& scan, unsigned width_bits) {
  const uint32_t step = oracle::rows_per_step(scan);
  constexpr Store stores[] = {Store::plain, Store::compressed, Store::decompressed};
  for (const uint32_t rows : {1u, step - 1, 2 * step + 5}) {
    for (unsigned mix = 0; mix < 3 * 32; ++mix) {
      const auto has = [mix](unsigned bit) { return (mix / 3 >> bit & 1) != 0; };
      const uint64_t seed = mixed_seed(value_index(scan) * 64 + width_bits, 4096 * rows + mix);
      Random random(seed);
      const uint64_t lo = random.one_in(2) ? stored({0x40}) : stored({0x7F});
      ScanBatch batch = random_value_batch(scan, width_bits, Pattern::often_null, rows,
                                           {lo, stored({0xF0})}, random);
      batch.store = stores[mix % 3];
      batch.run_length = has(0);
      batch.expand_status = mix;
      if (has(1)) batch.nulls = random.words(words_of(rows));
      if (has(2)) batch.selection = random.words(words_of(rows) + 1, 2);
      batch.kctx_flags = has(3) ? COLX_KCTX_SELECTIVE : 0;
      batch.decode_status = has(4) ? 5 : 0;
      ASSERT_EQ(value_difference(scan, batch), "") << "seed " << seed << " width " << width_bits;
    }
  }
}

// For examples: the rows that are hits, ascending.
inline std::vector<uint32_t> hits(const ValueScan& scan, const ScanBatch& batch) {
  const ScanRun run = run_value_scan(scan, batch);
  std::vector<uint32_t> rows;
  for (uint32_t r = 0; r < batch.res_rows; ++r) {
    if (oracle::bit_at(run.bits.data(), r)) rows.push_back(r);
  }
  EXPECT_EQ(run.num_set, rows.size());
  EXPECT_EQ(run.status, rows.empty() ? 1u : 0u);
  EXPECT_EQ(run.damage, "");
  return rows;
}

inline std::vector<uint32_t> hits(const ValueScan& scan, unsigned width_bits, const ValueRows& rows,
                                  ValueConstant lo, ValueConstant hi = {}) {
  return hits(scan, value_batch(scan, width_bits, rows, lo, hi));
}

// A batch whose selection is walked.
inline ScanBatch walked(ScanBatch batch, Words selection) {
  batch.selection = std::move(selection);
  batch.kctx_flags = COLX_KCTX_SELECTIVE;
  return batch;
}

}  // namespace colx::test
