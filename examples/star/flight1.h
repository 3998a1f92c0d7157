// flight1.h: the scans of the benchmark's query flight 1, over the compressed lineorder.
//
// The flight's three queries join lineorder with date, restrict the day, the discount and the
// quantity, and add up extendedprice * discount. The codes of lo_orderdate are in the order of the
// days, so the days that the join keeps are a few ranges of codes, as a rule one, and the join
// becomes a scan.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "examples/star/engine.h"
#include "examples/star/number_filter.h"

namespace colx::star {

// The columns of a day that the flight restricts; 0 stands for any.
struct DayFilter {
  uint32_t year = 0;
  uint32_t year_month = 0;  // yyyymm
  uint32_t week_in_year = 0;

  bool holds(const Table& date, size_t row) const;
};

struct Flight1Query {
  std::string_view name;
  std::string_view days;  // the restriction of the day, as SQL
  DayFilter day;
  NumberFilter discount;
  NumberFilter quantity;

  std::string where() const;  // all three, as SQL
};

inline constexpr std::array flight1_queries = {Flight1Query{"Q1.1",
                                                            "d_year = 1993",
                                                            {.year = 1993},
                                                            {host::Compare::ge_le, 1, 3},
                                                            {host::Compare::lt, 25}},
                                               Flight1Query{"Q1.2",
                                                            "d_yearmonthnum = 199401",
                                                            {.year_month = 199401},
                                                            {host::Compare::ge_le, 4, 6},
                                                            {host::Compare::ge_le, 26, 35}},
                                               Flight1Query{"Q1.3",
                                                            "d_weeknuminyear = 6 and d_year = 1994",
                                                            {.year = 1994, .week_in_year = 6},
                                                            {host::Compare::ge_le, 5, 7},
                                                            {host::Compare::ge_le, 26, 35}}};

// Consecutive codes, both included.
struct CodeRange {
  uint64_t first;
  uint64_t last;
};
// The codes of the days that pass, as the fewest ranges in ascending order.
std::vector<CodeRange> codes_of_days(const host::Dictionary<int64_t>& days, const Table& date,
                                     const DayFilter& filter);

// Chunk by chunk: scans the day, and then, if the chunk has matching days at all, discount and
// quantity, either over all rows, ANDed at the end, or, if less than one row in 64 is left, over
// those rows alone. `runs` at least 1; the steps are the fastest of so many runs. An error is a
// kernel that the library lacks, or one that breaks its contract.
host::Result<Answer> run_flight1(const Engine& engine, const Flight1Query& query, unsigned runs);

}  // namespace colx::star
