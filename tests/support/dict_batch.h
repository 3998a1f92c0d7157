// Batches for the predicates on dictionary codes, with exactly the room that these kernels are
// granted: behind the rows nothing at 8, 16, 32 and 64 bits, 8 bytes at the other widths and 16 at
// one bit; a constant has the code's width at 8, 16, 32 and 64 bits and four bytes otherwise.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tests/oracle/dict_oracle.h"
#include "tests/support/scan_stage.h"

namespace colx::test {

inline constexpr uint32_t predicate_opcs[] = {
    COLX_OPC_EQ, COLX_OPC_LT,    COLX_OPC_GT,    COLX_OPC_LE,    COLX_OPC_GE,
    COLX_OPC_NE, COLX_OPC_GT_LT, COLX_OPC_GT_LE, COLX_OPC_GE_LT, COLX_OPC_GE_LE};

inline constexpr unsigned aligned_widths[] = {8, 16, 32, 64};
inline constexpr unsigned packed_widths[] = {2,  3,  4,  5,  6,  7,  9,  10, 11,
                                             12, 13, 14, 15, 17, 18, 19, 20, 24};

constexpr bool is_aligned_width(unsigned width_bits) {
  return width_bits == 8 || width_bits == 16 || width_bits == 32 || width_bits == 64;
}

// Rows that one step of these kernels covers.
unsigned dict_rows_per_step(unsigned width_bits);

uint32_t dict_index(const oracle::DictScan& scan);
oracle::DictScan dict_scan_at(uint32_t index);

// The linked library's kernel.
inline ScanKernel dict_kernel(const oracle::DictScan& scan) {
  return kernel_at(dict_index(scan));
}

// A plain column of these codes; `hi` counts for range operations only.
ScanBatch dict_batch(const oracle::DictScan& scan, std::span<const uint64_t> codes, uint64_t lo,
                     uint64_t hi = 0);

// Other constants for a batch.
void set_dict_constants(ScanBatch& batch, const oracle::DictScan& scan, uint64_t lo, uint64_t hi);

std::string dict_difference(const ScanKernel& kernel, const oracle::DictScan& scan,
                            const ScanBatch& batch);

inline std::string dict_difference(const oracle::DictScan& scan, const ScanBatch& batch) {
  return dict_difference(dict_kernel(scan), scan, batch);
}

// For the examples: runs a batch on the linked kernel and gives what it left behind.
inline ScanRun run_dict(const oracle::DictScan& scan, const ScanBatch& batch) {
  return scan_stage().run(dict_kernel(scan), batch);
}

}  // namespace colx::test
