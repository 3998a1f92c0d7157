#include "host/code_set.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace colx::host {

Result<CodeSet> CodeSet::bind(const Library& library, const StoredColumn& column,
                              const RowBits& codes) {
  if (column.format.encoding != Encoding::dict || !column.dictionary)
    return make_error("a set of codes needs a column with a dictionary");
  if (codes.size() != column.dictionary->num_symbols())
    return make_error("bits for %llu codes, but the dictionary has %u",
                      static_cast<unsigned long long>(codes.size()),
                      column.dictionary->num_symbols());
  const uint8_t key = column.format.key();
  auto kernel = library.binary_kernel(COLX_OPC_SET, key);
  if (!kernel) return kernel.error();
  CodeSet set;
  set.column_ = &column;
  set.kernel_ = *kernel;
  set.kernel_name_ = library.kernel_name(COLX_OPC_SET, key);
  set.slot_ = colx_column_index(COLX_OPC_SET, key);
  // A bit for every code of the width, in whole words: kernels of narrow codes read all of them,
  // whatever the codes are. Those of wide ones look up the codes that occur.
  const uint32_t width_bits = std::min(column.format.width_bits, 20u);
  set.codes_ = RowBits(std::max(codes.size(), uint64_t{1} << width_bits));
  std::ranges::copy(codes.words(), set.codes_.words().begin());
  return set;
}

Result<uint32_t> CodeSet::run(size_t chunk, RowBits& hits, HostServices& services,
                              Selection selection) const {
  if (chunk >= column_->chunks.size())
    return make_error("chunk %zu of a column with %zu chunks", chunk, column_->chunks.size());
  ChunkVector source(*column_, chunk);
  const Chunk& part = source.chunk();
  if (hits.size() != part.rows || (selection.rows && selection.rows->size() != part.rows))
    return make_error(
        "chunk %zu has %u rows, the result room for %llu, the selection %llu", chunk, part.rows,
        static_cast<unsigned long long>(hits.size()),
        static_cast<unsigned long long>(selection.rows ? selection.rows->size() : part.rows));
  if (selection.rows && part.runs)
    return make_error(
        "chunk %zu is run-length coded, where a selection would be taken as one of "
        "runs; look the set up without it and combine the results",
        chunk);
  colx_cv result{}, codes{};
  result.colx_cv_bits = hits.data();
  result.colx_cv_num_of_rows = part.rows;
  // Kernels only read the codes and a selection; the records have no const members.
  codes.colx_cv_bits = const_cast<uint64_t*>(codes_.data());
  colx_kctx kctx{};
  kctx.colx_kctx_env = services.env();
  if (selection.rows) kctx.colx_kctx_selection = const_cast<uint64_t*>(selection.rows->data());
  if (selection.rows && selection.walk) kctx.colx_kctx_flags = COLX_KCTX_SELECTIVE;
  std::optional<DecompressionSlot::Touch> touch;
  if (part.image_bytes) touch.emplace(*part.slot);
  const uint32_t status = kernel_(&result, source.cv(), &codes, &kctx);
  if (status != COLX_DONE && status != COLX_NOTHING_FOUND)
    return make_error("%s returned status %u for chunk %zu", kernel_name_, status, chunk);
  return result.colx_cv_num_set;
}

}  // namespace colx::host
