#include "tests/oracle/gby_sum_oracle.h"

#include <array>

#include "tests/oracle/addition_orders.h"
#include "tests/oracle/stored_numbers.h"

namespace colx::oracle {
namespace {

const uint8_t* row_at(const colx_cv& src, uint32_t row, unsigned bytes) {
  return static_cast<const uint8_t*>(src.colx_cv_data) + size_t{row} * bytes;
}

template <class Number>
void add_numbers(const colx_cv& src, const uint32_t* groups, std::vector<ComputedBits>& elements) {
  const bool native = (src.colx_cv_encoding_context->colx_enc_ctx_flags & COLX_NATIVE) != 0;
  const NumberForm form = native ? NumberForm::native : NumberForm::canonical;
  std::vector<ComputedBits> rows;
  for (uint32_t row = 0; row < src.colx_cv_num_of_rows; ++row) {
    rows.push_back({stored_bits(row_at(src, row, sizeof(Number)), sizeof(Number), form)});
  }
  if (groups == nullptr) {
    elements[0] = rows_then_element<Number>(rows, elements[0]);
    return;
  }
  for (uint32_t row = 0; row < rows.size(); ++row) {
    ComputedBits& own = elements[groups[row]];
    own = rows_into_element<Number>(std::array{rows[row]}, own);
  }
}

void add_integers(const colx_cv& src, const uint32_t* groups, unsigned bytes,
                  std::vector<ComputedBits>& elements) {
  for (uint32_t row = 0; row < src.colx_cv_num_of_rows; ++row) {
    elements[groups == nullptr ? 0 : groups[row]].bits += dsb_at(row_at(src, row, bytes), bytes);
  }
}

}  // namespace

uint64_t dsb_at(const void* at, unsigned bytes) {
  const uint64_t number = big_endian_at(at, bytes);
  const bool negative = (number >> (8 * bytes - 1) & 1) != 0;
  return bytes < 8 && negative ? number | ~uint64_t{0} << 8 * bytes : number;
}

bool is_dsb_width(uint32_t width_bits) {
  return width_bits == 8 || width_bits == 16 || width_bits == 32 || width_bits == 64;
}

SumType group_sum_type(const colx_enc_ctx& encoding) {
  switch (encoding.colx_enc_ctx_type & 0xFF) {
    case 1:
      return SumType::floats;
    case 2:
      return SumType::doubles;
    case 8:
      return SumType::integers;
    default:
      return SumType::none;
  }
}

unsigned sum_row_bytes(SumType type, uint32_t width_bits) {
  if (type == SumType::floats) return 4;
  if (type == SumType::doubles) return 8;
  return type == SumType::integers && is_dsb_width(width_bits) ? width_bits / 8 : 0;
}

GroupSumOutcome group_sum_outcome(const colx_cv& src, const uint32_t* groups,
                                  const std::vector<uint64_t>& elements) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const SumType type = group_sum_type(encoding);
  const unsigned row_bytes = sum_row_bytes(type, encoding.colx_enc_ctx_width);
  GroupSumOutcome outcome = {};
  outcome.status = type == SumType::none ? COLX_BAD_INPUT : COLX_DONE;
  outcome.element_bytes = element_bytes(type);
  outcome.touches = row_bytes != 0 && (groups == nullptr || src.colx_cv_num_of_rows != 0);
  for (const uint64_t element : elements) outcome.elements.push_back({element});
  if (!outcome.touches) return outcome;
  if (type == SumType::floats) add_numbers<float>(src, groups, outcome.elements);
  if (type == SumType::doubles) add_numbers<double>(src, groups, outcome.elements);
  if (type == SumType::integers) add_integers(src, groups, row_bytes, outcome.elements);
  return outcome;
}

}  // namespace colx::oracle
