#include "tests/oracle/unpack_oracle.h"

#include <algorithm>

#include "tests/oracle/bit_vectors.h"
#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/run_length_oracle.h"

namespace colx::oracle {
namespace {

// From row numbers to run numbers, forwards only.
class RunWalk {
 public:
  RunWalk(const colx_enc_ctx& encoding, const colx_kctx& kctx) : encoding_(encoding) {
    if (kctx.colx_kctx_position == 0 || kctx.colx_kctx_state2 == 0) return;
    run_ = kctx.colx_kctx_state1;
    end_ = kctx.colx_kctx_state2;
  }

  uint32_t run_of(uint32_t row) {
    while (end_ <= row) {
      ++run_;
      end_ += stored_run_length(encoding_.colx_enc_ctx_rle_runs, encoding_.colx_enc_ctx_rle_width,
                                run_);
    }
    return run_;
  }

  uint32_t run() const { return run_; }
  uint32_t end() const { return end_; }

 private:
  const colx_enc_ctx& encoding_;
  uint32_t run_ = 0xFFFFFFFF;  // before the first run
  uint32_t end_ = 0;
};

// The rows of a selection from `start` on, as many as there is room for.
struct SelectedRows {
  std::vector<uint32_t> rows;
  uint32_t position;
};

SelectedRows selected_rows(const colx_cv& res, const colx_cv& src, const colx_kctx& kctx) {
  const uint32_t capacity = res.colx_cv_num_of_rows;
  SelectedRows selected = {{}, kctx.colx_kctx_position};
  if (capacity == 0) return selected;
  for (uint32_t row = kctx.colx_kctx_position; row < src.colx_cv_num_of_rows; ++row) {
    if (!bit_at(kctx.colx_kctx_selection, row)) continue;
    selected.rows.push_back(row);
    if (selected.rows.size() < capacity) continue;
    selected.position = row;
    return selected;
  }
  selected.position = src.colx_cv_num_of_rows - 1;
  return selected;
}

// The last entry is the one at the 32-bit index count - 1, also of an empty list.
uint32_t last_entry(const colx_kctx& kctx) {
  return kctx.colx_kctx_rows[kctx.colx_kctx_num_rows - 1];
}

bool from_list(UnpackPath path) {
  return path == UnpackPath::list || path == UnpackPath::run_list;
}

bool by_runs(UnpackPath path) {
  return path == UnpackPath::run_range || path == UnpackPath::run_selected ||
         path == UnpackPath::run_list;
}

}  // namespace

UnpackPath unpack_path(const colx_cv& src, const colx_kctx& kctx) {
  using enum UnpackPath;
  const bool selected = kctx.colx_kctx_selection != nullptr;
  const bool listed = kctx.colx_kctx_rows != nullptr;
  if ((src.colx_cv_encoding_context->colx_enc_ctx_flags & COLX_RLE) != 0) {
    return selected ? run_selected : listed ? run_list : run_range;
  }
  if (selected) return (kctx.colx_kctx_flags & COLX_KCTX_SELECTIVE) != 0 ? sparse : blocks;
  return listed ? list : range;
}

unsigned unpacked_bytes(unsigned width_bits, uint32_t kctx_flags) {
  if ((kctx_flags & COLX_KCTX_WIDE_CODES) != 0 || width_bits > 16) return 4;
  return width_bits > 8 ? 2 : 1;
}

UnpackOutcome unpack_outcome(unsigned width_bits, std::span<const uint8_t> stream,
                             const colx_cv& res, const colx_cv& src, const colx_kctx& kctx) {
  UnpackOutcome outcome = {};
  outcome.path = unpack_path(src, kctx);
  outcome.position = kctx.colx_kctx_position;
  outcome.state1 = kctx.colx_kctx_state1;
  outcome.state2 = kctx.colx_kctx_state2;
  outcome.flags_out = kctx.colx_kctx_flags_out;

  std::vector<uint32_t> rows;
  if (outcome.path == UnpackPath::range || outcome.path == UnpackPath::run_range) {
    const uint32_t start = kctx.colx_kctx_position;
    const uint64_t room_ends = uint64_t{start} + res.colx_cv_num_of_rows;
    const auto end = static_cast<uint32_t>(std::min<uint64_t>(room_ends, src.colx_cv_num_of_rows));
    for (uint32_t row = start; row < end; ++row) rows.push_back(row);
    outcome.position = end - 1;
  } else {
    if (from_list(outcome.path)) {
      rows.assign(kctx.colx_kctx_rows, kctx.colx_kctx_rows + kctx.colx_kctx_num_rows);
      outcome.raises = outcome.path == UnpackPath::run_list && rows.empty();
      if (!outcome.raises) outcome.position = last_entry(kctx);
    } else {
      SelectedRows selected = selected_rows(res, src, kctx);
      rows = std::move(selected.rows);
      outcome.position = selected.position;
    }
    outcome.flags_out |= COLX_OUT_UNPACK;
  }

  RunWalk walk(*src.colx_cv_encoding_context, kctx);
  for (const uint32_t row : rows) {
    const uint32_t place = by_runs(outcome.path) ? walk.run_of(row) : row;
    outcome.codes.push_back(static_cast<uint32_t>(packed_code(stream, width_bits, place)));
  }
  // An empty range leaves the place of the walk alone; selections and lists store it always.
  if (by_runs(outcome.path) && (outcome.path != UnpackPath::run_range || !rows.empty())) {
    outcome.state1 = walk.run();
    outcome.state2 = walk.end();
  }
  outcome.num_set = static_cast<uint32_t>(rows.size());
  outcome.status = rows.empty() ? COLX_NOTHING_FOUND : COLX_DONE;
  return outcome;
}

}  // namespace colx::oracle
