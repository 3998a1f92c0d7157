#include "tests/oracle/run_length_oracle.h"

#include "tests/oracle/bit_vectors.h"
#include "tests/oracle/stored_numbers.h"

namespace colx::oracle {
namespace {

struct RowRange {
  uint32_t first;
  uint32_t length;
};

std::vector<RowRange> rows_of_runs(RunRows kind, const colx_enc_ctx& encoding) {
  std::vector<RowRange> ranges;
  uint32_t position = 0;
  for (uint32_t run = 0; run < encoding.colx_enc_ctx_rle_rows; ++run) {
    if (kind == RunRows::cumulative) {
      const auto* const cla = static_cast<const uint8_t*>(encoding.colx_enc_ctx_rle_cla);
      const auto first = static_cast<uint32_t>(big_endian_at(cla + 4 * size_t{run}, 4));
      const auto end = static_cast<uint32_t>(big_endian_at(cla + 4 * (size_t{run} + 1), 4));
      ranges.push_back({first, end - first});
    } else {
      const unsigned length_bits = kind == RunRows::byte_lengths ? 8 : 16;
      const uint32_t length = stored_run_length(encoding.colx_enc_ctx_rle_runs, length_bits, run);
      ranges.push_back({position, length});
      position += length;
    }
  }
  return ranges;
}

}  // namespace

BurstForm burst_form(RunRows kind, uint32_t runs, uint64_t set) {
  const bool more_than_half = set > runs / 2;
  if (kind == RunRows::cumulative) {
    return more_than_half ? BurstForm::inv_selective : BurstForm::selective;
  }
  if (set < static_cast<uint64_t>(runs * 0.02)) return BurstForm::selective;
  if (set > static_cast<uint64_t>(runs * 0.98)) return BurstForm::inv_selective;
  return more_than_half ? BurstForm::inv_local_cla : BurstForm::local_cla;
}

BurstOutcome burst_outcome(BurstForm form, RunRows kind, const colx_cv& res, const colx_cv& src,
                           const colx_kctx& kctx) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const uint32_t rows = res.colx_cv_num_of_rows;
  BurstOutcome outcome = {};
  outcome.words.assign((uint64_t{rows} + 63) / 64, 0);

  // Rows that no run covers are as the form began.
  const bool begins_set = is_inverted(form);
  for (uint32_t row = 0; row < rows; ++row) put_bit(outcome.words.data(), row, begins_set);

  uint32_t changed = 0;
  uint32_t run = 0;
  for (const RowRange range : rows_of_runs(kind, encoding)) {
    if (bit_at(kctx.colx_kctx_selection, run++) == begins_set) continue;
    for (uint32_t i = 0; i < range.length; ++i) {
      put_bit(outcome.words.data(), range.first + i, !begins_set);
    }
    changed += range.length;
  }
  outcome.num_set = begins_set ? rows - changed : changed;
  outcome.status = outcome.num_set == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
  return outcome;
}

uint32_t stored_run_length(const void* lengths, unsigned length_bits, uint32_t run) {
  const unsigned bytes = length_bits / 8;
  return static_cast<uint32_t>(
      big_endian_at(static_cast<const uint8_t*>(lengths) + size_t{run} * bytes, bytes));
}

std::vector<uint32_t> expanded_runs(std::span<const uint32_t> values, const void* lengths,
                                    unsigned length_bits, uint32_t first_len, uint32_t last_cut) {
  std::vector<uint32_t> elements;
  for (uint32_t run = 0; run < values.size(); ++run) {
    uint32_t length = run == 0 ? first_len : stored_run_length(lengths, length_bits, run);
    if (run + 1 == values.size()) length -= last_cut;
    elements.insert(elements.end(), length, values[run]);
  }
  return elements;
}

std::vector<uint8_t> cumulative_array(std::span<const uint32_t> lengths) {
  std::vector<uint32_t> entries = {0};
  for (const uint32_t length : lengths) entries.push_back(entries.back() + length);
  return big_endian_array(entries, 4);
}

}  // namespace colx::oracle
