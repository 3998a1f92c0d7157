#include "examples/star/row_values.h"

#include <algorithm>
#include <utility>

#include "host/row_reader.h"
#include "host/value_forms.h"
#include "host/value_reader.h"

namespace colx::star {
namespace {

// Rows of one chunk, counted from its first one.
using ChunkRows = std::vector<uint32_t>;

host::Result<void> append_decoded(const Engine& engine, const host::StoredColumn& column,
                                  size_t chunk, const ChunkRows& rows,
                                  std::vector<uint32_t>& values) {
  auto reader = host::ChunkReader::open(engine.library, engine.services, column, chunk);
  if (!reader) return reader.error();
  const auto batch = reader->rows(rows);
  if (!batch) return batch.error();
  for (size_t i = 0; i < batch->size(); ++i)
    values.push_back(static_cast<uint32_t>(host::integer_of(batch->bytes(i))));
  return {};
}

// The number or date of a stored row.
uint32_t value_of(const EncodedColumn& column, std::string_view stored) {
  if (column.number_bytes == 0)
    return unpacked_day(static_cast<uint32_t>(host::integer_of(stored)));
  uint32_t value = 0;
  for (size_t byte = 0; byte < column.number_bytes; ++byte)
    value = value << 8 | (byte < stored.size() ? static_cast<uint8_t>(stored[byte]) : 0);
  return value;
}

void append_stored(const EncodedColumn& column, size_t chunk, const ChunkRows& rows,
                   std::vector<uint32_t>& values) {
  host::RowReader reader(column.stored, chunk);
  uint32_t next_row = 0;
  for (const uint32_t row : rows) {
    for (; next_row < row; ++next_row) reader.next();
    values.push_back(value_of(column, reader.next()));
    ++next_row;
  }
}

}  // namespace

host::Result<std::vector<uint32_t>> values_at(const Engine& engine, const EncodedColumn& column,
                                              std::span<const uint32_t> rows) {
  std::vector<uint32_t> values;
  for (size_t at = 0; at < rows.size();) {
    const uint32_t chunk = rows[at] / host::max_chunk_rows;
    ChunkRows in_chunk;
    for (; at < rows.size() && rows[at] / host::max_chunk_rows == chunk; ++at)
      in_chunk.push_back(rows[at] % host::max_chunk_rows);
    if (column.stored.format.encoding != host::Encoding::dict)
      append_stored(column, chunk, in_chunk, values);
    else if (auto done = append_decoded(engine, column.stored, chunk, in_chunk, values); !done)
      return done.error();
  }
  return values;
}

}  // namespace colx::star
