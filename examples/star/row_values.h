// row_values.h: numbers and dates of single rows, out of the stored columns.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "examples/star/engine.h"
#include "host/result.h"

namespace colx::star {

// The column's values at `rows`, which ascend: codes through the library's decoders, stored rows
// read one after the other. The column holds numbers or dates and no NULL. An error is a kernel
// that the library lacks, or one that breaks its contract.
host::Result<std::vector<uint32_t>> values_at(const Engine& engine, const EncodedColumn& column,
                                              std::span<const uint32_t> rows);

}  // namespace colx::star
