// NULL: code 0 of a nullable dictionary, rows withheld by a bit vector, and negation.
#include <cstdio>
#include <string_view>
#include <vector>

#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/services.h"
#include "host/value_dictionary.h"
#include "host/value_reader.h"

using namespace colx::host;

namespace {

void print_rows(const char* what, const RowBits& hits) {
  std::printf("%s:", what);
  for (uint64_t row = 0; row < hits.size(); ++row)
    if (hits.test(row)) std::printf(" %d", int(row));
  std::printf("\n");
}

using Stored = DictionaryColumn<int64_t>;

void compare_forms(const Library& library, HostServices& services, const Stored& stored) {
  // region: plain
  // The plain form of the same kernel takes code 0 for the smallest value.
  ChunkVector column(stored.column, 0);
  RowBits hits(6);
  colx_cv result = {};
  result.colx_cv_bits = hits.data();
  result.colx_cv_num_of_rows = 6;
  colx_kctx kctx = {};
  kctx.colx_kctx_env = services.env();
  const uint32_t code = static_cast<uint32_t>(*stored.dictionary.code_of(10));
  const void* args[4] = {&code, nullptr, nullptr, column.encoding()};
  for (const bool null_aware : {false, true}) {
    const uint8_t key = stored.column.format.key(null_aware);
    library.scan_kernel(COLX_OPC_NE, key).value()(&result, column.cv(), args, &kctx);
    print_rows(library.kernel_name(COLX_OPC_NE, key), hits);
  }
  // end
}

void read_back(const Library& library, HostServices& services, const Stored& stored) {
  // region: decoded
  ColumnReader reader = ColumnReader::open(library, services, stored.column).value();
  const ValueBatch batch = reader.next().value();
  std::printf("row 1 decoded: %s, flag %u\n", batch.is_null(1) ? "NULL" : "a value",
              batch.flags[1]);
  // end
}

}  // namespace

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);

  // region: column
  // Rows: 10, NULL, 30, 20, NULL, 10. The values behind the NULLs are not looked at.
  const std::vector<int64_t> values = {10, 0, 30, 20, 0, 10};
  RowBits present(6);
  for (const uint64_t row : {0, 2, 3, 5}) present.set(row);
  auto stored = store_dictionary_column<int64_t>(values, {.present = &present}).value();
  std::printf("smallest value has code %d\n", int(stored.dictionary.first_code()));
  // end

  // region: scans
  const auto scan = [&](Compare compare, int64_t value) {
    RowBits hits(6);
    PreparedScan::on_codes(library, stored.column, stored.dictionary.where(compare, value))
        .value()
        .run(0, hits, services)
        .value();
    return hits;
  };
  print_rows("x = 10", scan(Compare::eq, 10));
  print_rows("x <> 10", scan(Compare::ne, 10));
  print_rows("x < 30", scan(Compare::lt, 30));
  // end

  compare_forms(library, services, stored);

  // region: negation
  // NOT (x < 30) is true where x >= 30, and unknown where x is NULL.
  print_rows("x >= 30", scan(Compare::ge, 30));

  // Of a whole expression: complement, then keep the rows where every column has a value.
  const RowBits less = scan(Compare::lt, 30);
  RowBits negated(6);
  uint32_t count = 0;
  library.record().colx_sctx_lbiwvandnot(negated.data(), &count, less.data(), present.data(), 6);
  print_rows("NOT (x < 30)", negated);
  // end

  // region: is_null
  RowBits is_null(6);
  library.record().colx_sctx_lbiwvnot(is_null.data(), &count, present.data(), 6);
  print_rows("x IS NULL", is_null);
  // end

  // region: withheld
  // Rows that no scan of the column may report, whatever the predicate: here, row 0 was deleted.
  RowBits reportable(6);
  reportable.set_all();
  reportable.clear(0);
  stored.column.set_reportable(reportable).value();
  print_rows("x = 10 after the delete", scan(Compare::eq, 10));
  // end

  read_back(library, services, stored);
}
