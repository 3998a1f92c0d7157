// dimension_rows.h: a dimension's keys, as joins build tables of them.
#pragma once

#include <cstdint>
#include <vector>

#include "examples/star/star_query.h"
#include "examples/star/star_store.h"
#include "host/result.h"

namespace colx::star {

// The codes of a condition's column whose values satisfy it, a bit a code.
host::RowBits codes_that_hold(const EncodedColumn& column, const Condition& condition);

// The rows of a dimension that satisfy all conditions on it, ascending; conditions on other tables
// do not count. Scans the dimension's stored columns.
host::Result<std::vector<uint32_t>> rows_that_hold(const StarStore& store, TableId table,
                                                   const std::vector<Condition>& conditions);

// A dictionary column's codes, all rows.
host::Result<std::vector<uint32_t>> all_codes(const StarStore& store, const EncodedColumn& column);

}  // namespace colx::star
