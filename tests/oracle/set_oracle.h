// What the set kernels must find: the rows whose code has its bit set in a table over code values.
#pragma once

#include <cstdint>
#include <span>

#include "tests/oracle/scan_oracle.h"

namespace colx::oracle {

// Set kernels ignore nulls and have a flag of their own.
ScanFamily set_family();

// `stream` holds the rows' codes, decompressed; `table` is colx_cv_bits of the third argument.
ScanOutcome set_outcome(unsigned width_bits, std::span<const uint8_t> stream, const uint64_t* table,
                        const colx_cv& res, const colx_cv& src, const colx_kctx* kctx);

}  // namespace colx::oracle
