// typed_scan.h: predicates on values, whichever way a column stores them.
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>

#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/result.h"
#include "host/typed_column.h"
#include "host/value_dictionary.h"

namespace colx::host {

// A constant of a column's kind: int64_t for integers, booleans (0 or 1), dates (days) and decimals
// (10^scale times the value), double for floating, a view for text.
using TypedConstant = std::variant<int64_t, double, std::string_view>;

// The scan that finds the rows whose value satisfies the comparison; NULL rows never do. Constants
// need not occur in the column or fit its rows. Floating values compare as IEEE 754 has it: -0.0 is
// 0.0, and a NaN on either side satisfies `ne` alone.
//
// `column` must outlive the scan and stay where it is. Errors name the column: a constant of
// another kind; a one-sided comparison with two constants, a range with one; those of PreparedScan.
Result<PreparedScan> prepare_typed_scan(const Library& library, const TypedColumn& column,
                                        Compare compare, TypedConstant constant);
Result<PreparedScan> prepare_typed_scan(const Library& library, const TypedColumn& column,
                                        Compare compare, TypedConstant low, TypedConstant high);

}  // namespace colx::host
