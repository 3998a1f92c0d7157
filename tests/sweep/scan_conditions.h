// The random conditions of a scan that have nothing to do with what its rows are: row counts,
// nulls, selection, flags, storage, run length. For the sweeps of all scan families.
#pragma once

#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"
#include "tests/support/undefined_inputs.h"

namespace colx::test {

// A row count beside a step or word edge, or any small one.
uint32_t random_row_count(Random& random);

// Fills everything but the streams and the constants. `has_twin` says whether flag 0x2 has a
// meaning to the kernel. Returns the number of rows that the kernel will look at.
uint32_t set_random_conditions(ScanBatch& batch, bool has_twin, Random& random);

// What undefined_input has to know of such a batch.
InputFacts facts_of(const ScanBatch& batch, uint32_t slot, uint32_t rows, uint64_t lo, uint64_t hi);

}  // namespace colx::test
