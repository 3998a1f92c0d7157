#include "host/arrow_import.h"

#include <string_view>

#include "host/arrow_reader.h"

namespace colx::host {
namespace {

Result<TypedColumn> import_slices(const ArrowSchema& schema, std::span<const ArrowSlice> slices,
                                  const TypedColumnOptions& options) {
  auto decoded = read_arrow(schema, slices);
  if (!decoded)
    return make_error("column \"%s\": %s", schema.name ? schema.name : "",
                      decoded.message().c_str());
  if (decoded->type.bits == 128 && decoded->type.kind == ValueKind::text) decoded->type.bits = 32;
  return store_typed_column(*decoded, options);
}

Result<void> check_struct(const ArrowSchema& schema, const ArrowArray& rows) {
  if (!rows.release) return make_error("a batch of rows is released");
  if (rows.n_children != schema.n_children || (rows.n_children > 0 && !rows.children))
    return make_error("a batch has %lld columns, its schema %lld",
                      static_cast<long long>(rows.n_children),
                      static_cast<long long>(schema.n_children));
  if (rows.length < 0 || rows.offset < 0)
    return make_error("a batch of %lld rows at offset %lld", static_cast<long long>(rows.length),
                      static_cast<long long>(rows.offset));
  if (rows.null_count > 0 && (rows.n_buffers < 1 || !rows.buffers || !rows.buffers[0]))
    return make_error("a batch has %lld NULL rows, but no validity bitmap",
                      static_cast<long long>(rows.null_count));
  for (int64_t child = 0; child < rows.n_children; ++child)
    if (!rows.children[child] || !schema.children[child])
      return make_error("column %lld of a batch is missing", static_cast<long long>(child));
  return {};
}

// A column's rows of a batch: an offset of the batch counts for its children, too.
ArrowSlice child_slice(const ArrowArray& rows, int64_t child) {
  const bool nullable = rows.null_count != 0 && rows.n_buffers > 0 && rows.buffers;
  return {rows.children[child], rows.offset, rows.length,
          nullable ? static_cast<const uint8_t*>(rows.buffers[0]) : nullptr, rows.offset};
}

}  // namespace

Result<TypedColumn> import_arrow_column(const ArrowSchema& schema,
                                        std::span<const ArrowArray* const> batches,
                                        const TypedColumnOptions& options) {
  std::vector<ArrowSlice> slices;
  for (const ArrowArray* batch : batches) slices.push_back(whole_array(*batch));
  return import_slices(schema, slices, options);
}

Result<std::vector<TypedColumn>> import_arrow_table(const ArrowSchema& schema,
                                                    std::span<const ArrowArray* const> batches,
                                                    std::span<const TypedColumnOptions> options) {
  if (!schema.release || !schema.format) return make_error("the schema is released");
  if (std::string_view(schema.format) != "+s" || schema.n_children < 0 ||
      (schema.n_children > 0 && !schema.children))
    return make_error("the format \"%s\" with %lld children is no table; a struct is \"+s\"",
                      schema.format, static_cast<long long>(schema.n_children));
  const auto columns = static_cast<size_t>(schema.n_children);
  if (!options.empty() && options.size() != columns)
    return make_error("options for %zu columns, but there are %zu", options.size(), columns);
  for (const ArrowArray* batch : batches)
    if (auto sound = check_struct(schema, *batch); !sound) return sound.error();
  std::vector<TypedColumn> table;
  for (size_t child = 0; child < columns; ++child) {
    std::vector<ArrowSlice> slices;
    for (const ArrowArray* batch : batches)
      slices.push_back(child_slice(*batch, static_cast<int64_t>(child)));
    auto column = import_slices(*schema.children[child], slices,
                                options.empty() ? TypedColumnOptions{} : options[child]);
    if (!column) return column.error();
    table.push_back(std::move(column).value());
  }
  return table;
}

std::vector<const ArrowArray*> records_of(std::span<const ArrowArrayOwner> owners) {
  std::vector<const ArrowArray*> records;
  for (const ArrowArrayOwner& owner : owners) records.push_back(&*owner);
  return records;
}

}  // namespace colx::host
