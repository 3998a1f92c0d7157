// A host on the toolkit: stores a column of text as dictionary codes and scans it. Prints the rows
// found. The library's file is the argument.
#include <cstdio>
#include <string_view>
#include <vector>

#include "host/key_hash.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/services.h"
#include "host/value_dictionary.h"

using namespace colx::host;

int main(int, char** arguments) {
  const auto library = Library::open(arguments[1]);
  if (!library) return std::fprintf(stderr, "%s\n", library.message().c_str()), 1;
  if (!library->missing_functions().empty()) return 2;

  const std::vector<std::string_view> cities{"Oslo", "Bern", "Riga", "Rome", "Oslo", "Lima"};
  const auto stored = store_dictionary_column<std::string>(cities);
  if (!stored) return std::fprintf(stderr, "%s\n", stored.message().c_str()), 1;
  const auto scan = PreparedScan::on_codes(
      *library, stored->column, stored->dictionary.where(Compare::ge_le, "Lima", "Pisa"));
  HostServices services(*library);
  RowBits hits(cities.size());
  const auto count = scan ? scan->run(0, hits, services) : Result<uint32_t>(scan.error());
  if (!count) return std::fprintf(stderr, "%s\n", count.message().c_str()), 1;

  std::printf("%s: %u rows:", scan->kernel_name(), *count);
  for (uint32_t row = 0; row < hits.size(); ++row)
    if (hits.test(row)) std::printf(" %u", row);
  std::puts("");
  return *count == 3 && hash_key("Oslo", 4, 0) != hash_key("Oslo", 4, 1) ? 0 : 3;
}
