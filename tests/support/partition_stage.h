// One call of a partitioning at guard pages.
//
// Keys, payload and the arrays of cursors and ends end where their last entry ends; the partitions
// end where their room does. What the form has no use for is unreadable: the payload too, where
// records are copied as they are. Calls of the hash function are written down.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/oracle/partition_oracle.h"
#include "tests/support/guarded_arrays.h"
#include "tests/support/key_column.h"
#include "tests/support/partition_kernels.h"
#include "tests/support/patched_output.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

struct PartitionBatch {
  oracle::PartitionForm form;
  std::vector<KeyRow> keys;
  std::vector<uint16_t> value_lengths;  // of the payload's rows, where they differ
  uint32_t key_bits = 64;               // fixed keys
  uint32_t value_bits = 64;             // fixed payloads
  uint16_t fixed_len = 8;               // fixed records
  uint64_t base_rid = 0;
  uint8_t hi = 3;
  uint8_t shift = 0;
  bool far_apart = false;       // partitions lie some 16 MiB away from one another
  std::vector<uint64_t> rooms;  // of the partitions; without one exactly what is written
  uint32_t position = 0;        // offsets of streams are those of this row
  uint32_t type = 0;            // bits beside those that the form needs
  uint32_t src_flags = 0;
  uint32_t payload_flags = 0;
  Edge edge = Edge::end;
  Place place = Place::end;
  size_t slack_bytes = 0;  // readable behind keys and payload, to try other alignments
};

struct PartitionRun {
  uint32_t status;
  uint32_t position;
};

class PartitionStage {
 public:
  static constexpr uint32_t dirty_extra = 0x5AA55AA5;
  static constexpr uint64_t dirty_offset = 0xBADBADBADBADBAD;

  // Lays the batch out; records may then be changed by hand before the call.
  void set(const PartitionBatch& batch);
  // Fresh partitions of these rooms; see PartitionBatch.
  void place_partitions(const std::vector<uint64_t>& rooms);
  oracle::PartitionOutcome expected() const;
  PartitionRun call(colx_partition_call* kernel);
  // What the last call did that the oracle does not say.
  std::string difference(const PartitionRun& run, const oracle::PartitionOutcome& expected) const;

  // Of one partition's bytes alone.
  std::string partition_difference(uint64_t partition,
                                   const oracle::PartitionOutcome& expected) const {
    return outputs_[partition]->difference(expected.written[partition]);
  }

  uint64_t partitions() const { return outputs_.size(); }
  const uint8_t* records(uint64_t partition) const { return outputs_[partition]->begin(); }
  // Bytes between the partition's begin and its cursor.
  uint64_t filled_bytes(uint64_t partition) const;
  colx_cv* payload() { return has_payload() ? payload_ : nowhere_; }

  colx_part_set parts;
  KeyColumn src;
  KeyColumn values;       // the payload that has a layout
  PayloadColumn row_ids;  // the payload of row ids
  colx_kctx kctx;

 private:
  bool has_payload() const { return batch_.form.carried != oracle::Carried::nothing; }
  void place_keys();
  void place_payload();
  colx_hash_fn hash_fn() const;

  PartitionBatch batch_;
  GuardedArrays arrays_, rooms_arrays_;
  PatchedOutput& output(uint64_t partition);

  std::vector<std::unique_ptr<PatchedOutput>> near_, far_;
  std::vector<PatchedOutput*> outputs_;
  colx_cv* payload_ = nullptr;
  colx_cv* nowhere_ = nullptr;
  colx_part_set parts_before_;
  colx_kctx kctx_before_;
  std::vector<void*> ends_before_;
};

PartitionStage& partition_stage();

// Random keys and payloads, lengths of 0 to 30 (record streams: 8 and more), random hashes over 16
// partitions, with room for everything.
PartitionBatch random_partition_batch(const oracle::PartitionForm& form, uint32_t rows,
                                      Random& random);

std::string describe(const PartitionBatch& batch);

// Empty if a call does what the oracle says and nothing else, else one line. The kernel is called
// by its name and through the entry of the exported record.
std::string partition_difference(const PartitionBatch& batch);

// For the examples: calls the entry, whose results then lie in the stage.
PartitionRun run_partition(const PartitionBatch& batch);

}  // namespace colx::test
