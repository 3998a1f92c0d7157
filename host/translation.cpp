#include "host/translation.h"

#include <algorithm>

#include "host/big_endian.h"

namespace colx::host {

Result<KeyColumn> KeyColumn::of(const StoredColumn& column) {
  if (column.format.encoding != Encoding::fixed || column.format.width_bits != 32)
    return make_error(
        "keys to translate are fixed rows of 32 bits; store them with "
        "store_fixed_numbers() and a width of 4 bytes");
  KeyColumn keys;
  keys.column_ = &column;
  uint32_t first = UINT32_MAX;
  for (size_t index = 0; index < column.chunks.size(); ++index) {
    const Chunk& chunk = column.chunks[index];
    if (chunk.image_bytes)
      return make_error("chunk %zu is compressed; translation reads plain rows", index);
    for (uint32_t row = 0; row < chunk.rows; ++row) {
      const auto key =
          static_cast<uint32_t>(load_big_endian(chunk.data.data() + size_t{row} * 4, 4));
      first = std::min(first, key);
      keys.last_ = std::max(keys.last_, key);
    }
  }
  keys.first_ = std::min(first, keys.last_);
  return keys;
}

Result<Translation> Translation::bind(const Library& library, const KeyColumn& keys,
                                      const TranslationTable& table, Output output) {
  const bool with_codes = output == Output::rows_and_codes;
  if (keys.column().rows() != 0 && !(table.covers(keys.first()) && table.covers(keys.last())))
    return make_error("the column's keys go from %u to %u, the table's from %u to %u", keys.first(),
                      keys.last(), table.first_key(), table.last_key());
  if (with_codes && table.element() == ElementWidth::one_bit)
    return make_error("a table of single bits has no codes to write; use 4 bits or more");
  const uint8_t key =
      colx_column_key(static_cast<uint32_t>(table.form()), static_cast<uint32_t>(table.element()),
                      with_codes ? COLX_FORM_VARIANT : COLX_FORM_PLAIN);
  auto kernel = library.binary_kernel(COLX_OPC_XLATE, key);
  if (!kernel) return kernel.error();
  Translation translation;
  translation.column_ = &keys.column();
  translation.table_ = &table;
  translation.kernel_ = *kernel;
  translation.kernel_name_ = library.kernel_name(COLX_OPC_XLATE, key);
  translation.with_codes_ = with_codes;
  return translation;
}

Result<TranslatedRows> Translation::run(size_t chunk, RowBits& hits, std::span<uint8_t> codes,
                                        const RowBits* selection) const {
  if (chunk >= column_->chunks.size())
    return make_error("chunk %zu of a column with %zu chunks", chunk, column_->chunks.size());
  const uint32_t rows = column_->chunks[chunk].rows;
  if (hits.size() != rows || (selection && selection->size() != rows))
    return make_error("chunk %zu has %u rows, the result room for %llu, the selection %llu", chunk,
                      rows, static_cast<unsigned long long>(hits.size()),
                      static_cast<unsigned long long>(selection ? selection->size() : rows));
  if (with_codes_ && codes.size() < code_bytes(rows))
    return make_error("the codes of %u rows take %zu bytes, there is room for %zu", rows,
                      code_bytes(rows), codes.size());

  ChunkVector source(*column_, chunk);
  source.encoding()->colx_enc_ctx_flags |= COLX_HASH_VALUES;
  colx_kctx kctx{};
  colx_cv table;
  colx_enc_ctx table_encoding;
  table_->describe(table, table_encoding, kctx);
  if (with_codes_) kctx.colx_kctx_xlate_out = codes.data();
  // Kernels only read a selection; the record has no const members.
  if (selection) kctx.colx_kctx_selection = const_cast<uint64_t*>(selection->data());
  uint32_t ends[2];
  hits.clear_all();
  colx_cv result{};
  result.colx_cv_bits = hits.data();
  result.colx_cv_data = ends;
  const uint32_t status = kernel_(&result, source.cv(), &table, &kctx);
  if (status != COLX_DONE && status != COLX_NOTHING_FOUND)
    return make_error("%s returned status %u for chunk %zu", kernel_name_, status, chunk);
  return TranslatedRows{result.colx_cv_num_set, ends[0], ends[1]};
}

Result<void> add_group_share(const Library& library, const TranslationTable& table,
                             std::span<const uint32_t> codes, uint32_t multiplier,
                             std::span<uint32_t> keys) {
  if (table.form() != TableForm::flat || table.element() == ElementWidth::one_bit)
    return make_error("group keys are translated through flat tables of 4 bits or more");
  if (codes.size() != keys.size() || keys.size() > UINT32_MAX)
    return make_error("%zu codes for %zu group keys", codes.size(), keys.size());
  uint32_t largest = 0;
  for (const uint32_t code : codes) largest = std::max(largest, code);
  if (!codes.empty() && largest >= table.size()) {
    const auto row = std::find(codes.begin(), codes.end(), largest) - codes.begin();
    return make_error("row %td has code %u, but the table ends at %u", row, largest,
                      table.last_key());
  }
  auto kernel = library.binary_kernel(
      COLX_OPC_XLATE, colx_column_key(COLX_XLATE_GROUPKEY, static_cast<uint32_t>(table.element()),
                                      COLX_FORM_VARIANT));
  if (!kernel) return kernel.error();
  colx_cv result{}, source{};
  result.colx_cv_data = keys.data();
  // Kernels only read codes and table; the records have no const members.
  source.colx_cv_data = const_cast<uint32_t*>(codes.data());
  source.colx_cv_num_of_rows = static_cast<uint32_t>(codes.size());
  colx_kctx kctx{};
  kctx.colx_kctx_xlate_out = const_cast<void*>(table.elements());
  kctx.colx_kctx_multiplier = multiplier;
  (*kernel)(&result, &source, nullptr, &kctx);
  return {};
}

}  // namespace colx::host
