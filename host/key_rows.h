// key_rows.h: keys and values of a batch of rows as the join's kernels read them.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "host/column.h"
#include "host/loader.h"
#include "host/result.h"

namespace colx::host {

// A batch of keys in memory that the caller keeps, read exactly. Threads may share it.
class KeyRows {
 public:
  // `data`: the keys back to back, `key_bytes` each, 1 to 8191. Errors: another width, bytes that
  // are no whole number of keys, more than 2^32 - 1 keys.
  static Result<KeyRows> fixed(std::span<const uint8_t> data, uint32_t key_bytes);
  // Keys of any length, as decoders deliver them. Errors: another number of lengths than pointers.
  static Result<KeyRows> pointers(std::span<const char* const> data,
                                  std::span<const uint16_t> lengths);
  // Ready-made hash values, in the machine's byte order. Error: more than 2^32 - 1.
  static Result<KeyRows> hashes(std::span<const uint64_t> hashes);
  // 32-bit codes, keys of tables of exact codes. Error: more than 2^32 - 1.
  static Result<KeyRows> codes(std::span<const uint32_t> codes);
  // Records of row number and hash, 16 bytes each, as partitioning writes them: keys that bring
  // their values along, for building a table. Error: bytes that are no whole number of records.
  static Result<KeyRows> hash_records(std::span<const uint8_t> records);
  // Records of hash, code and row number, 24 bytes each; likewise, for a table of exact codes,
  // with the same error.
  static Result<KeyRows> code_records(std::span<const uint8_t> records);
  // The rows of a chunk of fixed rows. Errors: another form of column, compressed, no such chunk.
  static Result<KeyRows> chunk(const StoredColumn& column, size_t chunk);

  // Keys.
  uint32_t size() const { return rows_; }
  // COLX_FIXED, COLX_LP_SEP, COLX_HASH_VALUES, COLX_GD, COLX_HASHRID or COLX_HASHGD.
  uint32_t layout() const { return flags_; }
  // Whether the rows are records that bring their values along.
  bool brings_values() const { return flags_ == COLX_HASHRID || flags_ == COLX_HASHGD; }
  // The bytes that a hash is made of; not of ready-made hash values. `row` below size().
  std::string_view key(uint32_t row) const;
  // `count` rows from `first` on, within size().
  KeyRows rows(uint32_t first, uint32_t count) const;

  // Makes `vector` the key vector of a kernel, with `encoding` behind it.
  void describe(colx_cv& vector, colx_enc_ctx& encoding) const;

 private:
  KeyRows() = default;
  static Result<KeyRows> make(uint32_t layout, const void* data, const uint16_t* lengths,
                              size_t rows, uint32_t key_bytes);
  uint32_t flags_ = 0;
  const void* data_ = nullptr;
  const uint16_t* lengths_ = nullptr;
  uint32_t rows_ = 0;
  uint32_t key_bytes_ = 0;
};

// What a row of a join carries along, as a rule its row number. Threads may share it.
class RowValues {
 public:
  // first, first + 1, ...
  static RowValues numbered_from(uint64_t first) { return {COLX_AUTORID, nullptr, 0, first}; }
  // One a row, for tables of 4-byte and of 8-byte values.
  static RowValues of(std::span<const uint32_t> values) {
    return {4, values.data(), values.size(), 0};
  }
  static RowValues of(std::span<const uint64_t> values) {
    return {8, values.data(), values.size(), 0};
  }

  // Whether they serve `rows` rows of a table of `value_bytes`. The error says why not: another
  // number of values, another width, row numbers that 4 bytes do not hold.
  Result<void> check(uint32_t rows, uint32_t value_bytes) const;
  // Makes `vector` the payload vector of a kernel, with `encoding` behind it.
  void describe(colx_cv& vector, colx_enc_ctx& encoding) const;

 private:
  RowValues(uint32_t kind, const void* data, size_t count, uint64_t first)
      : kind_(kind), data_(data), count_(count), first_(first) {}
  uint32_t kind_;  // COLX_AUTORID or the bytes of a value
  const void* data_;
  size_t count_;
  uint64_t first_;
};

// Hashes each key, not of the layouts of codes and of hash values, into `hashes`. Errors leave
// them unchanged: another number of slots than keys; a layout or a library that does not serve it.
Result<void> hash_keys(const Library& library, const KeyRows& keys, std::span<uint64_t> hashes);

}  // namespace colx::host
