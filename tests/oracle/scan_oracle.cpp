#include "tests/oracle/scan_oracle.h"

namespace colx::oracle {
namespace {

void set_bit(std::vector<uint64_t>& words, uint64_t row) {
  words[row / 64] |= uint64_t{1} << row % 64;
}

// Whole words are combined, and with them what lies above the rows.
void and_with(std::vector<uint64_t>& words, const uint64_t* other) {
  for (size_t i = 0; i < words.size(); ++i) words[i] &= other[i];
}

uint32_t hits_among(const std::vector<uint64_t>& words, uint32_t rows) {
  uint32_t hits = 0;
  for (uint32_t r = 0; r < rows; ++r) hits += bit_at(words.data(), r) ? 1 : 0;
  return hits;
}

}  // namespace

bool bit_at(const uint64_t* words, uint64_t row) {
  return (words[row / 64] >> row % 64 & 1) != 0;
}

ScanPlan scan_plan(const colx_cv& res, const colx_cv& src, const colx_kctx* kctx,
                   const ScanFamily& family) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const bool run_length = (encoding.colx_enc_ctx_flags & COLX_RLE) != 0;
  ScanPlan plan = {};
  plan.by_twin = family.has_twin && kctx != nullptr && kctx->colx_kctx_selection != nullptr &&
                 (kctx->colx_kctx_flags & COLX_KCTX_SELECTIVE) != 0;
  plan.per_run = run_length && !plan.by_twin;
  plan.rows = plan.by_twin   ? src.colx_cv_num_of_rows
              : plan.per_run ? encoding.colx_enc_ctx_rle_rows
                             : res.colx_cv_num_of_rows;
  return plan;
}

ScanOutcome scan_outcome(const colx_cv& res, const colx_cv& src, const colx_kctx* kctx,
                         const ScanFamily& family, const ScanRows& rows) {
  const uint64_t* const selection = kctx != nullptr ? kctx->colx_kctx_selection : nullptr;
  const uint64_t* const nulls = family.reads_nulls ? src.colx_cv_nulls : nullptr;

  ScanOutcome outcome = {};
  static_cast<ScanPlan&>(outcome) = scan_plan(res, src, kctx, family);
  outcome.expands = outcome.per_run;

  std::vector<uint64_t> words((uint64_t{outcome.rows} + 63) / 64, 0);
  for (uint32_t r = 0; r < outcome.rows; ++r) {
    const bool looked_at = !outcome.by_twin || bit_at(selection, r);
    if (looked_at && rows.hit(r)) set_bit(words, r);
  }
  if (rows.ones_above && !outcome.by_twin) {
    for (uint64_t r = outcome.rows; r < 64 * words.size(); ++r) set_bit(words, r);
  }
  if (nulls != nullptr) and_with(words, nulls);
  if (selection != nullptr && !outcome.by_twin) and_with(words, selection);

  outcome.num_set = hits_among(words, outcome.rows);
  outcome.status = outcome.num_set == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
  outcome.flags_out = (kctx != nullptr ? kctx->colx_kctx_flags_out : 0) |
                      (selection != nullptr ? family.selected_flag : 0);
  outcome.words = std::move(words);
  return outcome;
}

ScanOutcome refused_outcome(const colx_cv& res, const colx_kctx* kctx, uint32_t status) {
  ScanOutcome outcome = {};
  outcome.refused = true;
  outcome.num_set = res.colx_cv_num_set;
  outcome.flags_out = kctx != nullptr ? kctx->colx_kctx_flags_out : 0;
  outcome.status = status;
  return outcome;
}

}  // namespace colx::oracle
