// Dictionary predicates on one-bit codes. There is nothing to compare: the constants alone decide
// whether the answer is the code stream, its complement, no row or every row. A selection is always
// ANDed by the frame's end; there are no selective twins.
//
// Reads: whole 16-byte blocks of the stream, then four bytes from a tail row's byte. A kernel that
// needs no constant does not touch args[0]; the others read four bytes of it.
#include "kernels/decode/one_bit_stream.h"
#include "kernels/frame/kernels.h"
#include "kernels/frame/scan_frame.h"
#include "kernels/predicate/operations.h"

namespace colx {
namespace {

enum class Answer { bits, inverted_bits, none, all };

// The decision table, a line per line. Constants above 1 are outside the contract, and some lines
// are crude for them.
template <Op op, NullCodes nulls>
COLX_INLINE Answer decide(const ScanArgs& args) {
  using enum Answer;
  const auto c = [&] { return load_as<uint32_t>(args.lo[0]); };
  const auto lo = c;
  const auto hi = [&] { return load_as<uint32_t>(args.hi[0]); };

  if constexpr (nulls == NullCodes::none) {
    if constexpr (op == Op::eq) return c() != 0 ? bits : inverted_bits;
    if constexpr (op == Op::ne) return c() == 1 ? inverted_bits : bits;
    if constexpr (op == Op::lt) return c() != 0 ? inverted_bits : none;
    if constexpr (op == Op::le) return c() != 0 ? all : inverted_bits;
    if constexpr (op == Op::gt) return c() != 0 ? none : bits;
    if constexpr (op == Op::ge) return c() != 0 ? bits : all;
    if constexpr (op == Op::gt_lt) return none;
    if constexpr (op == Op::gt_le) return lo() == 0 && hi() == 1 ? bits : none;
    if constexpr (op == Op::ge_lt) return lo() == 0 && hi() == 1 ? inverted_bits : none;
    if constexpr (op == Op::ge_le) {
      if (lo() == 0 && hi() == 0) return inverted_bits;
      if (lo() == 0 && hi() == 1) return all;
      return lo() == 1 && hi() == 1 ? bits : none;
    }
  } else {  // code 0 is NULL: only code 1 can be selected
    if constexpr (op == Op::eq) return c() != 0 ? bits : none;
    if constexpr (op == Op::ne) return c() != 0 ? none : bits;
    if constexpr (op == Op::lt) return none;
    if constexpr (op == Op::le) return c() != 0 ? bits : none;
    if constexpr (op == Op::gt) return c() != 0 ? none : bits;
    if constexpr (op == Op::ge) return bits;
    if constexpr (op == Op::gt_lt) return none;
    if constexpr (op == Op::gt_le) return lo() == 0 && hi() == 1 ? bits : none;
    if constexpr (op == Op::ge_lt) return none;
    if constexpr (op == Op::ge_le) return lo() <= 1 && hi() == 1 ? bits : none;
  }
}

// The `_null` kernels have their NULLs in the code and never read colx_cv_nulls.
constexpr ScanRules rules_of(NullCodes nulls) {
  return {nulls == NullCodes::none, COLX_OUT_SCAN_SELECTED};
}

// Every word but the last is filled; the last has its bits up to `rows`. `rows` must not be 0.
void set_all(uint64_t* out, uint32_t rows) {
  const size_t last = words_of(rows) - 1;
  std::memset(out, 0xFF, last * 8);
  out[last] = rows & 63 ? (uint64_t{1} << (rows & 63)) - 1 : ~uint64_t{0};
}

uint32_t answer_rows(const ScanInput& in, Answer answer) {
  uint32_t count = 0;
  switch (answer) {
    case Answer::bits:
      count = one_bit_codes(in.out, in.data, in.rows, false);
      break;
    case Answer::inverted_bits:  // leaves the bits behind `rows` set, uncounted
      count = one_bit_codes(in.out, in.data, in.rows, true);
      break;
    case Answer::none:
      clear_rest(in.out, in.rows, 0);
      break;
    case Answer::all:
      set_all(in.out, in.rows);
      count = in.rows;
      break;
  }
  return count;
}

template <Op op, NullCodes nulls>
COLX_INLINE uint32_t one_bit(colx_cv* res, colx_cv* src, const ScanArgs& args, colx_kctx* kctx,
                             const DecompressionTexts& texts) {
  const ScanInput in = open_scan(res, src, kctx, texts);
  return close_scan(res, src, kctx, in, answer_rows(in, decide<op, nulls>(args)), rules_of(nulls));
}

}  // namespace

extern "C" {

#define COLX_DEFINE(form, name, op, enc, code, flag)                               \
  uint32_t name(COLX_PARAMS_##form) {                                              \
    return one_bit<Op::op, NullCodes{flag}>(res, src, COLX_CONSTANTS_##form, kctx, \
                                            COLX_DECOMPRESSION_TEXTS(#name));      \
  }
COLX_DICT_ONE_BIT(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
