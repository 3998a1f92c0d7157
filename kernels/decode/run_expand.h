// Runs of values: fills, and the expansion of a list of runs.
#pragma once

#include "kernels/decode/run_lengths.h"
#include "kernels/frame/bytes.h"
#include "kernels/frame/vectors.h"

namespace colx {

// The first `bytes` bytes of `pattern`, repeated, and none behind them; `bytes` is whole elements.
COLX_INLINE void fill(uint8_t* to, Vec pattern, size_t bytes) {
  if (bytes >= 16) {
    uint8_t* const last = to + bytes - 16;
    for (; to < last; to += 16) store(to, pattern);
    return store(last, pattern);
  }
  const uint64_t half = low_half(pattern);
  if (bytes >= 8) {
    store_as(to, half);
    store_as(to + bytes - 8, half);
  } else if (bytes >= 4) {
    store_as(to, static_cast<uint32_t>(half));
    store_as(to + bytes - 4, static_cast<uint32_t>(half));
  } else if (bytes >= 2) {
    store_as(to, static_cast<uint16_t>(half));
    store_as(to + bytes - 2, static_cast<uint16_t>(half));
  } else if (bytes == 1) {
    *to = static_cast<uint8_t>(half);
  }
}

struct RunsToExpand {
  uint8_t* out;
  const uint8_t* values;
  uint32_t runs;
  const uint8_t* lengths;  // entry of the first run
  uint32_t first_rows;     // of the first run, whatever its entry says
  uint32_t last_cut;       // rows that the last run has too many
};

// A run is stored as a head and whole steps, the last one past the run's end. What it spoils there
// comes later and is written later, so nothing may lie there but rows to come: no row behind the
// output and no value that still waits to be read. Values wait at most in the last elements of the
// output, one for each run to come. Where rows are too few for that a run is filled exactly.
template <unsigned length_bytes, unsigned element_bytes>
COLX_INLINE void expand_runs(const RunsToExpand& in) {
  if (in.runs == 0) return;
  constexpr unsigned head = 48;  // stored for every run without looking at its length
  constexpr unsigned step = 32;
  const RunLengths<length_bytes> lengths{in.lengths};
  const uint32_t last = in.runs - 1;
  const uint64_t rows = in.first_rows + rows_in_runs(lengths, 1, in.runs) - in.last_cut;

  int64_t room = static_cast<int64_t>((rows - last) * element_bytes) - head;
  const uint8_t* value = in.values;
  uint8_t* to = in.out;
  uint32_t run_rows = in.first_rows;
  for (uint32_t run = 0; run < last; value += element_bytes) {
    const Vec pattern = splat<element_bytes>(load_as<Unsigned<element_bytes>>(value));
    const size_t bytes = size_t{run_rows} * element_bytes;
    uint8_t* const end = to + bytes;
    room -= static_cast<int64_t>(bytes);
    if (room >= 0) [[likely]] {
      for (unsigned k = 0; k < head; k += 16) store(to + k, pattern);
      for (uint8_t* at = to + head; at < end; at += step) {
        store(at, pattern);
        store(at + 16, pattern);
      }
    } else {
      fill(to, pattern, bytes);
    }
    to = end;
    room += element_bytes;
    run_rows = lengths[++run];
  }
  const Vec pattern = splat<element_bytes>(load_as<Unsigned<element_bytes>>(value));
  fill(to, pattern, size_t{run_rows - in.last_cut} * element_bytes);
}

}  // namespace colx
