// What the tz kernels add to ValueRows: rows and constants carry a code besides their value, which
// decides where values are equal. The rows' codes are the stream at colx_cv_aux, the constant's is
// the byte at args[1].
//
// A step takes four code bytes and loads sixteen, so reads reach 12 bytes past the code stream. How
// it tests its rows is in tied_steps.h; tail and selective scan compare value and code as one
// number, with the whole byte of a constant's code.
#pragma once

#include "kernels/frame/word_bits.h"
#include "kernels/predicate/row_codes.h"
#include "kernels/predicate/tied_steps.h"
#include "kernels/predicate/value_rows.h"

namespace colx {

// Value and code of a row or constant as one number.
using Pair = unsigned __int128;

constexpr Pair pair_of(uint64_t value, unsigned code) {
  return Pair{value} << 8 | code;
}

template <Op op>
struct ConstantCodes {
  uint8_t lo;
  uint8_t hi;

  COLX_INLINE static ConstantCodes read(const ScanArgs& args) {
    const auto lo = load_as<uint8_t>(args.lo[1]);
    if constexpr (is_range(op)) return {lo, load_as<uint8_t>(args.hi[1])};
    return {lo, 0};
  }
};

template <Op op, unsigned L>
struct TiedConstants {
  StoredConstants<op, L> values;
  ConstantCodes<op> codes;

  COLX_INLINE static TiedConstants read(const ScanArgs& args) {
    return {StoredConstants<op, L>::read(args), ConstantCodes<op>::read(args)};
  }

  COLX_INLINE bool hold(uint64_t value, unsigned code) const {
    return holds<op>(pair_of(value, code), pair_of(values.lo, codes.lo),
                     pair_of(values.hi, codes.hi));
  }
};

template <Op op, class Column>
struct TiedRows {
  static constexpr unsigned lane = Column::lane;
  static constexpr uint32_t rows_per_step = 4 * 16 / lane;
  static constexpr uint32_t steps_at_once = Column::steps_at_once;
  static_assert(Column::vectors_per_step == 4);
  using Constants = TiedConstants<op, lane>;
  using Test = TiedTest<op, lane, Column::spare_byte>;
  using Tables = typename Test::Tables;

  struct State {
    typename Column::Rows rows;
    const uint8_t* codes;
    const uint8_t* next_codes;
    Constants tail;
    Test test;
  };

  COLX_INLINE static State begin(const ScanInput& in, const ScanArgs& args, Tables& tables) {
    const auto* codes = static_cast<const uint8_t*>(in.src->colx_cv_aux);
    const auto rows = Column::open(in, args);
    const Constants c = Constants::read(args);
    constexpr unsigned below = 64 - 8 * lane;
    const TiedBounds bounds = {c.values.lo >> below, c.values.hi >> below, c.codes.lo, c.codes.hi};
    const Constants tail = {{Column::template tail_constant<op>(rows, c.values.lo),
                             Column::template tail_constant<op>(rows, c.values.hi)},
                            c.codes};
    return {rows, codes, codes, tail, Test::of(bounds, Column::stored_lanes, tables)};
  }

  template <unsigned Rows, unsigned First, class Lanes>
  COLX_INLINE static Unsigned<Rows / 8> marks(const Test& test, const Lanes& lanes, Vec codes) {
    using Unit = Unsigned<Rows / 8>;
    if constexpr (Rows <= 16) {
      return static_cast<Unit>(test.template marks<Rows, First>(lanes, codes));
    } else {
      const Unit low = marks<Rows / 2, First>(test, lanes, codes);
      const Unit high = marks<Rows / 2, First + Rows / 2 * lane / 16>(test, lanes, codes);
      return low | high << (Rows / 2);
    }
  }

  template <uint32_t steps>
  COLX_INLINE static const uint8_t* next_codes(State& state) {
    if constexpr (requires { Column::next_codes(state.rows); }) {
      return Column::next_codes(state.rows);
    } else {
      state.next_codes += 4 * steps;
      return state.next_codes - 4 * steps;
    }
  }

  // A column that goes by the same codes loads them first: it would take them out of the vector.
  template <uint32_t steps>
  COLX_INLINE static uint32_t step(State& state, uint8_t* out) {
    const uint8_t* const code_bytes = next_codes<steps>(state);
    const auto next = Column::template next_vectors<4 * steps>(state.rows);
    const auto lanes = [&](auto v) { return Column::template lanes<v>(next); };
    const Vec codes = load(code_bytes);
    constexpr unsigned rows = steps * rows_per_step;
    using Unit = Unsigned<rows / 8>;
    const auto bits =
        static_cast<Unit>(marks<rows, 0>(state.test, lanes, codes) ^ state.test.flip());
    store_as<Unit>(out, bits);
    return population(bits);
  }

  COLX_INLINE static bool row(State& state, uint32_t r) {
    return state.tail.hold(Column::value(state.rows, r), row_code<lane>(state.codes, r));
  }

  struct Selected {
    typename Column::Walk rows;
    const uint8_t* codes;
    Constants constants;
  };

  COLX_INLINE static Selected begin_selected(const uint8_t* data, const ScanArgs& args,
                                             const colx_cv* src) {
    return {Column::walk(data, args, src), static_cast<const uint8_t*>(src->colx_cv_aux),
            Constants::read(args)};
  }

  COLX_INLINE static bool selected_row(Selected& state, uint32_t r) {
    return state.constants.hold(Column::value(state.rows, r), row_code<lane>(state.codes, r));
  }
};

}  // namespace colx
