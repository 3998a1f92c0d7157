// One call of a gather at guard pages.
//
// Every array ends where its last entry ends: the indices, each page's records, words or offsets,
// the arrays of pages, the result's room, the lengths beside it. Values end where the last byte
// ends that a row may read; where the result takes pointers or places, no value can be read at all.
// What the form has no business with is unreadable.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/oracle/gather_oracle.h"
#include "tests/support/gather_kernels.h"
#include "tests/support/guarded_arrays.h"
#include "tests/support/patched_output.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

struct GatherBatch {
  oracle::GatherForm form;

  // The values, page by page. Vectors that lead to their values themselves have one page of them,
  // but for `dlp`.
  std::vector<std::vector<Bytes>> pages;
  uint8_t page_hi = 63;
  uint8_t page_shift = 64;
  uint32_t first_offset = 0;  // cla: offset of a page's first value
  unsigned dlp_bits = 16;     // of a place, where places are read or stored
  uint64_t dlp_noise = 0;     // dlp store: what its places hold above `dlp_bits` bits
  uint16_t value_bits = 0;    // fixed results
  uint32_t index_bits = 24;   // colx_enc_ctx_width for general fixed indices

  std::vector<uint64_t> indices;  // a row each, split into page and entry like a store's
  uint64_t capacity = 0;
  uint32_t position = 0;
  uint32_t kctx_flags = 0;  // flags beside those that the form needs
  uint32_t res_flags = 0;
  uint32_t src_flags = 0;
  uint32_t store_type = 0;
  bool far_apart = false;  // arrays, values included, lie some 16 MiB away from one another
  size_t misaligned = 0;   // bytes that arrays are moved away from the unreadable page
  Edge edge = Edge::end;
  Place place = Place::end;
};

struct GatherRun {
  uint32_t status;
  uint32_t position;
};

class GatherStage {
 public:
  // Lays the batch out; records may then be changed by hand before the call.
  void set(const GatherBatch& batch);
  // Fresh outputs that end where the oracle says that writing ends, or with the room.
  void place_outputs(const oracle::GatherOutcome& expected);
  oracle::GatherOutcome expected() const;
  GatherRun call(colx_gather_call* kernel);
  // What the last call did that the oracle does not say.
  std::string difference(const GatherRun& run, const oracle::GatherOutcome& expected) const;
  // Empty if the last call left records and outputs as they were.
  std::string touched() const;

  colx_cv res;
  colx_cv src;
  colx_enc_ctx res_encoding;
  colx_enc_ctx src_encoding;
  colx_row_store store;
  colx_kctx kctx;
  PatchedOutput data;
  PatchedOutput aux;
  uint8_t* values = nullptr;  // begin of the last area of values

 private:
  void clear_records();
  std::vector<uint64_t> place_values(const std::vector<Bytes>& page, uint64_t first_offset);
  void place_lp_store();
  void place_cla_store();
  void place_dlp_store();
  void place_direct_source();
  void place_indices();
  std::string changed_records(const colx_kctx& kctx_now) const;

  GatherBatch batch_;
  GuardedArrays near_;
  GuardedArrays far_{16 << 20};
  GuardedArrays* arrays_ = &near_;
  colx_cv res_before_, src_before_;
  colx_enc_ctx res_encoding_before_, src_encoding_before_;
  colx_row_store store_before_;
  colx_kctx kctx_before_;
};

GatherStage& gather_stage();

// A batch of random values, lengths of 0 to 40, and random indices, with room for everything.
GatherBatch random_gather_batch(const oracle::GatherForm& form, uint32_t rows, Random& random);

// Likewise, with pages and their values far apart, the rows jumping from one to the other.
GatherBatch far_gather_batch(const oracle::GatherForm& form, uint32_t rows, Random& random);

// Room that all rows of the batch take.
uint64_t gather_room(const GatherBatch& batch);

std::string describe(const GatherBatch& batch);

// Empty if a call does what the oracle says and nothing else, else one line. The kernel is called
// by its name and through the entry of the exported record.
std::string gather_difference(const GatherBatch& batch);

// For the examples: calls the entry, whose results then lie in the stage.
GatherRun run_gather(const GatherBatch& batch);

}  // namespace colx::test
