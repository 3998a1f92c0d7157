// Group keys and sums by group.
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "host/encode_numbers.h"
#include "host/group_keys.h"
#include "host/group_sums.h"
#include "host/loader.h"
#include "host/services.h"
#include "host/value_dictionary.h"

using namespace colx::host;

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);
  const std::vector<std::string_view> city = {"Bern", "Chur", "Bern", "Bern", "Chur"};
  const std::vector<int64_t> year = {2025, 2025, 2026, 2025, 2026};
  const std::vector<int64_t> amount = {10, 20, 30, 40, -5};

  // region: keys
  const auto cities = store_dictionary_column<std::string>(city).value();
  const auto years = store_dictionary_column<int64_t>(year).value();
  const GroupKeys groups =
      GroupKeys::bind(library, services, {&cities.column, &years.column}).value();
  std::vector<uint32_t> keys(city.size());
  const uint32_t count = groups.run(0, keys).value();
  std::printf("%u keys below %u:", count, groups.key_space());
  for (const uint32_t key : keys) std::printf(" %u", key);
  std::printf("\n");
  // end

  // region: sums
  const StoredColumn amounts = store_dsb(amount).value();
  GroupSums sums = GroupSums::create(library, COLX_TYPE_DSB, groups.key_space()).value();
  sums.add(number_rows(amounts, 0).value(), keys).value();
  for (uint32_t key = 0; key < groups.key_space(); ++key) {
    const uint32_t city_code = key / groups.place(0) % groups.codes(0);
    const uint32_t year_code = key / groups.place(1) % groups.codes(1);
    std::printf("%s %lld: %lld\n", cities.dictionary.value(city_code).c_str(),
                static_cast<long long>(years.dictionary.value(year_code)),
                static_cast<long long>(sums.integer_sum(key)));
  }
  // end

  // region: selected
  RowBits selection(5);
  selection.set(2);
  selection.set(4);
  const uint32_t selected = groups.run(0, keys, &selection).value();
  std::printf("%u keys of selected rows: %u %u\n", selected, keys[0], keys[1]);
  // end
}
