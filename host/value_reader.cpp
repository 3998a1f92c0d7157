#include "host/value_reader.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace colx::host {

Result<ChunkReader> ChunkReader::open(const Library& library, HostServices& services,
                                      const StoredColumn& column, size_t chunk,
                                      Selection selection) {
  const ColumnFormat& format = column.format;
  if (format.encoding != Encoding::dict)
    return make_error("only columns of dictionary codes are decoded");
  if (chunk >= column.chunks.size())
    return make_error("chunk %zu of a column with %zu chunks", chunk, column.chunks.size());
  if (selection.rows && selection.rows->size() != column.chunks[chunk].rows)
    return make_error("chunk %zu has %u rows, the selection %llu", chunk, column.chunks[chunk].rows,
                      static_cast<unsigned long long>(selection.rows->size()));
  auto unpack = library.decode_kernel(COLX_OPC_DECODE_UNPACK, format.key());
  if (!unpack) return unpack.error();

  ChunkReader reader;
  reader.column_ = &column;
  reader.unpack_ = *unpack;
  if (column.dictionary) {
    auto decode = library.decode_kernel(COLX_OPC_DECODE, format.key());
    if (!decode) return decode.error();
    reader.decode_ = *decode;
    // Codes are unpacked to 4 bytes, whatever their width.
    auto symbols = library.decode_kernel(COLX_OPC_DECODE_SYMBOL,
                                         colx_column_key(COLX_ENC_DICT, colx_width_code(32), 0));
    if (!symbols) return symbols.error();
    reader.symbols_ = *symbols;
  }
  reader.vector_ = std::make_unique<ChunkVector>(column, chunk);
  reader.kctx_.colx_kctx_env = services.env();
  reader.kctx_.colx_kctx_flags = COLX_KCTX_WIDE_CODES;
  if (selection.rows) {
    // Kernels only read a selection; the record has no const members.
    reader.kctx_.colx_kctx_selection = const_cast<uint64_t*>(selection.rows->data());
    if (selection.walk) reader.kctx_.colx_kctx_flags |= COLX_KCTX_SELECTIVE;
  }
  return reader;
}

void ChunkReader::make_room(size_t values) {
  codes_.resize(std::max(codes_.size(), values));
  data_.resize(std::max(data_.size(), values));
  lengths_.resize(std::max(lengths_.size(), values));
  flags_.resize(std::max(flags_.size(), values));
}

ValueBatch ChunkReader::batch(size_t values) const {
  return {{}, {data_.data(), values}, {lengths_.data(), values}, {flags_.data(), values}};
}

Result<void> ChunkReader::call(colx_decode_fn kernel, colx_cv& res, colx_kctx& kctx) {
  std::optional<DecompressionSlot::Touch> touch;
  if (vector_->chunk().image_bytes) touch.emplace(*vector_->chunk().slot);
  const uint32_t status = kernel(&res, vector_->cv(), &kctx);
  if (status == COLX_DONE || status == COLX_NOTHING_FOUND) return {};
  return make_error("a decoder of %u-bit codes returned status %u", column_->format.width_bits,
                    status);
}

Result<std::span<const uint32_t>> ChunkReader::next_codes(uint32_t at_most) {
  if (at_most == 0) return make_error("a batch of 0 codes was asked for; ask for 1 or more");
  if (next_row_ >= vector_->chunk().rows) return std::span<const uint32_t>{};
  make_room(at_most);
  colx_cv res{};
  res.colx_cv_data = codes_.data();
  res.colx_cv_num_of_rows = at_most;
  kctx_.colx_kctx_position = next_row_;
  if (auto done = call(unpack_, res, kctx_); !done) return done.error();
  // The position is the last row that was looked at.
  next_row_ = kctx_.colx_kctx_position + 1;
  return std::span<const uint32_t>{codes_.data(), res.colx_cv_num_set};
}

// Looks up the first `count` codes in the dictionary.
Result<void> ChunkReader::resolve(uint32_t count) {
  colx_cv codes{}, res{};
  codes.colx_cv_data = codes_.data();
  codes.colx_cv_num_of_rows = count;
  codes.colx_cv_encoding_context = vector_->encoding();
  res.colx_cv_data = data_.data();
  res.colx_cv_aux = lengths_.data();
  res.colx_cv_row_flags = flags_.data();
  colx_kctx kctx{};
  kctx.colx_kctx_env = kctx_.colx_kctx_env;
  kctx.colx_kctx_flags = COLX_KCTX_WIDE_CODES;
  const uint32_t status = symbols_(&res, &codes, &kctx);
  if (status == COLX_DONE) return {};
  return make_error("the symbol decoder returned status %u", status);
}

Result<ValueBatch> ChunkReader::next(uint32_t at_most) {
  if (!symbols_) return make_error("the column's codes have no dictionary; read next_codes()");
  auto codes = next_codes(at_most);
  if (!codes) return codes.error();
  if (auto done = resolve(static_cast<uint32_t>(codes->size())); !done) return done.error();
  ValueBatch values = batch(codes->size());
  values.codes = *codes;
  return values;
}

Result<ValueBatch> ChunkReader::rows(std::span<const uint32_t> rows) {
  if (!symbols_) return make_error("the column's codes have no dictionary");
  const Chunk& chunk = vector_->chunk();
  for (size_t i = 0; i < rows.size(); ++i) {
    if (rows[i] >= chunk.rows)
      return make_error("entry %zu asks for row %u of a chunk of %u rows", i, rows[i], chunk.rows);
    if (chunk.runs && i > 0 && rows[i] < rows[i - 1])
      return make_error("entry %zu asks for row %u behind row %u; rows of a run-length chunk rise",
                        i, rows[i], rows[i - 1]);
  }
  if (rows.empty()) return batch(0);  // decoders read the last entry of a list unasked
  make_room(rows.size());
  colx_kctx kctx{};
  kctx.colx_kctx_env = kctx_.colx_kctx_env;
  kctx.colx_kctx_flags = COLX_KCTX_WIDE_CODES;
  kctx.colx_kctx_rows = rows.data();
  kctx.colx_kctx_num_rows = static_cast<uint32_t>(rows.size());
  colx_cv res{};
  if (!chunk.runs) {
    res.colx_cv_data = data_.data();
    res.colx_cv_aux = lengths_.data();
    res.colx_cv_row_flags = flags_.data();
    if (auto done = call(decode_, res, kctx); !done) return done.error();
    return batch(rows.size());
  }
  // `decode` takes a row for a run: runs are unpacked by rows, then resolved.
  res.colx_cv_data = codes_.data();
  res.colx_cv_num_of_rows = static_cast<uint32_t>(rows.size());
  if (auto done = call(unpack_, res, kctx); !done) return done.error();
  if (auto done = resolve(static_cast<uint32_t>(rows.size())); !done) return done.error();
  return batch(rows.size());
}

Result<ColumnReader> ColumnReader::open(const Library& library, HostServices& services,
                                        const StoredColumn& column, uint32_t batch_rows) {
  if (!column.dictionary) return make_error("the column's codes have no dictionary");
  if (batch_rows == 0) return make_error("batches of 0 rows: use 1 or more");
  ColumnReader reader;
  reader.library_ = &library;
  reader.services_ = &services;
  reader.column_ = &column;
  reader.batch_rows_ = batch_rows;
  if (column.chunks.empty()) return reader;
  auto first = ChunkReader::open(library, services, column, 0);
  if (!first) return first.error();
  reader.chunk_ = std::make_unique<ChunkReader>(std::move(first).value());
  reader.next_chunk_ = 1;
  return reader;
}

Result<ValueBatch> ColumnReader::next() {
  while (chunk_) {
    auto values = chunk_->next(batch_rows_);
    if (!values || values->size()) return values;
    chunk_.reset();
    if (next_chunk_ == column_->chunks.size()) break;
    auto chunk = ChunkReader::open(*library_, *services_, *column_, next_chunk_++);
    if (!chunk) return chunk.error();
    chunk_ = std::make_unique<ChunkReader>(std::move(chunk).value());
  }
  return ValueBatch{};
}

}  // namespace colx::host
