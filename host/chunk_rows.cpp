#include "host/chunk_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>
#include <optional>
#include <utility>

namespace colx::host {
namespace {

// Below these parts of a chunk's rows walking the rows that are left beats reading all of them.
constexpr uint32_t rows_per_scanned_row = 64;
constexpr uint32_t rows_per_looked_up_row = 12;
constexpr uint32_t rows_per_unpacked_row = 16;

uint32_t rows_per_walked_row(const PreparedScan&) {
  return rows_per_scanned_row;
}
uint32_t rows_per_walked_row(const CodeSet&) {
  return rows_per_looked_up_row;
}

// Unpacking stores whole blocks while a block's room is left.
constexpr uint32_t block_room = 128;

// A row of `Bytes` big-endian bytes, as 8 big-endian bytes. Reads 4 bytes, in the stream's slack
// behind the last row.
template <uint32_t Bytes>
void pick(const uint8_t* data, std::span<const uint32_t> rows, uint64_t* numbers) {
  static_assert(std::endian::native == std::endian::little);
  for (size_t i = 0; i < rows.size(); ++i) {
    uint32_t row;
    std::memcpy(&row, data + size_t{rows[i]} * Bytes, sizeof row);
    numbers[i] = uint64_t{row} << (64 - 8 * Bytes);
  }
}

}  // namespace

void ChunkRows::start(size_t chunk, uint32_t rows) {
  chunk_ = chunk;
  if (bits_.size() != rows) {
    bits_ = RowBits(rows);
    found_ = RowBits(rows);
  }
  set_count(rows);
}

void ChunkRows::set_count(uint32_t count) {
  count_ = count;
  rows_listed_ = false;
}

Selection ChunkRows::selection(uint32_t rows_per_walked_row) const {
  if (all()) return {};
  return {&bits_, uint64_t{count_} * rows_per_walked_row < chunk_rows()};
}

template <class Filter>
Result<void> ChunkRows::keep_found(const Filter& filter) {
  if (count_ == 0) return {};
  const std::vector<Chunk>& chunks = filter.column().chunks;
  const bool in_runs = chunk_ < chunks.size() && chunks[chunk_].runs.has_value();
  const Selection among = in_runs ? Selection{} : selection(rows_per_walked_row(filter));
  const auto found = CallMeter::measure(meter_, filter.slot(), chunk_rows(), [&] {
    return filter.run(chunk_, found_, *services_, among);
  });
  if (!found) return found.error();
  uint32_t count = *found;
  if (all() || among.rows) {
    std::swap(bits_, found_);
  } else {
    library_->record().colx_sctx_lbiwvand(bits_.data(), &count, bits_.data(), found_.data(),
                                          bits_.size());
  }
  set_count(count);
  return {};
}

template Result<void> ChunkRows::keep_found(const PreparedScan&);
template Result<void> ChunkRows::keep_found(const CodeSet&);

std::span<const uint32_t> ChunkRows::rows() {
  if (!rows_listed_) {
    rows_.resize(count_);
    if (all()) {
      std::iota(rows_.begin(), rows_.end(), 0);
    } else if (count_ != 0) {
      const colx_specialized_ctx& record = library_->record();
      colx_lbiwv_ictx walk;
      record.colx_sctx_lbiwv_ictx_ini2(&walk, bits_.data(), bits_.size(), 0, 0);
      rows_.resize(record.colx_sctx_lbiwvones(&walk, rows_.data(), rows_.size()));
    }
    rows_listed_ = true;
  }
  return rows_;
}

void ChunkRows::keep_positions(std::span<const uint32_t> positions) {
  if (positions.size() == count_) return;
  rows();
  found_.clear_all();
  for (size_t i = 0; i < positions.size(); ++i) {
    rows_[i] = rows_[positions[i]];
    found_.set(rows_[i]);
  }
  rows_.resize(positions.size());
  std::swap(bits_, found_);
  count_ = static_cast<uint32_t>(positions.size());
}

Result<CodeUnpack> CodeUnpack::bind(const Library& library, const StoredColumn& column) {
  if (column.format.encoding != Encoding::dict)
    return make_error("only columns of dictionary codes are unpacked");
  const uint8_t key = column.format.key();
  auto kernel = library.decode_kernel(COLX_OPC_DECODE_UNPACK, key);
  if (!kernel) return kernel.error();
  CodeUnpack unpack;
  unpack.column_ = &column;
  unpack.kernel_ = *kernel;
  unpack.kernel_name_ = library.kernel_name(COLX_OPC_DECODE_UNPACK, key);
  unpack.slot_ = colx_column_index(COLX_OPC_DECODE_UNPACK, key);
  return unpack;
}

Result<std::span<const uint32_t>> CodeUnpack::run(const ChunkRows& rows,
                                                  std::vector<uint32_t>& codes) const {
  if (rows.count() == 0) return std::span<const uint32_t>{};
  if (rows.chunk() >= column_->chunks.size() ||
      column_->chunks[rows.chunk()].rows != rows.chunk_rows())
    return make_error("the column's chunk %zu has other rows than the filtered one", rows.chunk());
  const uint32_t room = rows.count() + block_room;
  if (codes.size() < room) codes.resize(room);
  ChunkVector source(*column_, rows.chunk());
  colx_cv result{};
  result.colx_cv_data = codes.data();
  result.colx_cv_num_of_rows = room;
  colx_kctx kctx{};
  kctx.colx_kctx_env = rows.services().env();
  kctx.colx_kctx_flags = COLX_KCTX_WIDE_CODES;
  const Selection selection = rows.selection(rows_per_unpacked_row);
  // Kernels only read a selection; the record has no const members.
  if (selection.rows) kctx.colx_kctx_selection = const_cast<uint64_t*>(selection.rows->data());
  if (selection.walk) kctx.colx_kctx_flags |= COLX_KCTX_SELECTIVE;
  std::optional<DecompressionSlot::Touch> touch;
  if (source.chunk().image_bytes) touch.emplace(*source.chunk().slot);
  const uint32_t status = CallMeter::measure(rows.meter(), slot_, rows.chunk_rows(),
                                             [&] { return kernel_(&result, source.cv(), &kctx); });
  if (status != COLX_DONE || result.colx_cv_num_set != rows.count())
    return make_error("%s returned status %u and %u codes for %u rows of chunk %zu", kernel_name_,
                      status, result.colx_cv_num_set, rows.count(), rows.chunk());
  return std::span<const uint32_t>{codes.data(), rows.count()};
}

Result<std::span<const uint64_t>> pick_numbers(ChunkRows& rows, const StoredColumn& column,
                                               std::vector<uint64_t>& numbers) {
  const ColumnFormat& format = column.format;
  if (format.encoding != Encoding::fixed || format.width_bits > 32)
    return make_error("numbers are picked out of columns of fixed rows of 1 to 4 bytes");
  if (rows.chunk() >= column.chunks.size() ||
      column.chunks[rows.chunk()].rows != rows.chunk_rows() ||
      column.chunks[rows.chunk()].image_bytes || column.chunks[rows.chunk()].runs)
    return make_error(
        "the column's chunk %zu is compressed, in runs or has other rows than the filtered one",
        rows.chunk());
  if (numbers.size() < rows.count()) numbers.resize(rows.count());
  constexpr decltype(&pick<1>) picks[] = {pick<1>, pick<2>, pick<3>, pick<4>};
  picks[format.width_bits / 8 - 1](column.chunks[rows.chunk()].data.data(), rows.rows(),
                                   numbers.data());
  return std::span<const uint64_t>{numbers.data(), rows.count()};
}

}  // namespace colx::host
