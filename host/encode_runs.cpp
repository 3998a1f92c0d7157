#include "host/encode_runs.h"

#include <algorithm>

#include "host/big_endian.h"

namespace colx::host {
namespace {

// Calls visit(code, rows) for each stretch of equal codes.
template <class Visit>
void for_each_stretch(std::span<const uint64_t> codes, Visit visit) {
  for (size_t first = 0; first < codes.size();) {
    size_t end = first + 1;
    while (end < codes.size() && codes[end] == codes[first]) ++end;
    visit(codes[first], end - first);
    first = end;
  }
}

}  // namespace

std::vector<CodeRun> find_runs(std::span<const uint64_t> codes, uint32_t max_rows) {
  std::vector<CodeRun> runs;
  for_each_stretch(codes, [&](uint64_t code, size_t rows) {
    for (; rows > max_rows; rows -= max_rows) runs.push_back({code, max_rows});
    runs.push_back({code, static_cast<uint32_t>(rows)});
  });
  return runs;
}

Result<Runs> write_runs(std::span<const CodeRun> runs, uint32_t length_bits, bool positions) {
  if (length_bits != 8 && length_bits != 16)
    return make_error("run lengths of %u bits: use 8 or 16", length_bits);
  uint64_t rows = 0;
  for (size_t run = 0; run < runs.size(); ++run) {
    if (runs[run].rows == 0 || runs[run].rows > max_run_rows(length_bits))
      return make_error("run %zu has %u rows; a length of %u bits says 1 to %u", run,
                        runs[run].rows, length_bits, max_run_rows(length_bits));
    rows += runs[run].rows;
  }
  if (rows > UINT32_MAX)
    return make_error("%zu runs cover %llu rows; at most 2^32 - 1 fit", runs.size(),
                      static_cast<unsigned long long>(rows));

  const size_t length_bytes = length_bits / 8;
  Runs written;
  written.count = static_cast<uint32_t>(runs.size());
  written.length_bits = length_bits;
  written.lengths = StreamBuffer(runs.size() * length_bytes);
  for (size_t run = 0; run < runs.size(); ++run)
    store_big_endian(written.lengths.data() + run * length_bytes, runs[run].rows, length_bytes);
  if (positions) {
    written.positions = StreamBuffer((runs.size() + 1) * 4);
    uint64_t first_row = 0;
    for (size_t run = 0; run < runs.size(); ++run) {
      first_row += runs[run].rows;
      store_big_endian(written.positions.data() + 4 * (run + 1), first_row, 4);
    }
  }
  return written;
}

uint32_t choose_length_bits(std::span<const uint64_t> codes, uint32_t chunk_rows,
                            uint32_t width_bits, bool positions) {
  uint64_t short_runs = 0, long_runs = 0;
  for (size_t first = 0; first < codes.size(); first += chunk_rows)
    for_each_stretch(codes.subspan(first, std::min<size_t>(chunk_rows, codes.size() - first)),
                     [&](uint64_t, size_t rows) {
                       short_runs += (rows + max_run_rows(8) - 1) / max_run_rows(8);
                       long_runs += (rows + max_run_rows(16) - 1) / max_run_rows(16);
                     });
  const uint64_t other_bits = width_bits + (positions ? 32 : 0);
  return short_runs * (8 + other_bits) <= long_runs * (16 + other_bits) ? 8 : 16;
}

}  // namespace colx::host
