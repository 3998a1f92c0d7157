// The scalar scans of all widths and tests, and the way from a predicate to one of them.

#include <algorithm>
#include <array>
#include <cstring>

#include "bench/support/scalar_scan.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

uint32_t no_row(const uint8_t*, uint64_t* out, uint32_t rows, uint64_t, uint64_t) {
  std::memset(out, 0, (size_t{rows} + 63) / 64 * 8);
  return 0;
}

constexpr std::array<unsigned, 26> widths = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13,
                                             14, 15, 16, 17, 18, 19, 20, 24, 32, 40, 48, 56, 64};
constexpr size_t tests = static_cast<size_t>(ScalarTest::unequal_nonzero) + 1;
using ByTest = std::array<ScalarScan, tests>;

template <unsigned width_bits>
constexpr ByTest scans_of_width() {
  using enum ScalarTest;
  return {no_row,
          scalar::scan<width_bits, equal>,
          scalar::scan<width_bits, unequal>,
          scalar::scan<width_bits, below>,
          scalar::scan<width_bits, above>,
          scalar::scan<width_bits, at_most>,
          scalar::scan<width_bits, at_least>,
          scalar::scan<width_bits, within>,
          scalar::scan<width_bits, unequal_nonzero>};
}

template <size_t... place>
constexpr std::array<ByTest, sizeof...(place)> scans_of(std::index_sequence<place...>) {
  return {scans_of_width<widths[place]>()...};
}
constexpr auto scans = scans_of(std::make_index_sequence<widths.size()>{});

// first <= code <= last, which may be no code at all.
ScalarPlan range(uint64_t first, uint64_t last) {
  if (first > last) return {ScalarTest::none, 0, 0};
  return {ScalarTest::within, first, last - first};
}

}  // namespace

ScalarScan scalar_scan(unsigned width_bits, ScalarTest test) {
  const auto* const place = std::find(widths.begin(), widths.end(), width_bits);
  if (place == widths.end()) return nullptr;
  return scans[static_cast<size_t>(place - widths.begin())][static_cast<size_t>(test)];
}

ScalarPlan scalar_plan(uint32_t opc, bool zero_is_null, uint64_t lo, uint64_t hi) {
  const ScalarPlan none = {ScalarTest::none, 0, 0};
  const uint64_t lowest = zero_is_null ? 1 : 0;
  switch (opc) {
    case COLX_OPC_EQ:
      return lo < lowest ? none : ScalarPlan{ScalarTest::equal, lo, 0};
    case COLX_OPC_NE:
      return {zero_is_null ? ScalarTest::unequal_nonzero : ScalarTest::unequal, lo, 0};
    case COLX_OPC_LT:
      if (!zero_is_null) return {ScalarTest::below, lo, 0};
      return lo == 0 ? none : range(1, lo - 1);
    case COLX_OPC_LE:
      return zero_is_null ? range(1, lo) : ScalarPlan{ScalarTest::at_most, lo, 0};
    case COLX_OPC_GT:
      return {ScalarTest::above, lo, 0};
    case COLX_OPC_GE:
      return {ScalarTest::at_least, std::max(lo, lowest), 0};
    default:
      break;
  }
  const bool past_lo = opc == COLX_OPC_GT_LT || opc == COLX_OPC_GT_LE;
  const bool before_hi = opc == COLX_OPC_GT_LT || opc == COLX_OPC_GE_LT;
  if ((past_lo || before_hi) && lo >= hi) return none;
  return range(std::max(lo + past_lo, lowest), hi - before_hi);
}

}  // namespace colx::bench
