#include "tests/support/set_batch.h"

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/set_oracle.h"

namespace colx::test {

Words code_table(std::span<const uint64_t> wanted, uint64_t largest_code) {
  Words table(largest_code / 64 + 1, 0);
  for (const uint64_t code : wanted) table[code / 64] |= uint64_t{1} << code % 64;
  return table;
}

ScanKernel set_kernel(unsigned width_bits) {
  return kernel_at(
      colx_slot_index(COLX_OPC_SET, COLX_ENC_DICT, colx_width_code(width_bits), COLX_FORM_PLAIN));
}

ScanBatch set_batch(unsigned width_bits, std::span<const uint64_t> codes, Words table) {
  ScanBatch batch;
  batch.set_rows(static_cast<uint32_t>(codes.size()));
  batch.stream = oracle::pack_codes(codes, width_bits);
  batch.slack_bytes = 16;
  batch.width_bits = width_bits;
  batch.code_table = std::move(table);
  return batch;
}

std::string set_difference(const ScanKernel& kernel, unsigned width_bits, const ScanBatch& batch) {
  return scan_difference(kernel, batch,
                         [&](const colx_cv& res, const colx_cv& src, const colx_kctx* kctx) {
                           return oracle::set_outcome(width_bits, batch.stream,
                                                      batch.code_table->data(), res, src, kctx);
                         });
}

}  // namespace colx::test
