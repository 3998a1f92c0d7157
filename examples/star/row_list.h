// row_list.h: from a word bit vector to row numbers, through the library's iterators.
#pragma once

#include <cstdint>
#include <vector>

#include "host/loader.h"
#include "host/row_bits.h"

namespace colx::star {

// Appends `first_row` + r for each set bit r, in ascending order.
void append_rows(const host::Library& library, const host::RowBits& bits, uint32_t first_row,
                 std::vector<uint32_t>& rows);

}  // namespace colx::star
