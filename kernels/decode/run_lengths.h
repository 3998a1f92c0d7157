// Lengths of runs: one byte each, or two bytes big-endian. Sums over them turn run numbers into row
// numbers. Nothing is read but the lengths asked for.
#pragma once

#include "kernels/frame/bytes.h"
#include "kernels/frame/vectors.h"

namespace colx {

template <unsigned length_bytes>
struct RunLengths {
  static_assert(length_bytes == 1 || length_bytes == 2);
  static constexpr uint32_t per_vector = 16 / length_bytes;

  const uint8_t* first;

  COLX_INLINE const uint8_t* at(uint32_t run) const { return first + size_t{run} * length_bytes; }
  COLX_INLINE uint32_t operator[](uint32_t run) const {
    return load_big_endian<Unsigned<length_bytes>>(at(run));
  }
};

// Two partial sums of a vector of lengths, in lanes of 8 bytes.
template <unsigned length_bytes>
COLX_INLINE Vec partial_sums(Vec lengths) {
  if constexpr (length_bytes == 1) return byte_sums(lengths);
  const Vec high = both(lengths, splat<2>(0x00FF));  // big-endian: the first byte of each pair
  const Vec low = shifted_right<2, 8>(lengths);
  return sum<8>(shifted_left<8, 8>(byte_sums(high)), byte_sums(low));
}

// Rows in the runs from `run` up to, not including, `end`.
template <unsigned length_bytes>
COLX_INLINE uint64_t rows_in_runs(RunLengths<length_bytes> lengths, uint32_t run, uint32_t end) {
  constexpr uint32_t per_vector = RunLengths<length_bytes>::per_vector;
  Vec sums = zeros();
  for (; end - run >= per_vector; run += per_vector)
    sums = sum<8>(sums, partial_sums<length_bytes>(load(lengths.at(run))));
  uint64_t rows = low_half(sums) + high_half(sums);
  for (; run != end; ++run) rows += lengths[run];
  return rows;
}

// First rows of up to 64 consecutive runs, counted from the first of them; the entry behind the
// last run is the row behind it. Sums of 64 lengths fit a lane of twice a length's bytes.
template <unsigned length_bytes>
struct RunStarts {
  static constexpr unsigned lane = 2 * length_bytes;
  static constexpr uint32_t runs = 64;
  using Start = Unsigned<lane>;

  Start row[runs + 1];
};

// The sum of each lane and all lanes below it.
template <unsigned L>
COLX_INLINE Vec running_sums(Vec lanes) {
  lanes = sum<L>(lanes, moved_up<L>(lanes));
  lanes = sum<L>(lanes, moved_up<2 * L>(lanes));
  if constexpr (L == 2) lanes = sum<L>(lanes, moved_up<4 * L>(lanes));
  return lanes;
}

// The highest lane in every lane.
template <unsigned L>
inline constexpr Mask highest_lane_mask = [] {
  Mask mask{};
  for (unsigned k = 0; k < 16; ++k) mask.bytes[k] = static_cast<uint8_t>(16 - L + k % L);
  return mask;
}();

// Starts of the 64 runs whose lengths are at `lengths`.
template <unsigned length_bytes>
COLX_INLINE void find_starts(RunStarts<length_bytes>& starts, const uint8_t* lengths) {
  constexpr unsigned lane = RunStarts<length_bytes>::lane;
  constexpr unsigned lanes = 16 / lane;
  starts.row[0] = 0;
  Vec before = zeros();  // rows in the vectors so far, in every lane
  for (unsigned run = 0; run < RunStarts<length_bytes>::runs; run += 2 * lanes) {
    const Vec stored = load(lengths + run * length_bytes);
    Vec low;
    Vec high;
    if constexpr (length_bytes == 1) {
      low = widened_low<1>(stored);
      high = widened_high<1>(stored);
    } else {
      const Vec native = lanes_byte_reversed<2>(stored);
      low = widened_low<2>(native);
      high = widened_high<2>(native);
    }
    const Vec low_starts = sum<lane>(before, running_sums<lane>(low));
    store(&starts.row[run + 1], low_starts);
    const Vec high_starts =
        sum<lane>(shuffle(low_starts, load(highest_lane_mask<lane>)), running_sums<lane>(high));
    store(&starts.row[run + lanes + 1], high_starts);
    before = shuffle(high_starts, load(highest_lane_mask<lane>));
  }
}

}  // namespace colx
