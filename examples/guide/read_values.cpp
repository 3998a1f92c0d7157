// Codes and values of stored rows.
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "host/loader.h"
#include "host/services.h"
#include "host/value_dictionary.h"
#include "host/value_forms.h"
#include "host/value_reader.h"

using namespace colx::host;

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);
  const std::vector<int64_t> amount = {300, -1, 70'000, 300, 5};
  const auto stored = store_dictionary_column<int64_t>(amount).value();

  // region: batches
  ColumnReader reader = ColumnReader::open(library, services, stored.column, 3).value();
  for (;;) {
    const ValueBatch batch = reader.next().value();
    if (batch.size() == 0) break;
    std::printf("a batch:");
    for (size_t i = 0; i < batch.size(); ++i)
      std::printf(" %lld", static_cast<long long>(integer_of(batch.bytes(i))));
    std::printf("\n");
  }
  // end

  // region: selected
  RowBits selection(5);
  selection.set(1);
  selection.set(2);
  ChunkReader chosen =
      ChunkReader::open(library, services, stored.column, 0, {.rows = &selection}).value();
  const auto codes = chosen.next_codes(5).value();
  std::printf("codes of rows 1 and 2: %u %u\n", codes[0], codes[1]);

  const uint32_t rows[] = {4, 0};
  const ValueBatch listed = chosen.rows(rows).value();
  std::printf("rows 4 and 0: %lld %lld\n", static_cast<long long>(integer_of(listed.bytes(0))),
              static_cast<long long>(integer_of(listed.bytes(1))));
  // end

  // region: record
  // The decoder itself: pointers into the dictionary, lengths, and 2 for a NULL.
  ChunkVector column(stored.column, 0);
  void* data[2];
  uint16_t length[2], flags[2];
  colx_cv result = {};
  result.colx_cv_data = data;
  result.colx_cv_aux = length;
  result.colx_cv_row_flags = flags;
  colx_kctx kctx = {};
  kctx.colx_kctx_env = services.env();
  kctx.colx_kctx_rows = rows;
  kctx.colx_kctx_num_rows = 2;
  const colx_decode_fn decode =
      library.decode_kernel(COLX_OPC_DECODE, stored.column.format.key()).value();
  const uint32_t status = decode(&result, column.cv(), &kctx);
  std::printf("status %u, %u values of %u bytes\n", status, result.colx_cv_num_set, length[0]);
  // end
}
