// Columns of each encoding, and what they take.
#include <cstdio>
#include <string_view>
#include <vector>

#include "host/compressed_column.h"
#include "host/encode_numbers.h"
#include "host/encode_rows.h"
#include "host/value_dictionary.h"

using namespace colx::host;

int main() {
  constexpr uint32_t rows = 100'000;
  constexpr std::string_view cities[] = {"Basel", "Bern", "Chur", "Davos", "Genf"};
  std::vector<std::string_view> city;
  std::vector<int64_t> amount;
  std::vector<uint64_t> day;
  std::vector<double> rate;
  for (uint32_t row = 0; row < rows; ++row) {
    city.push_back(cities[row / 1000 % 5]);
    amount.push_back(int64_t{row} * 7919 % 20011 - 10000);
    day.push_back(20260101 + row % 28);
    rate.push_back(row % 16 / 16.0);
  }

  // region: dictionary
  // Codes in value order, as wide as they need to be, and the dictionary's image for decoders.
  DictionaryColumn<std::string> cities_column = store_dictionary_column<std::string>(city).value();
  std::printf("cities: %u-bit codes, %zu chunks\n", cities_column.column.format.width_bits,
              cities_column.column.chunks.size());

  // The same codes, one a run.
  DictionaryColumn<std::string> runs =
      store_dictionary_column<std::string>(city, {.runs = RunLengthOptions{}}).value();
  std::printf("as runs: %u runs in chunk 0\n", runs.column.chunks[0].entries());
  // end

  // region: rows
  // Values without a dictionary: rows of one width, rows of 1 to 8 bytes, numbers for sums.
  StoredColumn days = store_fixed_numbers(day).value();
  StoredColumn amounts = store_dynp_numbers(amount).value();
  StoredColumn sums = store_dsb(amount).value();
  StoredColumn rates = store_doubles(rate).value();
  std::printf("days: fixed rows of %u bits\n", days.format.width_bits);
  std::printf("amounts: dynp rows of up to %u bits; dsb rows of %u bits\n",
              amounts.format.width_bits, sums.format.width_bits);
  std::printf("rates: canonical rows of %u bits\n", rates.format.width_bits);
  // end

  // region: compress
  // Any stream may rest compressed; the first kernel that touches a chunk expands it.
  const uint64_t before = days.stream_bytes();
  const uint64_t saved = compress_column(days);
  std::printf("days compressed: %s\n", saved > before / 2 ? "to less than half" : "a little");
  // end

  // region: errors
  const uint64_t codes[] = {3, 300};
  const Result<StoredColumn> refused = store_codes(codes, {.width_bits = 8});
  if (!refused) std::printf("%s\n", refused.message().c_str());
  // end
}
