// One call of a hash kernel at guard pages, compared call by call: the hash function that it gets
// reads no byte of a key and writes down what it was asked.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_layout_oracle.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/key_column.h"

namespace colx::test {

struct HashKernel {
  const char* name;
  uint32_t (*call)(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn);
  oracle::HashKernel form;
};

// The twelve, by layout and seed mode.
const std::vector<HashKernel>& hash_kernels();

class HashStage {
 public:
  // One seed readable at least; `seed_rows` is what the seeds' vector says of their number.
  void set(const KeyBatch& batch, const std::vector<uint64_t>& seeds, uint32_t seed_rows);

  // Empty if the call asks and stores what the oracle says of `form` and changes nothing else.
  std::string difference(const HashKernel& kernel);
  // The same for colx_hash_dydi, whose kernel the oracle picks.
  std::string entry_difference();

  KeyColumn keys;
  colx_cv res;
  colx_cv seeds;
  colx_enc_ctx seeds_encoding;

 private:
  std::string difference_behind(uint32_t status, const std::vector<oracle::HashCall>& expected);
  void remember();

  colx_cv res_before_, seeds_before_;
  colx_enc_ctx seeds_encoding_before_;
  GuardedPages seed_pages_, nowhere_;
  GuardedOutput slots_;
  size_t slot_count_ = 0;
};

HashStage& hash_stage();

}  // namespace colx::test
