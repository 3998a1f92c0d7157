// Unpacking of run-length columns: the stream has a code per run, rows find theirs through the
// lengths of runs.
//
// Between calls colx_kctx_state1 has the number of the current run and colx_kctx_state2 the first
// row behind it; a walk starts afresh where the latter or the position is 0.
#pragma once

#include "kernels/frame/colx_x86.h"

namespace colx {

// What a kernel hands over.
struct RunCodes {
  const uint8_t* stream;
  uint32_t width;
  uint32_t element_bytes;
  colx_decode_fn kernel;        // unpacks codes of this width
  const char* empty_list_text;  // reported for a list without rows
};

// Selection, list or range, as the record asks for. A selection's and a range's output is bounded
// by the room of `res`, a list's is not, and a list must ascend. The range leaves
// colx_kctx_flags_out alone.
uint32_t unpack_runs(colx_cv* res, const colx_cv* src, colx_kctx* kctx, const RunCodes& codes);

}  // namespace colx
