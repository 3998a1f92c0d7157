// Dictionary predicates: every width, operation and form against the scalar line and the limit.
//
// Operations are compared in cost with eq of the same width, _null forms with the plain form.

#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/scan_call.h"
#include "bench/support/stream_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

#define COLX_ORDER "(lt|gt|le|ge|gt_lt|gt_le|ge_lt|ge_le)"

constexpr Target targets[] = {
    {"eq at 8 bits, times scalar", "colx_eq_dict_8bit", &in_l2, Figure::times_scalar, 15},
    {"eq at 16 bits, times scalar", "colx_eq_dict_16bit", &in_l2, Figure::times_scalar, 14},
    {"eq at 32 bits, times scalar", "colx_eq_dict_32bit", &in_l2, Figure::times_scalar, 11},
    {"eq at 64 bits, times scalar", "colx_eq_dict_64bit", &in_l2, Figure::times_scalar, 6},
    {"order and range at 8 bits, times scalar", "colx_" COLX_ORDER "_dict_8bit", &in_l2,
     Figure::times_scalar, 12},
    {"order and range at 16 bits, times scalar", "colx_" COLX_ORDER "_dict_16bit", &in_l2,
     Figure::times_scalar, 11},
    {"order and range at 32 bits, times scalar", "colx_" COLX_ORDER "_dict_32bit", &in_l2,
     Figure::times_scalar, 6},
    {"order and range at 64 bits, times scalar", "colx_" COLX_ORDER "_dict_64bit", &in_l2,
     Figure::times_scalar, 3.5},
    {"eq at 2 to 7 bits, times scalar", "colx_eq_dict_[2-7]bit", &in_l2, Figure::times_scalar, 13},
    {"eq at 9, 10 and 12 bits, times scalar", "colx_eq_dict_(9|10|12)bit", &in_l2,
     Figure::times_scalar, 10},
    {"eq at 11, 13 to 15, 17 to 20 and 24 bits, times scalar",
     "colx_eq_dict_(1[1345]|1[789]|20|24)bit", &in_l2, Figure::times_scalar, 6.5},
    {"range at packed widths, cost of eq", "colx_g[te]_l[te]_dict_([2-79]|1[0-57-9]|20|24)bit",
     &in_l2, Figure::of_peer, 1.3},
    {"_null at all widths but 1, cost of the plain form", "colx_.*_dict_([2-9]|\\d\\d)bit_null",
     &in_l2, Figure::of_peer, 1.3},
    {"eq, ge and ge_lt out of cache", "colx_.*_dict_.*", &in_memory, Figure::out_of_cache, 0.8},
};

#undef COLX_ORDER

// What a kernel's cost is compared with; eq in its plain form with nothing.
ScanKernel peer_of(const ScanKernel& kernel) {
  ScanKernel peer = kernel;
  if (kernel.zero_is_null)
    peer.zero_is_null = false;
  else
    peer.opc = COLX_OPC_EQ;
  return peer;
}

Pass kernel_pass(const ScanKernel& kernel, const SizeClass& size) {
  const auto call = std::make_shared<ScanCall>(kernel, size);
  return [call](unsigned window) { call->run(window); };
}

Case scan_case(const ScanKernel& kernel, const SizeClass& size) {
  const ScanKernel peer = peer_of(kernel);
  const bool has_peer = peer.slot() != kernel.slot();
  const auto prepare = [=] {
    Contest contest;
    contest.fault = scan_fault(kernel, size);
    contest.kernel = kernel_pass(kernel, size);
    contest.scalar = scalar_pass(kernel, size);
    const ScanCall place(kernel, size);
    contest.limit = [=, limit = scan_limit(kernel.width_bits)](unsigned window) {
      limit(place.codes(window), reinterpret_cast<uint8_t*>(place.bits(window)), place.rows());
    };
    if (has_peer) contest.peer = kernel_pass(peer, size);
    return contest;
  };
  const uint64_t rows = scan_rows(size, kernel.width_bits);
  return {kernel.name(), has_peer ? peer.name() : "",        size,
          rows,          rows * (kernel.width_bits + 1) / 8, prepare};
}

// In L2 every kernel; in L1 and in memory, where less depends on the operation, equality, an order
// and a range.
bool is_measured(const ScanKernel& kernel, const SizeClass& size) {
  if (size.bytes == in_l2.bytes) return true;
  return kernel.opc == COLX_OPC_EQ || kernel.opc == COLX_OPC_GE || kernel.opc == COLX_OPC_GE_LT;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SizeClass& size : size_classes)
    for (unsigned width_bits = 1; width_bits <= 64; ++width_bits)
      for (uint32_t opc = COLX_OPC_EQ; opc <= COLX_OPC_GE_LE; ++opc)
        for (const bool zero_is_null : {false, true}) {
          const ScanKernel kernel = {opc, COLX_ENC_DICT, width_bits, zero_is_null};
          if (colx_width_code(width_bits) == 31 || colx_dispatch_table[kernel.slot()] == nullptr)
            continue;
          if (is_measured(kernel, size)) cases.push_back(scan_case(kernel, size));
        }
  return {cases, targets};
}

}  // namespace colx::bench
