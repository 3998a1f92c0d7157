#include "bench/support/column_reference.h"

#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

uint64_t code_at(const uint8_t* codes, unsigned width_bits, uint64_t row) {
  uint64_t code = 0;
  for (uint64_t bit = row * width_bits; bit < (row + 1) * width_bits; ++bit)
    code = code << 1 | (codes[bit / 8] >> (7 - bit % 8) & 1);
  return code;
}

bool selected(uint64_t code, uint32_t opc, uint64_t lo, uint64_t hi) {
  switch (opc) {
    case COLX_OPC_EQ:
      return code == lo;
    case COLX_OPC_LT:
      return code < lo;
    case COLX_OPC_GT:
      return code > lo;
    case COLX_OPC_LE:
      return code <= lo;
    case COLX_OPC_GE:
      return code >= lo;
    case COLX_OPC_NE:
      return code != lo;
    case COLX_OPC_GT_LT:
      return lo < code && code < hi;
    case COLX_OPC_GT_LE:
      return lo < code && code <= hi;
    case COLX_OPC_GE_LT:
      return lo <= code && code < hi;
    default:
      return lo <= code && code <= hi;
  }
}

}  // namespace

ReferenceScan reference_scan(const uint8_t* codes, unsigned width_bits, uint32_t rows, uint32_t opc,
                             bool zero_is_null, uint64_t lo, uint64_t hi) {
  ReferenceScan scan = {std::vector<uint64_t>((uint64_t{rows} + 63) / 64), 0};
  for (uint32_t row = 0; row < rows; ++row) {
    const uint64_t code = code_at(codes, width_bits, row);
    if ((zero_is_null && code == 0) || !selected(code, opc, lo, hi)) continue;
    scan.bits[row / 64] |= uint64_t{1} << row % 64;
    ++scan.count;
  }
  return scan;
}

}  // namespace colx::bench
