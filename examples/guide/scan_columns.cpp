// Predicates over whole columns and among selected rows.
#include <cstdio>
#include <string_view>
#include <vector>

#include "host/encode_rows.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/services.h"
#include "host/value_dictionary.h"

using namespace colx::host;

namespace {

void print_rows(const char* what, const RowBits& hits) {
  std::printf("%s:", what);
  for (uint64_t row = 0; row < hits.size(); ++row)
    if (hits.test(row)) std::printf(" %llu", static_cast<unsigned long long>(row));
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);

  const std::string_view city[] = {"Bern", "Chur",  "Basel", "Genf",
                                   "Bern", "Davos", "Chur",  "Bern"};
  const uint64_t day[] = {3, 9, 4, 4, 9, 1, 2, 4};

  // region: codes
  const auto cities = store_dictionary_column<std::string>(city).value();
  // "Bellinzona" is no value of the dictionary: the predicate on codes selects the same rows.
  const CodePredicate predicate = cities.dictionary.where(Compare::ge_le, "Bellinzona", "Chur");
  const PreparedScan b_to_c = PreparedScan::on_codes(library, cities.column, predicate).value();
  RowBits hits(8);
  const uint32_t found = b_to_c.run(0, hits, services).value();
  std::printf("%s: %u of 8 rows\n", b_to_c.kernel_name(), found);
  print_rows("Bellinzona <= city <= Chur", hits);
  // end

  // region: values
  const StoredColumn days = store_fixed_numbers(day).value();
  ValuePredicate from_4;
  from_4.compare = Compare::ge;
  from_4.low = fixed_number_constant(days.format, 4);
  const PreparedScan late = PreparedScan::on_values(library, days, from_4).value();
  // end

  // region: selection
  RowBits both(8);
  late.run(0, both, services, {.rows = &hits}).value();  // scans all rows, then ANDs
  print_rows("and day >= 4", both);
  late.run(0, both, services, {.rows = &hits, .walk = true}).value();  // tests the selected rows
  print_rows("the same by walking", both);
  // end

  // region: record
  // What run() does: a record for the result, one for the column, one for the call.
  ChunkVector column(cities.column, 0);
  colx_cv result = {};
  result.colx_cv_bits = both.data();
  result.colx_cv_num_of_rows = 8;
  colx_kctx kctx = {};
  kctx.colx_kctx_env = services.env();
  kctx.colx_kctx_selection = hits.data();
  kctx.colx_kctx_flags = COLX_KCTX_SELECTIVE;  // left out: scan all, then AND
  const uint32_t bern = static_cast<uint32_t>(*cities.dictionary.code_of("Bern"));
  const void* args[4] = {&bern, nullptr, nullptr, column.encoding()};
  const uint32_t slot = colx_column_index(COLX_OPC_EQ, column.encoding()->colx_enc_ctx_key);
  const auto scan = reinterpret_cast<colx_scan_fn>(library.record().colx_sctx_dispatch[slot]);
  const uint32_t status = scan(&result, column.cv(), args, &kctx);
  std::printf("status %u, %u rows of Bern\n", status, result.colx_cv_num_set);
  // end
}
