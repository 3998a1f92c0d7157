// Encodings under which unsigned byte order is the order of the values.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "host/encode_numbers.h"
#include "host/encode_rows.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/services.h"
#include "host/value_dictionary.h"
#include "host/value_forms.h"

using namespace colx::host;

namespace {

void print_bytes(const char* what, std::string_view bytes) {
  std::printf("%-8s", what);
  for (const char byte : bytes) std::printf(" %02X", static_cast<unsigned char>(byte));
  std::printf("\n");
}

void print_rows(const char* what, const RowBits& hits) {
  std::printf("%s:", what);
  for (uint64_t row = 0; row < hits.size(); ++row)
    if (hits.test(row)) std::printf(" %d", int(row));
  std::printf("\n");
}

// region: biased
// Signed integers as fixed rows: the sign bit flipped, unsigned order is signed order.
uint64_t biased(int32_t number) {
  return static_cast<uint32_t>(number) ^ 0x8000'0000u;
}
// end

// region: decimal
// A decimal of scale 2 is the integer of its hundredths: 12.34 is 1234, and -0.05 is -5.
int64_t hundredths(double text_value) {
  return std::llround(text_value * 100);  // a host parses digits; doubles serve the example
}
// end

// region: date
// Days since 1970-01-01 (civil calendar), negative before.
int32_t day_number(int year, int month, int day) {
  const int y = year - (month <= 2);
  const int era = (y >= 0 ? y : y - 399) / 400;
  const int year_of_era = y - era * 400;
  const int day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year -
         719468;
}
// end

// Scans a whole column for the rows that a predicate selects.
using Scan = std::function<RowBits(const StoredColumn& column, const ValuePredicate& predicate)>;

void order_integers(const Scan& run) {
  // region: integers
  const uint64_t temperature[] = {biased(-40), biased(15), biased(-1), biased(0)};
  const StoredColumn temperatures = store_fixed_numbers(temperature, {.width_bytes = 4}).value();
  ValuePredicate below_zero{.compare = Compare::lt};
  below_zero.low = fixed_number_constant(temperatures.format, biased(0));
  print_rows("temperature < 0", run(temperatures, below_zero));
  // end

  // region: decimals
  const int64_t price[] = {hundredths(12.34), hundredths(-0.05), hundredths(0), hundredths(100)};
  const StoredColumn prices = store_dynp_numbers(price).value();  // counted form, 1 to 8 bytes
  ValuePredicate cheap{.compare = Compare::gt_le};
  cheap.low = counted_constant(hundredths(-1));
  cheap.high = counted_constant(hundredths(12.34));
  print_rows("-1 < price <= 12.34", run(prices, cheap));
  // end

  // region: forms
  uint8_t form[8];
  for (const int64_t number : {-300, -5, 0, 5, 300}) {
    char name[24];
    std::snprintf(name, sizeof name, "%d", int(number));
    const size_t length = store_counted(form, number);
    print_bytes(name, {reinterpret_cast<char*>(form), length});
  }
  // end
}

void order_dates_and_doubles(const Scan& run) {
  // region: dates
  const uint64_t day[] = {biased(day_number(1969, 12, 31)), biased(day_number(2026, 11, 21)),
                          biased(day_number(2026, 2, 28))};
  const StoredColumn days = store_fixed_numbers(day).value();
  ValuePredicate in_2026{.compare = Compare::ge_lt};
  in_2026.low = fixed_number_constant(days.format, biased(day_number(2026, 1, 1)));
  in_2026.high = fixed_number_constant(days.format, biased(day_number(2027, 1, 1)));
  print_rows("date in 2026", run(days, in_2026));
  // end

  // region: doubles
  const std::vector<double> reading = {2.5, -7.25, 0.0, 1e300};
  const StoredColumn readings = store_doubles(reading).value();
  ValuePredicate negative{.compare = Compare::lt};
  store_canonical(negative.low.bytes.data(), 0.0);
  print_rows("reading < 0", run(readings, negative));
  // end
}

void order_strings(const Library& library, HostServices& services, const Scan& run) {
  // region: strings
  const std::string_view name[] = {"Zoe", "Ann", "Anna", "Bob", "Anne"};
  const auto names = store_dictionary_column<std::string>(name).value();
  RowBits hits(5);
  PreparedScan::on_codes(library, names.column,
                         names.dictionary.where(Compare::ge_lt, "Ann", "Ano"))
      .value()
      .run(0, hits, services)
      .value();
  print_rows("name starts with Ann", hits);
  // end

  // region: short_strings
  const std::string_view code[] = {"CH", "DE", "C", "FR"};
  const StoredColumn countries = store_dynp(code, {.lengths = ValueLengths::kept}).value();
  ValuePredicate before_de{.compare = Compare::lt, .ties = true};
  before_de.low = stored_constant("DE").value();
  print_rows("country < DE", run(countries, before_de));
  // end
}

}  // namespace

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);
  const Scan run = [&](const StoredColumn& column, const ValuePredicate& predicate) {
    RowBits hits(column.rows());
    PreparedScan::on_values(library, column, predicate).value().run(0, hits, services).value();
    return hits;
  };

  order_integers(run);
  order_dates_and_doubles(run);
  order_strings(library, services, run);
}
