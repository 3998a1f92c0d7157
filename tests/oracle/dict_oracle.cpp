#include "tests/oracle/dict_oracle.h"

#include <cstdlib>

#include "tests/oracle/packed_codes_oracle.h"

namespace colx::oracle {
namespace {

OneBitResult plain_one_bit(uint32_t opc, uint64_t lo, uint64_t hi) {
  using enum OneBitResult;
  switch (opc) {
    case COLX_OPC_EQ:
      return lo != 0 ? bits : inverted;
    case COLX_OPC_NE:
      return lo == 1 ? inverted : bits;
    case COLX_OPC_LT:
      return lo != 0 ? inverted : none;
    case COLX_OPC_LE:
      return lo != 0 ? all : inverted;
    case COLX_OPC_GT:
      return lo != 0 ? none : bits;
    case COLX_OPC_GE:
      return lo != 0 ? bits : all;
    case COLX_OPC_GT_LT:
      return none;
    case COLX_OPC_GT_LE:
      return lo == 0 && hi == 1 ? bits : none;
    case COLX_OPC_GE_LT:
      return lo == 0 && hi == 1 ? inverted : none;
    case COLX_OPC_GE_LE:
      if (lo == 0 && hi == 0) return inverted;
      if (lo == 0 && hi == 1) return all;
      if (lo == 1 && hi == 1) return bits;
      return none;
    default:
      std::abort();
  }
}

// Code 0 is NULL: only code 1 can be a hit.
OneBitResult null_one_bit(uint32_t opc, uint64_t lo, uint64_t hi) {
  using enum OneBitResult;
  switch (opc) {
    case COLX_OPC_EQ:
      return lo != 0 ? bits : none;
    case COLX_OPC_NE:
      return lo != 0 ? none : bits;
    case COLX_OPC_LT:
      return none;
    case COLX_OPC_LE:
      return lo != 0 ? bits : none;
    case COLX_OPC_GT:
      return lo != 0 ? none : bits;
    case COLX_OPC_GE:
      return bits;
    case COLX_OPC_GT_LT:
      return none;
    case COLX_OPC_GT_LE:
      return lo == 0 && hi == 1 ? bits : none;
    case COLX_OPC_GE_LT:
      return none;
    case COLX_OPC_GE_LE:
      return lo <= 1 && hi == 1 ? bits : none;
    default:
      std::abort();
  }
}

}  // namespace

bool selects(uint32_t opc, uint64_t code, uint64_t lo, uint64_t hi) {
  switch (opc) {
    case COLX_OPC_EQ:
      return code == lo;
    case COLX_OPC_NE:
      return code != lo;
    case COLX_OPC_LT:
      return code < lo;
    case COLX_OPC_LE:
      return code <= lo;
    case COLX_OPC_GT:
      return code > lo;
    case COLX_OPC_GE:
      return code >= lo;
    case COLX_OPC_GT_LT:
      return lo < code && code < hi;
    case COLX_OPC_GT_LE:
      return lo < code && code <= hi;
    case COLX_OPC_GE_LT:
      return lo <= code && code < hi;
    case COLX_OPC_GE_LE:
      return lo <= code && code <= hi;
    default:
      std::abort();
  }
}

OneBitResult one_bit_result(uint32_t opc, bool null_form, uint64_t lo, uint64_t hi) {
  return null_form ? null_one_bit(opc, lo, hi) : plain_one_bit(opc, lo, hi);
}

bool one_bit_reads_constants(uint32_t opc, bool null_form) {
  if (opc == COLX_OPC_GT_LT) return false;
  return !(null_form && (opc == COLX_OPC_LT || opc == COLX_OPC_GE || opc == COLX_OPC_GE_LT));
}

ScanFamily dict_family(const DictScan& scan) {
  ScanFamily family;
  if (scan.width_bits == 1) {
    family.has_twin = false;
    family.reads_nulls = !scan.null_form;
  }
  return family;
}

ScanOutcome dict_outcome(const DictScan& scan, std::span<const uint8_t> stream, uint64_t lo,
                         uint64_t hi, const colx_cv& res, const colx_cv& src,
                         const colx_kctx* kctx) {
  ScanRows rows;
  if (scan.width_bits == 1) {
    const OneBitResult result = one_bit_result(scan.opc, scan.null_form, lo, hi);
    rows.ones_above = result == OneBitResult::inverted;
    rows.hit = [result, stream](uint32_t row) {
      if (result == OneBitResult::none || result == OneBitResult::all) {
        return result == OneBitResult::all;
      }
      return stream_bit(stream, row) == (result == OneBitResult::bits);
    };
  } else {
    rows.hit = [&scan, stream, lo, hi](uint32_t row) {
      const uint64_t code = packed_code(stream, scan.width_bits, row);
      return (code != 0 || !scan.null_form) && selects(scan.opc, code, lo, hi);
    };
  }
  return scan_outcome(res, src, kctx, dict_family(scan), rows);
}

}  // namespace colx::oracle
