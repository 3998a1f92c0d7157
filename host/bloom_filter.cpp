#include "host/bloom_filter.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "host/big_endian.h"

namespace colx::host {
namespace {

constexpr uint32_t most_partition_bits = 16;

Result<void> check_column(const HashColumn& hashes) {
  if (hashes.width_bits != 32 && hashes.width_bits != 64)
    return make_error("hash values of %u bits: use 32 or 64", hashes.width_bits);
  if (hashes.rows > UINT32_MAX)
    return make_error("%llu hash values at once: pass up to 2^32 - 1",
                      static_cast<unsigned long long>(hashes.rows));
  return {};
}

// What the kernels take of a stored hash value.
uint32_t hash_at(const HashColumn& hashes, uint32_t row) {
  const auto* at = static_cast<const uint8_t*>(hashes.data);
  const size_t bytes = hashes.width_bits / 8;
  return static_cast<uint32_t>(load_big_endian(at + row * bytes + (bytes - 4), 4));
}

}  // namespace

Result<BloomFilter> BloomFilter::create(const Library& library, const BloomOptions& options) {
  if (!(options.false_positives > 0 && options.false_positives < 1))
    return make_error("a share of false positives of %g: use one above 0 and below 1",
                      options.false_positives);
  if (options.partition_bits > most_partition_bits)
    return make_error("2^%u partitions: use up to 2^%u", options.partition_bits,
                      most_partition_bits);
  // n values leave a bit of m clear with a chance of exp(-n / m).
  const double wanted =
      -static_cast<double>(options.expected_rows) / std::log1p(-options.false_positives);
  if (wanted > 0x1p32)
    return make_error(
        "%llu rows at a share of %g want %.0f bits; 32-bit hash values tell 2^32 "
        "apart",
        static_cast<unsigned long long>(options.expected_rows), options.false_positives, wanted);
  BloomFilter filter;
  filter.test_ = library.record().colx_sctx_bloom;
  if (!filter.test_) return make_error("%s: has no colx_bloom_dydi", library.file().c_str());
  // At least a cache line a partition.
  const auto least = static_cast<uint64_t>(std::ceil(wanted));
  filter.partition_bits_ = options.partition_bits;
  filter.bits_log2_ =
      std::max<uint32_t>(options.partition_bits + 9, least < 2 ? 0 : std::bit_width(least - 1));
  const uint32_t array_bits_log2 = filter.bits_log2_ - options.partition_bits;
  for (uint32_t p = 0; p < uint32_t{1} << options.partition_bits; ++p) {
    filter.arrays_.emplace_back((uint64_t{1} << array_bits_log2) / 8);
    filter.partitions_.push_back(filter.arrays_.back().data());
  }
  colx_enc_ctx& encoding = filter.encoding_;
  encoding.colx_enc_ctx_bloom_partitioned = options.partition_bits != 0;
  encoding.colx_enc_ctx_bloom_hash_mask = static_cast<uint32_t>(filter.bits() - 1);
  encoding.colx_enc_ctx_bloom_part_shift = options.partition_bits ? array_bits_log2 : 0;
  encoding.colx_enc_ctx_bloom_bit_mask =
      static_cast<uint32_t>((uint64_t{1} << array_bits_log2) - 1);
  return filter;
}

uint8_t* BloomFilter::byte_of(uint32_t hash, uint32_t& bit) const {
  hash &= encoding_.colx_enc_ctx_bloom_hash_mask;
  uint32_t partition = 0;
  if (encoding_.colx_enc_ctx_bloom_partitioned) {
    partition = hash >> encoding_.colx_enc_ctx_bloom_part_shift;
    hash &= encoding_.colx_enc_ctx_bloom_bit_mask;
  }
  bit = hash & 7;
  return partitions_[partition] + (hash >> 3);
}

Result<void> BloomFilter::add(const HashColumn& hashes) {
  if (auto sound = check_column(hashes); !sound) return sound;
  for (uint32_t row = 0; row < hashes.rows; ++row) {
    uint32_t bit;
    uint8_t* const byte = byte_of(hash_at(hashes, row), bit);
    *byte = static_cast<uint8_t>(*byte | 1u << bit);
  }
  return {};
}

Result<PassedRows> BloomFilter::test(const HashColumn& hashes, RowBits& hits,
                                     const RowBits* selection, uint32_t start_row) const {
  if (auto sound = check_column(hashes); !sound) return sound.error();
  const auto rows = static_cast<uint32_t>(hashes.rows);
  if (hits.size() != rows || (selection && selection->size() != rows))
    return make_error("%u hash values, room for the bits of %llu, a selection of %llu", rows,
                      static_cast<unsigned long long>(hits.size()),
                      static_cast<unsigned long long>(selection ? selection->size() : rows));
  if (start_row > rows) return make_error("start row %u of %u rows", start_row, rows);
  // Kernels only read column, filter and selection; the records have no const members.
  colx_enc_ctx column_encoding{}, filter_encoding = encoding_;
  column_encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
  column_encoding.colx_enc_ctx_width = hashes.width_bits;
  colx_cv column{}, filter{}, result{};
  column.colx_cv_data = const_cast<void*>(hashes.data);
  column.colx_cv_num_of_rows = rows;
  column.colx_cv_encoding_context = &column_encoding;
  filter.colx_cv_encoding_context = &filter_encoding;
  filter.colx_cv_bits = partition_bits_
                            ? reinterpret_cast<uint64_t*>(const_cast<uint8_t**>(partitions_.data()))
                            : reinterpret_cast<uint64_t*>(partitions_[0]);
  uint32_t ends[2];
  hits.clear_all();
  result.colx_cv_bits = hits.data();
  result.colx_cv_data = ends;
  colx_kctx kctx{};
  kctx.colx_kctx_start_row = start_row;
  if (selection) kctx.colx_kctx_selection = const_cast<uint64_t*>(selection->data());
  const uint32_t status = test_(&result, &column, &filter, &kctx);
  if (status != COLX_DONE && status != COLX_NOTHING_FOUND)
    return make_error("colx_bloom_dydi returned status %u", status);
  return PassedRows{result.colx_cv_num_set, ends[0], ends[1]};
}

double BloomFilter::fill() const {
  uint64_t set = 0;
  for (const StreamBuffer& array : arrays_)
    for (const uint8_t byte : array.bytes()) set += static_cast<uint64_t>(std::popcount(byte));
  return static_cast<double>(set) / static_cast<double>(bits());
}

}  // namespace colx::host
