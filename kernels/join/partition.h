// Partition: each row's record goes to the cursor of the partition that its hash names. One loop
// for all kernels, over keys in blocks with their hashes or over records that carry their own.
#pragma once

#include "kernels/join/bit_fields.h"
#include "kernels/join/key_blocks.h"
#include "kernels/join/partition_kernels.h"
#include "kernels/join/partition_records.h"

namespace colx {

// The partition number is not checked: the host has a cursor and an end for all that the two fields
// of the part set can give.
struct Partitions {
  uint64_t mask;
  unsigned shift;
  void** cursors;
  void* const* ends;

  COLX_INLINE explicit Partitions(const colx_part_set* parts)
      : mask(bits_up_to(parts->colx_part_hi)),
        shift(parts->colx_part_shift & 63),
        cursors(parts->colx_part_cursors),
        ends(parts->colx_part_ends) {}

  COLX_INLINE uint64_t number(uint64_t hash) const { return (hash & mask) >> shift; }
  COLX_INLINE uint8_t* cursor(uint64_t number) const { return bytes_at(cursors[number], 0); }
  COLX_INLINE bool has_room(uint64_t number, uint64_t bytes) const {
    return bytes_at(ends[number], 0) - cursor(number) >= static_cast<int64_t>(bytes);
  }
  COLX_INLINE void move(uint64_t number, uint64_t bytes) const {
    cursors[number] = cursor(number) + bytes;
  }
};

// Rows in order, the hash of the i-th told by hash_of(i). Fewer than all if a partition is full:
// its number is kept in `kctx`, and nothing of its row was written.
template <class HashOf, class Records>
COLX_INLINE uint32_t scatter(const Partitions& to, HashOf hash_of, Records& records, uint32_t rows,
                             colx_kctx* kctx) {
  for (uint32_t i = 0; i < rows; ++i) {
    const uint64_t hash = hash_of(i);
    const uint64_t number = to.number(hash);
    const uint64_t bytes = records.bytes();
    if (!to.has_room(number, bytes)) {
      kctx->colx_kctx_resume_extra = static_cast<uint32_t>(number);
      return i;
    }
    records.write(to.cursor(number), hash);
    to.move(number, bytes);
    records.pass();
  }
  return rows;
}

COLX_INLINE uint64_t hash_at(const uint64_t* hashes, uint32_t i) {
  return hashes[i];
}
COLX_INLINE uint64_t hash_at(const HashridRecord* records, uint32_t i) {
  return records[i].hash;
}

template <Layout key, class Records>
COLX_INLINE uint32_t partition(const colx_part_set* parts, const colx_cv* src,
                               const colx_cv* payload, colx_hash_fn fn, colx_kctx* kctx) {
  const Partitions to(parts);
  Records records(parts, src, payload, kctx);
  const auto scatter_block = [&](const auto* block, uint64_t, uint32_t rows) {
    return scatter(
        to, [block](uint32_t i) { return hash_at(block, i); }, records, rows, kctx);
  };
  const uint32_t status = for_each_block<key>(src, fn, kctx, COLX_PARTITION_FULL, scatter_block);
  records.save(kctx);
  return status;
}

}  // namespace colx
