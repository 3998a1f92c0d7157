// Calls of the hash build at guard pages: each one is compared, byte by byte, with what the oracle
// makes of the same table at the same addresses.
//
//   BuildStage& stage = build_stage();
//   stage.table.set(table_shape(COLX_HT_K2V4, 0, 0, 0, 1));
//   stage.set_rows(batch);
//   EXPECT_EQ(stage.difference(build_kernel_named("colx_ht_build_k2v4_fixed_autorid")), "");
//   EXPECT_EQ(stage.status, COLX_DONE);
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_table_oracle.h"
#include "tests/support/chosen_hash.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/join_columns.h"
#include "tests/support/key_column.h"
#include "tests/support/table_memory.h"

namespace colx::test {

struct BuildKernel {
  const char* name;
  colx_ht_build_call* call;
  oracle::BuildKernel form;
  bool codes;  // serves tables of codes
};

// The 57.
const std::vector<BuildKernel>& build_kernels();
const BuildKernel& build_kernel_named(const std::string& name);

class BuildStage {
 public:
  // A new column at row 0 for the table as it stands.
  void set_rows(const JoinRows& rows, unsigned value_bytes);

  // Empty if the call does to table and kctx what the oracle says, and changes nothing else.
  std::string difference(const BuildKernel& kernel);
  // The same for colx_ht_build_dydi, whose kernel the oracle picks.
  std::string entry_difference();

  TableMemory table;
  KeyColumn keys;
  PayloadColumn payload;
  colx_kctx kctx;
  int32_t part = -1;
  colx_hash_fn fn = chosen_hash;

  uint32_t status = 0;         // of the last call
  uint64_t stopped_entry = 0;  // if that was COLX_OVERFLOW_FULL: the partition without room

 private:
  std::string refusal();
  std::string damage() const;

  GuardedPages nowhere_;
};

BuildStage& build_stage();

// Calls a kernel until it is done, granting one bucket where it stopped each time; empty if every
// call agrees with the oracle. With `scattered`, granted buckets come in any order.
std::string build_bucket_by_bucket(BuildStage& stage, const BuildKernel& kernel, bool scattered,
                                   Random& random);

}  // namespace colx::test
