// bloom_filter.h: filters of one bit a hash value, built here and tested by the library.
//
// The library reads hash columns big-endian: of a 32-bit value all bits, of a 64-bit value the last
// four stored bytes. The filter is built by the same reading of the same bytes, so a column goes in
// as it is stored; the hash values that hash_keys() writes in the machine's byte order may be
// passed as they are, too, as long as both sides pass them alike.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "host/loader.h"
#include "host/result.h"
#include "host/row_bits.h"
#include "host/stream_buffer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::host {

// Hash values back to back, in memory that the caller keeps; kernels read nothing behind them.
struct HashColumn {
  const void* data = nullptr;  // rows * width_bits / 8 bytes
  uint64_t rows = 0;           // hash values, 2^32 - 1 at most
  uint32_t width_bits = 64;    // 32 or 64

  // Values of 64 bits.
  static HashColumn of(std::span<const uint64_t> hashes) {
    return {hashes.data(), hashes.size(), 64};
  }
};

// What a filter is sized by.
struct BloomOptions {
  uint64_t expected_rows = 0;     // different keys that go in
  double false_positives = 0.05;  // share of other keys that pass, above 0 and below 1
  uint32_t partition_bits = 0;    // 2^bits bit arrays of their own, 0 to 16
};

// What a test found: rows of the column, counted from 0.
struct PassedRows {
  uint32_t count = 0;           // rows that passed
  uint32_t first = UINT32_MAX;  // UINT32_MAX if none passed
  uint32_t last = UINT32_MAX;   // UINT32_MAX if none passed
};

// One thread adds at a time; tests from any number of threads once all is added.
class BloomFilter {
 public:
  // As many bits, a power of two, as keep the share of false positives. Errors: a share out of
  // range, too many partition bits, more bits than 32-bit hash values tell apart.
  static Result<BloomFilter> create(const Library& library, const BloomOptions& options);

  // Lets every value of the column pass. Errors: another width than 32 or 64 bits, too many values.
  Result<void> add(const HashColumn& hashes);

  // Tests rows from `start_row` on, all or the selected ones. `hits`, a bit a row of the column,
  // receives the rows that pass and nothing else. Errors leave it unchanged: another width, too
  // many values, another number of rows, a start row above it.
  Result<PassedRows> test(const HashColumn& hashes, RowBits& hits,
                          const RowBits* selection = nullptr, uint32_t start_row = 0) const;

  // Bits of all arrays together.
  uint64_t bits() const { return uint64_t{1} << bits_log2_; }
  // Share of its bits that are set: how many other keys pass.
  double fill() const;

 private:
  BloomFilter() = default;
  uint8_t* byte_of(uint32_t hash, uint32_t& bit) const;

  colx_bloom_call* test_ = nullptr;
  uint32_t bits_log2_ = 0;
  uint32_t partition_bits_ = 0;
  colx_enc_ctx encoding_{};
  std::vector<StreamBuffer> arrays_;
  std::vector<uint8_t*> partitions_;
};

}  // namespace colx::host
