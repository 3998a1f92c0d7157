// Partition: each row's record goes to the cursor of the partition that its hash names. One loop
// for all kernels, over keys in blocks with their hashes or over records that carry their own.
#pragma once

#include "kernels/join/address_span.h"
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
  COLX_INLINE bool has_room(uint64_t number, const uint8_t* behind) const {
    return behind <= bytes_at(ends[number], 0);
  }
};

// Asks for the line behind the next record of the same partition. Records up to a line in length
// then find theirs in cache.
COLX_INLINE void prefetch_next(const uint8_t* behind) {
  prefetch(behind + 48);
}

// Writes the record of one row and moves the cursor of its partition; false if that is full, with
// its number kept in `kctx` and nothing written.
template <bool ahead, class Records>
COLX_INLINE bool scatter_row(const Partitions& to, uint64_t hash, Records& records,
                             colx_kctx* kctx) {
  const uint64_t number = to.number(hash);
  uint8_t* const at = to.cursor(number);
  uint8_t* const behind = at + records.bytes();
  if (!to.has_room(number, behind)) [[unlikely]] {
    kctx->colx_kctx_resume_extra = static_cast<uint32_t>(number);
    return false;
  }
  if constexpr (ahead) prefetch_next(behind);
  records.write(at, hash);
  to.cursors[number] = behind;
  records.pass();
  return true;
}

// The hashes of a block of rows. What was just computed from keys is in cache; a column has to be
// asked for, since the streams of many partitions wear out the processor's own prefetcher. Columns
// lie at any address, as the records of a partition do.
template <Layout key, class Block>
struct BlockHashes {
  const Block* block;

  COLX_INLINE uint64_t of(uint64_t row) const {
    if constexpr (key == Layout::hashrid) {
      return load_as<uint64_t>(bytes_at(block + row, offsetof(HashridRecord, hash)));
    } else {
      return load_as<uint64_t>(block + row);
    }
  }
  template <uint64_t rows>
  COLX_INLINE void ask(uint64_t row) const {
    if constexpr (KeyBlocks<key>::with_hashes)
      for (uint64_t byte = 0; byte < rows * sizeof(Block); byte += 64)
        prefetch(bytes_at(block + row, byte + stream_prefetch_bytes));
  }
};

// `count` rows from `row` on, in order; returns how many of them were written.
template <bool ahead, uint64_t count, class Hashes, class Records>
COLX_INLINE uint64_t scatter_group(const Partitions& to, const Hashes& hashes, Records& records,
                                   uint64_t row, colx_kctx* kctx) {
#pragma GCC unroll 8
  for (uint64_t i = 0; i < count; ++i)
    if (!scatter_row<ahead>(to, hashes.of(row + i), records, kctx)) return i;
  return count;
}

// The rows of a block in order; returns how many were written.
template <bool ahead, class Hashes, class Records>
COLX_INLINE uint64_t scatter_all(const Partitions& to, const Hashes& hashes, Records& records,
                                 uint64_t rows, colx_kctx* kctx) {
  constexpr uint64_t group_rows = Records::few_words ? 8 : 1;
  uint64_t row = 0;
  for (; rows - row >= group_rows; row += group_rows) {
    if constexpr (ahead) {
      hashes.template ask<group_rows>(row);
      records.ask();
    }
    const uint64_t done = scatter_group<ahead, group_rows>(to, hashes, records, row, kctx);
    if (done < group_rows) return row + done;
  }
  while (row < rows && scatter_group<ahead, 1>(to, hashes, records, row, kctx)) ++row;
  return row;
}

// The same on copies of all that the loop goes by, so that no store of a record can be one to them.
template <bool ahead, class Hashes, class Records>
COLX_INLINE uint32_t scatter(const Partitions to, const Hashes hashes, Records& records,
                             uint32_t rows, colx_kctx* kctx) {
  Records record = records;
  const uint64_t done = scatter_all<ahead>(to, hashes, record, rows, kctx);
  records = record;
  return static_cast<uint32_t>(done);
}

// Whether the partitions of the first rows lie far apart, as many or large ones do.
template <class Hashes>
COLX_INLINE bool far_apart(const Partitions& to, const Hashes& hashes, uint32_t rows) {
  AddressSpan cursors;
  for (uint32_t row = 0; row < std::min(rows, 16u); ++row)
    cursors.add(to.cursor(to.number(hashes.of(row))));
  return cursors.is_wide();
}

template <Layout key, class Records>
COLX_INLINE uint32_t partition(const colx_part_set* parts, const colx_cv* src,
                               const colx_cv* payload, colx_hash_fn fn, colx_kctx* kctx) {
  const Partitions to(parts);
  Records records(parts, src, payload, kctx);
  const uint64_t first_row = kctx->colx_kctx_position;
  bool ahead = false;
  const auto scatter_block = [&]<class Block>(const Block* block, uint64_t row, uint32_t rows)
      __attribute__((always_inline)) {
    const BlockHashes<key, Block> hashes{block};
    if (row == first_row) ahead = far_apart(to, hashes, rows);
    return ahead ? scatter<true>(to, hashes, records, rows, kctx)
                 : scatter<false>(to, hashes, records, rows, kctx);
  };
  const uint32_t status = for_each_block<key>(src, fn, kctx, COLX_PARTITION_FULL, scatter_block);
  records.save(kctx);
  return status;
}

}  // namespace colx
