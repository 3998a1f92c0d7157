// One call of a decode_unpack kernel at guard pages.
//
// Packed codes are followed by the 16 readable bytes that a stream is granted and nothing more; run
// lengths, selection and row list end where their last entry ends; the output has room for exactly
// the elements that the kernel was promised.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/unpack_oracle.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"
#include "tests/support/stored_rows.h"

namespace colx::test {

inline constexpr unsigned unpack_widths[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                             12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32};

struct UnpackKernel {
  const char* name;
  colx_decode_fn kernel;
  unsigned width_bits;
};

UnpackKernel unpack_kernel(unsigned width_bits);

// Rows up to the next place where the codes and the selection both begin a byte: lcm(8, width).
uint32_t unpack_alignment_rows(unsigned width_bits);

// Rows of a block: as many as a step of the predicates covers.
uint32_t unpack_block_rows(unsigned width_bits);

struct UnpackBatch {
  unsigned width_bits = 8;
  std::vector<uint64_t> codes;  // one per row; per run of a run-length column
  uint32_t rows = 0;            // colx_cv_num_of_rows of the source

  uint32_t capacity = 0;
  std::optional<size_t> room;  // elements of the output, where the capacity says something else
  uint32_t position = 0;
  uint32_t state1 = 0;
  uint32_t state2 = 0;
  uint32_t kctx_flags = 0;
  uint32_t flags_out = 0;
  std::optional<Words> selection;  // words that the kernel must not look at are left out
  std::optional<std::vector<uint32_t>> list;
  const uint32_t* raw_list = nullptr;  // instead of `list`: a list of no rows

  bool run_length = false;
  unsigned length_bits = 8;
  std::vector<uint32_t> lengths;

  Store store = Store::plain;
  uint32_t decode_status = 0;
  Edge edge = Edge::end;
  Place place = Place::end;
  size_t shift = 0;  // bytes that a middle output is moved up
};

// A plain column of these codes with room for all of them.
UnpackBatch unpack_batch(unsigned width_bits, std::vector<uint64_t> codes);

// `rows` random codes.
UnpackBatch random_unpack_batch(unsigned width_bits, uint32_t rows, Random& random);

// A run-length column: a random code a run.
UnpackBatch random_run_batch(unsigned width_bits, unsigned length_bits,
                             std::vector<uint32_t> lengths, Random& random);

std::string describe(const UnpackBatch& batch);

struct UnpackRun {
  uint32_t status;
  uint32_t num_set;
  uint32_t position;
  uint32_t state1;
  uint32_t state2;
  uint32_t flags_out;
  std::vector<uint32_t> codes;  // as many elements as num_set says
};

class UnpackStage {
 public:
  void set(const UnpackBatch& batch);
  UnpackRun call(const UnpackKernel& kernel);
  // What changed in the call and should not have, or was asked of the host and should not have
  // been; empty if nothing was.
  std::string damage(const UnpackKernel& kernel, const oracle::UnpackOutcome& expected) const;
  oracle::UnpackOutcome expected() const;

  colx_cv res;
  colx_cv src;
  colx_enc_ctx encoding;
  colx_kctx kctx;
  RecordingHost& host = scan_stage().host;  // the newest host is in charge: all stages share one

 private:
  size_t element_bytes() const;
  void set_encoding(const UnpackBatch& batch, void* untouchable);

  UnpackBatch batch_;
  Bytes stream_;
  size_t room_ = 0;
  colx_cv res_before_, src_before_;
  colx_enc_ctx encoding_before_;
  colx_kctx kctx_before_;
  StoredRows rows_;
  GuardedPages lengths_pages_, selection_pages_, list_pages_, nowhere_;
  GuardedOutput output_;
};

UnpackStage& unpack_stage();

// Empty if the call does what the oracle says and nothing else, else one line.
std::string unpack_difference(const UnpackKernel& kernel, const UnpackBatch& batch);

inline std::string unpack_difference(const UnpackBatch& batch) {
  return unpack_difference(unpack_kernel(batch.width_bits), batch);
}

// For the examples: what the call left behind.
UnpackRun run_unpack(const UnpackBatch& batch);

// Calls again and again, with capacities of up to `most` elements, until the last row is done; the
// place goes from call to call in the record alone. Each call is compared with the oracle. Gives
// the first difference, also to what one call with room for everything delivers.
std::string resumed_difference(const UnpackBatch& batch, uint32_t most, Random& random);

}  // namespace colx::test
