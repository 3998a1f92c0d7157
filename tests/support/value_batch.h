// Batches for the predicates on stored values, fixed and dynp, with exactly the room that these
// kernels are granted:
//   fixed rows   4, 6, 4, 2 bytes behind the last one at 24, 40, 48, 56 bits, otherwise none
//   dynp rows    16 bytes from where the last group begins
//   codes        12 bytes behind the stream of a tz kernel, none behind other length streams
//   constants    the kernel's word, one byte for the tie code
// Argument arrays have no more entries than a kernel may read, and what it has no business with is
// unreadable: args[1] and args[2] without ties, args[3] where no width is read.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tests/oracle/value_rows_oracle.h"
#include "tests/support/code_patterns.h"
#include "tests/support/scan_stage.h"

namespace colx::test {

// A row's value as the oracle has it. In dynp the code is the stored length minus one; in fixed
// columns it is whatever the host makes of it.
struct ValueRow {
  uint64_t value;
  uint8_t code = 0;
};

using ValueRows = std::vector<ValueRow>;

// The row or constant with these bytes in front, say stored({0x12, 0x34}).
uint64_t stored(std::initializer_list<uint8_t> bytes);

// A dynp row of exactly these bytes.
ValueRow dynp_row(std::initializer_list<uint8_t> bytes);

inline constexpr unsigned fixed_widths[] = {8, 16, 24, 32, 40, 48, 56, 64};
inline constexpr unsigned dynp_words[] = {16, 32, 64};

constexpr unsigned word_of_width(unsigned width_bits) {
  return width_bits <= 16 ? width_bits : width_bits <= 32 ? 32 : 64;
}

uint32_t value_index(const oracle::ValueScan& scan);
oracle::ValueScan value_scan_at(uint32_t index);

// The linked library's kernel.
inline ScanKernel value_kernel(const oracle::ValueScan& scan) {
  return kernel_at(value_index(scan));
}

// A plain column of these rows, `width_bits` wide in fixed form.
ScanBatch value_batch(const oracle::ValueScan& scan, unsigned width_bits,
                      std::span<const ValueRow> rows, oracle::ValueConstant lo,
                      oracle::ValueConstant hi = {});

// Other constants for a batch. `args_width` is the number at args[3] or lo_args[3].
void set_value_constants(ScanBatch& batch, const oracle::ValueScan& scan, uint32_t args_width,
                         oracle::ValueConstant lo, oracle::ValueConstant hi = {});

// A width word as a host may leave it: one byte of it counts.
constexpr uint32_t noisy_width(unsigned width_bits) {
  return width_bits | 0xABCDEF00;
}

// Takes everything from the batch: rows, codes, constants, the width at args[3].
oracle::ValueInput value_input(const oracle::ValueScan& scan, const ScanBatch& batch);

std::string value_difference(const ScanKernel& kernel, const oracle::ValueScan& scan,
                             const ScanBatch& batch);

inline std::string value_difference(const oracle::ValueScan& scan, const ScanBatch& batch) {
  return value_difference(value_kernel(scan), scan, batch);
}

// For the examples: runs a batch on the linked kernel and gives what it left behind.
inline ScanRun run_value_scan(const oracle::ValueScan& scan, const ScanBatch& batch) {
  return scan_stage().run(value_kernel(scan), batch);
}

// Rows of a pattern, with random codes. Dynp rows get every length that can hold their value, and
// half of them are cut to a random length.
ValueRows pattern_rows(const oracle::ValueScan& scan, unsigned width_bits, Pattern pattern,
                       uint32_t rows, uint64_t centre, Random& random);

}  // namespace colx::test
