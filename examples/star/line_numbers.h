// line_numbers.h: lineorder's numbers as floating point and as points of a plane.
#pragma once

#include <array>
#include <cstdint>

#include "examples/star/tables.h"
#include "host/loader.h"
#include "host/result.h"

namespace colx::star {

// sum(lo_extendedprice * lo_discount) of all lines in double precision, by the library's arithmetic
// on canonical columns. Exact below 2^53.
host::Result<double> discounted_total(const host::Library& library, const Tables& tables);

// sum(lo_revenue) of all lines, by the library's conversion of dsb numbers.
host::Result<int64_t> revenue_total(const host::Library& library, const Tables& tables);

// Lines whose (lo_quantity, lo_discount) lies within a triangle, by the library's crossing count of
// each pair of values.
struct Point {
  double x, y;
};
using Triangle = std::array<Point, 3>;
host::Result<uint64_t> lines_within(const host::Library& library, const Tables& tables,
                                    const Triangle& triangle);

// Customers who ordered something, as a byte bit vector a block of lines, joined into one.
host::Result<uint32_t> customers_with_orders(const host::Library& library, const Tables& tables);

}  // namespace colx::star
