#include "host/column.h"

#include "host/services.h"

namespace colx::host {

Result<void> check_chunk_rows(uint32_t rows) {
  if (rows >= 1 && rows <= max_chunk_rows) return {};
  return make_error("chunks of %u rows: use 1 to %u", rows, max_chunk_rows);
}

uint32_t ColumnFormat::kernel_bits() const {
  if (encoding != Encoding::fixed) return width_bits;
  return width_bits <= 16 ? width_bits : width_bits <= 32 ? 32 : 64;
}

uint32_t ColumnFormat::length_code_bits() const {
  if (encoding == Encoding::dict) return 0;
  const uint32_t bits = kernel_bits();
  return bits == 16 ? 1 : bits == 32 ? 2 : bits == 64 ? 4 : 0;
}

uint8_t ColumnFormat::key(bool variant) const {
  return colx_column_key(static_cast<uint32_t>(encoding), colx_width_code(kernel_bits()), variant);
}

Result<void> ColumnFormat::check() const {
  switch (encoding) {
    case Encoding::dict:
      if (colx_width_code(width_bits) <= 22) return {};
      return make_error("codes of %u bits have no kernel; use 1 to 20, 24, 32 or 64 bits",
                        width_bits);
    case Encoding::fixed:
      if (width_bits >= 8 && width_bits <= 64 && width_bits % 8 == 0) return {};
      return make_error("fixed rows of %u bits have no kernel; use 1 to 8 whole bytes", width_bits);
    case Encoding::dynp:
      if (width_bits == 16 || width_bits == 32 || width_bits == 64) return {};
      return make_error("dynp rows of up to %u bits have no kernel; use 16, 32 or 64", width_bits);
  }
  return make_error("encoding %u does not exist", static_cast<unsigned>(encoding));
}

DecompressionSlot::~DecompressionSlot() {
  release_cached(copy_);
}

DecompressionSlot::Touch::Touch(DecompressionSlot& slot) : slot_(slot) {
  if (!slot.filled_.load(std::memory_order_acquire))
    lock_ = std::unique_lock<std::mutex>(slot.first_touch_);
}

DecompressionSlot::Touch::~Touch() {
  if (lock_ && slot_.copy_) slot_.filled_.store(true, std::memory_order_release);
}

uint64_t StoredColumn::rows() const {
  uint64_t rows = 0;
  for (const Chunk& chunk : chunks) rows += chunk.rows;
  return rows;
}

uint64_t StoredColumn::stream_bytes() const {
  uint64_t bytes = 0;
  for (const Chunk& chunk : chunks) {
    bytes += chunk.data.size() + chunk.second.size();
    if (chunk.runs) bytes += chunk.runs->lengths.size() + chunk.runs->positions.size();
    if (chunk.reportable) bytes += chunk.reportable->word_count() * sizeof(uint64_t);
  }
  return bytes;
}

Result<void> StoredColumn::set_reportable(const RowBits& reportable) {
  if (reportable.size() != rows())
    return make_error("bits for %llu rows, but the column has %llu",
                      static_cast<unsigned long long>(reportable.size()),
                      static_cast<unsigned long long>(rows()));
  for (size_t index = 0; index < chunks.size(); ++index)
    if (chunks[index].runs)
      return make_error("chunk %zu is run-length coded, where the bits would be taken as runs",
                        index);
  uint64_t row = 0;
  for (Chunk& chunk : chunks) {
    chunk.reportable = RowBits(chunk.rows);
    for (uint32_t in_chunk = 0; in_chunk < chunk.rows; ++in_chunk, ++row)
      if (reportable.test(row)) chunk.reportable->set(in_chunk);
  }
  return {};
}

ChunkVector::ChunkVector(const StoredColumn& column, size_t index)
    : chunk_(column.chunks[index]), run_bits_(chunk_.runs ? chunk_.runs->count : 0) {
  constexpr uint32_t layout_flags[] = {COLX_FIXED, COLX_DICT, 0};
  encoding_.colx_enc_ctx_key = column.format.key();
  encoding_.colx_enc_ctx_width = column.format.width_bits;
  encoding_.colx_enc_ctx_type = column.format.value_type;
  encoding_.colx_enc_ctx_flags = layout_flags[static_cast<size_t>(column.format.encoding)];
  if (column.dictionary) column.dictionary->describe(encoding_);

  // The records have no const members; kernels only read what these point at.
  cv_.colx_cv_data = const_cast<uint8_t*>(chunk_.data.data());
  cv_.colx_cv_aux = const_cast<uint8_t*>(chunk_.second.data());
  cv_.colx_cv_encoding_context = &encoding_;
  if (chunk_.reportable) cv_.colx_cv_nulls = const_cast<uint64_t*>(chunk_.reportable->data());
  cv_.colx_cv_num_of_rows = chunk_.rows;
  if (chunk_.image_bytes) {
    encoding_.colx_enc_ctx_flags |= COLX_COMPRESSED;
    cv_.colx_cv_image_len = chunk_.image_bytes;
    cv_.colx_cv_decomp_slot = chunk_.slot->address();
    cv_.colx_cv_decomp_size = chunk_.image_bytes;
  }
  if (chunk_.runs) {
    const Runs& runs = *chunk_.runs;
    encoding_.colx_enc_ctx_flags |= COLX_RLE;
    encoding_.colx_enc_ctx_rle_runs = runs.lengths.data();
    encoding_.colx_enc_ctx_rle_width = static_cast<uint8_t>(runs.length_bits);
    encoding_.colx_enc_ctx_rle_rows = runs.count;
    encoding_.colx_enc_ctx_rle_cla = runs.positions.size() ? runs.positions.data() : nullptr;
    encoding_.colx_enc_ctx_rle_expand = expand_runs;
    encoding_.colx_enc_ctx_rle_bits = run_bits_.data();
  }
}

}  // namespace colx::host
