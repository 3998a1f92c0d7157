#include "host/encode_rows.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "host/big_endian.h"
#include "host/value_forms.h"

namespace colx::host {
namespace {

// A value on its way into a row: its bytes, zeros behind.
struct Row {
  std::array<uint8_t, 8> bytes{};
  uint32_t length = 0;
};

// Writes codes of 1, 2 or 4 bits from the top of each byte down.
class LengthStream {
 public:
  LengthStream(size_t rows, uint32_t code_bits)
      : code_bits_(code_bits), stream_((rows * code_bits + 7) / 8) {}
  void put(size_t row, uint32_t code) {
    const size_t bit = row * code_bits_;
    stream_.data()[bit / 8] |= static_cast<uint8_t>(code << (8 - code_bits_ - bit % 8));
  }
  StreamBuffer take() { return std::move(stream_); }

 private:
  size_t code_bits_;
  StreamBuffer stream_;
};

// Where rows come from: `rows` of them, row_at(r) delivers one.
template <class RowAt>
struct RowSource {
  size_t rows;
  RowAt row_at;
};
template <class RowAt>
RowSource(size_t, RowAt) -> RowSource<RowAt>;

template <class RowAt>
uint32_t longest(const RowSource<RowAt>& source) {
  uint32_t length = 1;
  for (size_t row = 0; row < source.rows; ++row)
    length = std::max(length, source.row_at(row).length);
  return length;
}

template <class RowAt>
Result<void> check_lengths(const RowSource<RowAt>& source, uint32_t most_bytes) {
  for (size_t row = 0; row < source.rows; ++row)
    if (const uint32_t length = source.row_at(row).length; length > most_bytes)
      return make_error("row %zu: a value of %u bytes does not fit rows of %u", row, length,
                        most_bytes);
  return {};
}

template <class RowAt>
Chunk fixed_chunk(const RowSource<RowAt>& source, size_t first, uint32_t rows,
                  const ColumnFormat& format, ValueLengths lengths) {
  const size_t width_bytes = format.width_bits / 8;
  const uint32_t code_bits = lengths == ValueLengths::kept ? format.length_code_bits() : 0;
  Chunk chunk;
  chunk.rows = rows;
  chunk.data = StreamBuffer(rows * width_bytes);
  LengthStream codes(rows, code_bits);
  for (uint32_t r = 0; r < rows; ++r) {
    const Row row = source.row_at(first + r);
    std::memcpy(chunk.data.data() + r * width_bytes, row.bytes.data(), width_bytes);
    if (code_bits) codes.put(r, row.length - 1);
  }
  if (code_bits) chunk.second = codes.take();
  return chunk;
}

template <class RowAt>
Chunk dynp_chunk(const RowSource<RowAt>& source, size_t first, uint32_t rows,
                 const ColumnFormat& format) {
  size_t bytes = 0;
  for (uint32_t r = 0; r < rows; ++r) bytes += source.row_at(first + r).length;
  Chunk chunk;
  chunk.rows = rows;
  chunk.data = StreamBuffer(bytes);
  LengthStream lengths(rows, format.length_code_bits());
  uint8_t* at = chunk.data.data();
  for (uint32_t r = 0; r < rows; ++r) {
    const Row row = source.row_at(first + r);
    std::memcpy(at, row.bytes.data(), row.length);
    at += row.length;
    lengths.put(r, row.length - 1);
  }
  chunk.second = lengths.take();
  return chunk;
}

template <class RowAt>
Result<StoredColumn> write_fixed(const RowSource<RowAt>& source, const FixedOptions& options) {
  if (auto sound = check_chunk_rows(options.chunk_rows); !sound) return sound.error();
  if (options.width_bytes > 8)
    return make_error("fixed rows of %u bytes: use 1 to 8", options.width_bytes);
  const uint32_t width_bytes = options.width_bytes ? options.width_bytes : longest(source);
  if (auto fit = check_lengths(source, width_bytes); !fit) return fit.error();
  StoredColumn column;
  column.format = {Encoding::fixed, width_bytes * 8};
  for (size_t first = 0; first < source.rows; first += options.chunk_rows)
    column.chunks.push_back(fixed_chunk(
        source, first,
        static_cast<uint32_t>(std::min<size_t>(options.chunk_rows, source.rows - first)),
        column.format, options.lengths));
  return column;
}

template <class RowAt>
Result<StoredColumn> write_dynp(const RowSource<RowAt>& source, const DynpOptions& options) {
  if (auto sound = check_chunk_rows(options.chunk_rows); !sound) return sound.error();
  if (options.max_bytes != 0 && options.max_bytes != 2 && options.max_bytes != 4 &&
      options.max_bytes != 8)
    return make_error("dynp rows of up to %u bytes: use 2, 4 or 8", options.max_bytes);
  const uint32_t max_bytes =
      options.max_bytes ? options.max_bytes : std::max(2u, std::bit_ceil(longest(source)));
  if (auto fit = check_lengths(source, max_bytes); !fit) return fit.error();
  StoredColumn column;
  column.format = {Encoding::dynp, max_bytes * 8};
  for (size_t first = 0; first < source.rows; first += options.chunk_rows)
    column.chunks.push_back(
        dynp_chunk(source, first,
                   static_cast<uint32_t>(std::min<size_t>(options.chunk_rows, source.rows - first)),
                   column.format));
  return column;
}

Result<void> check_values(std::span<const std::string_view> values) {
  for (size_t row = 0; row < values.size(); ++row) {
    if (values[row].empty())
      return make_error("row %zu: an empty value has no stored form; a row has at least one byte",
                        row);
    if (values[row].size() > 8)
      return make_error("row %zu: a value of %zu bytes; rows have at most 8", row,
                        values[row].size());
  }
  return {};
}

Row row_of(std::string_view value) {
  Row row;
  std::memcpy(row.bytes.data(), value.data(), value.size());
  row.length = static_cast<uint32_t>(value.size());
  return row;
}

}  // namespace

Result<StoredColumn> store_fixed(std::span<const std::string_view> values,
                                 const FixedOptions& options) {
  if (auto sound = check_values(values); !sound) return sound.error();
  return write_fixed(RowSource{values.size(), [&](size_t row) { return row_of(values[row]); }},
                     options);
}

Result<StoredColumn> store_dynp(std::span<const std::string_view> values,
                                const DynpOptions& options) {
  if (auto sound = check_values(values); !sound) return sound.error();
  const bool kept = options.lengths == ValueLengths::kept;
  const auto row_at = [&](size_t index) {
    Row row = row_of(values[index]);
    while (!kept && row.length > 1 && row.bytes[row.length - 1] == 0) --row.length;
    return row;
  };
  return write_dynp(RowSource{values.size(), row_at}, options);
}

Result<StoredColumn> store_fixed_numbers(std::span<const uint64_t> numbers,
                                         const FixedOptions& options) {
  uint64_t largest = 0;
  for (const uint64_t number : numbers) largest = std::max(largest, number);
  FixedOptions widened = options;
  if (!widened.width_bytes)
    widened.width_bytes = std::max<uint32_t>(1, (std::bit_width(largest) + 7) / 8);
  if (widened.width_bytes > 8)
    return make_error("fixed rows of %u bytes: use 1 to 8", widened.width_bytes);
  const uint32_t width_bytes = widened.width_bytes;
  const uint64_t most = ~uint64_t{0} >> (64 - 8 * width_bytes);
  for (size_t row = 0; row < numbers.size(); ++row)
    if (numbers[row] > most)
      return make_error("row %zu: %llu does not fit rows of %u bytes", row,
                        static_cast<unsigned long long>(numbers[row]), width_bytes);
  const auto row_at = [&](size_t index) {
    Row row;
    store_big_endian(row.bytes.data(), numbers[index], width_bytes);
    row.length = width_bytes;
    return row;
  };
  return write_fixed(RowSource{numbers.size(), row_at}, widened);
}

Result<StoredColumn> store_dynp_numbers(std::span<const int64_t> numbers,
                                        const DynpOptions& options) {
  for (size_t row = 0; row < numbers.size(); ++row)
    if (numbers[row] < min_counted || numbers[row] > max_counted)
      return make_error("row %zu: %lld is outside -2^56 to 2^56 - 1, what 8 bytes count", row,
                        static_cast<long long>(numbers[row]));
  const auto row_at = [&](size_t index) {
    Row row;
    row.length = static_cast<uint32_t>(store_counted(row.bytes.data(), numbers[index]));
    return row;
  };
  return write_dynp(RowSource{numbers.size(), row_at}, options);
}

}  // namespace colx::host
