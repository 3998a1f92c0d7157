#include "tests/oracle/probe_oracle.h"

#include <algorithm>

#include "tests/oracle/native_numbers.h"

namespace colx::oracle {
namespace {

constexpr KeyLayout probe_order[] = {KeyLayout::fixed,  KeyLayout::lv_sep, KeyLayout::lv,
                                     KeyLayout::lp_sep, KeyLayout::lp,     KeyLayout::hash_values};

// Appends the row's hits to `written`. False if one of them found no room.
bool walk(const TableForm& form, const uint8_t* bucket, const TableRow& row, uint64_t room,
          bool first_bucket_only, std::vector<RidValue>& written) {
  for (;;) {
    const uint8_t header = bucket[0];
    for (unsigned slot = 0; slot < (header & used_slots_mask); ++slot) {
      const uint64_t key = native_at(bucket + form.keys_at + slot * form.key_bytes, form.key_bytes);
      if (key != row.key) continue;
      if (written.size() == room) return false;
      written.push_back({row.value, native_at(bucket + form.values_at + slot * form.value_bytes,
                                              form.value_bytes)});
      if ((header & unique_mark) != 0) return true;
    }
    if (first_bucket_only || (header & has_successor) == 0) return true;
    bucket = address_at(bucket + next_bucket_at);
  }
}

}  // namespace

bool none_chained(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                  std::span<const TableRow> rows) {
  return std::all_of(rows.begin(), rows.end(), [&](const TableRow& row) {
    return (*first_bucket(form, choice, buckets, row.hash) & has_successor) == 0;
  });
}

MatchOutcome match_rows(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                        std::span<const TableRow> rows, uint64_t room, bool skip_chains) {
  MatchOutcome outcome = {{}, 0, 0};
  for (const TableRow& row : rows) {
    const uint8_t* const bucket = first_bucket(form, choice, buckets, row.hash);
    if (!walk(form, bucket, row, room, skip_chains, outcome.written)) return outcome;
    outcome.counted = static_cast<uint32_t>(outcome.written.size());
    ++outcome.stop_row;
  }
  return outcome;
}

std::optional<ProbeKernel> probe_kernel(uint32_t ht_type, uint32_t src_flags,
                                        uint32_t payload_flags) {
  const bool autorid = (payload_flags & COLX_AUTORID) != 0;
  if ((ht_type & COLX_HT_GD) != 0) {
    if ((src_flags & COLX_GD) == 0) return {};
    for (const uint32_t type : {COLX_HT_K4V8, COLX_HT_K4V4}) {
      if ((ht_type & type) != 0) return ProbeKernel{table_form(type), KeyLayout::gd, autorid};
    }
    return {};
  }
  for (const TableForm& form : table_forms) {
    if (form.type != ht_type) continue;
    for (const KeyLayout layout : probe_order) {
      if ((src_flags & layout_flag(layout)) != 0) return ProbeKernel{form, layout, autorid};
    }
  }
  return {};
}

ProbeOutcome probe(const ProbeKernel& kernel, const colx_cv& res, const colx_cv& src,
                   const colx_cv& payload, const colx_ht& ht, colx_hash_fn fn,
                   const colx_kctx& kctx) {
  const BucketChoice choice = bucket_choice(ht, false);
  ProbeOutcome outcome = {COLX_DONE, kctx, 0, {}};
  uint64_t row = kctx.colx_kctx_position;
  uint64_t offset = kctx.colx_kctx_key_offset;
  while (outcome.status == COLX_DONE && row < src.colx_cv_num_of_rows) {
    const RowBlock block =
        row_block(kernel.form, kernel.layout, kernel.autorid, src, payload, row, offset, fn);
    const bool unchained = none_chained(kernel.form, choice, ht.colx_ht_buckets, block.rows);
    const MatchOutcome match = match_rows(kernel.form, choice, ht.colx_ht_buckets, block.rows,
                                          res.colx_cv_num_of_rows - outcome.counted, unchained);
    outcome.written.insert(outcome.written.end(), match.written.begin(), match.written.end());
    outcome.counted += match.counted;
    if (match.stop_row < block.rows.size()) outcome.status = COLX_PROBE_FULL;
    row += match.stop_row;
    if (is_stream(kernel.layout)) offset += block.starts[match.stop_row];
  }
  outcome.kctx.colx_kctx_position =
      static_cast<uint32_t>(std::min<uint64_t>(row, src.colx_cv_num_of_rows));
  if (is_stream(kernel.layout)) outcome.kctx.colx_kctx_key_offset = offset;
  return outcome;
}

}  // namespace colx::oracle
