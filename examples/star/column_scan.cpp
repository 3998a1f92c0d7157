#include "examples/star/column_scan.h"

#include <fmt/format.h>

#include "examples/star/row_list.h"

namespace colx::star {
host::Result<host::PreparedScan> prepare_scan(const Engine& engine, const EncodedColumn& column,
                                              const NumberFilter& filter) {
  const host::Dictionary<int64_t>& values = column.numbers();
  const host::CodePredicate predicate = host::is_range(filter.compare)
                                            ? values.where(filter.compare, filter.low, filter.high)
                                            : values.where(filter.compare, filter.low);
  return host::PreparedScan::on_codes(engine.library, column.stored, predicate);
}

std::string kernels_of(const EncodedColumn& column, const host::PreparedScan& scan) {
  const host::Runs* const runs = column.runs();
  if (!runs) return scan.kernel_name();
  return fmt::format("{}, burst_rle_{}bit{}", scan.kernel_name(), runs->length_bits,
                     runs->positions.size() > 0 ? "_cla" : "");
}

host::Result<Answer> run_column_scan(const Engine& engine, const EncodedColumn& column,
                                     const NumberFilter& filter, unsigned runs) {
  const auto scan = prepare_scan(engine, column, filter);
  if (!scan) return scan.error();
  Answer answer;
  for (unsigned run = 0; run < runs; ++run) {
    Step step{filter.text(column.name), kernels_of(column, *scan)};
    answer.rows.clear();
    uint32_t first_row = 0;
    for (size_t chunk = 0; chunk < column.stored.chunks.size(); ++chunk) {
      host::RowBits hits(column.stored.chunks[chunk].rows);
      const auto count =
          timed(step, hits.size(), [&] { return scan->run(chunk, hits, engine.services); });
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

}  // namespace colx::star
