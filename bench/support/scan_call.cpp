#include "bench/support/scan_call.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "bench/support/column_reference.h"
#include "bench/support/scalar_scan.h"

namespace colx::bench {
namespace {

uint64_t code_bytes(uint64_t rows, unsigned width_bits) {
  return rows * width_bits / 8;
}

}  // namespace

uint32_t ScanKernel::slot() const {
  return colx_slot_index(opc, enc, colx_width_code(width_bits),
                         zero_is_null ? COLX_FORM_VARIANT : COLX_FORM_PLAIN);
}

std::string ScanKernel::name() const {
  return colx_dispatch_func_names[slot()];
}

ScanConstants scan_constants(const ScanKernel& kernel) {
  const uint64_t top = ~uint64_t{0} >> (64 - kernel.width_bits);
  if (!kernel.is_range()) return {top / 2 + 1, 0};
  return {top / 4, top - top / 4};
}

uint32_t scan_rows(const SizeClass& size, unsigned width_bits) {
  return static_cast<uint32_t>(size.bytes * 8 / (width_bits + 1) / 512 * 512);
}

ScanCall::ScanCall(const ScanKernel& kernel, const SizeClass& size)
    : size_(size),
      is_range_(kernel.is_range()),
      fn_(colx_dispatch_table[kernel.slot()]),
      constants_(scan_constants(kernel)) {
  enc_.colx_enc_ctx_key = static_cast<uint8_t>(kernel.slot() >> 5);
  enc_.colx_enc_ctx_flags = COLX_DICT;
  enc_.colx_enc_ctx_width = kernel.width_bits;
  res_.colx_cv_num_of_rows = src_.colx_cv_num_of_rows = scan_rows(size, kernel.width_bits);
}

void ScanCall::select(uint64_t* selection, bool walked) {
  kctx_.colx_kctx_selection = selection;
  kctx_.colx_kctx_flags = walked ? COLX_KCTX_SELECTIVE : 0;
}

const uint8_t* ScanCall::codes(unsigned window) const {
  return random_bytes(size_) + window * code_bytes(rows(), enc_.colx_enc_ctx_width);
}

uint64_t* ScanCall::bits(unsigned window) const {
  return reinterpret_cast<uint64_t*>(output_bytes(size_) + uint64_t{window} * rows() / 8);
}

void ScanCall::run(unsigned window) {
  src_.colx_cv_data = const_cast<uint8_t*>(codes(window));
  res_.colx_cv_bits = bits(window);
  src_.colx_cv_encoding_context = &enc_;
  const void* const lo_args[] = {&constants_.lo};
  const void* const hi_args[] = {&constants_.hi};
  if (is_range_)
    reinterpret_cast<colx_range_scan_fn>(fn_)(&res_, &src_, lo_args, hi_args, &kctx_);
  else
    reinterpret_cast<colx_scan_fn>(fn_)(&res_, &src_, lo_args, &kctx_);
}

Pass scalar_pass(const ScanKernel& kernel, const SizeClass& size) {
  const ScanConstants constants = scan_constants(kernel);
  const ScalarPlan plan = scalar_plan(kernel.opc, kernel.zero_is_null, constants.lo, constants.hi);
  const ScalarScan scan = scalar_scan(kernel.width_bits, plan.test);
  const ScanCall place(kernel, size);
  const uint32_t rows = place.rows();
  const uint8_t* const codes = place.codes(0);
  uint8_t* const bits = reinterpret_cast<uint8_t*>(place.bits(0));
  const uint64_t bytes = code_bytes(rows, kernel.width_bits);
  return [=](unsigned window) {
    const uint32_t count = scan(codes + window * bytes,
                                reinterpret_cast<uint64_t*>(bits + uint64_t{window} * (rows / 8)),
                                rows, plan.a, plan.b);
    asm volatile("" : : "r"(count));
  };
}

std::string scan_fault(const ScanKernel& kernel, const SizeClass& size) {
  ScanCall call(kernel, size);
  const ScanConstants constants = scan_constants(kernel);
  const uint32_t rows = call.rows();
  const uint32_t some_rows = std::min(rows, 4096u + 37u);
  uint64_t* const bits = call.bits(0);

  const ReferenceScan reference =
      reference_scan(call.codes(0), kernel.width_bits, some_rows, kernel.opc, kernel.zero_is_null,
                     constants.lo, constants.hi);
  const ScalarPlan plan = scalar_plan(kernel.opc, kernel.zero_is_null, constants.lo, constants.hi);
  const ScalarScan scalar = scalar_scan(kernel.width_bits, plan.test);
  const uint32_t some_count = scalar(call.codes(0), bits, some_rows, plan.a, plan.b);
  if (some_count != reference.count ||
      std::memcmp(bits, reference.bits.data(), 8 * reference.bits.size()) != 0)
    return "the scalar loop differs from the reference";

  const uint32_t count = scalar(call.codes(0), bits, rows, plan.a, plan.b);
  const std::vector<uint64_t> expected(bits, bits + rows / 64);
  std::memset(bits, 0x5A, rows / 8);
  call.run(0);
  if (call.count() != count || std::memcmp(bits, expected.data(), rows / 8) != 0)
    return "the kernel differs from the scalar loop";
  return "";
}

}  // namespace colx::bench
