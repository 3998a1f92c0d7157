// The join's hash table, step by step: how a hash leads to a bucket, how rows go in and what marks
// they leave, where a build stops. Works on the table's own memory, so that bytes and addresses
// compare with what the kernels leave there.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_layout_oracle.h"

namespace colx::oracle {

// A bucket, 64 bytes: the header at byte 0, keys, values, the next bucket's address at byte 56.
struct TableForm {
  const char* name;
  uint32_t type;
  unsigned slots;
  unsigned key_bytes;
  unsigned value_bytes;
  unsigned keys_at;
  unsigned values_at;
};

inline constexpr unsigned bucket_bytes = 64;
inline constexpr unsigned next_bucket_at = 56;
inline constexpr uint8_t used_slots_mask = 0x0F;
inline constexpr uint8_t unique_mark = 0x40;
inline constexpr uint8_t has_successor = 0x80;

inline constexpr TableForm table_forms[] = {{"k2v8", COLX_HT_K2V8, 5, 2, 8, 2, 16},
                                            {"k2v4", COLX_HT_K2V4, 9, 2, 4, 2, 20},
                                            {"k4v8", COLX_HT_K4V8, 4, 4, 8, 4, 24},
                                            {"k4v4", COLX_HT_K4V4, 6, 4, 4, 4, 32}};

const TableForm& table_form(uint32_t type);

struct BucketChoice {
  uint64_t bucket_mask;
  uint64_t part_mask;  // 0: everything goes to partition 0
  unsigned part_shift;
  unsigned part_low_bits;
  uint64_t low_mask;
};

// Of a call on one named partition the partition mask is 0, as of a table that has one only.
BucketChoice bucket_choice(const colx_ht& ht, bool one_partition_named);

uint64_t partition_of(const BucketChoice& choice, uint64_t hash);
uint8_t* first_bucket(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                      uint64_t hash);

// A row as a pass sees it. The key is as wide as the form's, the value may be wider.
struct TableRow {
  uint64_t hash;
  uint32_t key;
  uint64_t value;
};

uint32_t tag_of(const TableForm& form, uint64_t hash);

// What a prefetch pass of the build returns.
bool all_with_room(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                   std::span<const TableRow> rows);

// What an insert pass does; returns how many rows went in.
uint32_t insert_rows(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                     void** over_cur, void* const* over_end, std::span<const TableRow> rows,
                     bool take_fast_path);

struct BuildKernel {
  TableForm form;
  KeyLayout layout;
  bool autorid;  // of no use to hashrid and hashgdrid, which bring their values along
};

// The kernel that colx_ht_build_dydi picks, none if it refuses.
std::optional<BuildKernel> build_kernel(uint32_t ht_type, uint32_t src_flags,
                                        uint32_t payload_flags);

// Rows `first` and up to 1023 behind it, with where they start in a stream.
struct RowBlock {
  std::vector<TableRow> rows;
  std::vector<uint64_t> starts;
};
RowBlock row_block(const TableForm& form, KeyLayout layout, bool autorid, const colx_cv& src,
                   const colx_cv& payload, uint64_t first, uint64_t stream_offset, colx_hash_fn fn);

struct BuildOutcome {
  uint32_t status;
  colx_kctx kctx;          // as the call leaves it
  uint64_t stopped_entry;  // of the table's arrays: where room is missing
};

// Changes the table.
BuildOutcome build(const BuildKernel& kernel, const colx_ht& ht, const colx_cv& src,
                   const colx_cv& payload, int32_t part, colx_hash_fn fn, const colx_kctx& kctx);

}  // namespace colx::oracle
