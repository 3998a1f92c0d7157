#include <fmt/format.h>

#include "examples/star/calendar.h"
#include "examples/star/domains.h"
#include "examples/star/generate.h"

namespace colx::star {
namespace {

using namespace std::chrono;

struct Season {
  std::string_view name;
  unsigned first_month;
  unsigned last_month;
};
constexpr Season seasons[] = {
    {"Winter", 1, 3}, {"Spring", 4, 4}, {"Summer", 5, 8}, {"Fall", 9, 10}, {"Christmas", 11, 12}};

std::string_view season_of(unsigned month) {
  for (const Season& season : seasons)
    if (month >= season.first_month && month <= season.last_month) return season.name;
  return {};
}

// The benchmark asks for a holiday flag and leaves the holidays open: six days of fixed date.
bool is_holiday(unsigned month, unsigned day) {
  constexpr unsigned holidays[] = {101, 501, 704, 1111, 1225, 1226};
  for (const unsigned holiday : holidays)
    if (month * 100 + day == holiday) return true;
  return false;
}

void add_day(Table& table, year_month_day date) {
  const uint32_t year = static_cast<uint32_t>(static_cast<int>(date.year()));
  const unsigned month = unsigned{date.month()};
  const unsigned day = unsigned{date.day()};
  const unsigned weekday_index = weekday{sys_days{date}}.c_encoding();  // 0 is Sunday
  const auto since_new_year = sys_days{date} - sys_days{date.year() / 1 / 1};
  const uint32_t day_in_year = static_cast<uint32_t>(since_new_year.count()) + 1;
  const std::string_view month_name = domains::months[month - 1];
  const bool month_ends = date == date.year() / date.month() / last;

  table.add(d_datekey, date_key(date));
  table.add(d_date, fmt::format("{} {}, {}", month_name, day, year));
  table.add(d_dayofweek, domains::weekdays[weekday_index]);
  table.add(d_month, month_name);
  table.add(d_year, year);
  table.add(d_yearmonthnum, year * 100 + month);
  table.add(d_yearmonth, fmt::format("{}{}", month_name.substr(0, 3), year));
  table.add(d_daynuminweek, weekday_index + 1);
  table.add(d_daynuminmonth, day);
  table.add(d_daynuminyear, day_in_year);
  table.add(d_monthnuminyear, month);
  table.add(d_weeknuminyear, (day_in_year - 1) / 7 + 1);  // week 1 is the first seven days
  table.add(d_sellingseason, season_of(month));
  table.add(d_lastdayinweekfl, weekday_index == 6);
  table.add(d_lastdayinmonthfl, month_ends);
  table.add(d_holidayfl, is_holiday(month, day));
  table.add(d_weekdayfl, weekday_index >= 1 && weekday_index <= 5);
}

}  // namespace

Table generate_dates() {
  Table table{TableId::date};
  table.reserve(calendar_days);
  for (uint32_t day = 0; day < calendar_days; ++day) add_day(table, calendar_day(day));
  return table;
}

}  // namespace colx::star
