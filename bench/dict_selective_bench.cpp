// Selective twins of the dictionary predicates against the full scan that ANDs the selection, by
// how many rows are selected. Below the crossing point a caller should ask for the twin.

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/bench_results.h"
#include "bench/support/scalar_selected.h"
#include "bench/support/scan_call.h"
#include "bench/support/stream_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr Target targets[] = {
    {"selective twin below 1 in 64, cost of the full scan",
     "colx_eq_dict_\\d+bit 1 in (128|256|512|1024)", &in_l2, Figure::of_peer, 1.0},
};

constexpr unsigned halvings[] = {2, 3, 4, 5, 6, 7, 8, 9, 10};  // 1 in 4 to 1 in 1024

std::string case_name(const ScanKernel& kernel, unsigned halving) {
  return kernel.name() + " 1 in " + std::to_string(1u << halving);
}

uint64_t next_random(uint64_t& state) {
  uint64_t random = state += 0x9E3779B97F4A7C15;
  random = (random ^ (random >> 30)) * 0xBF58476D1CE4E5B9;
  random = (random ^ (random >> 27)) * 0x94D049BB133111EB;
  return random ^ (random >> 31);
}

// Each bit is set with a chance of 1 in 2^halving.
std::vector<uint64_t> random_selection(uint32_t rows, unsigned halving) {
  std::vector<uint64_t> selection((rows + 63) / 64);
  uint64_t state = halving;
  for (uint64_t& word : selection) {
    word = ~uint64_t{0};
    for (unsigned i = 0; i < halving; ++i) word &= next_random(state);
  }
  return selection;
}

// A scan with a selection that is walked (the twin) or ANDed at the end (the full scan).
struct SelectedScan {
  std::vector<uint64_t> selection;
  ScanCall twin;
  ScanCall full;
  uint64_t state = 0;
};

// A column meets a selection once, while pass after pass over the same one teaches the processor
// how many rows each of thousands of words has. So half of the bits change places with those of the
// next word.
void draw_anew(SelectedScan& scan) {
  std::vector<uint64_t>& words = scan.selection;
  for (size_t i = 0; i + 1 < words.size(); i += 2) {
    const uint64_t moved = (words[i] ^ words[i + 1]) & next_random(scan.state);
    words[i] ^= moved;
    words[i + 1] ^= moved;
  }
}

std::string fault_of(SelectedScan& scan, ScalarSelected scalar, uint64_t constant) {
  uint64_t* const bits = scan.twin.bits(0);
  const uint32_t rows = scan.twin.rows();
  const uint32_t count = scalar(scan.twin.codes(0), scan.selection.data(), bits, rows, constant);
  const std::vector<uint64_t> expected(bits, bits + rows / 64);
  for (ScanCall* const call : {&scan.twin, &scan.full}) {
    std::memset(bits, 0x5A, rows / 8);
    call->run(0);
    if (call->count() != count || std::memcmp(bits, expected.data(), rows / 8) != 0)
      return call == &scan.twin ? "the twin differs from the scalar loop"
                                : "the full scan differs from the scalar loop";
  }
  return "";
}

Case selective_case(const ScanKernel& kernel, const SizeClass& size, unsigned halving) {
  const uint64_t rows = scan_rows(size, kernel.width_bits);
  const auto prepare = [=] {
    const auto scan = std::make_shared<SelectedScan>(
        SelectedScan{random_selection(static_cast<uint32_t>(rows), halving), ScanCall(kernel, size),
                     ScanCall(kernel, size)});
    scan->twin.select(scan->selection.data(), true);
    scan->full.select(scan->selection.data(), false);
    const uint64_t constant = scan_constants(kernel).lo;
    const ScalarSelected scalar = scalar_selected(kernel.width_bits);
    Contest contest;
    contest.fault = fault_of(*scan, scalar, constant);
    contest.before_kernel = contest.before_scalar =
        contest.before_peer = [scan](unsigned) { draw_anew(*scan); };
    contest.kernel = [scan](unsigned window) { scan->twin.run(window); };
    contest.peer = [scan](unsigned window) { scan->full.run(window); };
    contest.scalar = [=](unsigned window) {
      const uint32_t count = scalar(scan->twin.codes(window), scan->selection.data(),
                                    scan->twin.bits(window), scan->twin.rows(), constant);
      asm volatile("" : : "r"(count));
    };
    // What does not depend on the codes: the selection is read, a bit a row written.
    contest.limit = [=, limit = scan_limit(1)](unsigned window) {
      limit(reinterpret_cast<const uint8_t*>(scan->selection.data()),
            reinterpret_cast<uint8_t*>(scan->twin.bits(window)), rows);
    };
    return contest;
  };
  const uint64_t selected = rows >> halving;
  const uint64_t bytes = rows / 4 + selected * ((kernel.width_bits + 7) / 8);
  return {case_name(kernel, halving), "full scan", size, rows, bytes, prepare};
}

std::vector<ScanKernel> kernels() {
  std::vector<ScanKernel> all;
  for (unsigned width_bits = 2; width_bits <= 64; ++width_bits) {
    const ScanKernel kernel = {COLX_OPC_EQ, COLX_ENC_DICT, width_bits, false};
    if (colx_width_code(width_bits) != 31 && colx_dispatch_table[kernel.slot()] != nullptr)
      all.push_back(kernel);
  }
  return all;
}

const Result* find(const std::vector<Result>& results, const std::string& kernel) {
  for (const Result& result : results)
    if (result.kernel == kernel) return &result;
  return nullptr;
}

// Where the cost as a multiple of the full scan's passes 1, between two measured selections on
// logarithmic scales.
void print_crossing(const ScanKernel& kernel, const std::vector<Result>& results) {
  double halving_before = 0;
  double cost_before = 0;
  for (const unsigned halving : halvings) {
    const Result* const result = find(results, case_name(kernel, halving));
    if (result == nullptr) continue;
    const double cost = std::log2(result->of_peer->median);
    if (cost <= 0) {
      const double part = halving_before == 0 ? 1 : cost_before / (cost_before - cost);
      std::printf("%4u bits: 1 in %.0f\n", kernel.width_bits,
                  std::exp2(halving_before + (halving - halving_before) * part));
      return;
    }
    halving_before = halving;
    cost_before = cost;
  }
  if (halving_before != 0)
    std::printf("%4u bits: rarer than 1 in %.0f\n", kernel.width_bits, std::exp2(halving_before));
}

void print_crossings(const std::vector<Result>& results) {
  std::printf("\nselected rows at which the twin becomes cheaper than the full scan\n");
  for (const ScanKernel& kernel : kernels()) print_crossing(kernel, results);
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const ScanKernel& kernel : kernels())
    for (const unsigned halving : halvings) cases.push_back(selective_case(kernel, in_l2, halving));
  return {cases, targets, print_crossings};
}

}  // namespace colx::bench
