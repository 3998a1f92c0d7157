#include "host/key_rows.h"

#include "host/key_hash.h"

namespace colx::host {
namespace {

constexpr uint32_t most_key_bytes = 8191;  // kernels read the width in bits as 16 bits

}  // namespace

Result<KeyRows> KeyRows::make(uint32_t layout, const void* data, const uint16_t* lengths,
                              size_t rows, uint32_t key_bytes) {
  if (rows > UINT32_MAX) return make_error("%zu keys at once: pass up to 2^32 - 1", rows);
  KeyRows keys;
  keys.flags_ = layout;
  keys.data_ = data;
  keys.lengths_ = lengths;
  keys.rows_ = static_cast<uint32_t>(rows);
  keys.key_bytes_ = key_bytes;
  return keys;
}

Result<KeyRows> KeyRows::fixed(std::span<const uint8_t> data, uint32_t key_bytes) {
  if (key_bytes == 0 || key_bytes > most_key_bytes)
    return make_error("keys of %u bytes: use 1 to %u", key_bytes, most_key_bytes);
  if (data.size() % key_bytes != 0)
    return make_error("%zu bytes are no whole number of keys of %u bytes", data.size(), key_bytes);
  return make(COLX_FIXED, data.data(), nullptr, data.size() / key_bytes, key_bytes);
}

Result<KeyRows> KeyRows::pointers(std::span<const char* const> data,
                                  std::span<const uint16_t> lengths) {
  if (data.size() != lengths.size())
    return make_error("%zu lengths for %zu keys", lengths.size(), data.size());
  return make(COLX_LP_SEP, data.data(), lengths.data(), data.size(), 0);
}

Result<KeyRows> KeyRows::hashes(std::span<const uint64_t> hashes) {
  return make(COLX_HASH_VALUES, hashes.data(), nullptr, hashes.size(), 8);
}

Result<KeyRows> KeyRows::codes(std::span<const uint32_t> codes) {
  return make(COLX_GD, codes.data(), nullptr, codes.size(), 4);
}

Result<KeyRows> KeyRows::hash_records(std::span<const uint8_t> records) {
  if (records.size() % 16 != 0)
    return make_error("%zu bytes are no whole number of records of 16 bytes", records.size());
  return make(COLX_HASHRID, records.data(), nullptr, records.size() / 16, 16);
}

Result<KeyRows> KeyRows::code_records(std::span<const uint8_t> records) {
  if (records.size() % 24 != 0)
    return make_error("%zu bytes are no whole number of records of 24 bytes", records.size());
  return make(COLX_HASHGD, records.data(), nullptr, records.size() / 24, 24);
}

Result<KeyRows> KeyRows::chunk(const StoredColumn& column, size_t chunk) {
  if (column.format.encoding != Encoding::fixed)
    return make_error("keys are taken from columns of fixed rows; decode others first");
  if (chunk >= column.chunks.size())
    return make_error("chunk %zu of a column with %zu chunks", chunk, column.chunks.size());
  const Chunk& part = column.chunks[chunk];
  if (part.image_bytes || part.runs)
    return make_error("chunk %zu is %s; joins read plain rows", chunk,
                      part.runs ? "run-length coded" : "compressed");
  return make(COLX_FIXED, part.data.data(), nullptr, part.rows, column.format.width_bits / 8);
}

std::string_view KeyRows::key(uint32_t row) const {
  if (flags_ == COLX_LP_SEP) return {static_cast<const char* const*>(data_)[row], lengths_[row]};
  return {static_cast<const char*>(data_) + size_t{row} * key_bytes_, key_bytes_};
}

KeyRows KeyRows::rows(uint32_t first, uint32_t count) const {
  KeyRows part = *this;
  const size_t row_bytes = flags_ == COLX_LP_SEP ? sizeof(const char*) : key_bytes_;
  part.data_ = static_cast<const uint8_t*>(data_) + first * row_bytes;
  if (lengths_) part.lengths_ += first;
  part.rows_ = count;
  return part;
}

void KeyRows::describe(colx_cv& vector, colx_enc_ctx& encoding) const {
  vector = {};
  encoding = {};
  encoding.colx_enc_ctx_flags = flags_;
  encoding.colx_enc_ctx_width = 8 * key_bytes_;
  // Kernels only read keys; the records have no const members.
  vector.colx_cv_data = const_cast<void*>(data_);
  vector.colx_cv_aux = const_cast<uint16_t*>(lengths_);
  vector.colx_cv_num_of_rows = rows_;
  vector.colx_cv_encoding_context = &encoding;
}

Result<void> RowValues::check(uint32_t rows, uint32_t value_bytes) const {
  if (kind_ != COLX_AUTORID) {
    if (count_ != rows) return make_error("%zu values for %u keys", count_, rows);
    if (kind_ != value_bytes)
      return make_error("values of %u bytes for a table of %u", kind_, value_bytes);
  } else if (value_bytes == 4 && first_ + rows > uint64_t{1} << 32) {
    return make_error("row numbers from %llu on do not fit a table of 4-byte values",
                      static_cast<unsigned long long>(first_));
  }
  return {};
}

void RowValues::describe(colx_cv& vector, colx_enc_ctx& encoding) const {
  vector = {};
  encoding = {};
  if (kind_ == COLX_AUTORID) encoding.colx_enc_ctx_flags = COLX_AUTORID;
  vector.colx_cv_data = const_cast<void*>(data_);
  vector.colx_cv_num_of_rows = static_cast<uint32_t>(count_);
  vector.colx_cv_base_rid = first_;
  vector.colx_cv_encoding_context = &encoding;
}

Result<void> hash_keys(const Library& library, const KeyRows& keys, std::span<uint64_t> hashes) {
  if (hashes.size() != keys.size())
    return make_error("room for %zu hash values for %u keys", hashes.size(), keys.size());
  colx_hash_call* const hash = library.record().colx_sctx_hash;
  if (!hash) return make_error("%s: has no colx_hash_dydi", library.file().c_str());
  colx_cv source, result{}, seeds{};
  colx_enc_ctx encoding, seeds_encoding{};
  keys.describe(source, encoding);
  result.colx_cv_data = hashes.data();
  uint64_t seed = 0;
  seeds_encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
  seeds.colx_cv_encoding_context = &seeds_encoding;
  seeds.colx_cv_data = &seed;
  seeds.colx_cv_num_of_rows = 1;
  if (hash(&result, &source, &seeds, hash_key, nullptr) != COLX_DONE)
    return make_error("codes and hash values are not hashed; pass keys");
  return {};
}

}  // namespace colx::host
