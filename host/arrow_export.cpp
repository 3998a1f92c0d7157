#include "host/arrow_export.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "host/arrow_format.h"
#include "host/stream_buffer.h"

namespace colx::host {
namespace {

// What an exported record points at.
template <class Record>
struct Exported {
  std::vector<Record> children;
  std::vector<Record*> child_addresses;
  std::vector<StreamBuffer> buffers;
  std::vector<const void*> buffer_addresses;
  std::string format;
  std::string name;
};

// The release callback of both records. A child that was moved away is released by then.
template <class Record>
void release_exported(Record* record) {
  auto* content = static_cast<Exported<Record>*>(record->private_data);
  for (Record& child : content->children)
    if (child.release) child.release(&child);
  delete content;
  record->release = nullptr;
}

// Gives `record` its content and its children, which it owns from then on.
template <class Record>
void adopt(Record& record, std::unique_ptr<Exported<Record>> content) {
  for (Record& child : content->children) content->child_addresses.push_back(&child);
  record.n_children = static_cast<int64_t>(content->children.size());
  record.children = content->child_addresses.data();
  record.release = release_exported<Record>;
  record.private_data = content.release();
}

ArrowSchemaOwner make_schema(std::string format, const std::string& name, int64_t flags,
                             std::vector<ArrowSchema> children = {}) {
  auto content = std::make_unique<Exported<ArrowSchema>>();
  content->format = std::move(format);
  content->name = name;
  content->children = std::move(children);
  ArrowSchema schema{};
  schema.format = content->format.c_str();
  schema.name = content->name.c_str();
  schema.flags = flags;
  adopt(schema, std::move(content));
  return ArrowSchemaOwner(schema);
}

// `buffers`: the validity bitmap first, without memory where no row is NULL.
ArrowArrayOwner make_array(uint64_t rows, uint64_t nulls, std::vector<StreamBuffer> buffers,
                           std::vector<ArrowArray> children = {}) {
  auto content = std::make_unique<Exported<ArrowArray>>();
  content->buffers = std::move(buffers);
  content->children = std::move(children);
  for (const StreamBuffer& buffer : content->buffers)
    content->buffer_addresses.push_back(buffer.data());
  ArrowArray array{};
  array.length = static_cast<int64_t>(rows);
  array.null_count = static_cast<int64_t>(nulls);
  array.n_buffers = static_cast<int64_t>(content->buffers.size());
  array.buffers = content->buffer_addresses.data();
  adopt(array, std::move(content));
  return ArrowArrayOwner(array);
}

// The bits of all rows, those above them clear; word bit vectors and bitmaps agree byte for byte.
StreamBuffer bitmap_of(const RowBits& bits) {
  StreamBuffer bitmap((bits.size() + 7) / 8);
  std::memcpy(bitmap.data(), bits.data(), bitmap.size());
  if (bits.size() % 8)
    bitmap.data()[bitmap.size() - 1] &= static_cast<uint8_t>((1u << bits.size() % 8) - 1);
  return bitmap;
}

uint64_t most_of_digits(int32_t digits) {
  uint64_t most = 0;
  for (int32_t digit = 0; digit < digits && digit < 19; ++digit) most = most * 10 + 9;
  return most;
}

Result<void> check_integer(const ValueType& type, uint64_t row, int64_t value) {
  const bool is_unsigned = type.kind == ValueKind::unsigned_integer;
  const bool milliseconds = type.kind == ValueKind::date && type.bits == 64;
  constexpr int64_t most_days = std::numeric_limits<int64_t>::max() / 86'400'000;
  const uint32_t unused = type.bits < 64 ? 64 - type.bits : 0;
  const bool fits =
      is_unsigned ? value >= 0 && static_cast<uint64_t>(value) <= ~uint64_t{0} >> unused
      : milliseconds
          ? value <= most_days && value >= -most_days
          : value == static_cast<int64_t>(static_cast<uint64_t>(value) << unused) >> unused;
  if (!fits)
    return make_error("row %llu: %lld does not fit %u bits", static_cast<unsigned long long>(row),
                      static_cast<long long>(value), type.bits);
  const uint64_t size =
      value < 0 ? ~static_cast<uint64_t>(value) + 1 : static_cast<uint64_t>(value);
  if (type.kind == ValueKind::decimal && type.precision < 19 &&
      size > most_of_digits(type.precision))
    return make_error("row %llu: %lld has more than %d digits",
                      static_cast<unsigned long long>(row), static_cast<long long>(value),
                      type.precision);
  return {};
}

Result<std::vector<StreamBuffer>> buffers_of(const DecodedColumn& column,
                                             const std::vector<int64_t>& values) {
  const ValueType& type = column.type;
  const size_t bytes = type.bits / 8;
  StreamBuffer stored(values.size() * bytes);
  for (uint64_t row = 0; row < values.size(); ++row) {
    if (column.is_null(row)) continue;
    if (auto sound = check_integer(type, row, values[row]); !sound) return sound.error();
    int64_t words[4] = {values[row]};
    if (type.kind == ValueKind::date && type.bits == 64) words[0] *= 86'400'000;
    words[1] = words[2] = words[3] = words[0] < 0 ? -1 : 0;
    std::memcpy(stored.data() + row * bytes, words, bytes);
  }
  std::vector<StreamBuffer> buffers(1);
  buffers.push_back(std::move(stored));
  return buffers;
}

Result<std::vector<StreamBuffer>> buffers_of(const DecodedColumn& column,
                                             const std::vector<double>& values) {
  const size_t bytes = column.type.bits / 8;
  StreamBuffer stored(values.size() * bytes);
  for (uint64_t row = 0; row < values.size(); ++row) {
    if (column.is_null(row)) continue;
    const double value = values[row];
    if (bytes == sizeof(double)) {
      std::memcpy(stored.data() + row * bytes, &value, bytes);
      continue;
    }
    if (std::isfinite(value) && std::abs(value) > std::numeric_limits<float>::max())
      return make_error("row %llu: %.17g is no floating number of 32 bits",
                        static_cast<unsigned long long>(row), value);
    const auto number = static_cast<float>(value);
    std::memcpy(stored.data() + row * bytes, &number, bytes);
  }
  std::vector<StreamBuffer> buffers(1);
  buffers.push_back(std::move(stored));
  return buffers;
}

template <class Offset>
std::vector<StreamBuffer> text_buffers(const DecodedColumn& column,
                                       const std::vector<std::string_view>& values, size_t bytes) {
  StreamBuffer offsets((values.size() + 1) * sizeof(Offset));
  StreamBuffer text(bytes);
  size_t at = 0;
  for (uint64_t row = 0; row < values.size(); ++row) {
    if (!column.is_null(row) && !values[row].empty()) {
      std::memcpy(text.data() + at, values[row].data(), values[row].size());
      at += values[row].size();
    }
    const auto end = static_cast<Offset>(at);
    std::memcpy(offsets.data() + (row + 1) * sizeof end, &end, sizeof end);
  }
  std::vector<StreamBuffer> buffers(1);
  buffers.push_back(std::move(offsets));
  buffers.push_back(std::move(text));
  return buffers;
}

Result<std::vector<StreamBuffer>> buffers_of(const DecodedColumn& column,
                                             const std::vector<std::string_view>& values) {
  size_t bytes = 0;
  for (uint64_t row = 0; row < values.size(); ++row)
    if (!column.is_null(row)) bytes += values[row].size();
  if (column.type.bits == 64) return text_buffers<int64_t>(column, values, bytes);
  if (column.type.bits != 32)
    return make_error("text leaves with offsets of 32 or 64 bits, not as views");
  if (bytes > size_t{std::numeric_limits<int32_t>::max()})
    return make_error("%zu bytes of text; offsets of 32 bits reach 2^31 - 1, use 64", bytes);
  return text_buffers<int32_t>(column, values, bytes);
}

Result<std::vector<StreamBuffer>> buffers_of(const DecodedColumn&, const RowBits& values) {
  std::vector<StreamBuffer> buffers(1);
  buffers.push_back(bitmap_of(values));
  return buffers;
}

Result<ArrowBatch> export_column(const DecodedColumn& column) {
  if (!column.values_are_of_their_kind())
    return make_error("the values are of another kind than the type says");
  auto format = arrow_format_of(column.type);
  if (!format) return format.error();
  const uint64_t rows = column.rows();
  if (column.present && column.present->size() != rows)
    return make_error("%llu values come with presence bits for %llu rows",
                      static_cast<unsigned long long>(rows),
                      static_cast<unsigned long long>(column.present->size()));
  auto buffers =
      std::visit([&](const auto& values) { return buffers_of(column, values); }, column.values);
  if (!buffers) return buffers.error();
  const uint64_t nulls = column.present ? rows - column.present->count() : 0;
  if (nulls) buffers->front() = bitmap_of(*column.present);
  return ArrowBatch{make_schema(std::move(*format), column.name, ARROW_FLAG_NULLABLE),
                    make_array(rows, nulls, std::move(*buffers))};
}

}  // namespace

Result<ArrowBatch> export_arrow_column(const DecodedColumn& column) {
  auto batch = export_column(column);
  if (batch) return batch;
  return make_error("column \"%s\": %s", column.name.c_str(), batch.message().c_str());
}

Result<ArrowBatch> export_arrow(std::span<const DecodedColumn> columns) {
  const uint64_t rows = columns.empty() ? 0 : columns.front().rows();
  std::vector<ArrowBatch> batches;
  for (const DecodedColumn& column : columns) {
    if (column.rows() != rows)
      return make_error("column \"%s\" has %llu rows, column \"%s\" %llu", column.name.c_str(),
                        static_cast<unsigned long long>(column.rows()),
                        columns.front().name.c_str(), static_cast<unsigned long long>(rows));
    auto batch = export_arrow_column(column);
    if (!batch) return batch.error();
    batches.push_back(std::move(batch).value());
  }
  std::vector<ArrowSchema> schemas(columns.size());
  std::vector<ArrowArray> arrays(columns.size());
  for (size_t child = 0; child < columns.size(); ++child) {
    batches[child].schema.move_to(schemas[child]);
    batches[child].array.move_to(arrays[child]);
  }
  return ArrowBatch{make_schema("+s", "", 0, std::move(schemas)),
                    make_array(rows, 0, std::vector<StreamBuffer>(1), std::move(arrays))};
}

}  // namespace colx::host
