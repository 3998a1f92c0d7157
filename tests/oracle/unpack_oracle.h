// What decode_unpack must write and leave behind, by whichever of its paths: a contiguous range,
// the rows of a selection (in blocks or walked), a row list, and the same three on run-length
// columns, all of them resumable by the fields of colx_kctx.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

enum class UnpackPath { range, blocks, sparse, list, run_range, run_selected, run_list };

UnpackPath unpack_path(const colx_cv& src, const colx_kctx& kctx);

// Bytes of one element of the output.
unsigned unpacked_bytes(unsigned width_bits, uint32_t kctx_flags);

struct UnpackOutcome {
  UnpackPath path;
  std::vector<uint32_t> codes;  // the elements of the output, from its first slot on
  uint32_t num_set;
  uint32_t position;
  uint32_t state1;
  uint32_t state2;
  uint32_t flags_out;
  uint32_t status;
  bool raises;  // ": [rle] ones_vec size is zero", behind the kernel's name
};

// `stream` holds the codes of the rows, or of the runs, decompressed.
UnpackOutcome unpack_outcome(unsigned width_bits, std::span<const uint8_t> stream,
                             const colx_cv& res, const colx_cv& src, const colx_kctx& kctx);

}  // namespace colx::oracle
