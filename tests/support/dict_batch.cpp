#include "tests/support/dict_batch.h"

#include <cstring>

#include "tests/oracle/packed_codes_oracle.h"

namespace colx::test {
namespace {

unsigned constant_bytes(unsigned width_bits) {
  return is_aligned_width(width_bits) ? width_bits / 8 : 4;
}

uint64_t native_number(const std::vector<Bytes>& args) {
  uint64_t value = 0;
  if (!args.empty() && !args[0].empty()) std::memcpy(&value, args[0].data(), args[0].size());
  return value;
}

}  // namespace

unsigned dict_rows_per_step(unsigned width_bits) {
  switch (width_bits) {
    case 1:
    case 2:
    case 4:
    case 8:
      return 128;
    case 3:
    case 5:
    case 6:
    case 7:
    case 9:
    case 10:
    case 12:
    case 16:
      return 64;
    case 64:
      return 16;
    default:
      return 32;
  }
}

uint32_t dict_index(const oracle::DictScan& scan) {
  return colx_slot_index(scan.opc, COLX_ENC_DICT, colx_width_code(scan.width_bits),
                         scan.null_form ? COLX_FORM_VARIANT : COLX_FORM_PLAIN);
}

oracle::DictScan dict_scan_at(uint32_t index) {
  const uint32_t width_code = index >> 7 & 31;
  const unsigned above_20[] = {24, 32, 64};
  return {index & 31, width_code < 20 ? width_code + 1 : above_20[width_code - 20],
          (index >> 12 & 1) != 0};
}

void set_dict_constants(ScanBatch& batch, const oracle::DictScan& scan, uint64_t lo, uint64_t hi) {
  batch.args.clear();
  batch.hi_args.clear();
  if (scan.width_bits == 1 && !oracle::one_bit_reads_constants(scan.opc, scan.null_form)) return;
  const unsigned bytes = constant_bytes(scan.width_bits);
  batch.args.push_back(native_bytes(lo, bytes));
  if (oracle::is_range(scan.opc)) batch.hi_args.push_back(native_bytes(hi, bytes));
}

ScanBatch dict_batch(const oracle::DictScan& scan, std::span<const uint64_t> codes, uint64_t lo,
                     uint64_t hi) {
  ScanBatch batch;
  batch.set_rows(static_cast<uint32_t>(codes.size()));
  batch.stream = oracle::pack_codes(codes, scan.width_bits);
  batch.slack_bytes = is_aligned_width(scan.width_bits) ? 0 : scan.width_bits == 1 ? 16 : 8;
  batch.width_bits = scan.width_bits;
  set_dict_constants(batch, scan, lo, hi);
  return batch;
}

std::string dict_difference(const ScanKernel& kernel, const oracle::DictScan& scan,
                            const ScanBatch& batch) {
  const uint64_t lo = native_number(batch.args);
  const uint64_t hi = native_number(batch.hi_args);
  return scan_difference(kernel, batch,
                         [&](const colx_cv& res, const colx_cv& src, const colx_kctx* kctx) {
                           return oracle::dict_outcome(scan, batch.stream, lo, hi, res, src, kctx);
                         });
}

}  // namespace colx::test
