// check.h: the same queries evaluated on the plain tables, one row after the other, without the
// library and without anything encoded; and the comparison with its answers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "examples/star/flight1.h"
#include "examples/star/tables.h"

namespace colx::star {

// Rows of lineorder that match, ascending.
std::vector<uint32_t> plain_flight1(const Tables& tables, const Flight1Query& query);
std::vector<uint32_t> plain_scan(const Column& column, const NumberFilter& filter);

// What is wrong with an answer: its count, or the first row that is missing or too much; nothing if
// it is right.
std::optional<std::string> difference(uint64_t count, const std::vector<uint32_t>& rows,
                                      const std::vector<uint32_t>& expected);

}  // namespace colx::star
