// What the predicates on dictionary codes must find: ten operations on unsigned codes of 1 to 20,
// 24, 32 and 64 bits, plain and with code 0 as NULL, and the decision table of one-bit codes.
#pragma once

#include <cstdint>
#include <span>

#include "tests/oracle/scan_oracle.h"

namespace colx::oracle {

struct DictScan {
  uint32_t opc;  // COLX_OPC_EQ to COLX_OPC_GE_LE
  unsigned width_bits;
  bool null_form;  // code 0 is NULL and never a hit
};

constexpr bool is_range(uint32_t opc) {
  return opc >= COLX_OPC_GT_LT;
}

// Whether the operation selects `code`; one-sided operations take their constant from `lo`.
bool selects(uint32_t opc, uint64_t code, uint64_t lo, uint64_t hi);

// What a one-bit kernel makes of its constants: no rows, all rows, the code stream or its
// complement. It looks at single values of the constants, also beyond 1.
enum class OneBitResult { none, all, bits, inverted };
OneBitResult one_bit_result(uint32_t opc, bool null_form, uint64_t lo, uint64_t hi);

// False for the kernels that give one result whatever the constants are.
bool one_bit_reads_constants(uint32_t opc, bool null_form);

ScanFamily dict_family(const DictScan& scan);

// `stream` holds the rows' codes, decompressed.
ScanOutcome dict_outcome(const DictScan& scan, std::span<const uint8_t> stream, uint64_t lo,
                         uint64_t hi, const colx_cv& res, const colx_cv& src,
                         const colx_kctx* kctx);

}  // namespace colx::oracle
