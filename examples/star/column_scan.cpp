#include "examples/star/column_scan.h"

#include <fmt/format.h>

#include <algorithm>

#include "examples/star/row_list.h"
#include "host/stored_constant.h"
#include "host/value_forms.h"

namespace colx::star {
namespace {

host::CodePredicate on_codes(const EncodedColumn& column, const NumberFilter& filter) {
  const host::Dictionary<int64_t>& values = column.numbers();
  return host::is_range(filter.compare) ? values.where(filter.compare, filter.low, filter.high)
                                        : values.where(filter.compare, filter.low);
}

// A constant in the form of the column's rows.
host::StoredConstant constant(const EncodedColumn& column, uint32_t number) {
  if (column.stored.format.encoding == host::Encoding::fixed)
    return host::fixed_number_constant(column.stored.format,
                                       column.number_bytes ? number : packed_day(number));
  host::StoredConstant big_endian;
  if (column.number_bytes == 3 && number >> 24 != 0)
    big_endian.bytes.fill(0xFF);  // above every row
  else
    host::store_integer(big_endian.bytes.data(), number, column.number_bytes);
  return big_endian;
}

// The rows as a bit vector for each chunk.
std::vector<host::RowBits> selections(const host::StoredColumn& column,
                                      const std::vector<uint32_t>& rows) {
  std::vector<host::RowBits> chunks;
  for (const host::Chunk& chunk : column.chunks) chunks.emplace_back(chunk.rows);
  for (const uint32_t row : rows)
    chunks[row / host::max_chunk_rows].set(row % host::max_chunk_rows);
  return chunks;
}

}  // namespace

host::Result<host::PreparedScan> prepare_scan(const Engine& engine, const EncodedColumn& column,
                                              const NumberFilter& filter) {
  if (column.stored.format.encoding == host::Encoding::dict)
    return host::PreparedScan::on_codes(engine.library, column.stored, on_codes(column, filter));
  return host::PreparedScan::on_values(
      engine.library, column.stored,
      {filter.compare, constant(column, filter.low), constant(column, filter.high)});
}

std::string kernels_of(const EncodedColumn& column, const host::PreparedScan& scan, bool walks) {
  // One-bit codes have no walking form: their kernels scan and apply the selection.
  if (walks && column.stored.format.width_bits > 1)
    return fmt::format("{}_selective", scan.kernel_name());
  const host::Runs* const runs = column.runs();
  if (!runs) return scan.kernel_name();
  return fmt::format("{}, burst_rle_{}bit{}", scan.kernel_name(), runs->length_bits,
                     runs->positions.size() > 0 ? "_cla" : "");
}

host::Result<Answer> run_scan(const Engine& engine, const EncodedColumn& column,
                              const host::PreparedScan& scan, std::string work, unsigned runs,
                              const std::vector<uint32_t>* among) {
  const std::vector<host::RowBits> selected =
      among ? selections(column.stored, *among) : std::vector<host::RowBits>{};
  if (among) work += ", selected rows";
  Answer answer;
  for (unsigned run = 0; run < runs; ++run) {
    Step step{work, kernels_of(column, scan, among != nullptr)};
    answer.rows.clear();
    uint32_t first_row = 0;
    for (size_t chunk = 0; chunk < column.stored.chunks.size(); ++chunk) {
      host::RowBits hits(column.stored.chunks[chunk].rows);
      const host::Selection selection{among ? &selected[chunk] : nullptr, true};
      const auto count = timed(step, hits.size(),
                               [&] { return scan.run(chunk, hits, engine.services, selection); });
      if (!count) return count.error();
      step.hits += *count;
      append_rows(engine.library, hits, first_row, answer.rows);
      first_row += static_cast<uint32_t>(hits.size());
    }
    answer.count = step.hits;
    keep_fastest(answer.steps, {step});
  }
  return answer;
}

host::Result<Answer> run_column_scan(const Engine& engine, const EncodedColumn& column,
                                     const NumberFilter& filter, unsigned runs,
                                     const std::vector<uint32_t>* among) {
  const auto scan = prepare_scan(engine, column, filter);
  if (!scan) return scan.error();
  return run_scan(engine, column, *scan, filter.text(column.name), runs, among);
}

}  // namespace colx::star
