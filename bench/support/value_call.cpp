#include "bench/support/value_call.h"

#include <cstring>

namespace colx::bench {
namespace {

constexpr size_t readable_behind = 16;

void store_constant(uint8_t* to, const WalkConstant& constant) {
  const uint64_t stored = __builtin_bswap64(constant.value);
  std::memcpy(to, &stored, sizeof stored);
  to[8] = constant.tie;
}

uint64_t average_row_bits(const ValueKernel& kernel) {
  return kernel.is_fixed() ? kernel.width_bits : 4 * (kernel.width_bits / 8 + 1);
}

}  // namespace

unsigned ValueKernel::word_bits() const {
  return width_bits <= 16 ? width_bits : width_bits <= 32 ? 32 : 64;
}

uint32_t ValueKernel::slot() const {
  return colx_slot_index(opc, enc, colx_width_code(word_bits()),
                         tz ? COLX_FORM_VARIANT : COLX_FORM_PLAIN);
}

std::string ValueKernel::name() const {
  const std::string kernel = colx_dispatch_func_names[slot()];
  return width_bits == word_bits() ? kernel : kernel + " " + std::to_string(width_bits);
}

uint32_t value_rows(const ValueKernel& kernel, const SizeClass& size) {
  const unsigned code_bits = kernel.reads_codes() ? kernel.code_bits() : 0;
  // A few dynp rows less, since random lengths may sum up to more than their average.
  const uint64_t bits = size.bytes * 8 - (kernel.is_fixed() ? 0 : size.bytes / 4);
  return static_cast<uint32_t>(bits / (average_row_bits(kernel) + code_bits + 1) / 512 * 512);
}

std::vector<uint8_t> row_codes(const ValueKernel& kernel, uint32_t rows) {
  std::vector<uint8_t> codes(rows * kernel.code_bits() / 8);
  uint64_t state = rows;
  for (uint8_t& byte : codes) {
    uint64_t z = state += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    byte = static_cast<uint8_t>(z >> 56);
    if (kernel.word_bits() == 64) byte &= 0x77;
  }
  return codes;
}

uint64_t row_bytes(const ValueKernel& kernel, const std::vector<uint8_t>& codes, uint32_t rows) {
  if (kernel.is_fixed()) return uint64_t{rows} * kernel.width_bits / 8;
  const unsigned mask = (1u << kernel.code_bits()) - 1;
  uint64_t bytes = rows;
  for (const uint8_t byte : codes)
    for (unsigned at = 0; at < 8; at += kernel.code_bits()) bytes += byte >> at & mask;
  return bytes;
}

ValueConstants value_constants(const ValueKernel& kernel) {
  const uint64_t justified = ~uint64_t{0} << (64 - kernel.width_bits);
  const uint64_t quarter = uint64_t{1} << 62;
  if (!kernel.is_range()) return {{2 * quarter & justified, 1}, {0, 0}};
  return {{quarter & justified, 1}, {3 * quarter & justified, 0}};
}

ValueCall::ValueCall(const ValueKernel& kernel, const SizeClass& size)
    : size_(size), is_range_(kernel.is_range()), fn_(colx_dispatch_table[kernel.slot()]) {
  const uint32_t rows = value_rows(kernel, size);
  std::vector<uint8_t> codes;
  if (kernel.reads_codes()) codes = row_codes(kernel, rows);
  bytes_ = row_bytes(kernel, codes, rows);
  code_bytes_ = codes.size();
  for (unsigned window = 0; window < size.windows; ++window)
    codes_.insert(codes_.end(), codes.begin(), codes.end());
  codes_.resize(codes_.size() + readable_behind);

  const ValueConstants constants = value_constants(kernel);
  store_constant(lo_, constants.lo);
  store_constant(hi_, constants.hi);
  enc_.colx_enc_ctx_key = static_cast<uint8_t>(kernel.slot() >> 5);
  enc_.colx_enc_ctx_flags = kernel.is_fixed() ? COLX_FIXED : 0;
  enc_.colx_enc_ctx_width = kernel.width_bits;
  res_.colx_cv_num_of_rows = src_.colx_cv_num_of_rows = rows;
}

const uint8_t* ValueCall::row_data(unsigned window) const {
  return random_bytes(size_) + window * bytes_;
}

const uint8_t* ValueCall::codes(unsigned window) const {
  return codes_.data() + window * code_bytes_;
}

uint64_t* ValueCall::bits(unsigned window) const {
  return reinterpret_cast<uint64_t*>(output_bytes(size_) + uint64_t{window} * rows() / 8);
}

void ValueCall::run(unsigned window) {
  src_.colx_cv_data = const_cast<uint8_t*>(row_data(window));
  src_.colx_cv_aux = code_bytes_ == 0 ? nullptr : const_cast<uint8_t*>(codes(window));
  src_.colx_cv_encoding_context = &enc_;
  res_.colx_cv_bits = bits(window);
  const void* const lo_args[] = {lo_, lo_ + 8, nullptr, &enc_};
  const void* const hi_args[] = {hi_, hi_ + 8, nullptr, &enc_};
  if (is_range_)
    reinterpret_cast<colx_range_scan_fn>(fn_)(&res_, &src_, lo_args, hi_args, &kctx_);
  else
    reinterpret_cast<colx_scan_fn>(fn_)(&res_, &src_, lo_args, &kctx_);
}

}  // namespace colx::bench
