// Predicates on dynamically packed rows, plain and with ties, against a row-by-row walk of the same
// stream. Rows have random lengths, each as likely as the others.
//
// The tz forms are compared in cost with the plain form of the same operation and size.

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/value_call.h"

namespace colx::bench {
namespace {

constexpr Target targets[] = {
    {"plain at all sizes, times a row-by-row walk", "colx_.*_dynp_\\d+bit", &in_l2,
     Figure::times_scalar, 20},
    {"_tz at all sizes, cost of the plain form", "colx_.*_dynp_\\d+bit_tz", &in_l2, Figure::of_peer,
     1.8},
};

// The walk has closed ranges only, which cost it what the others do.
constexpr WalkTest test_of[] = {WalkTest::equal,   WalkTest::below,    WalkTest::above,
                                WalkTest::at_most, WalkTest::at_least, WalkTest::unequal,
                                WalkTest::within};

ScalarWalk walk_of(const ValueKernel& kernel) {
  const size_t test = kernel.is_range() ? size_t{COLX_OPC_GT_LT} : kernel.opc;
  return scalar_walk(kernel.width_bits, test_of[test], kernel.tz);
}

// Moves an open bound one pair of value and tie code inward, so that a closed range is as good.
WalkConstant after(const WalkConstant& bound) {
  return {bound.value, static_cast<uint8_t>(bound.tie + 1)};
}

uint32_t walk(const ValueKernel& kernel, const ValueCall& place, unsigned window) {
  ValueConstants constants = value_constants(kernel);
  const uint64_t one = uint64_t{1} << (64 - kernel.width_bits);
  if (kernel.opc == COLX_OPC_GT_LT || kernel.opc == COLX_OPC_GT_LE) {
    if (kernel.tz)
      constants.lo = after(constants.lo);
    else
      constants.lo.value += one;
  }
  if (kernel.opc == COLX_OPC_GT_LT || kernel.opc == COLX_OPC_GE_LT) {
    // The upper tie code is 0: no pair lies between it and the largest code of the value below.
    constants.hi = {constants.hi.value - one, 255};
  }
  return walk_of(kernel)(place.row_data(window), place.codes(window), place.bits(window),
                         place.rows(), constants.lo, constants.hi);
}

std::string fault_of(const ValueKernel& kernel, const SizeClass& size) {
  ValueCall call(kernel, size);
  uint64_t* const bits = call.bits(0);
  const uint32_t rows = call.rows();
  const uint32_t count = walk(kernel, call, 0);
  const std::vector<uint64_t> expected(bits, bits + rows / 64);
  std::memset(bits, 0x5A, rows / 8);
  call.run(0);
  if (call.count() != count || std::memcmp(bits, expected.data(), rows / 8) != 0)
    return "the kernel differs from the walk";
  return "";
}

Pass kernel_pass(const ValueKernel& kernel, const SizeClass& size) {
  const auto call = std::make_shared<ValueCall>(kernel, size);
  return [call](unsigned window) { call->run(window); };
}

Case scan_case(const ValueKernel& kernel, const SizeClass& size) {
  ValueKernel plain = kernel;
  plain.tz = false;
  const auto prepare = [=] {
    Contest contest;
    contest.fault = fault_of(kernel, size);
    contest.kernel = kernel_pass(kernel, size);
    const auto place = std::make_shared<ValueCall>(kernel, size);
    contest.scalar = [=](unsigned window) {
      const uint32_t count = walk(kernel, *place, window);
      asm volatile("" : : "r"(count));
    };
    if (kernel.tz) contest.peer = kernel_pass(plain, size);
    return contest;
  };
  const ValueCall place(kernel, size);
  return {kernel.name(), kernel.tz ? plain.name() : "", size, place.rows(), place.bytes(), prepare};
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SizeClass& size : {in_l1, in_l2})
    for (const unsigned word_bits : {16u, 32u, 64u})
      for (uint32_t opc = COLX_OPC_EQ; opc <= COLX_OPC_GE_LE; ++opc)
        for (const bool tz : {false, true}) {
          const ValueKernel kernel = {opc, COLX_ENC_DYNP, word_bits, tz};
          if (kernel.exists()) cases.push_back(scan_case(kernel, size));
        }
  return {cases, targets};
}

}  // namespace colx::bench
