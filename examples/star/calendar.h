// calendar.h: the days that the benchmark covers, and dates as the number yyyymmdd.
#pragma once

#include <chrono>
#include <cstdint>

namespace colx::star {

// The date table holds 2556 days from 1 January 1992 on. Seven calendar years with two leap years
// have 2557: the last one, 31 December 1998, is not part of the benchmark.
inline constexpr std::chrono::year_month_day first_day{std::chrono::year{1992} / 1 / 1};
inline constexpr uint32_t calendar_days = 2556;

// The day `offset` days after the first one.
std::chrono::year_month_day calendar_day(uint32_t offset);

// yyyymmdd as a number, and whether such a number is a day of the Gregorian calendar.
uint32_t date_key(std::chrono::year_month_day day);
bool is_date_key(uint32_t key);

}  // namespace colx::star
