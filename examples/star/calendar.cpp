#include "examples/star/calendar.h"

namespace colx::star {

using namespace std::chrono;

year_month_day calendar_day(uint32_t offset) {
  return sys_days{first_day} + days{offset};
}

uint32_t date_key(year_month_day day) {
  const uint32_t year = static_cast<uint32_t>(static_cast<int>(day.year()));
  return year * 10000 + unsigned{day.month()} * 100 + unsigned{day.day()};
}

bool is_date_key(uint32_t key) {
  if (key / 10000 == 0 || key / 10000 > 9999) return false;
  return year_month_day{year{static_cast<int>(key / 10000)}, month{key / 100 % 100}, day{key % 100}}
      .ok();
}

}  // namespace colx::star
