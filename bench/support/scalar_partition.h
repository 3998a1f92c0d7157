// The scalar line of partitioning: a plain scatter of 16-byte records.
//
// A row at a time: the partition out of the row's hash, its cursor, the test of the room, the two
// words, the cursor back. Mask, shift and array addresses stay in registers.
//
// Built with -O3 -fno-tree-vectorize. Ratios are comparable over versions because these loops do
// not change: improve kernels, not them.
#pragma once

#include <cstdint>

namespace colx::bench {

// Which partition a hash belongs to, and where the partitions are.
struct ScatterTarget {
  uint64_t mask;
  unsigned shift;
  uint8_t** cursors;
  uint8_t* const* ends;
};

// Records of a row's value and hash. Return the rows that found room.
uint64_t scalar_scatter_values(const uint64_t* hashes, const uint64_t* values, uint64_t rows,
                               const ScatterTarget& target);
uint64_t scalar_scatter_row_ids(const uint64_t* hashes, uint64_t first_rid, uint64_t rows,
                                const ScatterTarget& target);

// Records of two words, the second one the hash, as they are.
uint64_t scalar_scatter_records(const uint64_t* records, uint64_t rows,
                                const ScatterTarget& target);

}  // namespace colx::bench
