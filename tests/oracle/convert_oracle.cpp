#include "tests/oracle/convert_oracle.h"

#include "tests/oracle/addition_orders.h"

namespace colx::oracle {
namespace {

SumType type_by_bits(const colx_enc_ctx& encoding) {
  const uint32_t type = encoding.colx_enc_ctx_type;
  if ((type & 1) != 0) return SumType::floats;
  if ((type & 2) != 0) return SumType::doubles;
  return (type & 8) != 0 ? SumType::integers : SumType::none;
}

bool asks_for_sum(const colx_kctx* kctx) {
  return kctx != nullptr && (kctx->colx_kctx_flags & 0x80) != 0;
}

// Canonical rows, whatever COLX_NATIVE says.
std::vector<ComputedBits> canonical_rows(const colx_cv& src, unsigned bytes) {
  std::vector<ComputedBits> rows;
  for (uint32_t row = 0; row < src.colx_cv_num_of_rows; ++row) {
    const auto* const at = static_cast<const uint8_t*>(src.colx_cv_data) + size_t{row} * bytes;
    rows.push_back({stored_bits(at, bytes, NumberForm::canonical)});
  }
  return rows;
}

uint64_t dsb_sum(const colx_cv& src) {
  const uint32_t width_bits = src.colx_cv_encoding_context->colx_enc_ctx_width;
  if (!is_dsb_width(width_bits)) return 0;
  uint64_t sum = 0;
  for (uint32_t row = 0; row < src.colx_cv_num_of_rows; ++row) {
    const size_t bytes = width_bits / 8;
    sum += dsb_at(static_cast<const uint8_t*>(src.colx_cv_data) + row * bytes, width_bits / 8);
  }
  return sum;
}

}  // namespace

ConvertPlan convert_plan(const colx_cv& src, const colx_kctx* kctx) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const bool sums = asks_for_sum(kctx);
  const SumType type = type_by_bits(encoding);
  if ((encoding.colx_enc_ctx_flags & COLX_NATIVE) != 0 && !sums) {
    return {ConvertAction::refused, type};
  }
  if (type == SumType::none) return {ConvertAction::refused, type};
  if (sums) return {ConvertAction::sums, type};
  return {type == SumType::integers ? ConvertAction::asserts : ConvertAction::converts, type};
}

ConversionOutcome convert_outcome(const colx_cv& src, const colx_kctx* kctx,
                                  const std::vector<uint64_t>& elements) {
  const ConvertPlan plan = convert_plan(src, kctx);
  const bool refused = plan.action == ConvertAction::refused;
  ConversionOutcome outcome = {
      refused ? uint32_t{COLX_BAD_INPUT} : uint32_t{COLX_DONE}, element_bytes(plan.type), {}};
  for (const uint64_t element : elements) outcome.elements.push_back({element});
  if (refused) return outcome;
  if (plan.action == ConvertAction::converts) {
    outcome.elements = canonical_rows(src, element_bytes(plan.type));
  } else if (plan.type == SumType::floats) {
    outcome.elements[0] = lanes_and_rest<float>(canonical_rows(src, 4), outcome.elements[0]);
  } else if (plan.type == SumType::doubles) {
    outcome.elements[0] = lanes_and_rest<double>(canonical_rows(src, 8), outcome.elements[0]);
  } else {
    outcome.elements[0].bits += dsb_sum(src);
  }
  return outcome;
}

}  // namespace colx::oracle
