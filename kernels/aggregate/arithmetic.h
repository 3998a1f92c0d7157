// Arithmetic on two operands, row by row: results to a native array, or added up.
//
// A pattern over operation, type, the byte form of either operand and whether results are summed.
// An operand is an array of rows or, under COLX_CONST, one value for all rows; if both are
// constants, the right one is read as an array. Reads exactly the rows, writes exactly the results;
// these may lie over an operand's rows.
//
// The order of a sum's additions is a promise: lane j of a vector takes rows j, j + lanes and so
// on; the lanes are then added up in pairs, the rows behind the last whole vector one at a time
// onto that, and the whole onto the accumulator.
#pragma once

#include <algorithm>

#include "kernels/aggregate/number_forms.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/slot_index.h"

namespace colx {

struct ArithmeticShape {
  Op op;
  uint32_t code;  // the width code of the slot: type and forms
  bool sums;
};

constexpr NumberForm left_form(uint32_t code) {
  return code & COLX_WIDTH_LEFT_CANONICAL ? NumberForm::canonical : NumberForm::native;
}
constexpr NumberForm right_form(uint32_t code) {
  return code & COLX_WIDTH_RIGHT_CANONICAL ? NumberForm::canonical : NumberForm::native;
}

// The two kinds of operand: row `r` alone, or the rows of a vector from `r` on.
template <class Number, NumberForm form>
struct NumberRows {
  const uint8_t* data;

  COLX_INLINE Number one(uint32_t r) const {
    return number_at<Number, form>(data + size_t{r} * sizeof(Number));
  }
  COLX_INLINE Vec lanes(uint32_t r) const {
    return numbers_at<Number, form>(data + size_t{r} * sizeof(Number));
  }
};

template <class Number>
struct ConstantNumber {
  Number value;
  Vec all_lanes;

  COLX_INLINE Number one(uint32_t) const { return value; }
  COLX_INLINE Vec lanes(uint32_t) const { return all_lanes; }
};

template <class Number, NumberForm form>
COLX_INLINE ConstantNumber<Number> constant_number(const colx_cv* operand) {
  const NumberBits<Number> bits = bits_at<Number, form>(bytes_at(operand->colx_cv_data, 0));
  return {std::bit_cast<Number>(bits), splat<sizeof(Number)>(bits)};
}

template <Op op, class Number>
COLX_INLINE Number combined(Number left, Number right) {
  if constexpr (op == Op::add) return left + right;
  if constexpr (op == Op::sub) return left - right;
  if constexpr (op == Op::mul) return left * right;
}

template <Op op, class Number>
COLX_INLINE Vec combined_lanes(Vec left, Vec right) {
  if constexpr (op == Op::add) return number_sum<Number>(left, right);
  if constexpr (op == Op::sub) return number_difference<Number>(left, right);
  if constexpr (op == Op::mul) return number_product<Number>(left, right);
}

template <Op op, class Number, class Left, class Right>
COLX_INLINE void store_results(uint8_t* out, const Left& left, const Right& right, uint32_t rows) {
  constexpr uint32_t lanes = lanes_of<Number>;
  const uint32_t whole = rows / lanes * lanes;
  uint32_t r = 0;
#pragma GCC unroll 2
  for (; r != whole; r += lanes)
    store(out + size_t{r} * sizeof(Number),
          combined_lanes<op, Number>(left.lanes(r), right.lanes(r)));
  for (; r != rows; ++r)
    store_as<Number>(out + size_t{r} * sizeof(Number), combined<op>(left.one(r), right.one(r)));
}

template <Op op, class Number, class Left, class Right>
COLX_INLINE Number sum_of_results(const Left& left, const Right& right, uint32_t rows) {
  constexpr uint32_t lanes = lanes_of<Number>;
  const uint32_t whole = rows / lanes * lanes;
  Vec sums = zeros();
  uint32_t r = 0;
#pragma GCC unroll 4
  for (; r != whole; r += lanes)
    sums = number_sum<Number>(sums, combined_lanes<op, Number>(left.lanes(r), right.lanes(r)));
  Number sum = pairwise_sum<Number>(sums);
  for (; r != rows; ++r) sum += combined<op>(left.one(r), right.one(r));
  return sum;
}

template <ArithmeticShape shape, class Number, class Left, class Right>
COLX_INLINE void compute(colx_cv* res, const Left& left, const Right& right, uint32_t rows) {
  uint8_t* const out = bytes_at(res->colx_cv_data, 0);
  if constexpr (shape.sums)
    add_to(out, 0, sum_of_results<shape.op, Number>(left, right, rows));
  else
    store_results<shape.op, Number>(out, left, right, rows);
}

COLX_INLINE bool is_constant(const colx_cv* operand) {
  return (operand->colx_cv_encoding_context->colx_enc_ctx_flags & COLX_CONST) != 0;
}

// Each kind of operand gets loops of its own; they ask for nothing.
template <ArithmeticShape shape>
COLX_INLINE uint32_t arithmetic(colx_cv* res, const colx_cv* src, const colx_cv* right) {
  using Number = std::conditional_t<(shape.code & COLX_WIDTH_DOUBLE) != 0, double, float>;
  constexpr NumberForm of_left = left_form(shape.code);
  constexpr NumberForm of_right = right_form(shape.code);
  const uint32_t rows = std::max(src->colx_cv_num_of_rows, right->colx_cv_num_of_rows);
  const NumberRows<Number, of_left> left_rows = {bytes_at(src->colx_cv_data, 0)};
  const NumberRows<Number, of_right> right_rows = {bytes_at(right->colx_cv_data, 0)};
  if (is_constant(src))
    compute<shape, Number>(res, constant_number<Number, of_left>(src), right_rows, rows);
  else if (is_constant(right))
    compute<shape, Number>(res, left_rows, constant_number<Number, of_right>(right), rows);
  else
    compute<shape, Number>(res, left_rows, right_rows, rows);
  return COLX_DONE;
}

}  // namespace colx
