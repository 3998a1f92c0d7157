#include "tests/oracle/partition_oracle.h"

#include <algorithm>
#include <utility>

#include "tests/oracle/native_numbers.h"

namespace colx::oracle {
namespace {

constexpr uint64_t block_rows = 1024;

constexpr KeyLayout value_layouts[] = {KeyLayout::fixed, KeyLayout::lv_sep, KeyLayout::lv,
                                       KeyLayout::lp_sep, KeyLayout::lp};

uint32_t flags_of(const colx_cv& vector) {
  return vector.colx_cv_encoding_context->colx_enc_ctx_flags;
}

const uint8_t* data_of(const colx_cv& vector) {
  return static_cast<const uint8_t*>(vector.colx_cv_data);
}

std::optional<KeyLayout> first_of(uint32_t flags, std::initializer_list<KeyLayout> last) {
  for (const KeyLayout layout : value_layouts) {
    if ((flags & layout_flag(layout)) != 0) return layout;
  }
  for (const KeyLayout layout : last) {
    if ((flags & layout_flag(layout)) != 0) return layout;
  }
  return std::nullopt;
}

Carried carried_as(KeyLayout layout) {
  for (const Carried carried :
       {Carried::fixed, Carried::lv_sep, Carried::lv, Carried::lp_sep, Carried::lp}) {
    if (carried_layout(carried) == layout) return carried;
  }
  return Carried::nothing;
}

Carried row_value_of(const colx_cv& payload) {
  return (flags_of(payload) & COLX_AUTORID) != 0 ? Carried::autorid : Carried::payload;
}

bool splits_lv_records(const PartitionForm& form) {
  return form.records == PartitionRecords::lv && form.carried == Carried::nothing;
}

bool has_key_offset(const PartitionForm& form) {
  return is_stream(form.key);
}

bool has_value_offset(const PartitionForm& form) {
  return form.carried == Carried::lv || form.carried == Carried::lv_sep;
}

// A pass over the rows, with what it has to keep.
struct Walk {
  const PartitionForm& form;
  const colx_part_set& parts;
  const colx_cv& src;
  const colx_cv* payload;
  uint64_t key_offset;
  uint64_t value_offset;
  PartitionOutcome& outcome;

  // The row's record, and what the payload's stream moves on by.
  struct Record {
    Patches bytes;
    uint64_t size;
    uint64_t value_bytes;
  };

  uint64_t row_value(uint64_t row) const {
    if (form.carried == Carried::autorid) return payload->colx_cv_base_rid + row;
    return native_at(data_of(*payload) + 8 * row, 8);
  }

  Record record(uint64_t row, uint64_t hash) const {
    if (form.carried == Carried::nothing) {
      const bool lv = form.key == KeyLayout::lv;
      const uint8_t* const at = data_of(src) + (lv ? key_offset : 16 * row);
      const uint64_t size = lv ? native_at(at, 2) + 2 : 16;
      return {{patch_of_bytes(0, at, size)}, size, 0};
    }
    if (form.key == KeyLayout::gd) {
      return {
          {patch_of_number(0, hash, 8), patch_of_number(8, native_at(data_of(src) + 4 * row, 4), 4),
           patch_of_number(16, row_value(row), 8)},
          24,
          0};
    }
    if (form.records == PartitionRecords::rid) {
      return {{patch_of_number(0, row_value(row), 8), patch_of_number(8, hash, 8)}, 16, 0};
    }
    const KeyRun value = keys_of(*carried_layout(form.carried), *payload, row, value_offset, 1);
    const KeyBytes bytes = value.keys[0];
    if (form.records == PartitionRecords::fixed) {
      // As many bytes as the record says, whatever the width of the payload.
      const uint64_t count = parts.colx_part_fixed_len;
      return {{patch_of_number(0, hash, 8), patch_of_bytes(8, bytes.at, count)}, count + 8, 0};
    }
    return {{patch_of_number(0, uint64_t{bytes.length} + 8, 2), patch_of_number(2, hash, 8),
             patch_of_bytes(10, bytes.at, bytes.length)},
            uint64_t{bytes.length} + 10,
            value.starts.empty() ? 0 : value.starts[1]};
  }

  // False if the row's record has no room in its partition; nothing has changed then.
  bool place(uint64_t row, uint64_t hash) {
    const uint64_t p = partition_of(parts, hash);
    const auto cursor = reinterpret_cast<uint64_t>(parts.colx_part_cursors[p]);
    const auto end = reinterpret_cast<uint64_t>(parts.colx_part_ends[p]);
    Record record = this->record(row, hash);
    uint64_t& moved = outcome.moved_bytes[p];
    if (end - (cursor + moved) < record.size) {
      outcome.status = COLX_PARTITION_FULL;
      outcome.resume_extra = static_cast<uint32_t>(p);
      return false;
    }
    for (Patch& patch : record.bytes) {
      outcome.written[p].push_back({moved + patch.at, std::move(patch.bytes)});
    }
    moved += record.size;
    value_offset += record.value_bytes;
    return true;
  }

  // The hashes of the next rows, asked of the host's function where they do not come with them.
  std::vector<uint64_t> hashes(const KeyRun& run, uint64_t row, uint64_t rows, colx_hash_fn fn) {
    std::vector<uint64_t> all;
    for (uint64_t i = 0; i < rows; ++i) {
      if (form.key == KeyLayout::hash_values) {
        all.push_back(native_at(data_of(src) + 8 * (row + i), 8));
      } else if (form.key == KeyLayout::hashrid) {
        all.push_back(native_at(data_of(src) + 16 * (row + i) + 8, 8));
      } else if (splits_lv_records(form)) {
        all.push_back(native_at(run.keys[i].at, 8));
      } else {
        outcome.hash_calls.push_back({run.keys[i].at, run.keys[i].length, 0});
        all.push_back(fn(run.keys[i].at, run.keys[i].length, 0));
      }
    }
    return all;
  }
};

}  // namespace

const char* name_of(PartitionRecords records) {
  constexpr const char* names[] = {"rid", "lv", "fixed"};
  return names[static_cast<size_t>(records)];
}

const char* name_of(Carried carried) {
  constexpr const char* names[] = {"autorid", "payload", "fixed", "lv_sep",
                                   "lv",      "lp_sep",  "lp",    ""};
  return names[static_cast<size_t>(carried)];
}

std::string partition_name(const PartitionForm& form) {
  if (splits_lv_records(form)) return "colx_partition_lv_hash_values";
  if (form.key == KeyLayout::hashrid) return "colx_partition_rid_hashrid";
  const char* const keys[] = {"fixed", "", "lv_sep", "lv", "lp_sep", "lp", "hash_values", "", "gd"};
  return std::string("colx_partition_") + name_of(form.records) + "_" +
         keys[static_cast<size_t>(form.key)] + "_" + name_of(form.carried);
}

uint32_t part_type(const PartitionForm& form) {
  if (form.key == KeyLayout::gd) return 0x29;
  constexpr uint32_t types[] = {0x9, 0xA, 0xC};
  return types[static_cast<size_t>(form.records)];
}

std::optional<KeyLayout> carried_layout(Carried carried) {
  switch (carried) {
    case Carried::fixed:
      return KeyLayout::fixed;
    case Carried::lv_sep:
      return KeyLayout::lv_sep;
    case Carried::lv:
      return KeyLayout::lv;
    case Carried::lp_sep:
      return KeyLayout::lp_sep;
    case Carried::lp:
      return KeyLayout::lp;
    default:
      return std::nullopt;
  }
}

std::optional<PartitionForm> partition_form(const colx_part_set& parts, const colx_cv& src,
                                            const colx_cv* payload) {
  const auto type_has = [&](uint32_t bits) { return (parts.colx_part_type & bits) == bits; };
  const uint32_t flags = flags_of(src);
  if (type_has(0x29)) {
    if ((flags & COLX_GD) == 0) return std::nullopt;
    return PartitionForm{PartitionRecords::rid, KeyLayout::gd, row_value_of(*payload)};
  }
  if (type_has(0x9)) {
    const auto key = first_of(flags, {KeyLayout::hashrid, KeyLayout::hash_values});
    if (!key) return std::nullopt;
    if (*key == KeyLayout::hashrid) {
      return PartitionForm{PartitionRecords::rid, *key, Carried::nothing};
    }
    return PartitionForm{PartitionRecords::rid, *key, row_value_of(*payload)};
  }
  const auto key = first_of(flags, {KeyLayout::hash_values});
  if (type_has(0xA)) {
    if ((flags & COLX_LV) != 0 && (flags & COLX_HASH_VALUES) != 0) {
      return PartitionForm{PartitionRecords::lv, KeyLayout::lv, Carried::nothing};
    }
    const auto value = first_of(flags_of(*payload), {});
    if (!key || !value) return std::nullopt;
    return PartitionForm{PartitionRecords::lv, *key, carried_as(*value)};
  }
  if (type_has(0xC)) {
    if (!key || (flags_of(*payload) & COLX_FIXED) == 0) return std::nullopt;
    return PartitionForm{PartitionRecords::fixed, *key, Carried::fixed};
  }
  return std::nullopt;
}

uint64_t partition_of(const colx_part_set& parts, uint64_t hash) {
  const unsigned hi = parts.colx_part_hi;
  const uint64_t mask = hi == 63 ? ~uint64_t{0} : (uint64_t{1} << (hi + 1)) - 1;
  return (hash & mask) >> parts.colx_part_shift;
}

PartitionOutcome partition_outcome(const PartitionForm& form, const colx_part_set& parts,
                                   uint64_t partitions, const colx_cv& src, const colx_cv* payload,
                                   colx_hash_fn fn, const colx_kctx& kctx) {
  PartitionOutcome outcome = {};
  outcome.resume_extra = kctx.colx_kctx_resume_extra;
  outcome.position = kctx.colx_kctx_position;
  outcome.key_offset = kctx.colx_kctx_key_offset;
  outcome.value_offset = kctx.colx_kctx_value_offset;
  outcome.written.resize(partitions);
  outcome.moved_bytes.resize(partitions);
  if (form.records != PartitionRecords::rid && !splits_lv_records(form) &&
      (parts.colx_part_type & 0x10) != 0) {
    outcome.status = COLX_NOT_SERVED;
    return outcome;
  }

  Walk walk = {form, parts, src, payload, outcome.key_offset, outcome.value_offset, outcome};
  const uint64_t rows = src.colx_cv_num_of_rows;
  uint64_t row = outcome.position;
  while (row < rows && outcome.status == COLX_DONE) {
    const uint64_t in_block = std::min(block_rows, rows - row);
    const KeyRun run = keys_of(form.key, src, row, walk.key_offset, in_block);
    const std::vector<uint64_t> hashes = walk.hashes(run, row, in_block, fn);
    const uint64_t block_offset = walk.key_offset;
    uint64_t i = 0;
    for (; i < in_block && walk.place(row + i, hashes[i]); ++i) {
      if (is_stream(form.key)) walk.key_offset = block_offset + run.starts[i + 1];
    }
    row += i;
  }
  outcome.position = static_cast<uint32_t>(std::min(row, rows));
  if (has_key_offset(form)) outcome.key_offset = walk.key_offset;
  if (has_value_offset(form)) outcome.value_offset = walk.value_offset;
  return outcome;
}

}  // namespace colx::oracle
