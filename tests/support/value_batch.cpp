#include "tests/support/value_batch.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace colx::test {
namespace {

constexpr size_t tie_stream_slack = 12;

Bytes first_bytes(uint64_t value, unsigned bytes) {
  Bytes all(bytes);
  for (unsigned i = 0; i < bytes; ++i) all[i] = static_cast<uint8_t>(value >> (56 - 8 * i));
  return all;
}

uint64_t value_of(const Bytes& bytes) {
  return oracle::value_at(bytes, 0, static_cast<unsigned>(bytes.size()));
}

unsigned fixed_slack(unsigned width_bits) {
  switch (width_bits) {
    case 24:
    case 48:
      return 4;
    case 40:
      return 6;
    case 56:
      return 2;
    default:
      return 0;
  }
}

// Only the width is for kernels to read.
Bytes width_record(uint32_t width) {
  colx_enc_ctx record;
  std::memset(&record, 0x5A, sizeof record);
  record.colx_enc_ctx_width = width;
  Bytes bytes(sizeof record);
  std::memcpy(bytes.data(), &record, sizeof record);
  return bytes;
}

std::vector<Bytes> constant_args(const oracle::ValueScan& scan,
                                 const oracle::ValueConstant& constant) {
  std::vector<Bytes> args = {first_bytes(constant.value, scan.word_bits / 8)};
  if (scan.compares_codes()) args.push_back({constant.tie});
  return args;
}

oracle::ValueConstant constant_of(const oracle::ValueScan& scan, const std::vector<Bytes>& args) {
  if (args.empty()) return {};
  return {value_of(args[0]), scan.compares_codes() ? args[1][0] : uint8_t{0}};
}

unsigned significant_bytes(uint64_t value) {
  unsigned bytes = 1;
  while (bytes < 8 && value << 8 * bytes != 0) ++bytes;
  return bytes;
}

}  // namespace

uint64_t stored(std::initializer_list<uint8_t> bytes) {
  return value_of(Bytes(bytes));
}

ValueRow dynp_row(std::initializer_list<uint8_t> bytes) {
  return {stored(bytes), static_cast<uint8_t>(bytes.size() - 1)};
}

uint32_t value_index(const oracle::ValueScan& scan) {
  return colx_slot_index(scan.opc, scan.enc, colx_width_code(scan.word_bits),
                         scan.tz ? COLX_FORM_VARIANT : COLX_FORM_PLAIN);
}

oracle::ValueScan value_scan_at(uint32_t index) {
  const uint32_t width_code = index >> 7 & 31;
  const unsigned word_bits = width_code < 20 ? width_code + 1 : width_code == 21 ? 32 : 64;
  return {index & 31, index >> 5 & 3, word_bits, (index >> 12 & 1) != 0};
}

void set_value_constants(ScanBatch& batch, const oracle::ValueScan& scan, uint32_t args_width,
                         oracle::ValueConstant lo, oracle::ValueConstant hi) {
  batch.args = constant_args(scan, lo);
  batch.hi_args.clear();
  if (oracle::is_range(scan.opc)) batch.hi_args = constant_args(scan, hi);
  if (!scan.reads_width()) return;
  batch.args.resize(3);
  batch.args.push_back(width_record(args_width));
}

ScanBatch value_batch(const oracle::ValueScan& scan, unsigned width_bits,
                      std::span<const ValueRow> rows, oracle::ValueConstant lo,
                      oracle::ValueConstant hi) {
  ScanBatch batch;
  batch.set_rows(static_cast<uint32_t>(rows.size()));
  batch.layout_flags = COLX_FIXED;
  batch.width_bits = noisy_width(width_bits);
  Bytes codes;
  size_t last_group_at = 0;
  for (size_t r = 0; r < rows.size(); ++r) {
    const unsigned bytes = scan.is_fixed() ? width_bits / 8 : rows[r].code + 1u;
    if (!scan.is_fixed() && r % (8 / oracle::code_bits(scan.word_bits)) == 0) {
      last_group_at = batch.stream.size();
    }
    const Bytes row = first_bytes(rows[r].value, bytes);
    batch.stream.insert(batch.stream.end(), row.begin(), row.end());
    codes.push_back(rows[r].code);
  }
  if (scan.is_fixed()) {
    batch.slack_bytes = rows.empty() ? 0 : fixed_slack(width_bits);
  } else if (!rows.empty()) {
    batch.slack_bytes = last_group_at + 16 - batch.stream.size();
  }
  if (scan.reads_codes()) {
    batch.aux = oracle::pack_row_codes(codes, scan.word_bits);
    batch.aux_slack_bytes = scan.tz ? tie_stream_slack : 0;
  }
  set_value_constants(batch, scan, noisy_width(width_bits), lo, hi);
  return batch;
}

oracle::ValueInput value_input(const oracle::ValueScan& scan, const ScanBatch& batch) {
  oracle::ValueInput input;
  input.rows = batch.stream;
  input.codes = batch.aux;
  input.lo = constant_of(scan, batch.args);
  input.hi = constant_of(scan, batch.hi_args);
  if (batch.args.size() == 4 && !batch.args[3].empty()) {
    std::memcpy(&input.args_width, &batch.args[3][offsetof(colx_enc_ctx, colx_enc_ctx_width)],
                sizeof input.args_width);
  }
  return input;
}

std::string value_difference(const ScanKernel& kernel, const oracle::ValueScan& scan,
                             const ScanBatch& batch) {
  const oracle::ValueInput input = value_input(scan, batch);
  return scan_difference(kernel, batch,
                         [&](const colx_cv& res, const colx_cv& src, const colx_kctx* kctx) {
                           return oracle::value_outcome(scan, input, res, src, kctx);
                         });
}

ValueRows pattern_rows(const oracle::ValueScan& scan, unsigned width_bits, Pattern pattern,
                       uint32_t rows, uint64_t centre, Random& random) {
  const std::vector<uint64_t> numbers =
      pattern_codes(pattern, width_bits, rows, centre >> (64 - width_bits), random);
  const unsigned longest = scan.word_bits / 8;
  ValueRows all;
  for (const uint64_t number : numbers) {
    ValueRow row = {number << (64 - width_bits), 0};
    if (scan.is_fixed()) {
      if (scan.word_bits > 8) row.code = static_cast<uint8_t>(random.below(longest));
    } else if (random.one_in(2)) {
      row.code = static_cast<uint8_t>(random.below(longest));
      row.value &= ~uint64_t{0} << (56 - 8 * row.code);
    } else {
      const unsigned shortest = significant_bytes(row.value);
      row.code = static_cast<uint8_t>(shortest - 1 + random.below(longest - shortest + 1));
    }
    all.push_back(row);
  }
  return all;
}

}  // namespace colx::test
