#include "examples/star/dimension_rows.h"

#include "host/chunk_rows.h"
#include "host/key_filter.h"

namespace colx::star {

host::RowBits codes_that_hold(const EncodedColumn& column, const Condition& condition) {
  const host::DictionaryImage& values = *column.stored.dictionary;
  host::RowBits codes(values.num_symbols());
  for (uint32_t code = 0; code < values.num_symbols(); ++code) {
    const bool holds = condition.of_texts()
                           ? condition.holds(values.symbol(code))
                           : condition.holds(static_cast<uint32_t>(column.numbers().value(code)));
    if (holds) codes.set(code);
  }
  return codes;
}

host::Result<std::vector<uint32_t>> rows_that_hold(const StarStore& store, TableId table,
                                                   const std::vector<Condition>& conditions) {
  std::vector<host::KeyFilter> filters;
  for (const Condition& condition : conditions) {
    if (condition.column.table != table) continue;
    const EncodedColumn& column = store.column(condition.column);
    const host::RowBits codes = codes_that_hold(column, condition);
    if (codes.count() == 0) return std::vector<uint32_t>{};
    auto filter = host::KeyFilter::bind(store.library(), column.stored, codes);
    if (!filter) return filter.error();
    filters.push_back(std::move(*filter));
  }
  std::vector<uint32_t> found;
  host::ChunkRows rows(store.library(), store.services());
  const auto& chunks = store.table(table)[0].stored.chunks;
  uint32_t first_row = 0;
  for (size_t chunk = 0; chunk < chunks.size(); first_row += chunks[chunk++].rows) {
    rows.start(chunk, chunks[chunk].rows);
    for (const host::KeyFilter& filter : filters)
      if (auto done = filter.apply(rows); !done) return done.error();
    for (const uint32_t row : rows.rows()) found.push_back(first_row + row);
  }
  return found;
}

host::Result<std::vector<uint32_t>> all_codes(const StarStore& store, const EncodedColumn& column) {
  auto unpack = host::CodeUnpack::bind(store.library(), column.stored);
  if (!unpack) return unpack.error();
  std::vector<uint32_t> codes, chunk_codes;
  host::ChunkRows rows(store.library(), store.services());
  for (size_t chunk = 0; chunk < column.stored.chunks.size(); ++chunk) {
    rows.start(chunk, column.stored.chunks[chunk].rows);
    const auto unpacked = unpack->run(rows, chunk_codes);
    if (!unpacked) return unpacked.error();
    codes.insert(codes.end(), unpacked->begin(), unpacked->end());
  }
  return codes;
}

}  // namespace colx::star
