#include "tests/oracle/arithmetic_oracle.h"

#include <algorithm>

#include "tests/oracle/addition_orders.h"

namespace colx::oracle {
namespace {

bool has_constant_flag(const colx_cv& operand) {
  return (operand.colx_cv_encoding_context->colx_enc_ctx_flags & COLX_CONST) != 0;
}

ComputedBits operand_at(const colx_cv& operand, bool constant, uint32_t row, unsigned bytes,
                        NumberForm form) {
  const auto* const rows = static_cast<const uint8_t*>(operand.colx_cv_data);
  return {stored_bits(rows + (constant ? 0 : size_t{row} * bytes), bytes, form)};
}

template <class Number>
ComputedBits result_of(uint32_t opc, ComputedBits left, ComputedBits right) {
  if (opc == COLX_OPC_ADD) return sum_of<Number>(left, right);
  if (opc == COLX_OPC_SUB) return difference_of<Number>(left, right);
  return product_of<Number>(left, right);
}

template <class Number>
std::vector<ComputedBits> outcome_of(const ArithmeticKind& kind, const colx_cv& src,
                                     const colx_cv& right, uint64_t element) {
  const ConstantSides constant = constant_sides(src, right);
  std::vector<ComputedBits> results;
  for (uint32_t row = 0; row < arithmetic_rows(src, right); ++row) {
    results.push_back(
        result_of<Number>(kind.opc, operand_at(src, constant.left, row, kind.bytes(), kind.left),
                          operand_at(right, constant.right, row, kind.bytes(), kind.right)));
  }
  if (kind.sums) return {lanes_then_rest<Number>(results, {element})};
  return results;
}

}  // namespace

uint32_t ArithmeticKind::slot() const {
  const uint32_t width_code = (doubles ? 1 : 0) | (left == NumberForm::canonical ? 4 : 0) |
                              (right == NumberForm::canonical ? 8 : 0);
  return opc | width_code << 7 | (sums ? 1 : 0) << 12;
}

ArithmeticKind arithmetic_kind_at(uint32_t slot) {
  const uint32_t width_code = slot >> 7 & 31;
  return {slot & 31, (width_code & 1) != 0,
          (width_code & 4) != 0 ? NumberForm::canonical : NumberForm::native,
          (width_code & 8) != 0 ? NumberForm::canonical : NumberForm::native, slot >> 12 != 0};
}

uint32_t arithmetic_rows(const colx_cv& src, const colx_cv& right) {
  return std::max(src.colx_cv_num_of_rows, right.colx_cv_num_of_rows);
}

ConstantSides constant_sides(const colx_cv& src, const colx_cv& right) {
  const bool left_constant = has_constant_flag(src);
  return {left_constant, !left_constant && has_constant_flag(right)};
}

std::vector<ComputedBits> arithmetic_outcome(const ArithmeticKind& kind, const colx_cv& src,
                                             const colx_cv& right, uint64_t element) {
  return kind.doubles ? outcome_of<double>(kind, src, right, element)
                      : outcome_of<float>(kind, src, right, element);
}

}  // namespace colx::oracle
