#include "host/partition_set.h"

#include <algorithm>
#include <cstring>

#include "host/key_hash.h"

namespace colx::host {
namespace {

constexpr uint32_t most_partition_bits = 16;
constexpr uint32_t most_payload_bytes = 65535 - 8;  // the length of a record counts its hash
constexpr uint32_t default_region_bytes = 4096;

bool has_payloads(RecordForm form) {
  return form == RecordForm::payloads || form == RecordForm::fixed;
}

}  // namespace

Result<PartitionSet> PartitionSet::create(const Library& library, const PartitionOptions& options) {
  if (options.highest_bit > 63 || options.shift > options.highest_bit)
    return make_error("partitions by hash bits %u to %u: use bits of 0 to 63, the lower one first",
                      options.shift, options.highest_bit);
  const uint32_t bits = options.highest_bit - options.shift + 1;
  if (bits > most_partition_bits)
    return make_error("2^%u partitions: use up to 2^%u", bits, most_partition_bits);
  if (options.form == RecordForm::fixed ? options.fixed_bytes < 1 || options.fixed_bytes > 8191
                                        : options.fixed_bytes != 0)
    return make_error("payloads of %u bytes: fixed records take 1 to 8191, the others tell none",
                      options.fixed_bytes);
  PartitionSet set;
  set.options_ = options;
  set.partition_ = library.record().colx_sctx_partition;
  if (!set.partition_) return make_error("%s: has no colx_partition_dydi", library.file().c_str());
  set.largest_record_ = options.form == RecordForm::codes ? 24 : 16 + options.fixed_bytes;
  set.regions_.resize(size_t{1} << bits);
  set.used_.resize(set.regions_.size());
  set.cursors_.resize(set.regions_.size());
  set.ends_.resize(set.regions_.size());
  for (uint32_t partition = 0; partition < set.partitions(); ++partition) set.add_region(partition);
  return set;
}

// Twice the last region, and room for a record at least.
void PartitionSet::add_region(uint32_t partition) {
  auto& regions = regions_[partition];
  uint64_t bytes = options_.region_bytes ? options_.region_bytes : default_region_bytes;
  if (!regions.empty()) {
    used_[partition].push_back(
        static_cast<size_t>(static_cast<uint8_t*>(cursors_[partition]) - regions.back().data()));
    bytes = 2 * regions.back().size();
  }
  regions.emplace_back(std::max(bytes, largest_record_));
  cursors_[partition] = regions.back().data();
  ends_[partition] = regions.back().data() + regions.back().size();
}

Result<void> PartitionSet::check_keys(const KeyRows& keys) const {
  const uint32_t layout = keys.layout();
  if (layout == COLX_HASHGD || (layout == COLX_HASHRID && form() != RecordForm::row_ids) ||
      (layout == COLX_GD) != (form() == RecordForm::codes))
    return make_error(form() == RecordForm::codes
                          ? "records of codes are made of KeyRows::codes()"
                          : "keys of this kind do not go into records of this form");
  return {};
}

Result<void> PartitionSet::add(const KeyRows& keys, const RowValues& values) {
  if (has_payloads(form())) return make_error("records of this form carry payloads, not values");
  if (auto sound = check_keys(keys); !sound) return sound;
  if (keys.layout() != COLX_HASHRID)
    if (auto sound = values.check(keys.size(), 8); !sound) return sound;
  colx_cv source, payload;
  colx_enc_ctx source_encoding, payload_encoding;
  keys.describe(source, source_encoding);
  values.describe(payload, payload_encoding);
  return run(source, payload);
}

Result<void> PartitionSet::add(const KeyRows& keys, const KeyRows& payloads) {
  if (!has_payloads(form())) return make_error("records of this form carry values, not payloads");
  if (auto sound = check_keys(keys); !sound) return sound;
  if (payloads.layout() != COLX_FIXED && payloads.layout() != COLX_LP_SEP)
    return make_error("payloads are KeyRows::fixed() or pointers()");
  if (payloads.size() != keys.size())
    return make_error("%u payloads for %u keys", payloads.size(), keys.size());
  if (form() == RecordForm::fixed && payloads.layout() != COLX_FIXED)
    return make_error("fixed records take payloads of KeyRows::fixed()");
  uint64_t largest = 0;
  for (uint32_t row = 0; row < payloads.size(); ++row) {
    const size_t bytes = payloads.key(row).size();
    if (form() == RecordForm::fixed ? bytes != options_.fixed_bytes : bytes > most_payload_bytes)
      return make_error("row %u has a payload of %zu bytes; this form takes %s%u", row, bytes,
                        form() == RecordForm::fixed ? "" : "up to ",
                        form() == RecordForm::fixed ? options_.fixed_bytes : most_payload_bytes);
    largest = std::max<uint64_t>(largest, bytes);
  }
  largest_record_ = std::max(largest_record_, largest + 10);
  colx_cv source, payload;
  colx_enc_ctx source_encoding, payload_encoding;
  keys.describe(source, source_encoding);
  payloads.describe(payload, payload_encoding);
  return run(source, payload);
}

Result<void> PartitionSet::add(const PartitionSet& from, uint32_t partition) {
  if (form() != RecordForm::payloads || from.form() != RecordForm::payloads)
    return make_error("only sets of payload records are split this way; pass keys() of the others");
  if (partition >= from.partitions())
    return make_error("partition %u of a set of %u", partition, from.partitions());
  largest_record_ = std::max(largest_record_, from.largest_record_);
  for (size_t region = 0; region < from.regions(partition); ++region) {
    const auto records = from.records(partition, region);
    uint32_t rows = 0;
    for (size_t at = 0; at < records.size(); ++rows) {
      uint16_t length;
      std::memcpy(&length, records.data() + at, sizeof length);
      at += sizeof length + length;
    }
    colx_enc_ctx encoding{};
    encoding.colx_enc_ctx_flags = COLX_LV | COLX_HASH_VALUES;
    colx_cv source{};
    source.colx_cv_data = const_cast<uint8_t*>(records.data());
    source.colx_cv_num_of_rows = rows;
    source.colx_cv_encoding_context = &encoding;
    if (auto done = run(source, source); !done) return done;
  }
  return {};
}

Result<void> PartitionSet::run(colx_cv& source, colx_cv& payload) {
  colx_part_set parts{};
  parts.colx_part_type = static_cast<uint32_t>(form());
  parts.colx_part_hi = static_cast<uint8_t>(options_.highest_bit);
  parts.colx_part_shift = static_cast<uint8_t>(options_.shift);
  parts.colx_part_fixed_len = static_cast<uint16_t>(options_.fixed_bytes);
  parts.colx_part_cursors = cursors_.data();
  parts.colx_part_ends = ends_.data();
  colx_kctx kctx{};
  for (;;) {
    const uint32_t status = partition_(&parts, &source, &payload, hash_key, &kctx);
    if (status == COLX_DONE) return {};
    if (status != COLX_PARTITION_FULL)
      return make_error("colx_partition_dydi returned status %u", status);
    add_region(kctx.colx_kctx_resume_extra);
  }
}

std::span<const uint8_t> PartitionSet::records(uint32_t partition, size_t region) const {
  const StreamBuffer& buffer = regions_[partition][region];
  const bool last = region + 1 == regions_[partition].size();
  const auto* cursor = static_cast<const uint8_t*>(cursors_[partition]);
  return {buffer.data(),
          last ? static_cast<size_t>(cursor - buffer.data()) : used_[partition][region]};
}

Result<KeyRows> PartitionSet::keys(uint32_t partition, size_t region) const {
  if (has_payloads(form())) return make_error("records with payloads are no keys of a table");
  if (partition >= partitions() || region >= regions(partition))
    return make_error("region %zu of partition %u of a set of %u", region, partition, partitions());
  return form() == RecordForm::codes ? KeyRows::code_records(records(partition, region))
                                     : KeyRows::hash_records(records(partition, region));
}

Result<void> PartitionSet::split(uint32_t partition, std::vector<uint64_t>& hashes,
                                 std::vector<uint64_t>& values) const {
  if (form() != RecordForm::row_ids)
    return make_error("only records of row ids are split into hashes and values");
  if (partition >= partitions())
    return make_error("partition %u of a set of %u", partition, partitions());
  for (size_t region = 0; region < regions(partition); ++region) {
    const auto bytes = records(partition, region);
    for (size_t at = 0; at < bytes.size(); at += 16) {
      uint64_t record[2];
      std::memcpy(record, bytes.data() + at, sizeof record);
      values.push_back(record[0]);
      hashes.push_back(record[1]);
    }
  }
  return {};
}

uint64_t PartitionSet::rows(uint32_t partition) const {
  uint64_t bytes = 0;
  for (size_t region = 0; region < regions(partition); ++region)
    bytes += records(partition, region).size();
  return bytes / (form() == RecordForm::codes ? 24 : 16);
}

}  // namespace colx::host
