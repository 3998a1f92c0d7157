// Run-length columns: what the burst kernels make of bits per run, what an expansion of run values
// writes, and the cumulative arrays.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

// Where a burst kernel takes the rows of a run from.
enum class RunRows { byte_lengths, two_byte_lengths, cumulative };

// The forms that the entries pick among; the cla entries know the first two only. The inverted ones
// begin with every row set and take the runs away that are not hit.
enum class BurstForm { selective, inv_selective, local_cla, inv_local_cla };

BurstForm burst_form(RunRows kind, uint32_t runs, uint64_t set);

constexpr bool is_inverted(BurstForm form) {
  return form == BurstForm::inv_selective || form == BurstForm::inv_local_cla;
}

struct BurstOutcome {
  std::vector<uint64_t> words;  // exactly the words that are written
  uint32_t num_set;
  uint32_t status;
};

// What one form makes of `kctx`, the record that a scan hands to the expansion: bits per run and
// how many are set. That number has picked the form and means nothing any more.
BurstOutcome burst_outcome(BurstForm form, RunRows kind, const colx_cv& res, const colx_cv& src,
                           const colx_kctx& kctx);

// Length of one run as stored: one byte, or two bytes big-endian.
uint32_t stored_run_length(const void* lengths, unsigned length_bits, uint32_t run);

// The elements that an expansion of `values` writes. The first run has `first_len` elements
// whatever its entry in `lengths` says, and the last one ends `last_cut` elements early.
std::vector<uint32_t> expanded_runs(std::span<const uint32_t> values, const void* lengths,
                                    unsigned length_bits, uint32_t first_len, uint32_t last_cut);

// One entry more than there are lengths, big-endian 32-bit numbers.
std::vector<uint8_t> cumulative_array(std::span<const uint32_t> lengths);

}  // namespace colx::oracle
