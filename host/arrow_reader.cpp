#include "host/arrow_reader.h"

#include <cstring>
#include <limits>
#include <utility>

#include "host/arrow_format.h"

namespace colx::host {
namespace {

template <class T>
T load_at(const void* buffer, int64_t index) {
  T value;
  std::memcpy(&value, static_cast<const char*>(buffer) + static_cast<size_t>(index) * sizeof(T),
              sizeof(T));
  return value;
}

bool bit_at(const void* bitmap, int64_t index) {
  return load_at<uint8_t>(bitmap, index / 8) >> (index % 8) & 1;
}

// The buffers of one slice and where its values go: from row `at` of the column on.
struct Source {
  const ArrowSlice& slice;
  const ValueType& type;
  uint64_t at;
  RowBits& present;

  const ArrowArray& array() const { return *slice.array; }
  int64_t start() const { return array().offset + slice.first; }  // the slice in the buffers
  const void* buffer(int64_t index) const { return array().buffers[index]; }
  size_t row(int64_t index) const { return static_cast<size_t>(at) + static_cast<size_t>(index); }
};

// Marks the rows that have a value.
void read_validity(const Source& source) {
  const void* bitmap = source.array().null_count == 0 ? nullptr : source.buffer(0);
  const ArrowSlice& slice = source.slice;
  for (int64_t i = 0; i < slice.rows; ++i) {
    if (bitmap && !bit_at(bitmap, source.start() + i)) continue;
    if (slice.row_validity && !bit_at(slice.row_validity, slice.row_validity_offset + i)) continue;
    source.present.set(source.row(i));
  }
}

// Calls take(row, index in the buffers) for the rows that have a value, until one fails.
template <class Take>
Result<void> for_present(const Source& source, Take take) {
  for (int64_t i = 0; i < source.slice.rows; ++i) {
    if (!source.present.test(source.row(i))) continue;
    if (auto taken = take(source.row(i), source.start() + i); !taken) return taken;
  }
  return {};
}

template <class Stored, class Value>
Result<void> read_plain(const Source& source, std::vector<Value>& values) {
  return for_present(source, [&](size_t row, int64_t index) -> Result<void> {
    values[row] = static_cast<Value>(load_at<Stored>(source.buffer(1), index));
    return {};
  });
}

Result<void> read_signed_bytes(const Source& source, std::vector<int64_t>& values) {
  return for_present(source, [&](size_t row, int64_t index) -> Result<void> {
    const int64_t byte = load_at<uint8_t>(source.buffer(1), index);
    values[row] = (byte ^ 0x80) - 0x80;
    return {};
  });
}

Result<void> read_largest_unsigned(const Source& source, std::vector<int64_t>& values) {
  return for_present(source, [&](size_t row, int64_t index) -> Result<void> {
    const auto number = load_at<uint64_t>(source.buffer(1), index);
    if (number > uint64_t{std::numeric_limits<int64_t>::max()})
      return make_error("row %zu: %llu is above 2^63 - 1, the largest integer that columns hold",
                        row, static_cast<unsigned long long>(number));
    values[row] = static_cast<int64_t>(number);
    return {};
  });
}

// Little-endian integers of `words` words; all but the lowest repeat its sign.
Result<void> read_wide_decimals(const Source& source, int64_t words, std::vector<int64_t>& values) {
  return for_present(source, [&](size_t row, int64_t index) -> Result<void> {
    const auto number = load_at<int64_t>(source.buffer(1), index * words);
    for (int64_t word = 1; word < words; ++word)
      if (load_at<int64_t>(source.buffer(1), index * words + word) != (number < 0 ? -1 : 0))
        return make_error("row %zu: a decimal of more than 64 bits", row);
    values[row] = number;
    return {};
  });
}

Result<void> read_milliseconds(const Source& source, std::vector<int64_t>& values) {
  constexpr int64_t per_day = 86'400'000;
  return for_present(source, [&](size_t row, int64_t index) -> Result<void> {
    const auto milliseconds = load_at<int64_t>(source.buffer(1), index);
    if (milliseconds % per_day != 0)
      return make_error("row %zu: %lld milliseconds are no whole days", row,
                        static_cast<long long>(milliseconds));
    values[row] = milliseconds / per_day;
    return {};
  });
}

Result<void> read_integers(const Source& source, std::vector<int64_t>& values) {
  const ValueType& type = source.type;
  const bool is_unsigned = type.kind == ValueKind::unsigned_integer;
  if (type.kind == ValueKind::date && type.bits == 64) return read_milliseconds(source, values);
  switch (type.bits) {
    case 8:
      return is_unsigned ? read_plain<uint8_t>(source, values) : read_signed_bytes(source, values);
    case 16:
      return is_unsigned ? read_plain<uint16_t>(source, values)
                         : read_plain<int16_t>(source, values);
    case 32:
      return is_unsigned ? read_plain<uint32_t>(source, values)
                         : read_plain<int32_t>(source, values);
    case 64:
      return is_unsigned ? read_largest_unsigned(source, values)
                         : read_plain<int64_t>(source, values);
    default:
      return read_wide_decimals(source, type.bits / 64, values);
  }
}

template <class Offset>
Result<void> read_text(const Source& source, std::vector<std::string_view>& values) {
  return for_present(source, [&](size_t row, int64_t index) -> Result<void> {
    const int64_t from = load_at<Offset>(source.buffer(1), index);
    const int64_t to = load_at<Offset>(source.buffer(1), index + 1);
    if (from < 0 || to < from)
      return make_error("row %zu: its text goes from byte %lld to byte %lld", row,
                        static_cast<long long>(from), static_cast<long long>(to));
    if (to == from) return {};
    if (!source.buffer(2)) return make_error("row %zu has text, but the array has no bytes", row);
    values[row] = {static_cast<const char*>(source.buffer(2)) + from,
                   static_cast<size_t>(to - from)};
    return {};
  });
}

// A view: the length, then up to 12 bytes in place, or 4 of them, a buffer and an offset in it. The
// last buffer holds the lengths of those between.
Result<void> read_views(const Source& source, std::vector<std::string_view>& values) {
  constexpr int32_t bytes_in_place = 12;
  const int64_t data_buffers = source.array().n_buffers - 3;
  return for_present(source, [&](size_t row, int64_t index) -> Result<void> {
    const auto* view = static_cast<const char*>(source.buffer(1)) + index * 16;
    const auto length = load_at<int32_t>(view, 0);
    if (length < 0) return make_error("row %zu: a text of %d bytes", row, length);
    if (length <= bytes_in_place) {
      values[row] = {view + 4, static_cast<size_t>(length)};
      return {};
    }
    const auto buffer = load_at<int32_t>(view, 2);
    const auto offset = load_at<int32_t>(view, 3);
    if (buffer < 0 || buffer >= data_buffers || offset < 0 ||
        int64_t{offset} + length >
            load_at<int64_t>(source.buffer(source.array().n_buffers - 1), buffer))
      return make_error(
          "row %zu: a view of %d bytes at byte %d of buffer %d, which has not got "
          "them",
          row, length, offset, buffer);
    values[row] = {static_cast<const char*>(source.buffer(2 + buffer)) + offset,
                   static_cast<size_t>(length)};
    return {};
  });
}

Result<void> read_bits(const Source& source, RowBits& values) {
  return for_present(source, [&](size_t row, int64_t index) -> Result<void> {
    if (bit_at(source.buffer(1), index)) values.set(row);
    return {};
  });
}

Result<void> read_values(const Source& source, DecodedColumn& out) {
  if (auto* bits = std::get_if<RowBits>(&out.values)) return read_bits(source, *bits);
  if (auto* integers = std::get_if<std::vector<int64_t>>(&out.values))
    return read_integers(source, *integers);
  if (auto* doubles = std::get_if<std::vector<double>>(&out.values))
    return source.type.bits == 32 ? read_plain<float>(source, *doubles)
                                  : read_plain<double>(source, *doubles);
  auto& text = std::get<std::vector<std::string_view>>(out.values);
  if (source.type.bits == 128) return read_views(source, text);
  return source.type.bits == 32 ? read_text<int32_t>(source, text)
                                : read_text<int64_t>(source, text);
}

Result<void> check_slice(const ArrowSlice& slice, const ValueType& type) {
  const ArrowArray& array = *slice.array;
  if (!array.release) return make_error("the array is released");
  if (array.length < 0 || array.offset < 0 ||
      array.offset > std::numeric_limits<int64_t>::max() - array.length)
    return make_error("an array of %lld rows at offset %lld", static_cast<long long>(array.length),
                      static_cast<long long>(array.offset));
  if (slice.rows > array.length - slice.first)
    return make_error("%lld rows from row %lld on are wanted of an array of %lld",
                      static_cast<long long>(slice.rows), static_cast<long long>(slice.first),
                      static_cast<long long>(array.length));
  const bool views = type.kind == ValueKind::text && type.bits == 128;
  const int64_t buffers = type.kind == ValueKind::text ? 3 : 2;
  if ((views ? array.n_buffers < buffers : array.n_buffers != buffers) || !array.buffers)
    return make_error("an array with %lld buffers, where its type has %lld%s",
                      static_cast<long long>(array.n_buffers), static_cast<long long>(buffers),
                      views ? " or more" : "");
  if (slice.rows == 0) return {};
  if (array.null_count > 0 && !array.buffers[0])
    return make_error("%lld rows are NULL, but the array has no validity bitmap",
                      static_cast<long long>(array.null_count));
  if (!array.buffers[1]) return make_error("the array has no buffer of values");
  if (views && array.n_buffers > buffers && !array.buffers[array.n_buffers - 1])
    return make_error("the array has no lengths of its buffers");
  return {};
}

template <class Value>
void copy_element(const std::vector<Value>& from, size_t index, DecodedColumn& to, size_t row) {
  std::get<std::vector<Value>>(to.values)[row] = from[index];
}
void copy_element(const RowBits& from, size_t index, DecodedColumn& to, size_t row) {
  if (from.test(index)) std::get<RowBits>(to.values).set(row);
}
void copy_value(const DecodedColumn& from, size_t index, DecodedColumn& to, size_t row) {
  std::visit([&](const auto& values) { copy_element(values, index, to, row); }, from.values);
}

// Indices of a dictionary array, looked up; `indices` has an element a row of the column.
Result<void> read_indices(const Source& source, const ArrowSchema& value_schema,
                          std::vector<int64_t>& indices, DecodedColumn& out) {
  const ArrowArray* values = source.array().dictionary;
  if (!values) return make_error("an array of a dictionary type has no dictionary");
  const ArrowSlice slices[] = {whole_array(*values)};
  auto dictionary = read_arrow(value_schema, slices);
  if (!dictionary) return make_error("the dictionary: %s", dictionary.message().c_str());
  if (auto read = read_integers(source, indices); !read) return read;
  return for_present(source, [&](size_t row, int64_t) -> Result<void> {
    const int64_t index = indices[row];
    if (index < 0 || index >= values->length)
      return make_error("row %zu: index %lld into a dictionary of %lld values", row,
                        static_cast<long long>(index), static_cast<long long>(values->length));
    if (dictionary->is_null(static_cast<uint64_t>(index)))
      source.present.clear(row);
    else
      copy_value(*dictionary, static_cast<size_t>(index), out, row);
    return {};
  });
}

bool is_index(const ValueType& type) {
  return type.kind == ValueKind::integer || type.kind == ValueKind::unsigned_integer;
}

}  // namespace

ArrowSlice whole_array(const ArrowArray& array) {
  return {&array, 0, array.length, nullptr, 0};
}

Result<DecodedColumn> read_arrow(const ArrowSchema& schema, std::span<const ArrowSlice> slices) {
  if (!schema.release) return make_error("the schema is released");
  const auto stored = type_of_arrow_format(schema.format);
  if (!stored) return stored.error();
  const ArrowSchema& value_schema = schema.dictionary ? *schema.dictionary : schema;
  const auto type = type_of_arrow_format(value_schema.format);
  if (!type) return make_error("the dictionary: %s", type.message().c_str());
  if (schema.dictionary && (!is_index(*stored) || value_schema.dictionary))
    return make_error("a dictionary with indices of format \"%s\"%s", schema.format,
                      value_schema.dictionary ? " and values that are a dictionary" : "");
  uint64_t rows = 0;
  for (const ArrowSlice& slice : slices) {
    if (auto sound = check_slice(slice, *stored); !sound) return sound.error();
    rows += static_cast<uint64_t>(slice.rows);
  }
  DecodedColumn column = make_decoded_column(schema.name ? schema.name : "", *type, rows);
  RowBits present(rows);
  std::vector<int64_t> indices(schema.dictionary ? rows : 0);
  uint64_t at = 0;
  for (const ArrowSlice& slice : slices) {
    const Source source{slice, *stored, at, present};
    if (slice.rows == 0) continue;
    read_validity(source);
    const auto read = schema.dictionary ? read_indices(source, value_schema, indices, column)
                                        : read_values(source, column);
    if (!read) return read.error();
    at += static_cast<uint64_t>(slice.rows);
  }
  if (present.count() != rows) column.present = std::move(present);
  return column;
}

}  // namespace colx::host
