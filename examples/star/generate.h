// generate.h: the benchmark's tables, made up from a fixed seed.
#pragma once

#include "examples/star/tables.h"

namespace colx::star {

// All five tables at a scale factor from smallest_scale to largest_scale. The same scale gives the
// same tables on every machine. Shows its progress on a terminal.
//
// Keys count from 1; order keys leave out 24 of every 32 numbers; every third customer never
// orders. An order has 1 to 7 lines, all of one customer, date and priority. Everything else is
// drawn uniformly and independently. Prices are in cents:
//   price of a part  90000 + (partkey / 10) % 20001 + 100 * (partkey % 1000)
//   extendedprice    quantity * price        supplycost  6 / 10 of the price
//   revenue          extendedprice * (100 - discount) / 100
//   ordtotalprice    sum over the order's lines of revenue with tax
Tables generate_tables(double scale);

// The date table alone, the same at every scale.
Table generate_dates();

}  // namespace colx::star
