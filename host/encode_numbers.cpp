#include "host/encode_numbers.h"

#include <algorithm>

#include "host/big_endian.h"
#include "host/canonical_keys.h"
#include "host/value_forms.h"

namespace colx::host {
namespace {

// A column of fixed rows; stored_at(row) is the row's number, of which `width_bits` are stored.
template <class StoredAt>
Result<StoredColumn> store_numbers(size_t rows, uint32_t width_bits, uint32_t value_type,
                                   uint32_t chunk_rows, StoredAt stored_at) {
  if (auto sound = check_chunk_rows(chunk_rows); !sound) return sound.error();
  StoredColumn column;
  column.format = {Encoding::fixed, width_bits, false, value_type};
  const size_t bytes = width_bits / 8;
  for (size_t first = 0; first < rows; first += chunk_rows) {
    Chunk chunk;
    chunk.rows = static_cast<uint32_t>(std::min<size_t>(chunk_rows, rows - first));
    chunk.data = StreamBuffer(chunk.rows * bytes);
    for (uint32_t row = 0; row < chunk.rows; ++row)
      store_big_endian(chunk.data.data() + row * bytes, stored_at(first + row), bytes);
    column.chunks.push_back(std::move(chunk));
  }
  return column;
}

}  // namespace

Result<StoredColumn> store_floats(std::span<const float> numbers, const NumberOptions& options) {
  return store_numbers(numbers.size(), 32, COLX_TYPE_FLOAT, options.chunk_rows,
                       [&](size_t row) { return canonical_key(numbers[row]); });
}

Result<StoredColumn> store_doubles(std::span<const double> numbers, const NumberOptions& options) {
  return store_numbers(numbers.size(), 64, COLX_TYPE_DOUBLE, options.chunk_rows,
                       [&](size_t row) { return canonical_key(numbers[row]); });
}

Result<StoredColumn> store_dsb(std::span<const int64_t> numbers, const DsbOptions& options) {
  uint32_t width_bits = options.width_bits;
  if (width_bits == 0) {
    const auto [low, high] = std::minmax_element(numbers.begin(), numbers.end());
    width_bits = numbers.empty() ? 8 : static_cast<uint32_t>(8 * integer_bytes(*low, *high));
  }
  if (width_bits != 8 && width_bits != 16 && width_bits != 32 && width_bits != 64)
    return make_error("dsb numbers of %u bits: use 8, 16, 32 or 64", width_bits);
  for (size_t row = 0; row < numbers.size(); ++row)
    if (8 * integer_bytes(numbers[row], numbers[row]) > width_bits)
      return make_error("row %zu: %lld does not fit dsb numbers of %u bits", row,
                        static_cast<long long>(numbers[row]), width_bits);
  return store_numbers(numbers.size(), width_bits, COLX_TYPE_DSB, options.chunk_rows,
                       [&](size_t row) { return static_cast<uint64_t>(numbers[row]); });
}

}  // namespace colx::host
