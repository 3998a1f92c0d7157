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

struct Expected {
  std::vector<uint32_t> rows;  // of lineorder, ascending
  std::optional<uint64_t> revenue{};
};

Expected plain_flight1(const Tables& tables, const Flight1Query& query);
// All rows, or those in `among` if it is not null.
Expected plain_scan(const Column& column, const NumberFilter& filter,
                    const std::vector<uint32_t>* among = nullptr);

// What is wrong with an answer: the first row that is missing or too much, its count, its revenue;
// nothing if it is right.
std::optional<std::string> difference(const Answer& answer, const Expected& expected);

}  // namespace colx::star
