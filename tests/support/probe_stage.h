// Calls of the hash probe at guard pages, compared with what the oracle finds in the same table.
// Tables come from the oracle, never from a build kernel.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/probe_oracle.h"
#include "tests/support/chosen_hash.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/join_columns.h"
#include "tests/support/key_column.h"
#include "tests/support/table_memory.h"

namespace colx::test {

struct ProbeKernel {
  const char* name;
  colx_ht_probe_call* call;
  oracle::ProbeKernel form;
};

// The 52.
const std::vector<ProbeKernel>& probe_kernels();
uint32_t table_type(const ProbeKernel& kernel);

class ProbeStage {
 public:
  // A new column at row 0 for the table as it stands.
  void set_rows(const JoinRows& rows, unsigned value_bytes);
  // An output for that many records, dirty, before a call.
  void set_room(uint32_t records, Place place = Place::end);

  // Empty if the call writes and saves what the oracle says, and changes nothing else.
  std::string difference(const ProbeKernel& kernel);
  // The same for colx_ht_probe_dydi, whose kernel the oracle picks.
  std::string entry_difference();

  TableMemory table;
  KeyColumn keys;
  PayloadColumn payload;
  colx_cv res;
  colx_kctx kctx;
  colx_hash_fn fn = chosen_hash;

  uint32_t status = 0;                      // of the last call
  std::vector<oracle::RidValue> counted;    // the records that it counted
  std::vector<oracle::RidValue> uncounted;  // those of the row that it did not finish

 private:
  std::string refusal();
  std::string output_difference(const std::vector<oracle::RidValue>& written) const;
  std::string damage(const colx_cv& res_before, const Bytes& table_before) const;

  uint32_t room_ = 0;
  GuardedOutput output_;
  GuardedPages nowhere_;
};

ProbeStage& probe_stage();

// Calls a kernel until it is done, each time with room for `records` records, more only if a row
// has more hits than that; gives the first difference, else an empty text and in `all` every record
// that counted.
std::string probe_by_and_by(ProbeStage& stage, const ProbeKernel& kernel, uint32_t records,
                            std::vector<oracle::RidValue>& all);

}  // namespace colx::test
