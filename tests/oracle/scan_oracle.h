// What any scan must leave behind, given a test for one row.
//
// The oracle reads the same records as the kernel and changes none of them. A family supplies its
// row test and the few facts in which its frame differs; everything else (which record the row
// count comes from, selective twin or full scan, nulls, selection, run expansion, count, status and
// output flags) is worked out here, one bit at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

struct ScanFamily {
  bool has_twin = true;     // flag 0x2 with a selection hands over to the selective twin
  bool reads_nulls = true;  // colx_cv_nulls is ANDed in
  uint32_t selected_flag = COLX_OUT_SCAN_SELECTED;  // set in colx_kctx_flags_out by a selection
};

// The rows of one vector: which are hits, and whether a full scan leaves the bits above them set
// in the last word (a complement of whole words does).
struct ScanRows {
  std::function<bool(uint32_t row)> hit;
  bool ones_above = false;
};

// What the records say of a scan before it looks at a row.
struct ScanPlan {
  uint32_t rows;  // how many rows are looked at
  bool by_twin;   // only the selected ones among them
  bool per_run;   // the output is colx_enc_ctx_rle_bits, not colx_cv_bits
};

ScanPlan scan_plan(const colx_cv& res, const colx_cv& src, const colx_kctx* kctx,
                   const ScanFamily& family);

struct ScanOutcome : ScanPlan {
  bool refused;                 // nothing was done: no word, no count, no call of the host
  std::vector<uint64_t> words;  // exactly the words that are written there
  uint32_t num_set;             // colx_cv_num_set of the result
  uint32_t flags_out;           // colx_kctx_flags_out; meaningless without a kctx
  bool expands;                 // the status is that of the run expansion callback
  uint32_t status;              // the kernel's own status otherwise
};

// Bit `row` of a word vector.
bool bit_at(const uint64_t* words, uint64_t row);

ScanOutcome scan_outcome(const colx_cv& res, const colx_cv& src, const colx_kctx* kctx,
                         const ScanFamily& family, const ScanRows& rows);

// A call that returns that status before it touches anything.
ScanOutcome refused_outcome(const colx_cv& res, const colx_kctx* kctx, uint32_t status);

}  // namespace colx::oracle
