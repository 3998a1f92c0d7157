#include "bench/support/scalar_partition.h"

#include <cstring>

namespace colx::bench {
namespace {

constexpr uint64_t record_bytes = 16;

template <class FirstWord, class Hash>
__attribute__((always_inline)) inline uint64_t scatter(uint64_t rows, const ScatterTarget& target,
                                                       FirstWord first_word, Hash hash_of) {
  const uint64_t mask = target.mask;
  const unsigned shift = target.shift;
  uint8_t** const __restrict cursors = target.cursors;
  uint8_t* const* const __restrict ends = target.ends;
  for (uint64_t row = 0; row < rows; ++row) {
    const uint64_t hash = hash_of(row);
    const uint64_t partition = (hash & mask) >> shift;
    uint8_t* const cursor = cursors[partition];
    if (static_cast<uint64_t>(ends[partition] - cursor) < record_bytes) return row;
    const uint64_t words[2] = {first_word(row), hash};
    std::memcpy(cursor, words, record_bytes);
    cursors[partition] = cursor + record_bytes;
  }
  return rows;
}

}  // namespace

uint64_t scalar_scatter_values(const uint64_t* __restrict hashes, const uint64_t* __restrict values,
                               uint64_t rows, const ScatterTarget& target) {
  return scatter(
      rows, target, [=](uint64_t row) { return values[row]; },
      [=](uint64_t row) { return hashes[row]; });
}

uint64_t scalar_scatter_row_ids(const uint64_t* __restrict hashes, uint64_t first_rid,
                                uint64_t rows, const ScatterTarget& target) {
  return scatter(
      rows, target, [=](uint64_t row) { return first_rid + row; },
      [=](uint64_t row) { return hashes[row]; });
}

uint64_t scalar_scatter_records(const uint64_t* __restrict records, uint64_t rows,
                                const ScatterTarget& target) {
  return scatter(
      rows, target, [=](uint64_t row) { return records[2 * row]; },
      [=](uint64_t row) { return records[2 * row + 1]; });
}

}  // namespace colx::bench
