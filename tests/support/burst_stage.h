// One call of a burst kernel at guard pages: from bits per run to bits per row.
//
// The result gets its words and the seven spare bytes behind them that it is granted, no more; at
// Place::end an unreadable page follows those at once. Lengths, first rows and run bits end where
// the page ends, and everything else that the records point at is unreadable.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/run_length_oracle.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/scan_stage.h"

namespace colx::test {

struct BurstKernel {
  const char* name;
  colx_decode_fn kernel;
  oracle::RunRows kind;
};

struct BurstBatch {
  std::vector<uint32_t> lengths;
  uint32_t first_row = 0;  // of run 0; other than 0 only where first rows are stored
  uint32_t rows = 0;       // colx_cv_num_of_rows of the result
  Words run_bits;          // one per run; bits behind the runs are noise
  uint64_t set = 0;        // colx_kctx_aux_set
  Edge edge = Edge::end;
  Place place = Place::middle;
  size_t shift = 0;  // moves a middle result

  uint32_t runs() const { return static_cast<uint32_t>(lengths.size()); }
  void hit(uint32_t run) { run_bits[run / 64] |= uint64_t{1} << run % 64; }
  uint64_t hits() const;
};

// Runs of these lengths, none of them hit, that cover the rows from the first to the last.
BurstBatch burst_batch(std::vector<uint32_t> lengths);

std::string describe(const BurstBatch& batch);

struct BurstRun {
  uint32_t status;
  uint32_t num_set;
  Words bits;
  std::string damage;  // the first thing that changed and should not have; empty if nothing did
};

class BurstStage {
 public:
  void set(oracle::RunRows kind, const BurstBatch& batch);
  BurstRun call(colx_decode_fn kernel);

  colx_cv res;
  colx_cv src;
  colx_enc_ctx encoding;
  colx_kctx kctx;

 private:
  std::string damage() const;

  BurstBatch batch_;
  GuardedPages runs_pages_, bits_pages_, nowhere_;
  GuardedOutput output_;
};

BurstStage& burst_stage();

// Empty if the call does what the oracle says of that form and nothing else, else one line.
std::string burst_difference(const BurstKernel& kernel, const BurstBatch& batch,
                             oracle::BurstForm form);

// Likewise for an entry, which picks the form.
inline std::string burst_difference(const BurstKernel& entry, const BurstBatch& batch) {
  return burst_difference(entry, batch, oracle::burst_form(entry.kind, batch.runs(), batch.set));
}

// The four entries of the table.
BurstKernel burst_entry(uint32_t width_code);

}  // namespace colx::test
