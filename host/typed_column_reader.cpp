#include <cstring>
#include <utility>

#include "host/big_endian.h"
#include "host/canonical_keys.h"
#include "host/row_reader.h"
#include "host/typed_column.h"
#include "host/value_forms.h"
#include "host/value_reader.h"

namespace colx::host {
namespace {

constexpr uint32_t rows_per_batch = 4096;
constexpr uint32_t rows_per_walked_row = 64;

void put_value(std::vector<int64_t>& values, uint64_t at, std::string_view stored) {
  values[at] = integer_of(stored);
}
void put_value(std::vector<double>& values, uint64_t at, std::string_view stored) {
  values[at] = canonical_double_of(stored);
}
void put_value(std::vector<std::string_view>& values, uint64_t at, std::string_view stored) {
  values[at] = stored;
}
void put_value(RowBits& values, uint64_t at, std::string_view stored) {
  if (integer_of(stored)) values.set(at);
}

// Where the values of a column go, row after row.
struct Output {
  DecodedColumn& column;
  RowBits present;
  uint64_t at = 0;
};

Result<void> read_codes(const Library& library, HostServices& services, const TypedColumn& column,
                        size_t chunk, Selection selection, Output& out) {
  auto reader = ChunkReader::open(library, services, column.column, chunk, selection);
  if (!reader) return reader.error();
  for (;;) {
    const auto batch = reader->next(rows_per_batch);
    if (!batch) return batch.error();
    if (batch->size() == 0) return {};
    std::visit(
        [&](auto& values) {
          for (size_t i = 0; i < batch->size(); ++i) {
            if (batch->is_null(i)) continue;
            out.present.set(out.at + i);
            put_value(values, out.at + i, batch->bytes(i));
          }
        },
        out.column.values);
    out.at += batch->size();
  }
}

double floating_of(std::string_view row) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(row.data());
  if (row.size() == 4)
    return number_of_key<float>(static_cast<uint32_t>(load_big_endian(bytes, 4)));
  return number_of_key<double>(load_big_endian(bytes, 8));
}

int64_t integer_of_row(const TypedColumn& column, std::string_view row) {
  if (column.column.format.encoding == Encoding::dynp) return counted_integer_of(row);
  const auto* bytes = reinterpret_cast<const uint8_t*>(row.data());
  return static_cast<int64_t>(static_cast<uint64_t>(column.base) +
                              load_big_endian(bytes, row.size()));
}

Result<void> read_rows(const TypedColumn& column, size_t index, const RowBits* hits, Output& out) {
  const Chunk& chunk = column.column.chunks[index];
  if (chunk.image_bytes)
    return make_error("chunk %zu rests compressed; only codes are read out of such chunks", index);
  auto* integers = std::get_if<std::vector<int64_t>>(&out.column.values);
  auto* doubles = std::get_if<std::vector<double>>(&out.column.values);
  RowReader reader(column.column, index);
  for (uint32_t row = 0; row < chunk.rows; ++row) {
    const std::string_view stored = reader.next();
    if (hits && !hits->test(row)) continue;
    const uint64_t at = out.at++;
    if (chunk.reportable && !chunk.reportable->test(row)) continue;
    out.present.set(at);
    if (doubles)
      (*doubles)[at] = floating_of(stored);
    else
      (*integers)[at] = integer_of_row(column, stored);
  }
  return {};
}

// Rows that are wanted, if `hits` fits the column.
Result<uint64_t> count_rows(const TypedColumn& column, std::span<const RowBits> hits) {
  const auto& chunks = column.column.chunks;
  if (hits.empty()) return column.column.rows();
  if (hits.size() != chunks.size())
    return make_error("%zu bit vectors for %zu chunks", hits.size(), chunks.size());
  uint64_t rows = 0;
  for (size_t chunk = 0; chunk < chunks.size(); ++chunk) {
    if (hits[chunk].size() != chunks[chunk].rows)
      return make_error("chunk %zu has %u rows, its bit vector %llu", chunk, chunks[chunk].rows,
                        static_cast<unsigned long long>(hits[chunk].size()));
    rows += hits[chunk].count();
  }
  return rows;
}

}  // namespace

Result<DecodedColumn> read_typed_column(const Library& library, HostServices& services,
                                        const TypedColumn& column, std::span<const RowBits> hits) {
  const auto of_column = [&](const Error& error) {
    return make_error("column \"%s\": %s", column.name.c_str(), error.message.c_str());
  };
  const auto rows = count_rows(column, hits);
  if (!rows) return of_column(rows.error());
  DecodedColumn read = make_decoded_column(column.name, column.type, *rows);
  Output out{read, RowBits(*rows)};
  const bool codes = column.column.format.encoding == Encoding::dict;
  for (size_t chunk = 0; chunk < column.column.chunks.size(); ++chunk) {
    const RowBits* wanted = hits.empty() ? nullptr : &hits[chunk];
    Selection selection{wanted, false};
    if (wanted) {
      const uint64_t count = wanted->count();
      if (count == 0) continue;
      selection.walk = count * rows_per_walked_row < wanted->size();
    }
    const auto done = codes ? read_codes(library, services, column, chunk, selection, out)
                            : read_rows(column, chunk, wanted, out);
    if (!done) return of_column(done.error());
  }
  if (out.present.count() != *rows) read.present = std::move(out.present);
  return read;
}

}  // namespace colx::host
