// Rows of packed dictionary codes of 2 to 24 bits that no byte-aligned width serves.
//
// A step never shifts a code down: it stays where the stream has it, masked inside its lane, and
// the constants were shifted up once to meet it. Both sides carry the same shift, so the order of
// two lanes is the order of their codes. Reads reach at most 8 bytes past the rows' bytes.
#pragma once

#include "kernels/decode/packed_code.h"
#include "kernels/decode/packed_masks.h"
#include "kernels/frame/scan_frame.h"
#include "kernels/predicate/lanes.h"
#include "kernels/predicate/operations.h"

namespace colx {

// How a step of a width is cut up. A step ends on a byte boundary and fills whole output units;
// its loads are spread evenly, each feeding the vectors of lanes that start within it.
struct PackedStep {
  unsigned lane;     // bytes
  unsigned rows;     // of a step
  unsigned bytes;    // of stream that they take
  unsigned vectors;  // of lanes
  unsigned loads;    // of 16 bytes

  constexpr unsigned load_of(unsigned vector) const { return vector * loads / vectors; }
  constexpr unsigned load_at(unsigned load) const { return load * bytes / loads; }
  constexpr unsigned reach() const { return load_at(loads - 1) + 16 - bytes; }
};

constexpr PackedStep packed_step(unsigned width) {
  const unsigned lane = lane_bytes(width);
  const unsigned rows = 128 / lane;  // eight vectors of lanes
  const unsigned bytes = rows * width / 8;
  return {lane, rows, bytes, 8, bytes < 32 ? 2u : bytes <= 64 ? 4u : 8u};
}
static_assert(packed_step(3).loads == 2 && packed_step(3).reach() == 4);
static_assert(packed_step(2).loads == 4 && packed_step(2).reach() == 8);
static_assert(packed_step(11).loads == 4 && packed_step(11).reach() == 5);
static_assert(packed_step(19).loads == 8 && packed_step(19).reach() == 6);

// Whether codes of this width ever use a lane's top bit, which signed order would misread.
constexpr bool uses_top_bit(unsigned width) {
  const unsigned lane = lane_bytes(width);
  for (unsigned k = lane - 1; k < 32; k += lane)
    if (colx_and_masks[width].half[k / 16].bytes[k % 16] & 0x80) return true;
  return false;
}
static_assert(uses_top_bit(2) && uses_top_bit(4) && uses_top_bit(9) && uses_top_bit(10) &&
              uses_top_bit(12));
static_assert(!uses_top_bit(3) && !uses_top_bit(7) && !uses_top_bit(11) && !uses_top_bit(24));

// Whether a lane's bytes hold nothing but its code, so that nothing has to be masked out.
constexpr bool fills_bytes(unsigned width) {
  for (unsigned k = 0; k < 32; ++k)
    if (colx_shuffle_masks[width].half[k / 16].bytes[k % 16] != 0x80 &&
        colx_and_masks[width].half[k / 16].bytes[k % 16] != 0xFF)
      return false;
  return true;
}
static_assert(fills_bytes(24) && !fills_bytes(20) && !fills_bytes(12));

// Where both entries of a width have their codes at the same places one set of constants does.
constexpr bool entries_alike(unsigned width) {
  return 16 / lane_bytes(width) * width % 8 == 0;
}

// `number` shifted up in each lane to where the lane's code stands.
template <unsigned L>
COLX_INLINE Vec shifted_up(uint32_t number, const Mask& shifts) {
  Mask lanes;
  for (unsigned k = 0; k < 16; k += L)
    store_as(lanes.bytes + k, static_cast<Unsigned<L>>(uint64_t{number} << shifts.bytes[k]));
  return load(lanes);
}

template <Op op, unsigned width, NullCodes nulls>
struct PackedCodes {
  static constexpr PackedStep shape = packed_step(width);
  static constexpr uint32_t rows_per_step = shape.rows;
  static constexpr unsigned lane = shape.lane;
  static constexpr Test test = test_of(op, nulls);
  static constexpr Order order = order_of(lane, uses_top_bit(width));
  static constexpr Marks marks = {mark_of(test, order) == Mark::zero, marks_misses(test, order)};
  static_assert(shape.rows * width % 8 == 0, "a step ends on a byte boundary");
  static_assert(shape.reach() <= 8, "what the owner of a stream provides behind it");

  // Tests a row by itself: the tail's way, and the selective scan's.
  struct Selected {
    const uint8_t* codes;
    uint32_t lo;
    uint32_t hi;
  };

  struct State {
    const uint8_t* codes;  // of the next step
    Selected single;
    LaneBounds bounds[2];  // for even and odd vectors
    bool nothing;
  };

  COLX_INLINE static Selected begin_selected(const uint8_t* data, const ScanArgs& args,
                                             const colx_cv*) {
    const uint32_t lo = load_as<uint32_t>(args.lo[0]);
    if constexpr (is_range(op)) return {data, lo, load_as<uint32_t>(args.hi[0])};
    return {data, lo, 0};
  }

  COLX_INLINE static bool selected_row(const Selected& single, uint32_t r) {
    return selects<op, nulls>(packed_code<width>(single.codes, r), single.lo, single.hi);
  }

  template <unsigned entry>
  COLX_INLINE static LaneBounds bounds_of(const TestBounds& bounds) {
    const Mask& shifts = colx_shift_masks[width].half[entry];
    return lane_bounds<test, lane, order>(
        shifted_up<lane>(static_cast<uint32_t>(bounds.first), shifts),
        shifted_up<lane>(static_cast<uint32_t>(bounds.last), shifts));
  }

  COLX_INLINE static State begin(const ScanInput& in, const ScanArgs& args) {
    const Selected single = begin_selected(in.data, args, in.src);
    const TestBounds bounds = test_bounds<op, nulls>(single.lo, single.hi);
    return {in.data, single, {bounds_of<0>(bounds), bounds_of<1>(bounds)}, bounds.nothing};
  }

  COLX_INLINE static bool finds_nothing(const State& state) { return state.nothing; }

  // Shuffle of a vector: its table entry counts from the vector pair's first byte, the load began
  // elsewhere.
  template <unsigned vector>
  static constexpr Mask vector_shuffle = [] {
    constexpr unsigned pair_at = vector / 2 * (32 / lane) * width / 8;
    return rebased(colx_shuffle_masks[width].half[vector % 2],
                   shape.load_at(shape.load_of(vector)) - pair_at);
  }();

  template <unsigned vector>
  static constexpr bool within_load = [] {
    for (uint8_t byte : vector_shuffle<vector>.bytes)
      if (byte >= 16 && byte != 0x80) return false;
    return true;
  }();

  template <unsigned vector>
  COLX_INLINE static Vec hits(const uint8_t* codes, const State& state) {
    static_assert(within_load<vector>);
    constexpr unsigned entry = entries_alike(width) ? 0 : vector % 2;
    const Vec stream = load(codes + shape.load_at(shape.load_of(vector)));
    Vec code = shuffle(stream, load(vector_shuffle<vector>));
    if constexpr (!fills_bytes(width)) code = both(code, load(colx_and_masks[width].half[entry]));
    return tested<test, lane, order>(code, state.bounds[entry]);
  }

  COLX_INLINE static uint32_t step(State& state, uint8_t* out) {
    const uint8_t* codes = state.codes;
    state.codes += shape.bytes;
    prefetch(codes + 640);
    prefetch(codes + 704);
    prefetch(codes + stream_prefetch_bytes);
    if constexpr (shape.bytes > 64) prefetch(codes + stream_prefetch_bytes + 64);
    return store_rows<lane, rows_per_step, marks>(
        out, [&](auto vector) { return hits<vector>(codes, state); }, state.bounds[0].second);
  }

  COLX_INLINE static bool row(const State& state, uint32_t r) {
    return selected_row(state.single, r);
  }
};

static_assert(begins(PackedCodes<Op::eq, 19, NullCodes::none>::vector_shuffle<1>,
                     std::to_array(colx_shuffle4_masks_19.bytes)));

}  // namespace colx
