// partition_set.h: rows scattered into partitions by bits of their hash.
//
//   row_ids   16 bytes   row number or value, hash
//   codes     24 bytes   hash, code, row number or value
//   payloads  10 bytes and the payload    length + 8 (16 bits), hash, payload
//   fixed     8 bytes and the payload     hash, payload of one width
//
// A partition is a list of regions; records never cross from one into the next.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/key_rows.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/stream_buffer.h"

namespace colx::host {

// What a record holds, by the list above.
enum class RecordForm : uint32_t {
  row_ids = COLX_PART_SERVED | COLX_PART_RID,
  codes = COLX_PART_SERVED | COLX_PART_RID | COLX_PART_GD,
  payloads = COLX_PART_SERVED | COLX_PART_LV,
  fixed = COLX_PART_SERVED | COLX_PART_FIXED
};

// What records look like and which partition a hash leads to.
struct PartitionOptions {
  // codes takes KeyRows::codes() alone.
  RecordForm form = RecordForm::row_ids;
  // Partition of a hash: (hash & (2 << highest_bit) - 1) >> shift, as JoinTable tells it.
  uint32_t highest_bit = 63;  // shift to 63
  uint32_t shift = 60;        // 0 to highest_bit
  uint32_t fixed_bytes = 0;   // fixed: bytes of each payload, 1 to 8191
  uint32_t region_bytes = 0;  // first room of a partition; 0: 4096
};

// One thread fills a set; a filled one is only read.
class PartitionSet {
 public:
  // Errors: more than 2^16 partitions, a shift above the highest bit, a width that does not go with
  // the form, a library without the function.
  static Result<PartitionSet> create(const Library& library, const PartitionOptions& options);

  // Adds a record a row, in row order, of keys that are hashed or carry their hash (also records of
  // another set, to split a partition again). Row ids and codes take values of 8 bytes or row
  // numbers. Errors, with no row added: keys or values of a kind that the form does not take.
  Result<void> add(const KeyRows& keys, const RowValues& values);
  // The same for forms with payloads, which are KeyRows::fixed() or pointers(). Errors: as above, a
  // payload of more than 65527 bytes, or not of fixed_bytes.
  Result<void> add(const KeyRows& keys, const KeyRows& payloads);
  // Splits regions of another set of payload records by this set's bits. Error: another form.
  Result<void> add(const PartitionSet& from, uint32_t partition);

  // How many there are; some may be empty.
  uint32_t partitions() const { return static_cast<uint32_t>(regions_.size()); }
  // As create() was told.
  RecordForm form() const { return options_.form; }
  // Regions of `partition`, below partitions().
  size_t regions(uint32_t partition) const { return regions_[partition].size(); }
  // The records in a region, below regions(partition), back to back; they hold until more are
  // added.
  std::span<const uint8_t> records(uint32_t partition, size_t region) const;
  // The records of a region of row ids or codes as keys of JoinTable::build_partition(); they hold
  // until more are added. Errors: a form with payloads, no such partition or region.
  Result<KeyRows> keys(uint32_t partition, size_t region) const;

  // Rows of a partition of row ids as arrays, as probes take them: appended to what is there.
  // Errors leave the arrays as they are: records of another form, no such partition.
  Result<void> split(uint32_t partition, std::vector<uint64_t>& hashes,
                     std::vector<uint64_t>& values) const;
  // Rows of a partition of row ids or codes.
  uint64_t rows(uint32_t partition) const;

 private:
  PartitionSet() = default;
  Result<void> check_keys(const KeyRows& keys) const;
  Result<void> run(colx_cv& source, colx_cv& payload);
  void add_region(uint32_t partition);

  PartitionOptions options_;
  colx_partition_call* partition_ = nullptr;
  std::vector<std::vector<StreamBuffer>> regions_;
  std::vector<void*> cursors_;
  std::vector<void*> ends_;
  // Bytes used of each full region; that of the last one is where its cursor stands.
  std::vector<std::vector<size_t>> used_;
  uint64_t largest_record_ = 0;
};

}  // namespace colx::host
