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

// A run is stored as a head and whole steps, the last one past the run's end. What that spoils has
// to be rows to come: no byte behind the output, and no value that still waits to be read. Values
// wait at most in the output's last elements, one for each run to come.
inline constexpr unsigned run_head_bytes =
    48;  // stored for every run without looking at its length
inline constexpr unsigned run_step_bytes = 32;

// How many runs from the first one may be stored so: behind each of them the rows to come are more
// than the runs to come by a head at least. Found from the end, where as a rule it is soon reached.
template <unsigned length_bytes>
COLX_INLINE uint32_t runs_with_room(const RunsToExpand& in, uint32_t head_rows) {
  const RunLengths<length_bytes> lengths{in.lengths};
  int64_t spare_rows = -int64_t{in.last_cut};
  for (uint32_t run = in.runs; run != 1; --run) {
    spare_rows += int64_t{lengths[run - 1]} - 1;
    if (spare_rows >= head_rows) return run - 1;
  }
  return 0;
}

template <unsigned length_bytes, unsigned element_bytes>
COLX_INLINE void expand_runs(const RunsToExpand& in) {
  if (in.runs == 0) return;
  const RunLengths<length_bytes> lengths{in.lengths};
  const auto pattern_of = [&](uint32_t run) {
    const uint8_t* const value = in.values + size_t{run} * element_bytes;
    return splat<element_bytes>(load_as<Unsigned<element_bytes>>(value));
  };
  const uint32_t with_room = runs_with_room<length_bytes>(in, run_head_bytes / element_bytes);
  const uint32_t last = in.runs - 1;

  uint8_t* to = in.out;
  uint32_t run_rows = in.first_rows;
  uint32_t run = 0;
  while (run < with_room) {
    const Vec pattern = pattern_of(run);
    uint8_t* const end = to + size_t{run_rows} * element_bytes;
    for (unsigned k = 0; k < run_head_bytes; k += 16) store(to + k, pattern);
    for (uint8_t* at = to + run_head_bytes; at < end; at += run_step_bytes) {
      store(at, pattern);
      store(at + 16, pattern);
    }
    to = end;
    run_rows = lengths[++run];
  }
  while (run < last) {
    const size_t bytes = size_t{run_rows} * element_bytes;
    fill(to, pattern_of(run), bytes);
    to += bytes;
    run_rows = lengths[++run];
  }
  fill(to, pattern_of(last), size_t{run_rows - in.last_cut} * element_bytes);
}

}  // namespace colx
