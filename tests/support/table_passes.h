// The passes of build and probe by name, with their rows at guard pages: an array of hashes, of
// records, or of hashes and codes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_table_oracle.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/key_column.h"
#include "tests/support/seeded_random.h"
#include "tests/support/table_memory.h"

namespace colx::test {

// What a pass is told of its rows; which of it counts depends on the pass.
struct PassRows {
  const uint64_t* hashes;  // hash_values, gd
  const void* records;     // hashrid, hashgdrid
  const uint32_t* codes;   // gd
  uint64_t first_rid;
  const void* values;
  uint32_t count;
};

class PassColumn {
 public:
  void set(oracle::KeyLayout layout, bool autorid, const TableShape& shape,
           const std::vector<KeyRow>& rows, Random& random);
  std::string damage() const;

  PassRows rows;
  std::vector<oracle::TableRow> meaning;  // the same for an oracle

 private:
  KeyColumn keys_;
  PayloadColumn payload_;
  GuardedPages hash_pages_;
};

// A table of random rows, put in by the oracle on either path, with marks turned over at random.
// Rows of codes lie where the chosen_hash of the code leads.
enum class TableKeys { tags, codes };
void fill_at_random(TableMemory& table, TableKeys keys, uint32_t rows, uint32_t tags,
                    Random& random);

struct PrefetchPass {
  const char* name;
  uint32_t (*call)(const PassRows& rows, void* const* buckets, const oracle::BucketChoice& choice);
  oracle::TableForm form;
  oracle::KeyLayout layout;
};
const std::vector<PrefetchPass>& build_prefetch_passes();  // 9
const std::vector<PrefetchPass>& match_prefetch_passes();  // 4

struct InsertPass {
  const char* name;
  uint32_t (*call)(const PassRows& rows, const colx_ht& ht, const oracle::BucketChoice& choice,
                   uint32_t all_with_room);
  oracle::TableForm form;
  oracle::KeyLayout layout;
  bool autorid;
};
const std::vector<InsertPass>& insert_passes();  // 17

struct MatchPass {
  const char* name;
  uint32_t (*call)(void* out, const PassRows& rows, uint64_t room, uint32_t* stop_row,
                   void* const* buckets, const oracle::BucketChoice& choice, uint32_t none_chained);
  oracle::TableForm form;
  oracle::KeyLayout layout;
  bool autorid;
};
const std::vector<MatchPass>& match_passes();  // 12

}  // namespace colx::test
