// What the tz kernels add to ValueRows: rows and constants carry a code besides their value, which
// decides where values are equal. The rows' codes are the stream at colx_cv_aux, the constant's is
// the byte at args[1].
//
// A step compares codes in place: row i's stays in its bits of its code byte, and the constant's is
// shifted there in eight bits. A constant's code above the largest loses bits by that, in a step
// and only there: tail and selective scan compare whole bytes. A step takes four code bytes and
// loads sixteen, so reads reach 12 bytes past the code stream.
#pragma once

#include "kernels/predicate/row_codes.h"
#include "kernels/predicate/value_rows.h"

namespace colx {

// Value and code of a row or constant as one number.
using TiedKey = unsigned __int128;

constexpr TiedKey tied_key(uint64_t value, unsigned code) {
  return TiedKey{value} << 8 | code;
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
    return holds<op>(tied_key(value, code), tied_key(values.lo, codes.lo),
                     tied_key(values.hi, codes.hi));
  }
};

// `code` at the places that it can have in a code byte, for sixteen rows in a byte each.
template <unsigned L>
constexpr Mask in_place(unsigned code) {
  Mask mask{};
  for (unsigned r = 0; r < 16; ++r) mask.bytes[r] = static_cast<uint8_t>(code << code_place(L, r));
  return mask;
}

template <unsigned L>
inline constexpr Mask code_fields = in_place<L>((1u << code_bits(L)) - 1);

// Which code byte, counted from `First`, has the code of each of sixteen rows.
template <unsigned L, unsigned First>
inline constexpr Mask code_bytes_of_rows = [] {
  Mask mask{};
  for (unsigned r = 0; r < 16; ++r)
    mask.bytes[r] = static_cast<uint8_t>(First + r / rows_per_code_byte(L));
  return mask;
}();

template <Op op, class Column>
struct TiedRows {
  static constexpr unsigned lane = Column::lane;
  static constexpr unsigned vectors = Column::vectors_per_step;
  static constexpr uint32_t rows_per_step = vectors * 16 / lane;
  static constexpr bool by_order = tests_order(test_of(op, NullCodes::none));
  static_assert(vectors == 4);
  using Constants = TiedConstants<op, lane>;

  struct Side {
    Vec value;
    Vec code;
  };

  struct State {
    typename Column::Rows rows;
    const uint8_t* codes;
    const uint8_t* next_codes;
    Constants tail;
    Side lo;
    Side hi;
  };

  COLX_INLINE static Side side(uint64_t value, uint8_t code) {
    const auto word = static_cast<Unsigned<lane>>(value >> (64 - 8 * lane));
    const Vec spread = splat<lane>(Column::stored_lanes ? byte_reversed(word) : word);
    const Mask places = in_place<lane>(code);
    if constexpr (!by_order) return {spread, load(places)};
    return {top_bit_added<lane>(spread), top_bit_added<1>(load(places))};
  }

  COLX_INLINE static State begin(const ScanInput& in, const ScanArgs& args) {
    const auto* codes = static_cast<const uint8_t*>(in.src->colx_cv_aux);
    const auto rows = Column::open(in, args);
    Constants c = Constants::read(args);
    const Side lo = side(c.values.lo, c.codes.lo);
    const Side hi = side(c.values.hi, c.codes.hi);
    c.values = {Column::template tail_constant<op>(rows, c.values.lo),
                Column::template tail_constant<op>(rows, c.values.hi)};
    return {rows, codes, codes, c, lo, hi};
  }

  template <unsigned First, class Lanes>
  COLX_INLINE static Vec narrowed_rows(const Lanes& lanes) {
    constexpr unsigned rows = rows_per_step < 16 ? rows_per_step : 16;
    const Vec v = narrowed_lanes<lane, rows * lane / 16, First, false>(lanes);
    return rows == 8 ? narrowed<2>(v, zeros()) : v;
  }

  // Rows below or above a side.
  template <bool below, unsigned First, class Lanes>
  COLX_INLINE static Vec beyond(const Lanes& lanes, Vec codes, const Side& c) {
    const Vec farther = narrowed_rows<First>([&](auto v) {
      return below ? above_signed<lane>(c.value, lanes(v)) : above_signed<lane>(lanes(v), c.value);
    });
    const Vec same = narrowed_rows<First>([&](auto v) { return equal<lane>(lanes(v), c.value); });
    const Vec tied = below ? above_signed<1>(c.code, codes) : above_signed<1>(codes, c.code);
    return either(farther, both(same, tied));
  }

  template <unsigned First, class Lanes>
  COLX_INLINE static Vec hits(const Lanes& lanes, Vec codes, const State& s) {
    if constexpr (op == Op::eq || op == Op::ne) {
      const Vec same =
          narrowed_rows<First>([&](auto v) { return equal<lane>(lanes(v), s.lo.value); });
      const Vec hit = both(same, equal<1>(codes, s.lo.code));
      return op == Op::eq ? hit : complement(hit);
    } else {
      const auto biased = [&](auto v) { return top_bit_added<lane>(lanes(v)); };
      codes = top_bit_added<1>(codes);
      if constexpr (op == Op::lt) return beyond<true, First>(biased, codes, s.lo);
      if constexpr (op == Op::gt) return beyond<false, First>(biased, codes, s.lo);
      if constexpr (op == Op::le) return complement(beyond<false, First>(biased, codes, s.lo));
      if constexpr (op == Op::ge) return complement(beyond<true, First>(biased, codes, s.lo));
      if constexpr (is_range(op)) {
        constexpr bool lo_open = op == Op::gt_lt || op == Op::gt_le;
        constexpr bool hi_open = op == Op::gt_lt || op == Op::ge_lt;
        Vec lo = lo_open ? beyond<false, First>(biased, codes, s.lo)
                         : complement(beyond<true, First>(biased, codes, s.lo));
        Vec hi = hi_open ? beyond<true, First>(biased, codes, s.hi)
                         : complement(beyond<false, First>(biased, codes, s.hi));
        return both(lo, hi);
      }
    }
  }

  COLX_INLINE static uint32_t step(State& state, uint8_t* out) {
    const Vec code_bytes = load(state.next_codes);
    state.next_codes += 4;
    const auto step = Column::next_step(state.rows);
    const auto lanes = [&](auto v) { return Column::template lanes<v>(step); };
    const auto codes = [&](const Mask& of_rows) {
      return both(shuffle(code_bytes, load(of_rows)), load(code_fields<lane>));
    };
    using Unit = Unsigned<rows_per_step / 8>;
    uint32_t bits = top_bits(hits<0>(lanes, codes(code_bytes_of_rows<lane, 0>), state));
    if constexpr (rows_per_step == 32)
      bits |= top_bits(hits<2>(lanes, codes(code_bytes_of_rows<lane, 2>), state)) << 16;
    store_as<Unit>(out, static_cast<Unit>(bits));
    return population(static_cast<Unit>(bits));
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
