// Predicates on fixed rows: every width and operation, plain and with tie codes, against the scalar
// line and the limit.
//
// The tz forms are compared in cost with the plain form of the same operation and width.

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/column_reference.h"
#include "bench/support/scalar_scan.h"
#include "bench/support/stream_limit.h"
#include "bench/support/value_call.h"

namespace colx::bench {
namespace {

#define COLX_ORDER "colx_(lt|gt|le|ge|gt_lt|gt_le|ge_lt|ge_le)_fixed_"
#define COLX_EQ    "colx_eq_fixed_"

constexpr Target targets[] = {
    {"eq at 8 bits, times scalar", COLX_EQ "8bit", &in_l2, Figure::times_scalar, 15},
    {"eq at 16 bits, times scalar", COLX_EQ "16bit", &in_l2, Figure::times_scalar, 14},
    {"eq at 32 bits, times scalar", COLX_EQ "32bit", &in_l2, Figure::times_scalar, 11},
    {"eq at 64 bits, times scalar", COLX_EQ "64bit", &in_l2, Figure::times_scalar, 6},
    {"eq at 24 bits, times scalar", COLX_EQ "32bit 24", &in_l2, Figure::times_scalar, 8},
    {"eq at 40, 48 and 56 bits, times scalar", COLX_EQ "64bit (40|48|56)", &in_l2,
     Figure::times_scalar, 4.5},
    {"order and range at 8 bits, times scalar", COLX_ORDER "8bit", &in_l2, Figure::times_scalar,
     12},
    {"order and range at 16 bits, times scalar", COLX_ORDER "16bit", &in_l2, Figure::times_scalar,
     11},
    {"order and range at 32 bits, times scalar", COLX_ORDER "32bit", &in_l2, Figure::times_scalar,
     6},
    {"order and range at 64 bits, times scalar", COLX_ORDER "64bit", &in_l2, Figure::times_scalar,
     3.5},
    {"order and range at 24 bits, times scalar", COLX_ORDER "32bit 24", &in_l2,
     Figure::times_scalar, 5},
    {"order and range at 40, 48 and 56 bits, times scalar", COLX_ORDER "64bit (40|48|56)", &in_l2,
     Figure::times_scalar, 3},
    {"_tz at all widths, cost of the plain form", "colx_.*_fixed_\\d+bit_tz.*", &in_l2,
     Figure::of_peer, 1.8},
    {"eq, ge and ge_lt out of cache", "colx_.*_fixed_\\d+bit( \\d+)?", &in_memory,
     Figure::out_of_cache, 0.8},
};

#undef COLX_ORDER
#undef COLX_EQ

// Rows as numbers, for the scalar line and the reference.
struct NumberScan {
  ScalarScan scan;
  ScalarPlan plan;
  uint64_t lo;
  uint64_t hi;
};

NumberScan number_scan(const ValueKernel& kernel) {
  const ValueConstants constants = value_constants(kernel);
  const uint64_t lo = constants.lo.value >> (64 - kernel.width_bits);
  const uint64_t hi = constants.hi.value >> (64 - kernel.width_bits);
  const ScalarPlan plan = scalar_plan(kernel.opc, false, lo, hi);
  return {scalar_scan(kernel.width_bits, plan.test), plan, lo, hi};
}

// The scalar line against the reference on some rows, then the kernel against the scalar line.
std::string plain_fault(const ValueKernel& kernel, const SizeClass& size) {
  ValueCall call(kernel, size);
  const NumberScan numbers = number_scan(kernel);
  const uint32_t some_rows = std::min(call.rows(), 4096u + 37u);
  uint64_t* const bits = call.bits(0);
  const ReferenceScan reference = reference_scan(call.row_data(0), kernel.width_bits, some_rows,
                                                 kernel.opc, false, numbers.lo, numbers.hi);
  const uint32_t some_count =
      numbers.scan(call.row_data(0), bits, some_rows, numbers.plan.a, numbers.plan.b);
  if (some_count != reference.count ||
      std::memcmp(bits, reference.bits.data(), 8 * reference.bits.size()) != 0)
    return "the scalar loop differs from the reference";

  const uint32_t rows = call.rows();
  const uint32_t count = numbers.scan(call.row_data(0), bits, rows, numbers.plan.a, numbers.plan.b);
  const std::vector<uint64_t> expected(bits, bits + rows / 64);
  std::memset(bits, 0x5A, rows / 8);
  call.run(0);
  if (call.count() != count || std::memcmp(bits, expected.data(), rows / 8) != 0)
    return "the kernel differs from the scalar loop";
  return "";
}

// Of random rows hardly one ties with the constant, so ties change a result but little: the plain
// form's bits are right unless the row equals a bound.
std::string tz_fault(const ValueKernel& kernel, const SizeClass& size) {
  ValueCall tz_call(kernel, size);
  const NumberScan numbers = number_scan(kernel);
  uint64_t* const bits = tz_call.bits(0);
  const uint32_t rows = tz_call.rows();
  numbers.scan(tz_call.row_data(0), bits, rows, numbers.plan.a, numbers.plan.b);
  const std::vector<uint64_t> without_ties(bits, bits + rows / 64);
  const NumberScan lo = {scalar_scan(kernel.width_bits, ScalarTest::equal), {}, numbers.lo, 0};
  lo.scan(tz_call.row_data(0), bits, rows, numbers.lo, 0);
  std::vector<uint64_t> ties(bits, bits + rows / 64);
  lo.scan(tz_call.row_data(0), bits, rows, numbers.hi, 0);
  for (uint32_t word = 0; word < rows / 64; ++word) ties[word] |= bits[word];
  std::memset(bits, 0x5A, rows / 8);
  tz_call.run(0);
  for (uint32_t word = 0; word < rows / 64; ++word)
    if (((bits[word] ^ without_ties[word]) & ~ties[word]) != 0)
      return "the kernel differs from the scalar loop where no row ties";
  return "";
}

Pass kernel_pass(const ValueKernel& kernel, const SizeClass& size) {
  const auto call = std::make_shared<ValueCall>(kernel, size);
  return [call](unsigned window) { call->run(window); };
}

Pass scalar_pass(const ValueKernel& kernel, const SizeClass& size) {
  const auto place = std::make_shared<ValueCall>(kernel, size);
  return [place, numbers = number_scan(kernel)](unsigned window) {
    const uint32_t count = numbers.scan(place->row_data(window), place->bits(window), place->rows(),
                                        numbers.plan.a, numbers.plan.b);
    asm volatile("" : : "r"(count));
  };
}

Case scan_case(const ValueKernel& kernel, const SizeClass& size) {
  ValueKernel plain = kernel;
  plain.tz = false;
  const auto prepare = [=] {
    Contest contest;
    contest.fault =
        kernel.tz && kernel.width_bits != 8 ? tz_fault(kernel, size) : plain_fault(kernel, size);
    contest.kernel = kernel_pass(kernel, size);
    contest.scalar = scalar_pass(kernel, size);
    const auto place = std::make_shared<ValueCall>(kernel, size);
    contest.limit = [=, limit = scan_limit(kernel.width_bits)](unsigned window) {
      limit(place->row_data(window), reinterpret_cast<uint8_t*>(place->bits(window)),
            place->rows());
    };
    if (kernel.tz) contest.peer = kernel_pass(plain, size);
    return contest;
  };
  const uint32_t rows = value_rows(kernel, size);
  const uint64_t bits = kernel.width_bits + 1 + (kernel.reads_codes() ? kernel.code_bits() : 0);
  return {kernel.name(), kernel.tz ? plain.name() : "", size, rows, rows * bits / 8, prepare};
}

bool is_measured(const ValueKernel& kernel, const SizeClass& size) {
  if (!kernel.exists()) return false;
  if (size.bytes == in_l2.bytes) return true;
  if (kernel.tz) return false;
  return kernel.opc == COLX_OPC_EQ || kernel.opc == COLX_OPC_GE || kernel.opc == COLX_OPC_GE_LT;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SizeClass& size : size_classes)
    for (unsigned width_bits = 8; width_bits <= 64; width_bits += 8)
      for (uint32_t opc = COLX_OPC_EQ; opc <= COLX_OPC_GE_LE; ++opc)
        for (const bool tz : {false, true}) {
          const ValueKernel kernel = {opc, COLX_ENC_FIXED, width_bits, tz};
          if (is_measured(kernel, size)) cases.push_back(scan_case(kernel, size));
        }
  return {cases, targets};
}

}  // namespace colx::bench
