// How a call of unpacking ends, and the walk over a thin selection: the same with codes a row and
// with codes a run.
#pragma once

#include <algorithm>

#include "kernels/frame/bytes.h"
#include "kernels/frame/colx_x86.h"

namespace colx {

// All ways to choose rows but a range end here. `position` is the last row looked at.
COLX_INLINE uint32_t close_unpack(colx_cv* res, colx_kctx* kctx, uint32_t count,
                                  uint32_t position) {
  res->colx_cv_num_set = count;
  kctx->colx_kctx_position = position;
  kctx->colx_kctx_flags_out |= COLX_OUT_UNPACK;
  return count == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
}

// Rows drawn from a selection at once.
inline constexpr uint32_t unpack_batch_rows = 256;

// The selected rows from the position on, as many as `res` has room for. put(to, rows, count) gives
// the elements of a batch. Without room nothing is looked at, and the position stays.
template <unsigned element_bytes, class Put>
COLX_INLINE uint32_t unpack_drawn(colx_cv* res, const colx_cv* src, colx_kctx* kctx,
                                  const Put& put) {
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t room = res->colx_cv_num_of_rows;
  const uint32_t start = kctx->colx_kctx_position;
  if (room == 0) return close_unpack(res, kctx, 0, start);
  if (start >= rows) return close_unpack(res, kctx, 0, rows - 1);  // the selection has no such word

  uint8_t* const out = bytes_at(res->colx_cv_data, 0);
  colx_lbiwv_ictx iteration;
  colx_lbiwv_ictx_ini2_dydi(&iteration, kctx->colx_kctx_selection, rows, 0, start);
  uint32_t batch[unpack_batch_rows];
  uint32_t count = 0;
  while (true) {
    const uint32_t wanted = std::min(room - count, unpack_batch_rows);
    const uint32_t drawn = static_cast<uint32_t>(colx_lbiwvones_dydi(&iteration, batch, wanted));
    put(out + size_t{count} * element_bytes, batch, drawn);
    count += drawn;
    if (count == room) return close_unpack(res, kctx, count, batch[drawn - 1]);
    if (drawn < wanted) return close_unpack(res, kctx, count, rows - 1);
  }
}

}  // namespace colx
