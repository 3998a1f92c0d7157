// One call of a translation kernel at guard pages.
//
// Keys begin at the first row that the kernel may look at and end behind the last; tables and pages
// end behind the largest element that a key points at; codes written by the _c2d forms have exactly
// the bytes of those rows. Rows before the first one lie in unreadable memory, so the first row may
// be any 32-bit number.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/xlate_oracle.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

using Numbers = std::vector<uint32_t>;

struct XlateKernel {
  const char* name;
  colx_binary_fn kernel;
  oracle::Translation translation;

  uint32_t marker() const { return oracle::no_mapping(translation.element_bits); }
};

uint32_t element_width_code(unsigned element_bits);
unsigned element_bits_at(uint32_t slot);

XlateKernel xlate_kernel(uint32_t form, unsigned element_bits, bool writes_codes);

// All 27, by form and element.
const std::vector<XlateKernel>& xlate_kernels();

// Calls body(kernel) for each of them, with its name in every failure.
void for_each_xlate_kernel(const std::function<void(const XlateKernel&)>& body);

struct XlateBatch {
  uint32_t start = 0;  // the first row
  Numbers keys;        // of the rows from `start` on

  Numbers elements;  // of a flat table
  uint32_t base = 0;
  const void* raw_table = nullptr;            // instead of `elements`: laid out by the test
  std::vector<std::optional<Numbers>> pages;  // of a two-level table
  uint32_t shift = 0;
  uint32_t mask = 0;

  std::optional<Words> selection;  // bit 0 is row start & ~63
  uint32_t enc_flags = COLX_HASH_VALUES;
  uint32_t width = 32;
  uint32_t kctx_flags = 0;
  uint32_t flags_out = 0;

  bool zeroed = true;  // what the output bits hold before: nothing, as hosts pass them, or dirt
  Edge edge = Edge::end;
  Place place = Place::end;

  uint32_t rows() const { return start + static_cast<uint32_t>(keys.size()); }
  uint32_t first_word() const { return start / 64; }
};

// Random keys into a random table; `hit_percent` of its elements are no marker.
XlateBatch random_xlate_batch(const XlateKernel& kernel, uint32_t start, uint32_t count,
                              unsigned hit_percent, Random& random);

// Keys that find these elements, up to 1024, one after the other.
XlateBatch xlate_batch_of(const XlateKernel& kernel, uint32_t start, const Numbers& found);

// `count` rows from `start` on, 1024 at most, of which those in `hits` find the element one below
// the marker and all others the marker.
XlateBatch batch_with_hits(const XlateKernel& kernel, uint32_t start, uint32_t count,
                           const Numbers& hits);

// Selects a row of the batch, and no other one that was not selected before.
void select(XlateBatch& batch, uint32_t row);

std::string describe(const XlateBatch& batch);

struct XlateRun {
  uint32_t status;
  uint32_t num_set;
  uint32_t first_hit;
  uint32_t last_hit;
  uint32_t flags_out;
  Numbers hits;   // rows whose bit is set
  Numbers codes;  // what _c2d left at the rows from `start` on
};

class XlateStage {
 public:
  void set(const XlateKernel& kernel, const XlateBatch& batch);
  XlateRun call();
  // The first thing that the call left behind otherwise than the oracle says; empty if none.
  std::string difference(const XlateRun& run, const oracle::XlateOutcome& expected) const;
  oracle::XlateOutcome expected() const;
  Numbers codes() const;  // as they stand, at the rows from the first on

  colx_cv res;
  colx_cv src;
  colx_cv table;
  colx_enc_ctx encoding;
  colx_kctx kctx;

 private:
  static constexpr size_t most_pages = 16;

  bool refuses() const;
  bool looks_at(uint32_t row) const;
  const uint8_t* place_input(GuardedPages& pages, std::vector<uint8_t> content);
  const uint8_t* place_elements(GuardedPages& pages, const Numbers& elements, size_t used);
  void place_rows();
  void place_flat_table();
  void place_levels();
  void place_outputs();
  uint32_t first_code_row() const;
  std::string bits_difference(const oracle::XlateOutcome& expected) const;
  std::string codes_difference(const oracle::XlateOutcome& expected) const;
  std::string damage() const;

  struct Input {
    const uint8_t* at;
    std::vector<uint8_t> content;
  };

  XlateKernel kernel_;
  XlateBatch batch_;
  std::vector<Input> inputs_;
  uint64_t* bits_at_ = nullptr;
  uint8_t* codes_at_ = nullptr;
  uint8_t* pair_at_ = nullptr;
  Words bits_before_;
  size_t code_bytes_ = 0;
  colx_cv res_before_, src_before_, table_before_;
  colx_kctx kctx_before_;
  GuardedPages keys_pages_, table_pages_, selection_pages_, levels_pages_, offset_pages_, nowhere_;
  std::array<GuardedPages, most_pages> pages_;
  GuardedOutput bits_, codes_, pair_;
};

XlateStage& xlate_stage();

// Empty if the call does what the oracle says and nothing else, else one line.
std::string xlate_difference(const XlateKernel& kernel, const XlateBatch& batch);

// For the examples: what the call left behind.
XlateRun run_xlate(const XlateKernel& kernel, const XlateBatch& batch);

// The codes that are there before a call.
Numbers codes_before(const XlateKernel& kernel, const XlateBatch& batch);

}  // namespace colx::test
