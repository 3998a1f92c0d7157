#include "tests/oracle/bloom_oracle.h"

#include <cstring>

#include "tests/oracle/bit_vectors.h"
#include "tests/oracle/native_numbers.h"
#include "tests/oracle/stored_numbers.h"

namespace colx::oracle {
namespace {

constexpr uint32_t no_row = 0xFFFFFFFF;

struct Rows {
  BloomOutcome outcome;
  const void* column;
  unsigned width_bits;
  const colx_cv* filter;

  bool passes(uint64_t row) const {
    return bloom_passes(*filter, bloom_hash(column, width_bits, row));
  }
  void count(uint64_t row) {
    ++outcome.count;
    outcome.last = static_cast<uint32_t>(row);
    if (outcome.first == no_row) outcome.first = static_cast<uint32_t>(row);
  }
  void test_one(uint64_t row) {
    if (!passes(row)) return;
    put_bit(outcome.bits.data(), row, true);
    count(row);
  }
  // Two bytes are stored whole if a row of the 16 passes, and left alone otherwise.
  void test_sixteen(uint64_t row) {
    uint64_t mask = 0;
    for (unsigned i = 0; i < 16; ++i) {
      if (!passes(row + i)) continue;
      mask |= uint64_t{1} << i;
      count(row + i);
    }
    if (mask != 0) put_native(outcome.bits.data() + row / 8, mask, 2);
  }
};

}  // namespace

uint32_t bloom_hash(const void* column, unsigned width_bits, uint64_t row) {
  const uint64_t bytes = width_bits / 8;
  const uint8_t* const last_four = static_cast<const uint8_t*>(column) + row * bytes + (bytes - 4);
  return static_cast<uint32_t>(big_endian_at(last_four, 4));
}

bool bloom_passes(const colx_cv& filter, uint32_t hash) {
  const colx_enc_ctx& encoding = *filter.colx_cv_encoding_context;
  const uint32_t masked = hash & encoding.colx_enc_ctx_bloom_hash_mask;
  if (encoding.colx_enc_ctx_bloom_partitioned == 0) return bit_at(filter.colx_cv_bits, masked);
  const uint32_t partition = masked >> encoding.colx_enc_ctx_bloom_part_shift;
  const uint8_t* const bits = address_at(filter.colx_cv_bits + partition);
  return bit_at(bits, masked & encoding.colx_enc_ctx_bloom_bit_mask);
}

BloomKernel bloom_kernel(const colx_cv& src, const colx_kctx& kctx) {
  const auto width = static_cast<uint8_t>(src.colx_cv_encoding_context->colx_enc_ctx_width);
  return {width == 32 ? 32u : 64u,
          kctx.colx_kctx_selection != nullptr ? BloomForm::selective : BloomForm::plain};
}

BloomOutcome bloom(BloomKernel kernel, const colx_cv& res, const colx_cv& src,
                   const colx_cv& filter, const colx_kctx& kctx) {
  const uint64_t rows = src.colx_cv_num_of_rows;
  Rows all = {{}, src.colx_cv_data, kernel.width_bits, &filter};
  BloomOutcome& outcome = all.outcome;
  outcome.flags_out = kctx.colx_kctx_flags_out;
  if ((src.colx_cv_encoding_context->colx_enc_ctx_flags & COLX_HASH_VALUES) == 0) {
    outcome.status = COLX_NOT_SERVED;
    return outcome;
  }
  const auto* const bits = reinterpret_cast<const uint8_t*>(res.colx_cv_bits);
  outcome.bits.assign(bits, bits + stored_bytes(BitForm::words, rows));
  outcome.first = outcome.last = no_row;

  uint64_t row = kctx.colx_kctx_start_row;
  if (kernel.form == BloomForm::selective) {
    outcome.flags_out |= COLX_OUT_BLOOM_SELECTED;
    for (; row < rows; ++row) {
      if (bit_at(kctx.colx_kctx_selection, row)) all.test_one(row);
    }
  } else {
    while (row < rows && row % 8 != 0) all.test_one(row++);
    for (; rows - row >= 16; row += 16) all.test_sixteen(row);
    while (row < rows) all.test_one(row++);
  }
  outcome.status = outcome.count == 0 ? COLX_NOTHING_FOUND : COLX_DONE;
  return outcome;
}

}  // namespace colx::oracle
