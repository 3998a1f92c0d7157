// What a partitioning leaves behind: each row's record at the end of its partition, until one does
// not fit.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_layout_oracle.h"
#include "tests/oracle/patches.h"

namespace colx::oracle {

enum class PartitionRecords { rid, lv, fixed };

// What a record carries beside its hash. `nothing`: records of the source are copied as they are.
enum class Carried { autorid, payload, fixed, lv_sep, lv, lp_sep, lp, nothing };

struct PartitionForm {
  PartitionRecords records;
  KeyLayout key;  // the kernel that splits lv records by the hashes in them: lv, carrying nothing
  Carried carried;

  bool operator==(const PartitionForm&) const = default;
};

const char* name_of(PartitionRecords records);
const char* name_of(Carried carried);

// The kernel's name.
std::string partition_name(const PartitionForm& form);

// Bits that colx_part_type needs for these records.
uint32_t part_type(const PartitionForm& form);

// The layout of a payload vector that has one.
std::optional<KeyLayout> carried_layout(Carried carried);

// The kernel that serves these records; none: status 2. The payload is looked at only where it
// counts.
std::optional<PartitionForm> partition_form(const colx_part_set& parts, const colx_cv& src,
                                            const colx_cv* payload);

uint64_t partition_of(const colx_part_set& parts, uint64_t hash);

struct PartitionOutcome {
  uint32_t status;
  uint32_t resume_extra;
  uint32_t position;
  uint64_t key_offset;
  uint64_t value_offset;
  std::vector<Patches> written;       // per partition, in bytes from its cursor at the call
  std::vector<uint64_t> moved_bytes;  // by which each cursor has moved on
  std::vector<HashCall> hash_calls;
};

// `partitions` is how many cursors and ends there are. `fn` is called for values alone.
PartitionOutcome partition_outcome(const PartitionForm& form, const colx_part_set& parts,
                                   uint64_t partitions, const colx_cv& src, const colx_cv* payload,
                                   colx_hash_fn fn, const colx_kctx& kctx);

}  // namespace colx::oracle
