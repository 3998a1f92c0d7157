#include "host/join_table.h"

#include <algorithm>
#include <bit>

#include "host/key_hash.h"

namespace colx::host {
namespace {

constexpr uint64_t bucket_bytes = 64;
constexpr uint32_t most_partition_bits = 16;
constexpr uint32_t most_bucket_bits = 30;  // of one partition: 64 GiB

// Two thirds of the slots are used when the expected rows are in: few buckets overflow then.
uint32_t bucket_bits_for(uint64_t rows, BucketForm form) {
  const uint64_t buckets = rows * 3 / (2 * bucket_slots(form)) + 1;
  return static_cast<uint32_t>(std::bit_width(buckets - 1));
}

}  // namespace

Result<JoinTable> JoinTable::create(const Library& library, const JoinTableOptions& options) {
  if (options.exact_codes && tag_bits(options.form) == 16)
    return make_error("codes are kept whole in forms k4v4 and k4v8 only");
  if (options.partition_bits > most_partition_bits)
    return make_error("2^%u partitions: use up to 2^%u", options.partition_bits,
                      most_partition_bits);
  JoinTable table;
  table.options_ = options;
  table.build_ = library.record().colx_sctx_ht_build;
  if (!table.build_) return make_error("%s: has no colx_ht_build_dydi", library.file().c_str());
  const uint32_t partitions = table.partitions();
  table.bucket_bits_ = bucket_bits_for(options.expected_rows / partitions, options.form);
  const uint32_t tag = tag_bits(options.form);
  if (table.bucket_bits_ > most_bucket_bits ||
      tag + table.bucket_bits_ + options.partition_bits > 64)
    return make_error(
        "%llu rows in 2^%u partitions want 2^%u buckets each; a hash has no bits for "
        "as many beside a tag of %u",
        static_cast<unsigned long long>(options.expected_rows), options.partition_bits,
        table.bucket_bits_, tag);

  table.overflow_.resize(partitions);
  for (uint32_t partition = 0; partition < partitions; ++partition) {
    table.bucket_arrays_.emplace_back(table.buckets() * bucket_bytes);
    table.buckets_.push_back(table.bucket_arrays_.back().data());
  }
  table.over_cur_.resize(partitions);
  table.over_end_.resize(partitions);
  colx_ht& ht = table.descriptor_;
  ht.colx_ht_type = static_cast<uint32_t>(options.form) | (options.exact_codes ? COLX_HT_GD : 0);
  // A table of one partition says so by equal bits.
  ht.colx_ht_bucket_hi = static_cast<uint8_t>(tag + table.bucket_bits_ - 1);
  ht.colx_ht_part_hi = static_cast<uint8_t>(ht.colx_ht_bucket_hi + options.partition_bits);
  ht.colx_ht_part_shift = static_cast<uint8_t>(ht.colx_ht_bucket_hi + 1);
  ht.colx_ht_buckets = table.buckets_.data();
  ht.colx_ht_over_cur = table.over_cur_.data();
  ht.colx_ht_over_end = table.over_end_.data();
  for (uint32_t partition = 0; partition < partitions; ++partition) table.add_overflow(partition);
  return table;
}

Result<void> JoinTable::check(const KeyRows& keys, const RowValues& values) const {
  const uint32_t layout = keys.layout();
  if (exact() != (layout == COLX_GD || layout == COLX_HASHGD))
    return make_error(exact() ? "a table of exact codes takes KeyRows::codes()"
                              : "a table of hash tags takes keys or hash values, not codes");
  if (layout == COLX_HASHGD && form() != BucketForm::k4v8)
    return make_error("records of codes go into tables of form k4v8");
  if (keys.brings_values()) return {};
  return values.check(keys.size(), value_bytes(form()));
}

Result<void> JoinTable::build(const KeyRows& keys, const RowValues& values) {
  return run(-1, keys, values);
}

Result<void> JoinTable::build_partition(uint32_t partition, const KeyRows& keys,
                                        const RowValues& values) {
  if (partition >= partitions())
    return make_error("partition %u of a table with %u", partition, partitions());
  return run(static_cast<int32_t>(partition), keys, values);
}

Result<void> JoinTable::run(int32_t part, const KeyRows& keys, const RowValues& values) {
  if (auto sound = check(keys, values); !sound) return sound;
  colx_cv source, payload;
  colx_enc_ctx source_encoding, payload_encoding;
  keys.describe(source, source_encoding);
  values.describe(payload, payload_encoding);
  colx_kctx kctx{};
  for (;;) {
    const uint32_t status = build_(&descriptor_, &source, &payload, part, hash_key, &kctx);
    if (status == COLX_DONE) return {};
    if (status != COLX_OVERFLOW_FULL)
      return make_error("colx_ht_build_dydi returned status %u", status);
    add_overflow_where_full(part, kctx);
  }
}

// The kernel tells which partition stopped for tags of 16 bits only. For the others every
// partition without room gets some: the one that stopped is among them.
void JoinTable::add_overflow_where_full(int32_t part, const colx_kctx& kctx) {
  if (part >= 0) {
    add_overflow(static_cast<uint32_t>(part));
  } else if (tag_bits(form()) == 16) {
    add_overflow(kctx.colx_kctx_resume_extra);
  } else {
    for (uint32_t partition = 0; partition < partitions(); ++partition)
      if (over_cur_[partition] >= over_end_[partition]) add_overflow(partition);
  }
}

// An eighth of the partition's buckets at first, then as much again as there is.
void JoinTable::add_overflow(uint32_t partition) {
  uint64_t buckets = std::max<uint64_t>(this->buckets() / 8, 4);
  for (const StreamBuffer& region : overflow_[partition])
    buckets = std::max(buckets, region.size() / bucket_bytes * 2);
  StreamBuffer region(buckets * bucket_bytes);
  over_cur_[partition] = region.data();
  over_end_[partition] = region.data() + region.size();
  overflow_[partition].push_back(std::move(region));
}

colx_ht JoinTable::descriptor_of(uint32_t partition) const {
  colx_ht ht = descriptor_;
  ht.colx_ht_part_hi = ht.colx_ht_bucket_hi;
  ht.colx_ht_buckets += partition;
  ht.colx_ht_over_cur += partition;
  ht.colx_ht_over_end += partition;
  return ht;
}

uint64_t JoinTable::overflow_regions() const {
  uint64_t regions = 0;
  for (const auto& of_partition : overflow_) regions += of_partition.size();
  return regions;
}

uint64_t JoinTable::bytes() const {
  uint64_t bytes = partitions() * buckets() * bucket_bytes;
  for (const auto& of_partition : overflow_)
    for (const StreamBuffer& region : of_partition) bytes += region.size();
  return bytes;
}

}  // namespace colx::host
