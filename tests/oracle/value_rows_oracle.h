// What the predicates on stored values must find: fixed rows of 1 to 8 bytes, dynp rows of one byte
// up to the kernel's word, plain and with the tie codes of the tz forms.
//
// A row is a byte string, compared left to right as unsigned bytes. Here it is held as a 64-bit
// number with its first byte on top and zeros behind its last one; constants likewise.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tests/oracle/dict_oracle.h"  // is_range
#include "tests/oracle/scan_oracle.h"

namespace colx::oracle {

struct ValueScan {
  uint32_t opc;        // COLX_OPC_EQ to COLX_OPC_GE_LE
  uint32_t enc;        // COLX_ENC_FIXED or COLX_ENC_DYNP
  unsigned word_bits;  // 8, 16, 32 or 64; the longest row of dynp, which has no 8
  bool tz;

  constexpr bool is_fixed() const { return enc == COLX_ENC_FIXED; }
  constexpr bool reads_codes() const { return !is_fixed() || compares_codes(); }  // colx_cv_aux
  constexpr bool compares_codes() const { return tz && word_bits != 8; }
  constexpr bool reads_width() const { return is_fixed() && word_bits >= 32; }
};

struct ValueConstant {
  uint64_t value = 0;  // the kernel's word in the topmost bytes, zeros below
  uint8_t tie = 0;     // counts where codes are compared
};

struct ValueInput {
  std::span<const uint8_t> rows;   // decompressed
  std::span<const uint8_t> codes;  // one per row, topmost bits first
  ValueConstant lo;                // one-sided operations have their constant here
  ValueConstant hi;
  uint32_t args_width = 0;  // colx_enc_ctx_width of the record at args[3] or lo_args[3]
};

// 1, 2 and 4 bits at words of 16, 32 and 64.
constexpr unsigned code_bits(unsigned word_bits) {
  return word_bits / 16;
}

// A step covers 128 bytes of rows, or four bytes of codes if it reads any.
constexpr unsigned rows_per_step(const ValueScan& scan) {
  return scan.reads_codes() ? 4 * 8 / code_bits(scan.word_bits) : 128 * 8 / scan.word_bits;
}

unsigned code_at(std::span<const uint8_t> codes, unsigned word_bits, uint32_t row);
std::vector<uint8_t> pack_row_codes(std::span<const uint8_t> codes, unsigned word_bits);

// Data bytes of the group that a length byte describes, 16 if a nibble of it is 8 or more.
unsigned group_bytes(uint8_t length_byte, unsigned word_bits);

// The `bytes` bytes at that offset, first one on top.
uint64_t value_at(std::span<const uint8_t> rows, uint64_t offset, unsigned bytes);

// A dynp kernel with ties returns status 2 for a tie code above the longest row's bytes.
bool refuses(const ValueScan& scan, const ValueConstant& lo, const ValueConstant& hi);

ScanOutcome value_outcome(const ValueScan& scan, const ValueInput& input, const colx_cv& res,
                          const colx_cv& src, const colx_kctx* kctx);

}  // namespace colx::oracle
