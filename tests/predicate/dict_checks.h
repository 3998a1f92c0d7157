// Checks that hold for dictionary predicates of any width, crossed over operations, row counts,
// patterns, constants and conditions. Each expects that nothing differs from the oracle; a failure
// says kernel, row and seed.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <vector>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/support/code_patterns.h"
#include "tests/support/dict_batch.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

struct Bounds {
  uint64_t lo;
  uint64_t hi;
};

// Bottom, top, middle and present constants; bounds in order, equal and reversed.
inline std::vector<Bounds> telling_bounds(unsigned width_bits) {
  const uint64_t top = top_code(width_bits);
  const uint64_t middle = top / 2 + 1;
  return {{0, top},    {1, top - 1},      {middle, top}, {middle, middle},
          {top, top},  {top, 0},          {0, 0},        {middle, middle - 1},
          {0, middle}, {middle - 1, top}, {1, 1},        {top - 1, top}};
}

inline oracle::DictScan dict_scan(uint32_t opc, unsigned width_bits, bool null_form = false) {
  return {opc, width_bits, null_form};
}

// Calls body(scan) for the ten operations at each width, plain or _null.
template <class Body>
void for_each_scan(std::span<const unsigned> widths, bool null_form, Body body) {
  for (const unsigned width : widths) {
    for (const uint32_t opc : predicate_opcs) body(dict_scan(opc, width, null_form));
  }
}

// Every row count around the step edges; patterns and bounds take turns, so that each row count
// meets several of both and each pair meets several row counts.
inline void check_step_edges(const oracle::DictScan& scan, uint32_t kctx_flags = 0) {
  const std::vector<Bounds> bounds = telling_bounds(scan.width_bits);
  size_t turn = scan.opc;
  for (const uint32_t rows : row_counts(dict_rows_per_step(scan.width_bits))) {
    for (int i = 0; i < 6; ++i, ++turn) {
      const uint64_t seed = mixed_seed(dict_index(scan), 64 * rows + i);
      Random random(seed);
      const Bounds b = bounds[turn % bounds.size()];
      const Pattern pattern = all_patterns[turn / 2 % std::size(all_patterns)];
      const uint64_t centre = i % 2 == 0 ? b.lo : b.hi;
      ScanBatch batch = dict_batch(
          scan, pattern_codes(pattern, scan.width_bits, rows, centre, random), b.lo, b.hi);
      batch.edge = i % 3 == 2 ? Edge::begin : Edge::end;
      batch.place = i % 2 == 0 ? Place::end : Place::middle;
      if (kctx_flags != 0) {
        batch.kctx_flags = kctx_flags;
        batch.selection = random.words(std::max(words_of(rows), 1u), 1 + i % 4);
      }
      ASSERT_EQ(dict_difference(scan, batch), "") << "seed " << seed;
    }
  }
}

// The whole cross product of patterns and bounds at a row count with a step and a tail.
inline void check_patterns_and_bounds(const oracle::DictScan& scan) {
  const uint32_t rows = dict_rows_per_step(scan.width_bits) + 9;
  for (const Bounds b : telling_bounds(scan.width_bits)) {
    for (const Pattern pattern : all_patterns) {
      const uint64_t seed = mixed_seed(dict_index(scan), b.lo ^ 3 * b.hi);
      Random random(seed);
      const ScanBatch batch =
          dict_batch(scan, pattern_codes(pattern, scan.width_bits, rows, b.lo, random), b.lo, b.hi);
      ASSERT_EQ(dict_difference(scan, batch), "") << "seed " << seed;
    }
  }
}

// Nulls, selection, both, walked selection, runs and the three ways to hold the column, all
// crossed.
inline void check_conditions(const oracle::DictScan& scan) {
  const uint32_t step = dict_rows_per_step(scan.width_bits);
  constexpr Store stores[] = {Store::plain, Store::compressed, Store::decompressed};
  for (const uint32_t rows : {1u, step - 1, 2 * step + 5}) {
    for (unsigned mix = 0; mix < 3 * 32; ++mix) {
      const auto has = [mix](unsigned bit) { return (mix / 3 >> bit & 1) != 0; };
      const uint64_t seed = mixed_seed(dict_index(scan), 4096 * rows + mix);
      Random random(seed);
      const uint64_t top = top_code(scan.width_bits);
      const uint64_t lo = random.below(2) == 0 ? top / 4 : top / 2;
      ScanBatch batch = dict_batch(
          scan, pattern_codes(Pattern::often_null, scan.width_bits, rows, lo, random), lo, top);
      batch.store = stores[mix % 3];
      batch.run_length = has(0);
      batch.expand_status = mix;
      if (has(1)) batch.nulls = random.words(words_of(rows));
      if (has(2)) batch.selection = random.words(words_of(rows) + 1, 2);
      batch.kctx_flags = has(3) ? COLX_KCTX_SELECTIVE : 0;
      batch.decode_status = has(4) ? 5 : 0;
      ASSERT_EQ(dict_difference(scan, batch), "") << "seed " << seed;
    }
  }
}

// The same rows in a step and in the tail: shifted by a step less one row's place in the output
// they give the same bits. A step ends on a byte boundary, so the shift is a shift by whole bytes.
inline void check_tail_against_step(const oracle::DictScan& scan, Bounds bounds) {
  const uint32_t step = dict_rows_per_step(scan.width_bits);
  const uint64_t seed = mixed_seed(dict_index(scan), bounds.lo);
  Random random(seed);
  std::vector<uint64_t> in_step =
      pattern_codes(Pattern::near, scan.width_bits, step, bounds.lo, random);
  for (uint64_t& code : in_step) {
    if (random.one_in(3)) code = random.bits(scan.width_bits);
  }
  std::vector<uint64_t> in_tail(step, 0);
  in_tail.insert(in_tail.end(), in_step.begin(), in_step.end() - 1);

  const ScanRun by_step = run_dict(scan, dict_batch(scan, in_step, bounds.lo, bounds.hi));
  const ScanRun by_tail = run_dict(scan, dict_batch(scan, in_tail, bounds.lo, bounds.hi));
  for (uint32_t row = 0; row + 1 < step; ++row) {
    ASSERT_EQ(oracle::bit_at(by_step.bits.data(), row),
              oracle::bit_at(by_tail.bits.data(), step + row))
        << dict_kernel(scan).name << " row " << row << " code " << in_step[row] << " seed " << seed;
  }
}

// For examples: the rows that are hits, ascending.
inline std::vector<uint32_t> hits(const oracle::DictScan& scan, const std::vector<uint64_t>& codes,
                                  uint64_t lo, uint64_t hi = 0) {
  const ScanRun run = run_dict(scan, dict_batch(scan, codes, lo, hi));
  std::vector<uint32_t> rows;
  for (uint32_t r = 0; r < codes.size(); ++r) {
    if (oracle::bit_at(run.bits.data(), r)) rows.push_back(r);
  }
  EXPECT_EQ(run.num_set, rows.size());
  EXPECT_EQ(run.status, rows.empty() ? 1u : 0u);
  EXPECT_EQ(run.damage, "");
  return rows;
}

}  // namespace colx::test
