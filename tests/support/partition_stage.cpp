#include "tests/support/partition_stage.h"

#include <algorithm>
#include <cstring>

#include "tests/support/call_records.h"
#include "tests/support/chosen_hash.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

using oracle::Carried;
using oracle::KeyLayout;
using oracle::PartitionForm;
using oracle::PartitionRecords;

uint64_t partitions_of(const PartitionBatch& batch) {
  return batch.hi < batch.shift ? 1 : uint64_t{1} << (batch.hi + 1 - batch.shift);
}

bool carries_row_ids(const PartitionForm& form) {
  return form.carried == Carried::autorid || form.carried == Carried::payload;
}

bool is_hashed(const PartitionForm& form) {
  return form.carried != Carried::nothing && oracle::is_hashed(form.key);
}

}  // namespace

PartitionStage& partition_stage() {
  static PartitionStage stage;
  return stage;
}

void PartitionStage::place_keys() {
  KeyBatch keys;
  keys.layout = batch_.form.key;
  keys.rows = batch_.keys;
  keys.width_bits = batch_.key_bits;
  keys.edge = batch_.edge;
  keys.slack_bytes = batch_.slack_bytes;
  keys.more_flags = batch_.src_flags;
  // Records that carry their hash tell so.
  if (!has_payload() && keys.layout == KeyLayout::lv) keys.more_flags |= COLX_HASH_VALUES;
  src.set(keys);
}

void PartitionStage::place_payload() {
  const uint64_t rows = batch_.keys.size();
  if (batch_.form.carried == Carried::autorid) {
    row_ids.set_autorid(batch_.base_rid, batch_.payload_flags);
  } else if (batch_.form.carried == Carried::payload) {
    std::vector<uint64_t> ids(rows);
    for (uint64_t row = 0; row < rows; ++row) ids[row] = mixed_seed(batch_.base_rid, row);
    row_ids.set_array(ids, 8, batch_.edge, batch_.payload_flags, batch_.slack_bytes);
  } else if (has_payload()) {
    KeyBatch payload;
    payload.layout = *oracle::carried_layout(batch_.form.carried);
    payload.width_bits = batch_.value_bits;
    payload.edge = batch_.edge;
    payload.slack_bytes = batch_.slack_bytes;
    payload.more_flags = batch_.payload_flags;
    const bool by_record = batch_.form.records == PartitionRecords::fixed;
    for (uint64_t row = 0; row < rows && !by_record; ++row) {
      payload.rows.push_back({.length = batch_.value_lengths[row]});
    }
    values.set(payload);
    if (by_record) {
      // The last row's bytes end where the record's number of them does.
      Random random(rows);
      const uint64_t width = (batch_.value_bits & 0xFFFF) >> 3;
      const uint64_t bytes = rows == 0 ? 0 : (rows - 1) * width + batch_.fixed_len;
      values.cv.colx_cv_data = arrays_.place(random.bytes(bytes));
    }
    values.cv.colx_cv_num_of_rows = 0x33333333;
  }
  payload_ = carries_row_ids(batch_.form) ? &row_ids.cv : &values.cv;
  nowhere_ = static_cast<colx_cv*>(arrays_.unreadable());
}

// Fields that the form does not use hold what has to come back untouched.
void PartitionStage::set(const PartitionBatch& batch) {
  batch_ = batch;
  arrays_.clear(batch.edge, 0);
  place_keys();
  place_payload();
  std::memset(&parts, 0xEE, sizeof parts);
  parts.colx_part_type = oracle::part_type(batch.form) | batch.type;
  parts.colx_part_hi = batch.hi;
  parts.colx_part_shift = batch.shift;
  parts.colx_part_fixed_len = batch.fixed_len;

  std::memset(&kctx, 0, sizeof kctx);
  kctx.colx_kctx_env = static_cast<colx_env*>(arrays_.unreadable());
  kctx.colx_kctx_selection = static_cast<uint64_t*>(arrays_.unreadable());
  kctx.colx_kctx_resume_extra = dirty_extra;
  kctx.colx_kctx_position = batch.position;
  kctx.colx_kctx_key_offset = kctx.colx_kctx_value_offset = dirty_offset;
  const auto start = static_cast<uint32_t>(std::min<size_t>(batch.position, batch.keys.size()));
  const auto payload_layout = oracle::carried_layout(batch.form.carried);
  if (oracle::is_stream(batch.form.key)) kctx.colx_kctx_key_offset = src.stream_offset(start);
  if (payload_layout && oracle::is_stream(*payload_layout)) {
    kctx.colx_kctx_value_offset = values.stream_offset(start);
  }
  place_partitions(batch.rooms);
}

PatchedOutput& PartitionStage::output(uint64_t partition) {
  auto& outputs = batch_.far_apart ? far_ : near_;
  while (outputs.size() <= partition) {
    outputs.push_back(std::make_unique<PatchedOutput>());
    if (batch_.far_apart) outputs.back()->reserve(16 << 20);
  }
  return *outputs[partition];
}

void PartitionStage::place_partitions(const std::vector<uint64_t>& rooms) {
  const uint64_t count = partitions_of(batch_);
  std::vector<void*> cursors(count, nullptr);
  std::vector<void*> ends(count, reinterpret_cast<void*>(UINT64_MAX));
  parts.colx_part_cursors = cursors.data();
  parts.colx_part_ends = ends.data();
  std::vector<uint64_t> sizes = rooms;
  if (sizes.empty()) sizes = expected().moved_bytes;
  outputs_.clear();
  for (uint64_t p = 0; p < count; ++p) {
    outputs_.push_back(&output(p));
    cursors[p] = outputs_[p]->place(sizes[p], batch_.place);
    ends[p] = outputs_[p]->begin() + sizes[p];
  }
  rooms_arrays_.clear(batch_.edge, 0);
  parts.colx_part_cursors = rooms_arrays_.place_pointers(cursors);
  parts.colx_part_ends = rooms_arrays_.place_pointers(ends);
}

colx_hash_fn PartitionStage::hash_fn() const {
  return is_hashed(batch_.form) ? recording_hash : nullptr;
}

oracle::PartitionOutcome PartitionStage::expected() const {
  return oracle::partition_outcome(batch_.form, parts, partitions_of(batch_), src.cv,
                                   has_payload() ? payload_ : nullptr, hash_fn(), kctx);
}

PartitionRun PartitionStage::call(colx_partition_call* kernel) {
  src.remember();
  values.remember();
  row_ids.remember();
  parts_before_ = parts;
  kctx_before_ = kctx;
  ends_before_.assign(parts.colx_part_ends, parts.colx_part_ends + outputs_.size());
  start_recording();
  const uint32_t status = kernel(&parts, &src.cv, payload(), hash_fn(), &kctx);
  return {status, kctx.colx_kctx_position};
}

uint64_t PartitionStage::filled_bytes(uint64_t partition) const {
  return static_cast<uint8_t*>(parts.colx_part_cursors[partition]) - outputs_[partition]->begin();
}

std::string PartitionStage::difference(const PartitionRun& run,
                                       const oracle::PartitionOutcome& expected) const {
  const auto unlike = [](const std::string& what, uint64_t is, uint64_t should) {
    return is == should ? std::string()
                        : what + " " + std::to_string(is) + ", expected " + std::to_string(should);
  };
  std::string text = unlike("status", run.status, expected.status);
  if (text.empty()) text = unlike("position", run.position, expected.position);
  if (text.empty()) {
    text = unlike("resume_extra", kctx.colx_kctx_resume_extra, expected.resume_extra);
  }
  if (text.empty()) text = unlike("key offset", kctx.colx_kctx_key_offset, expected.key_offset);
  if (text.empty()) {
    text = unlike("value offset", kctx.colx_kctx_value_offset, expected.value_offset);
  }
  for (uint64_t p = 0; p < outputs_.size() && text.empty(); ++p) {
    const std::string which = "partition " + std::to_string(p) + ": ";
    text = unlike(which + "cursor at byte", filled_bytes(p), expected.moved_bytes[p]);
    if (!text.empty()) break;
    text = partition_difference(p, expected);
    if (!text.empty()) return which + text;
    if (parts.colx_part_ends[p] != ends_before_[p]) return which + "changed: its end";
  }
  if (!text.empty()) return text;
  if (!same_bytes(parts, parts_before_)) return "changed: the partition set";
  if (recorded_calls() != expected.hash_calls) return "other calls of the hash function";
  if (text = src.damage(); !text.empty()) return text;
  if (carries_row_ids(batch_.form) && !(text = row_ids.damage()).empty()) return text;
  if (payload_ == &values.cv && has_payload() && !(text = values.damage()).empty()) return text;
  colx_kctx kctx_now = kctx;
  kctx_now.colx_kctx_resume_extra = kctx_before_.colx_kctx_resume_extra;
  kctx_now.colx_kctx_position = kctx_before_.colx_kctx_position;
  kctx_now.colx_kctx_key_offset = kctx_before_.colx_kctx_key_offset;
  kctx_now.colx_kctx_value_offset = kctx_before_.colx_kctx_value_offset;
  return same_bytes(kctx_now, kctx_before_) ? "" : "changed: a field of kctx";
}

PartitionBatch random_partition_batch(const PartitionForm& form, uint32_t rows, Random& random) {
  constexpr uint32_t widths[] = {8, 16, 24, 32, 64, 128, 200, 7, 63};
  const bool splits = form.carried == Carried::nothing;
  const auto length = [&random] {
    return static_cast<uint16_t>(random.one_in(4) ? 0 : random.below(31));
  };
  PartitionBatch batch;
  batch.form = form;
  batch.keys.resize(rows);
  for (KeyRow& key : batch.keys) {
    key.hash = random.next();
    key.code = static_cast<uint32_t>(random.next());
    key.rid = random.next();
    key.length = static_cast<uint16_t>(length() + (splits ? 8 : 0));
    batch.value_lengths.push_back(length());
  }
  batch.key_bits = random.pick<uint32_t>(widths);
  batch.value_bits = random.pick<uint32_t>(widths);
  batch.fixed_len = static_cast<uint16_t>(random.below(30));
  if (carried_layout(form.carried) == KeyLayout::fixed) {
    const auto bytes = static_cast<uint16_t>((batch.value_bits & 0xFFFF) >> 3);
    std::fill(batch.value_lengths.begin(), batch.value_lengths.end(), bytes);
  }
  batch.base_rid = random.next();
  batch.shift = static_cast<uint8_t>(random.one_in(3) ? 60 : random.below(60));
  batch.hi = static_cast<uint8_t>(batch.shift + 3);
  return batch;
}

std::string describe(const PartitionBatch& batch) {
  const auto number = [](uint64_t n) { return std::to_string(n); };
  return number(batch.keys.size()) + " rows from " + number(batch.position) + ", bits " +
         number(batch.shift) + " to " + number(batch.hi) + ", key bits " + number(batch.key_bits) +
         ", value bits " + number(batch.value_bits) + ", fixed length " + number(batch.fixed_len);
}

std::string partition_difference(const PartitionBatch& batch) {
  const PartitionKernel& kernel = partition_kernel(batch.form);
  const std::string what = describe(batch);
  set_crash_note("%s, %s", kernel.name, what.c_str());
  PartitionStage& stage = partition_stage();
  for (colx_partition_call* const call :
       {kernel.kernel, colx_global_specialized_ctx.colx_sctx_partition}) {
    stage.set(batch);
    const oracle::PartitionOutcome expected = stage.expected();
    const std::string text = stage.difference(stage.call(call), expected);
    if (!text.empty()) return std::string(kernel.name) + ": " + text + " [" + what + "]";
  }
  return {};
}

PartitionRun run_partition(const PartitionBatch& batch) {
  set_crash_note("colx_partition_dydi, %s", describe(batch).c_str());
  partition_stage().set(batch);
  return partition_stage().call(colx_global_specialized_ctx.colx_sctx_partition);
}

}  // namespace colx::test
