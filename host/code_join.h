// code_join.h: the hash join of a few keys with the rows that a query is left with.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/bloom_filter.h"
#include "host/chunk_rows.h"
#include "host/join_table.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/translation_table.h"

namespace colx::host {

// A hash table of exact codes behind a Bloom filter of their hash values: most rows end at the
// filter. Library must outlive it; once built, threads may share it.
class CodeJoin {
 public:
  // Memory of one thread, kept from chunk to chunk.
  struct Scratch {
    std::vector<uint32_t> codes;                // of the rows that are left
    std::vector<uint64_t> hashes;               // of those codes
    RowBits passed;                             // which of them passed the filter
    std::vector<uint32_t> positions;            // of rows that matched
    std::vector<uint32_t> candidates;           // codes that passed
    std::vector<uint32_t> candidate_positions;  // where they stood
  };

  // Each pair's key is a code of the column that is joined, its code what the join finds for it.
  // Errors: a key that occurs twice, those of the table and the filter.
  static Result<CodeJoin> build(const Library& library, std::span<const KeyCode> pairs);

  // Joins on the codes that `unpack` reads: drops the rows without a match and delivers, in row
  // order, what the join found for each of the others. Errors: those of the kernels.
  Result<void> run(ChunkRows& rows, const CodeUnpack& unpack, Scratch& scratch,
                   std::vector<uint32_t>& found) const;

 private:
  CodeJoin(JoinTable table, BloomFilter bloom)
      : table_(std::move(table)), bloom_(std::move(bloom)) {}
  JoinTable table_;
  BloomFilter bloom_;
};

}  // namespace colx::host
