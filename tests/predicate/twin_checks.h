// Checks that hold for the selective twins of all predicates on stored values.
#pragma once

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "kernels/frame/kernels.h"
#include "tests/predicate/value_checks.h"

namespace colx::test {

inline constexpr uint64_t all_rows = ~uint64_t{0};

// A column of near values around the constants, and the selection walked.
inline ScanBatch walked_batch(const ValueScan& scan, unsigned width_bits, uint32_t rows,
                              Words selection, Random& random) {
  const ValueBounds bounds = {stored({0x80}), stored({0x80}) + (uint64_t{2} << (64 - width_bits))};
  return walked(random_value_batch(scan, width_bits, Pattern::near, rows, bounds, random),
                std::move(selection));
}

// A column in which every row is a hit of ge and of ranges that are closed below.
inline ScanBatch walked_equal_rows(const ValueScan& scan, unsigned width_bits, uint32_t rows,
                                   Words selection) {
  const uint64_t value = stored({0x21});
  const uint8_t tie = 1;
  return walked(value_batch(scan, width_bits, ValueRows(rows, ValueRow{value, 1}), {value, tie},
                            {value, tie}),
                std::move(selection));
}

inline bool is_closed(const ValueScan& scan) {
  return scan.opc == COLX_OPC_EQ || scan.opc == COLX_OPC_LE || scan.opc == COLX_OPC_GE ||
         scan.opc == COLX_OPC_GE_LE;
}

inline void check_every_row_alone(const ValueScan& scan, unsigned width_bits) {
  Random random(mixed_seed(value_index(scan), width_bits));
  const ScanBatch all = walked_batch(scan, width_bits, 70, {0, 0}, random);
  for (uint32_t row = 0; row < 70; ++row) {
    Words selection(2, 0);
    selection[row / 64] = uint64_t{1} << row % 64;
    ASSERT_EQ(value_difference(scan, walked(all, selection)), "") << "row " << row;
  }
}

// Bits and count are those of the full scan that ANDs the selection; ties in their codes' range,
// where step and walk agree.
inline void check_twin_against_full_scan(const ValueScan& scan, unsigned width_bits) {
  for (const uint32_t rows : {1u, 63u, 64u, 65u, 150u}) {
    const uint64_t seed = mixed_seed(value_index(scan) * 64 + width_bits, rows);
    Random random(seed);
    ScanBatch batch = walked_batch(scan, width_bits, rows, random.words(words_of(rows), 2), random);
    for (std::vector<Bytes>* const args : {&batch.args, &batch.hi_args}) {
      if (scan.compares_codes() && !args->empty()) (*args)[1][0] %= scan.word_bits / 8;
    }
    if (rows % 2 == 0) batch.nulls = random.words(words_of(rows));
    const ScanRun by_twin = run_value_scan(scan, batch);
    batch.kctx_flags = 0;
    const ScanRun by_full_scan = run_value_scan(scan, batch);
    ASSERT_EQ(by_twin.bits, by_full_scan.bits) << value_kernel(scan).name << " seed " << seed;
    ASSERT_EQ(by_twin.num_set, by_full_scan.num_set);
    ASSERT_EQ(by_twin.status, by_full_scan.status);
    ASSERT_EQ(by_twin.flags_out, by_full_scan.flags_out);
  }
}

inline void check_empty_selection(const ValueScan& scan, unsigned width_bits) {
  const ScanRun run = run_value_scan(scan, walked_equal_rows(scan, width_bits, 100, {0, 0}));
  ASSERT_EQ(run.bits, (Words{0, 0}));
  ASSERT_EQ(run.flags_out, 0x200u);
  ASSERT_EQ(run.num_set, 0u);
  ASSERT_EQ(run.status, 1u);
}

inline void check_sizes_of_selection(const ValueScan& scan, unsigned width_bits) {
  if (!is_closed(scan)) return;
  for (uint32_t size = 0; size <= 20; ++size) {
    const uint64_t chosen = ((uint64_t{1} << size) - 1) << 3;
    const ScanRun run = run_value_scan(scan, walked_equal_rows(scan, width_bits, 64, {chosen}));
    ASSERT_EQ(run.bits, Words{chosen}) << value_kernel(scan).name;
    ASSERT_EQ(run.num_set, size);
  }
}

inline void check_selection_beyond_the_rows(const ValueScan& scan, unsigned width_bits) {
  const ScanBatch batch =
      walked_equal_rows(scan, width_bits, 70, {1, all_rows, all_rows, all_rows});
  ASSERT_EQ(value_difference(scan, batch), "");
  ASSERT_EQ(run_value_scan(scan, batch).bits[1] >> 6, 0u);
}

// Rows, codes and width record need not even be there.
inline void check_no_rows(const ValueScan& scan, unsigned width_bits) {
  ScanBatch batch = walked_equal_rows(scan, width_bits, 0, {all_rows});
  batch.stream_readable = false;
  const ScanRun run = run_value_scan(scan, batch);
  ASSERT_EQ(run.status, 1u);
  ASSERT_EQ(run.num_set, 0u);
  ASSERT_EQ(run.flags_out, 0x200u);
  ASSERT_EQ(run.damage, "");
}

inline void check_rows_of_source_and_bits_of_result(const ValueScan& scan, unsigned width_bits) {
  ScanBatch batch = walked_equal_rows(scan, width_bits, 70, {3, 1});
  batch.run_length = true;
  batch.run_rows = 5;
  batch.res_rows = 2;
  batch.expand_status = 9;
  ASSERT_EQ(value_difference(scan, batch), "");
  ASSERT_TRUE(scan_stage().host.order.empty());
  batch.res_rows = 200;
  ASSERT_EQ(value_difference(scan, batch), "");
}

inline void check_nulls_are_the_only_and(const ValueScan& scan, unsigned width_bits) {
  if (!is_closed(scan)) return;
  ScanBatch batch = walked_equal_rows(scan, width_bits, 64, {0xFF0});
  batch.nulls = Words{0x0FF};
  const ScanRun run = run_value_scan(scan, batch);
  ASSERT_EQ(run.bits, Words{0x0F0}) << value_kernel(scan).name;
  ASSERT_EQ(run.num_set, 4u);
}

inline void check_texts_of_the_plain_name(const ValueScan& scan, unsigned width_bits) {
  ScanBatch batch = walked_equal_rows(scan, width_bits, 70, {3, 1});
  batch.store = Store::compressed;
  batch.decode_status = 4;
  const std::string name = value_kernel(scan).name;
  ASSERT_EQ(value_difference(scan, batch), "");
  ASSERT_EQ(scan_stage().host.cached_allocations.at(0).label, name + ": vec1_decomp");
  ASSERT_EQ(scan_stage().host.raised.at(0).text, name + ": colx_wpak_decode failed");
}

inline void check_output_flag_is_ored_in(const ValueScan& scan, unsigned width_bits) {
  ScanBatch batch = walked_equal_rows(scan, width_bits, 1, {1});
  batch.flags_out = 0x401;
  ASSERT_EQ(run_value_scan(scan, batch).flags_out, 0x601u);
}

// --- the twins by their own names

struct NamedTwin {
  const char* entered_as;  // the kernel whose twin it is
  colx_kernel_fn twin;
};

// Those with that part in their name, say "_dynp_".
inline std::vector<NamedTwin> named_twins(const char* part) {
#define COLX_TWIN(form, name, op, enc, code, flag) \
  NamedTwin{#name, reinterpret_cast<colx_kernel_fn>(&name##_selective)},
  const NamedTwin all[] = {COLX_SELECTIVE_TWINS(COLX_TWIN)};
#undef COLX_TWIN
  std::vector<NamedTwin> twins;
  for (const NamedTwin& twin : all) {
    if (std::strstr(twin.entered_as, part) != nullptr) twins.push_back(twin);
  }
  return twins;
}

inline size_t distinct_twins(const char* part) {
  std::set<colx_kernel_fn> distinct;
  for (const NamedTwin& twin : named_twins(part)) distinct.insert(twin.twin);
  return distinct.size();
}

inline uint32_t slot_named(const char* name) {
  uint32_t slot = 0;
  while (slot + 1 < COLX_DISPATCH_SLOTS && std::strcmp(colx_dispatch_func_names[slot], name) != 0)
    ++slot;
  return slot;
}

// Called directly, without the flag that makes a kernel hand over, a twin walks all the same.
inline void check_twins_by_name(const char* part) {
  for (const NamedTwin& named : named_twins(part)) {
    const ValueScan scan = value_scan_at(slot_named(named.entered_as));
    Random random(mixed_seed(value_index(scan), 5));
    ScanBatch batch = walked_batch(scan, scan.word_bits, 70, {0x5D5D5D5D, 3}, random);
    const ScanRun entered = run_value_scan(scan, batch);
    batch.kctx_flags = 0;
    batch.res_rows = 2;  // a full scan would stop here
    const ScanKernel twin = {named.entered_as, named.twin, oracle::is_range(scan.opc)};
    const ScanRun called = scan_stage().run(twin, batch);
    ASSERT_EQ(called.bits, entered.bits) << named.entered_as;
    ASSERT_EQ(called.num_set, entered.num_set) << named.entered_as;
    ASSERT_EQ(called.flags_out, 0x200u);
  }
}

}  // namespace colx::test
