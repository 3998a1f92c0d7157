#include "tests/oracle/hash_table_oracle.h"

#include <algorithm>
#include <cstdlib>

#include "tests/oracle/native_numbers.h"

namespace colx::oracle {
namespace {

constexpr uint64_t block_rows = 1024;

// Layouts of both sides, in the order in which their flags are tried behind hashrid.
constexpr KeyLayout build_order[] = {KeyLayout::hashrid,    KeyLayout::fixed,  KeyLayout::lv_sep,
                                     KeyLayout::lv,         KeyLayout::lp_sep, KeyLayout::lp,
                                     KeyLayout::hash_values};

uint64_t bits_up_to(unsigned highest) {
  return highest >= 63 ? ~uint64_t{0} : (uint64_t{1} << (highest + 1)) - 1;
}

uint32_t key_in_slot(const TableForm& form, const uint8_t* bucket, unsigned slot) {
  return static_cast<uint32_t>(
      native_at(bucket + form.keys_at + slot * form.key_bytes, form.key_bytes));
}

bool holds_key(const TableForm& form, const uint8_t* bucket, unsigned slots, uint32_t key) {
  for (unsigned slot = 0; slot < slots; ++slot) {
    if (key_in_slot(form, bucket, slot) == key) return true;
  }
  return false;
}

void put_in_slot(const TableForm& form, uint8_t* bucket, unsigned slot, const TableRow& row) {
  put_native(bucket + form.keys_at + slot * form.key_bytes, row.key, form.key_bytes);
  put_native(bucket + form.values_at + slot * form.value_bytes, row.value, form.value_bytes);
}

void insert_fast(const TableForm& form, uint8_t* bucket, const TableRow& row) {
  const uint8_t header = bucket[0];
  const unsigned used = header & used_slots_mask;
  put_in_slot(form, bucket, used, row);
  if (header == 0) {
    bucket[0] = unique_mark | 1;
    return;
  }
  uint8_t changed = header;
  if ((header & unique_mark) != 0 && holds_key(form, bucket, used, row.key)) {
    changed &= static_cast<uint8_t>(~unique_mark);
  }
  bucket[0] = static_cast<uint8_t>(changed + 1);
}

// False if the row needs an overflow bucket and there is no room for one.
bool insert_in_chain(const TableForm& form, uint8_t* bucket, void** cursor, const void* end,
                     const TableRow& row) {
  while ((bucket[0] & has_successor) != 0) {
    if ((bucket[0] & unique_mark) != 0 && holds_key(form, bucket, form.slots, row.key)) {
      bucket[0] &= static_cast<uint8_t>(~unique_mark);
    }
    bucket = address_at(bucket + next_bucket_at);
  }
  uint8_t header = bucket[0];
  const unsigned used = header & used_slots_mask;
  if ((header & unique_mark) != 0 && holds_key(form, bucket, used, row.key)) {
    header &= static_cast<uint8_t>(~unique_mark);
  }
  if (used < form.slots) {
    put_in_slot(form, bucket, used, row);
    bucket[0] = static_cast<uint8_t>(header + 1);  // an empty bucket gets no mark here
    return true;
  }
  if (reinterpret_cast<uintptr_t>(*cursor) >= reinterpret_cast<uintptr_t>(end)) return false;
  auto* const fresh = static_cast<uint8_t*>(*cursor);
  bucket[0] = header | has_successor;
  put_native(bucket + next_bucket_at, reinterpret_cast<uintptr_t>(fresh), 8);
  *cursor = fresh + bucket_bytes;
  put_in_slot(form, fresh, 0, row);
  fresh[0] = unique_mark | 1;
  return true;
}

const uint8_t* data_of(const colx_cv& cv) {
  return static_cast<const uint8_t*>(cv.colx_cv_data);
}

uint64_t payload_value(const TableForm& form, bool autorid, const colx_cv& payload, uint64_t row) {
  if (autorid) return payload.colx_cv_base_rid + row;
  return native_at(data_of(payload) + row * form.value_bytes, form.value_bytes);
}

TableRow record_row(const TableForm& form, KeyLayout layout, const colx_cv& src, uint64_t row) {
  if (layout == KeyLayout::hashrid) {
    const uint8_t* const record = data_of(src) + row * 16;
    const uint64_t hash = native_at(record + 8, 8);
    return {hash, tag_of(form, hash), native_at(record, 8)};
  }
  const uint8_t* const record = data_of(src) + row * 24;
  return {native_at(record, 8), static_cast<uint32_t>(native_at(record + 8, 4)),
          native_at(record + 16, 8)};
}

}  // namespace

const TableForm& table_form(uint32_t type) {
  for (const TableForm& form : table_forms) {
    if (form.type == type) return form;
  }
  std::abort();
}

BucketChoice bucket_choice(const colx_ht& ht, bool one_partition_named) {
  const bool one_only = ht.colx_ht_part_hi == ht.colx_ht_bucket_hi && ht.colx_ht_part_low_bits == 0;
  BucketChoice choice;
  choice.bucket_mask = bits_up_to(ht.colx_ht_bucket_hi);
  choice.part_mask = one_partition_named || one_only ? 0 : bits_up_to(ht.colx_ht_part_hi);
  choice.part_shift = ht.colx_ht_part_shift;
  choice.part_low_bits = ht.colx_ht_part_low_bits;
  choice.low_mask = (uint64_t{1} << ht.colx_ht_part_low_bits) - 1;
  return choice;
}

uint64_t partition_of(const BucketChoice& choice, uint64_t hash) {
  if (choice.part_mask == 0) return 0;
  const uint64_t high = (hash & choice.part_mask) >> choice.part_shift;
  return high << choice.part_low_bits | (hash & choice.low_mask);
}

uint8_t* first_bucket(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                      uint64_t hash) {
  const uint64_t number = (hash & choice.bucket_mask) >> (8 * form.key_bytes);
  return static_cast<uint8_t*>(buckets[partition_of(choice, hash)]) + bucket_bytes * number;
}

uint32_t tag_of(const TableForm& form, uint64_t hash) {
  return static_cast<uint32_t>(hash & bits_up_to(8 * form.key_bytes - 1));
}

bool all_with_room(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                   std::span<const TableRow> rows) {
  return std::all_of(rows.begin(), rows.end(), [&](const TableRow& row) {
    return (*first_bucket(form, choice, buckets, row.hash) & used_slots_mask) < form.slots;
  });
}

uint32_t insert_rows(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                     void** over_cur, void* const* over_end, std::span<const TableRow> rows,
                     bool take_fast_path) {
  uint32_t done = 0;
  for (const TableRow& row : rows) {
    uint8_t* const bucket = first_bucket(form, choice, buckets, row.hash);
    if (take_fast_path && (bucket[0] & used_slots_mask) < form.slots) {
      insert_fast(form, bucket, row);
    } else {
      const uint64_t part = partition_of(choice, row.hash);
      if (!insert_in_chain(form, bucket, &over_cur[part], over_end[part], row)) break;
    }
    ++done;
  }
  return done;
}

std::optional<BuildKernel> build_kernel(uint32_t ht_type, uint32_t src_flags,
                                        uint32_t payload_flags) {
  const bool autorid = (payload_flags & COLX_AUTORID) != 0;
  const bool codes = (src_flags & COLX_GD) != 0;
  if ((ht_type & COLX_HT_GD) != 0 && (ht_type & COLX_HT_K4V8) != 0) {
    const TableForm& form = table_form(COLX_HT_K4V8);
    if ((src_flags & COLX_HASHGD) != 0) return BuildKernel{form, KeyLayout::hashgdrid, autorid};
    if (codes) return BuildKernel{form, KeyLayout::gd, autorid};
    return {};
  }
  if ((ht_type & COLX_HT_GD) != 0 && (ht_type & COLX_HT_K4V4) != 0) {
    if (codes) return BuildKernel{table_form(COLX_HT_K4V4), KeyLayout::gd, autorid};
    return {};
  }
  for (const TableForm& form : table_forms) {
    if (form.type != ht_type) continue;
    for (const KeyLayout layout : build_order) {
      if ((src_flags & layout_flag(layout)) != 0) return BuildKernel{form, layout, autorid};
    }
  }
  return {};
}

RowBlock row_block(const TableForm& form, KeyLayout layout, bool autorid, const colx_cv& src,
                   const colx_cv& payload, uint64_t first, uint64_t stream_offset,
                   colx_hash_fn fn) {
  const uint64_t count = std::min<uint64_t>(block_rows, src.colx_cv_num_of_rows - first);
  RowBlock block;
  KeyRun run;
  if (is_hashed(layout)) run = keys_of(layout, src, first, stream_offset, count);
  block.starts = run.starts;
  for (uint64_t i = 0; i < count; ++i) {
    if (layout == KeyLayout::hashrid || layout == KeyLayout::hashgdrid) {
      block.rows.push_back(record_row(form, layout, src, first + i));
      continue;
    }
    const uint64_t hash = is_hashed(layout) ? fn(run.keys[i].at, run.keys[i].length, 0)
                                            : native_at(data_of(src) + 8 * (first + i), 8);
    const auto code =
        layout == KeyLayout::gd ? static_cast<uint32_t>(native_at(run.keys[i].at, 4)) : 0;
    block.rows.push_back({hash, layout == KeyLayout::gd ? code : tag_of(form, hash),
                          payload_value(form, autorid, payload, first + i)});
  }
  return block;
}

BuildOutcome build(const BuildKernel& kernel, const colx_ht& ht, const colx_cv& src,
                   const colx_cv& payload, int32_t part, colx_hash_fn fn, const colx_kctx& kctx) {
  const BucketChoice choice = bucket_choice(ht, part >= 0);
  const uint64_t entry = part >= 0 ? static_cast<uint64_t>(part) : 0;
  BuildOutcome outcome = {COLX_DONE, kctx, 0};
  uint64_t row = kctx.colx_kctx_position;
  uint64_t offset = kctx.colx_kctx_key_offset;
  while (row < src.colx_cv_num_of_rows) {
    const RowBlock block =
        row_block(kernel.form, kernel.layout, kernel.autorid, src, payload, row, offset, fn);
    const bool fast = all_with_room(kernel.form, choice, ht.colx_ht_buckets + entry, block.rows);
    const uint32_t done =
        insert_rows(kernel.form, choice, ht.colx_ht_buckets + entry, ht.colx_ht_over_cur + entry,
                    ht.colx_ht_over_end + entry, block.rows, fast);
    row += done;
    if (is_stream(kernel.layout)) offset += block.starts[done];
    if (done == block.rows.size()) continue;

    const uint64_t hash = block.rows[done].hash;
    outcome.status = COLX_OVERFLOW_FULL;
    outcome.stopped_entry = entry + partition_of(choice, hash);
    outcome.kctx.colx_kctx_resume_extra =
        static_cast<uint32_t>(hash & choice.part_mask) >> ((ht.colx_ht_bucket_hi + 1) & 31);
    outcome.kctx.colx_kctx_position = static_cast<uint32_t>(row);
    if (is_stream(kernel.layout)) outcome.kctx.colx_kctx_key_offset = offset;
    return outcome;
  }
  outcome.kctx.colx_kctx_position = src.colx_cv_num_of_rows;
  if (is_stream(kernel.layout)) outcome.kctx.colx_kctx_key_offset = offset;
  return outcome;
}

}  // namespace colx::oracle
