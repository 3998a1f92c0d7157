// A column of runs for run expansion: random lengths, half of the runs wanted.

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "host/column.h"
#include "host/encode_runs.h"
#include "host/row_bits.h"
#include "host/slot_parts.h"
#include "tools/console/figures.h"
#include "tools/inspect/kernel_work.h"

namespace colx::inspect {
namespace {

using namespace colx::host;

struct RunBatch {
  Runs runs;
  RowBits wanted;  // a bit a run
  RowBits rows;    // a bit a row
  uint32_t wanted_runs = 0;
};

struct Expansion {
  std::vector<RunBatch> batches;
  colx_decode_fn kernel = nullptr;
  uint32_t runs = 0;
};

// Runs of 1 to 63 rows in batches of as many rows as a chunk has.
Result<uint64_t> add_batch(Expansion& made, uint32_t rows, uint32_t length_bits, bool positions,
                           std::mt19937_64& random) {
  std::vector<CodeRun> runs;
  for (uint32_t left = rows; left;) {
    const uint32_t length = std::min<uint32_t>(left, 1 + random() % 63);
    runs.push_back({0, length});
    left -= length;
  }
  auto written = write_runs(runs, length_bits, positions);
  if (!written) return written.error();
  RunBatch batch{std::move(*written), RowBits(runs.size()), RowBits(rows), 0};
  uint64_t hits = 0;
  for (size_t run = 0; run < runs.size(); ++run) {
    if (random() & 1) continue;
    batch.wanted.set(run);
    ++batch.wanted_runs;
    hits += runs[run].rows;
  }
  made.runs += batch.runs.count;
  made.batches.push_back(std::move(batch));
  return hits;
}

Result<uint64_t> expand(const Expansion& made, RunBatch& batch) {
  colx_enc_ctx encoding{};
  encoding.colx_enc_ctx_flags = COLX_DICT | COLX_RLE;
  encoding.colx_enc_ctx_rle_rows = batch.runs.count;
  encoding.colx_enc_ctx_rle_runs = batch.runs.lengths.data();
  encoding.colx_enc_ctx_rle_width = static_cast<uint8_t>(batch.runs.length_bits);
  encoding.colx_enc_ctx_rle_cla = batch.runs.positions.data();
  colx_cv source{};
  source.colx_cv_encoding_context = &encoding;
  colx_cv result{};
  result.colx_cv_bits = batch.rows.data();
  result.colx_cv_num_of_rows = static_cast<uint32_t>(batch.rows.size());
  colx_kctx kctx{};
  kctx.colx_kctx_selection = batch.wanted.data();
  kctx.colx_kctx_aux_set = batch.wanted_runs;
  const uint32_t status = made.kernel(&result, &source, &kctx);
  if (status != COLX_DONE && status != COLX_NOTHING_FOUND)
    return make_error("run expansion returned status %u", status);
  return uint64_t{result.colx_cv_num_set};
}

}  // namespace

Result<KernelWork> make_burst_work(const WorkOrder& order) {
  const uint32_t code = host::parts_of_slot(order.kernel.index).width_code;
  const bool positions = code & 1;
  const uint32_t length_bits = code & 8 ? 16 : 8;
  auto kernel = order.library.decode_kernel(COLX_OPC_BURST, host::key_of_slot(order.kernel.index));
  if (!kernel) return kernel.error();
  const auto made = std::make_shared<Expansion>();
  made->kernel = *kernel;
  KernelWork work;
  work.found = "hits";
  std::mt19937_64 random(order.seed);
  for (uint64_t left = order.rows; left;) {
    const auto rows = static_cast<uint32_t>(std::min<uint64_t>(left, max_chunk_rows));
    const auto hits = add_batch(*made, rows, length_bits, positions, random);
    if (!hits) return hits.error();
    work.expected += *hits;
    left -= rows;
  }
  for (const RunBatch& batch : made->batches)
    work.column_bytes += (positions ? batch.runs.positions : batch.runs.lengths).size();
  work.data = fmt::format("{} of run {}, {} runs of 1 to 63 rows, half of them wanted",
                          console::bytes_text(work.column_bytes),
                          positions ? "positions" : "lengths", console::grouped(made->runs));
  work.batches = made->batches.size();
  work.run = [made](size_t batch) { return expand(*made, made->batches[batch]); };
  return work;
}

}  // namespace colx::inspect
