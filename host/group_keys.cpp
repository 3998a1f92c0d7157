#include "host/group_keys.h"

#include <memory>

namespace colx::host {
namespace {

// Codes of the later columns, unpacked so many at a time: two such arrays stay in a first-level
// cache.
constexpr uint32_t scratch_codes = 2048;

Result<void> check_column(const std::vector<const StoredColumn*>& columns, size_t index) {
  if (!columns[index]) return make_error("column %zu is null", index);
  const StoredColumn& column = *columns[index];
  const StoredColumn& first = *columns[0];
  if (column.format.encoding != Encoding::dict || column.format.width_bits > 32)
    return make_error("column %zu holds no dictionary codes of up to 32 bits", index);
  if (!column.dictionary)
    return make_error("column %zu has no dictionary, which says how many codes there are", index);
  if (column.chunks.size() != first.chunks.size())
    return make_error("column %zu has %zu chunks, column 0 has %zu", index, column.chunks.size(),
                      first.chunks.size());
  for (size_t chunk = 0; chunk < column.chunks.size(); ++chunk)
    if (column.chunks[chunk].rows != first.chunks[chunk].rows)
      return make_error("chunk %zu of column %zu has %u rows, that of column 0 has %u", chunk,
                        index, column.chunks[chunk].rows, first.chunks[chunk].rows);
  return {};
}

}  // namespace

Result<GroupKeys> GroupKeys::bind(const Library& library, HostServices& services,
                                  std::vector<const StoredColumn*> columns,
                                  KeyComposition composition) {
  if (columns.empty()) return make_error("group keys of no columns: give one or more");
  GroupKeys keys;
  keys.groupkey_ = library.record().colx_sctx_groupkey;
  if (!keys.groupkey_) return make_error("%s: has no colx_groupkey_dydi", library.file().c_str());
  uint64_t space = 1;
  for (size_t index = 0; index < columns.size(); ++index) {
    if (auto sound = check_column(columns, index); !sound) return sound.error();
    auto unpack = library.decode_kernel(COLX_OPC_DECODE_UNPACK, columns[index]->format.key());
    if (!unpack) return unpack.error();
    const uint64_t codes = columns[index]->dictionary->num_symbols();
    space = composition == KeyComposition::multiplied
                ? space * codes
                : ((space - 1) << columns[index]->format.width_bits) + codes;
    if (space > UINT32_MAX)
      return make_error("columns 0 to %zu have more than 2^32 - 1 group keys; group by fewer",
                        index);
  }
  keys.services_ = &services;
  keys.columns_ = std::move(columns);
  keys.composition_ = composition;
  keys.key_space_ = static_cast<uint32_t>(space);
  return keys;
}

uint32_t GroupKeys::codes(size_t column) const {
  return columns_[column]->dictionary->num_symbols();
}

uint32_t GroupKeys::place(size_t column) const {
  uint32_t place = 1;
  for (size_t later = column + 1; later < columns_.size(); ++later)
    place *= composition_ == KeyComposition::multiplied
                 ? codes(later)
                 : uint32_t{1} << columns_[later]->format.width_bits;
  return place;
}

Result<void> GroupKeys::check(size_t chunk, size_t room, const RowBits* selection) const {
  const auto& chunks = columns_[0]->chunks;
  if (chunk >= chunks.size())
    return make_error("chunk %zu of columns with %zu chunks", chunk, chunks.size());
  const uint32_t rows = chunks[chunk].rows;
  if (selection && selection->size() != rows)
    return make_error("chunk %zu has %u rows, the selection %llu", chunk, rows,
                      static_cast<unsigned long long>(selection->size()));
  const uint64_t wanted = selection ? selection->count() : rows;
  if (room < wanted)
    return make_error("%llu keys want room, there is room for %zu",
                      static_cast<unsigned long long>(wanted), room);
  return {};
}

Result<uint32_t> GroupKeys::run(size_t chunk, std::span<uint32_t> keys,
                                const RowBits* selection) const {
  if (auto sound = check(chunk, keys.size(), selection); !sound) return sound.error();
  std::vector<std::unique_ptr<ChunkVector>> sources;
  std::vector<std::unique_ptr<DecompressionSlot::Touch>> touches;
  std::vector<colx_cv> vectors;
  for (const StoredColumn* column : columns_) {
    sources.push_back(std::make_unique<ChunkVector>(*column, chunk));
    vectors.push_back(*sources.back()->cv());
    const Chunk& part = sources.back()->chunk();
    if (part.image_bytes) touches.push_back(std::make_unique<DecompressionSlot::Touch>(*part.slot));
  }
  uint32_t codes[scratch_codes];
  colx_cv scratch{};
  scratch.colx_cv_data = codes;
  scratch.colx_cv_num_of_rows = scratch_codes;
  colx_cv result{};
  result.colx_cv_data = keys.data();
  result.colx_cv_num_of_rows =
      static_cast<uint32_t>(keys.size() < UINT32_MAX ? keys.size() : UINT32_MAX);
  colx_kctx kctx{};
  kctx.colx_kctx_env = services_->env();
  if (composition_ == KeyComposition::multiplied) kctx.colx_kctx_flags = COLX_KCTX_MULTIPLY_KEYS;
  // Kernels only read a selection; the record has no const members.
  if (selection) kctx.colx_kctx_selection = const_cast<uint64_t*>(selection->data());
  uint32_t key_space;
  const uint32_t status = groupkey_(&result, &key_space, vectors.data(),
                                    static_cast<uint32_t>(vectors.size()), &scratch, &kctx);
  // Out of room only says that rows are left behind the last selected one.
  if (status != COLX_DONE && status != COLX_OUT_OF_ROOM)
    return make_error("colx_groupkey_dydi returned status %u for chunk %zu", status, chunk);
  return result.colx_cv_num_set;
}

}  // namespace colx::host
