// One call of a scan kernel, with everything it may touch at the edge of an unreadable page.
//
// A ScanBatch says what goes into the call as plain values. ScanStage lays it out: streams end
// where the granted slack ends, constants where their last byte ends, nulls and selection with
// their last word; whatever the kernel has no business with is an unreadable address, and outputs
// start dirty between canaries. scan_difference runs a batch and compares everything that the call
// left behind, untouched bytes and recorded host calls included, with what an oracle says.
//
//   ScanBatch batch;
//   batch.set_rows(2);
//   batch.stream = {0x01, 0x02, 0x02, 0x01};
//   batch.args = {native_bytes(0x0102, 2)};
//   const ScanRun run = scan_stage().run(kernel_named("colx_eq_dict_16bit"), batch);
//   EXPECT_EQ(run.bits, Words{1});
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/scan_oracle.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/recording_host.h"
#include "tests/support/row_counts.h"

namespace colx::test {

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint64_t>;

struct ScanKernel {
  const char* name;
  colx_kernel_fn kernel;
  bool range;  // takes two constant arrays
};

// The filled slot of the linked library at that index or with that name. Ends the program with a
// message if there is none.
ScanKernel kernel_at(uint32_t index);
ScanKernel kernel_named(const char* name);

// The lowest `bytes` bytes of a number, as the machine stores it.
Bytes native_bytes(uint64_t value, unsigned bytes);

// How the column is held: as it is; as an image that the first kernel expands; expanded before.
enum class Store { plain, compressed, decompressed };

struct ScanBatch {
  // Rows, in the three records that have such a count.
  uint32_t res_rows = 0;
  uint32_t src_rows = 0;
  uint32_t run_rows = 0;  // colx_enc_ctx_rle_rows

  Bytes stream;                 // the rows' bytes and no more
  size_t skipped_bytes = 0;     // bytes of rows before the stream; unreadable at Edge::begin
  size_t slack_bytes = 0;       // readable behind them
  bool stream_readable = true;  // false: the kernel must not touch the rows
  Bytes aux;                    // second stream; without bytes colx_cv_aux is null
  size_t aux_slack_bytes = 0;

  // Object i is what args[i] points at; one without bytes is unreadable. Without objects the array
  // itself is.
  std::vector<Bytes> args;
  std::vector<Bytes> hi_args;
  std::optional<Words> code_table;  // of a set kernel, which takes a vector instead of constants

  std::optional<Words> nulls;
  std::optional<Words> selection;
  bool with_kctx = true;
  uint32_t kctx_flags = 0;
  uint32_t flags_out = 0;  // what colx_kctx_flags_out holds before

  Store store = Store::plain;
  uint32_t decode_status = 0;
  bool run_length = false;
  uint32_t expand_status = 0;
  uint32_t layout_flags = COLX_DICT;  // the remaining bits of colx_enc_ctx_flags
  uint32_t width_bits = 0;            // colx_enc_ctx_width

  Edge edge = Edge::end;        // where inputs lie
  Place place = Place::middle;  // where outputs lie

  void set_rows(uint32_t rows) { res_rows = src_rows = run_rows = rows; }
  bool wants_twin() const {
    return with_kctx && selection.has_value() && (kctx_flags & COLX_KCTX_SELECTIVE) != 0;
  }
};

// One line on a batch, for failure messages.
std::string describe(const ScanBatch& batch);

struct ScanRun {
  uint32_t status;
  uint32_t num_set;
  uint32_t flags_out;
  Words bits;      // colx_cv_bits of the result: words for the larger of its row count and src's
  Words run_bits;  // colx_enc_ctx_rle_bits, words for run_rows
  std::string damage;  // the first thing that changed and should not have; empty if nothing did
};

class ScanStage {
 public:
  static constexpr uint32_t dirty_num_set = 0xDEADBEEF;

  // Lays the batch out; records may then be changed by hand before the call.
  void set(const ScanBatch& batch);
  ScanRun call(const ScanKernel& kernel);
  ScanRun run(const ScanKernel& kernel, const ScanBatch& batch) {
    set(batch);
    return call(kernel);
  }

  colx_kctx* kctx_or_null() { return with_kctx_ ? &kctx : nullptr; }

  colx_cv res;
  colx_cv src;
  colx_enc_ctx encoding;
  colx_kctx kctx;
  void* decomp_slot;
  const void* const* args;
  const void* const* hi_args;
  colx_cv codes;  // holds the code table
  RecordingHost host;

 private:
  static constexpr size_t max_args = 4;
  struct ArgPages {
    std::array<GuardedPages, max_args> objects;
    GuardedPages array;
  };

  const void* const* place_args(ArgPages& pages, const std::vector<Bytes>& objects, Edge edge);
  void place_rows(const ScanBatch& batch);
  std::string damage(const colx_cv& res_before, const colx_kctx& kctx_before) const;

  bool with_kctx_ = true;
  ScanBatch batch_;
  GuardedPages rows_pages_, aux_pages_, nulls_pages_, selection_pages_, table_pages_, nowhere_;
  ArgPages args_pages_, hi_args_pages_;
  GuardedOutput bits_, run_bits_;
};

// The stage that tests share; making one maps some thirty pages.
ScanStage& scan_stage();

// The oracle's answer for the records as they stand before the call.
using ScanOracle = std::function<oracle::ScanOutcome(const colx_cv& res, const colx_cv& src,
                                                     const colx_kctx* kctx)>;

// Empty if the call does what the oracle says and nothing else, else one line that begins with the
// kernel's name and tells the first difference.
std::string scan_difference(const ScanKernel& kernel, const ScanBatch& batch,
                            const ScanOracle& oracle);

}  // namespace colx::test
