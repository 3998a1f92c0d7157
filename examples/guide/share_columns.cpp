// Threads on one column: what each has to itself, and the first touch.
#include <cstdio>
#include <vector>

#include "host/compressed_column.h"
#include "host/encode_codes.h"
#include "host/loader.h"
#include "host/morsels.h"
#include "host/prepared_scan.h"
#include "host/services.h"

using namespace colx::host;

int main(int argc, char** argv) {
  // region: shared
  // Shared by all threads: the library, the services, the column, the bound predicate.
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();
  HostServices services(library);
  std::vector<uint64_t> codes;
  for (uint64_t row = 0; row < 40'000; ++row) codes.push_back(row / 50 % 30);
  StoredColumn column = store_codes(codes, {.width_bits = 8, .chunk_rows = 4096}).value();
  compress_column(column);
  const PreparedScan scan =
      PreparedScan::on_codes(library, column, {.compare = Compare::eq, .low = 7}).value();
  // end

  // region: threads
  // A thread's own: the result. run() makes the records of each call on its own stack and holds the
  // chunk's slot over the first touch, so a chunk may be scanned by several threads at once.
  std::vector<uint64_t> found(4);
  const auto scanned = run_morsels(4, 2 * column.chunks.size(), [&](unsigned thread, size_t work) {
    const size_t chunk = work / 2;  // every chunk twice, from two threads as a rule
    RowBits hits(column.chunks[chunk].rows);
    const auto count = scan.run(chunk, hits, services);
    if (!count) return Result<void>(count.error());
    found[thread] += *count;
    return Result<void>();
  });
  if (!scanned) return std::printf("%s\n", scanned.message().c_str()), 1;
  // end

  // region: answer
  uint64_t rows = 0;
  for (const uint64_t part : found) rows += part;
  std::printf("%llu rows, %llu copies for %zu chunks\n", static_cast<unsigned long long>(rows / 2),
              static_cast<unsigned long long>(services.counters().cached_calls),
              column.chunks.size());
  // end
}
