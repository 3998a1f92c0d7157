#include "tests/support/key_column.h"

#include <cstring>

#include "tests/oracle/native_numbers.h"
#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/stored_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/chosen_hash.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;

// A dictionary code is read with the three bytes behind its last one.
constexpr size_t dict_slack_bytes = 3;

void add_native(Bytes& to, uint64_t value, unsigned bytes) {
  const Bytes stored = native_bytes(value, bytes);
  to.insert(to.end(), stored.begin(), stored.end());
}

void add_bytes(Bytes& to, const Bytes& more) {
  to.insert(to.end(), more.begin(), more.end());
}

bool holds(const void* at, const Bytes& content) {
  return content.empty() || std::memcmp(at, content.data(), content.size()) == 0;
}

template <class T>
T* pointer_to(uint8_t* at) {
  return reinterpret_cast<T*>(at);
}

void make_unreadable(colx_cv& cv, colx_enc_ctx& encoding, uint8_t* nowhere) {
  std::memset(&encoding, 0, sizeof encoding);
  encoding.colx_enc_ctx_symbols = encoding.colx_enc_ctx_one_len = nowhere;
  encoding.colx_enc_ctx_cla = encoding.colx_enc_ctx_rle_runs = nowhere;
  std::memset(&cv, 0, sizeof cv);
  cv.colx_cv_data = cv.colx_cv_aux = nowhere;
  cv.colx_cv_row_flags = pointer_to<uint16_t>(nowhere);
  cv.colx_cv_nulls = cv.colx_cv_bits = pointer_to<uint64_t>(nowhere);
  cv.colx_cv_decomp_slot = pointer_to<void*>(nowhere);
  cv.colx_cv_encoding_context = &encoding;
}

}  // namespace

const char* layout_name(KeyLayout layout) {
  switch (layout) {
    case KeyLayout::fixed:
      return "fixed";
    case KeyLayout::dict:
      return "dict";
    case KeyLayout::lv_sep:
      return "lv_sep";
    case KeyLayout::lv:
      return "lv";
    case KeyLayout::lp_sep:
      return "lp_sep";
    case KeyLayout::lp:
      return "lp";
    case KeyLayout::hash_values:
      return "hash_values";
    case KeyLayout::hashrid:
      return "hashrid";
    case KeyLayout::gd:
      return "gd";
    case KeyLayout::hashgdrid:
      return "hashgdrid";
  }
  return "";
}

// Values that are reached by pointer all lie side by side: in `values_`, with their place in
// `starts_` until the addresses are known.
void KeyColumn::add_row(const KeyRow& row, Random& random) {
  switch (batch_.layout) {
    case KeyLayout::fixed:
      return add_bytes(data_,
                       key_with_hash(row.hash, uint16_t(uint16_t(batch_.width_bits) >> 3), random));
    case KeyLayout::lv:
      add_native(data_, row.length, 2);
      return add_bytes(data_, key_with_hash(row.hash, row.length, random));
    case KeyLayout::lv_sep:
      add_native(aux_, row.length, 2);
      return add_bytes(data_, key_with_hash(row.hash, row.length, random));
    case KeyLayout::lp:
    case KeyLayout::lp_sep:
      return add_bytes(values_, key_with_hash(row.hash, row.length, random));
    case KeyLayout::hash_values:
      return add_native(data_, row.hash, 8);
    case KeyLayout::hashrid:
      add_native(data_, row.rid, 8);
      return add_native(data_, row.hash, 8);
    case KeyLayout::gd:
      return add_native(data_, row.code, 4);
    case KeyLayout::hashgdrid:
      add_native(data_, row.hash, 8);
      add_native(data_, row.code, 4);
      add_native(data_, random.next(), 4);
      return add_native(data_, row.rid, 8);
    case KeyLayout::dict:
      return;
  }
}

void KeyColumn::place_values(Random& random) {
  uint8_t* value = values_pages_.place(values_, batch_.slack_bytes, batch_.edge);
  for (const KeyRow& row : batch_.rows) {
    const auto address = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(value));
    if (batch_.layout == KeyLayout::lp) {
      add_native(data_, row.length, 2);
      add_native(data_, random.next(), 6);
    } else {
      add_native(aux_, row.length, 2);
    }
    add_native(data_, address, 8);
    value += row.length;
  }
}

void KeyColumn::set(const KeyBatch& batch) {
  batch_ = batch;
  Random random(batch.rows.size() + 1);
  for (Bytes* bytes : {&data_, &aux_, &values_, &symbols_, &offsets_}) bytes->clear();
  starts_.clear();
  for (const KeyRow& row : batch.rows) {
    if (oracle::is_stream(batch.layout)) starts_.push_back(data_.size());
    add_row(row, random);
  }
  if (oracle::is_stream(batch.layout)) starts_.push_back(data_.size());

  make_unreadable(cv, encoding, nowhere_.unreadable());
  const bool by_pointer = batch.layout == KeyLayout::lp || batch.layout == KeyLayout::lp_sep;
  if (by_pointer) place_values(random);
  if (batch.layout == KeyLayout::dict) {
    std::vector<uint64_t> codes;
    for (const KeyRow& row : batch.rows) codes.push_back(row.code);
    data_ = oracle::pack_codes(codes, batch.width_bits);
    std::vector<uint32_t> ends = {0};
    for (const uint32_t length : batch.symbol_lengths) ends.push_back(ends.back() + length);
    symbols_ = random.bytes(ends.back());
    offsets_ = oracle::big_endian_array(ends, 4);
    encoding.colx_enc_ctx_symbols = symbol_pages_.place(symbols_, 0, batch.edge);
    encoding.colx_enc_ctx_cla = offset_pages_.place(offsets_, 0, batch.edge);
  }
  const size_t slack = batch.slack_bytes + (batch.layout == KeyLayout::dict ? dict_slack_bytes : 0);
  data_at_ = data_pages_.place(data_, slack, batch.edge);
  aux_at_ = aux_pages_.place(aux_, batch.slack_bytes, batch.edge);
  cv.colx_cv_data = const_cast<uint8_t*>(data_at_);
  if (!aux_.empty()) cv.colx_cv_aux = const_cast<uint8_t*>(aux_at_);
  cv.colx_cv_num_of_rows = static_cast<uint32_t>(batch.rows.size());
  cv.colx_cv_base_rid = 0x0BAD0BAD0BAD0BAD;  // of no use on a key column
  encoding.colx_enc_ctx_width = batch.width_bits;
  encoding.colx_enc_ctx_flags = oracle::layout_flag(batch.layout) | batch.more_flags;
}

void KeyColumn::remember() {
  cv_before_ = cv;
  encoding_before_ = encoding;
}

std::string KeyColumn::damage() const {
  if (!same_bytes(cv, cv_before_)) return "changed: a field of src";
  if (!same_bytes(encoding, encoding_before_)) return "changed: src's encoding context";
  if (!holds(data_at_, data_)) return "changed: the keys";
  if (!holds(aux_at_, aux_)) return "changed: the lengths";
  return {};
}

void PayloadColumn::clear(uint32_t flags) {
  make_unreadable(cv, encoding, nowhere_.unreadable());
  encoding.colx_enc_ctx_flags = flags;
  data_.clear();
}

void PayloadColumn::set_autorid(uint64_t base_rid, uint32_t more_flags) {
  clear(COLX_AUTORID | more_flags);
  cv.colx_cv_base_rid = base_rid;
}

void PayloadColumn::set_array(const std::vector<uint64_t>& values, unsigned value_bytes, Edge edge,
                              uint32_t more_flags, size_t slack_bytes) {
  clear(more_flags & ~uint32_t{COLX_AUTORID});
  for (const uint64_t value : values) add_native(data_, value, value_bytes);
  data_at_ = pages_.place(data_, slack_bytes, edge);
  cv.colx_cv_data = const_cast<uint8_t*>(data_at_);
  cv.colx_cv_base_rid = 0x0BAD0BAD0BAD0BAD;
}

void PayloadColumn::remember() {
  cv_before_ = cv;
  encoding_before_ = encoding;
}

std::string PayloadColumn::damage() const {
  if (!same_bytes(cv, cv_before_)) return "changed: a field of the payload";
  if (!same_bytes(encoding, encoding_before_)) return "changed: the payload's encoding context";
  if (!holds(data_at_, data_)) return "changed: the values";
  return {};
}

}  // namespace colx::test
