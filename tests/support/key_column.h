// A key column of the join in any of its layouts, at the edge of unreadable pages.
//
// Rows are given as plain values: the hash that the row shall have, its code, its row id and the
// length of its key. The column grants the bytes of its layout and no more; pointers that the
// layout does not use are unreadable.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_layout_oracle.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

struct KeyRow {
  uint64_t hash = 0;  // of a hashed layout only by keys of 8 bytes and more, and never of gd
  uint32_t code = 0;  // gd, hashgdrid; dict: the symbol
  uint64_t rid = 0;   // hashrid, hashgdrid
  uint16_t length = 8;
};

struct KeyBatch {
  oracle::KeyLayout layout = oracle::KeyLayout::hash_values;
  std::vector<KeyRow> rows;
  uint32_t width_bits = 64;              // fixed, dict
  std::vector<uint32_t> symbol_lengths;  // dict
  uint32_t more_flags = 0;               // beside the layout's own
  Edge edge = Edge::end;
  size_t slack_bytes = 0;  // readable behind its arrays, to try other alignments
};

const char* layout_name(oracle::KeyLayout layout);

class KeyColumn {
 public:
  void set(const KeyBatch& batch);

  // Where a row begins in an lv or lv_sep stream; 0 in other layouts.
  uint64_t stream_offset(uint32_t row) const { return starts_.empty() ? 0 : starts_[row]; }

  // Records may be changed by hand after `set`; `remember` takes them as they stand before a call.
  void remember();
  // The first thing that changed since `remember`; empty if nothing did.
  std::string damage() const;

  colx_cv cv;
  colx_enc_ctx encoding;

 private:
  void add_row(const KeyRow& row, Random& random);
  void place_values(Random& random);

  KeyBatch batch_;
  Bytes data_, aux_, values_, symbols_, offsets_;
  const uint8_t* data_at_ = nullptr;
  const uint8_t* aux_at_ = nullptr;
  std::vector<uint64_t> starts_;
  colx_cv cv_before_;
  colx_enc_ctx encoding_before_;
  GuardedPages data_pages_, aux_pages_, values_pages_, symbol_pages_, offset_pages_, nowhere_;
};

// The vector that gives each row its value: automatic row ids, or an array of 4 or 8 bytes each.
class PayloadColumn {
 public:
  void set_autorid(uint64_t base_rid, uint32_t more_flags = 0);
  void set_array(const std::vector<uint64_t>& values, unsigned value_bytes, Edge edge,
                 uint32_t more_flags = 0, size_t slack_bytes = 0);
  void remember();
  std::string damage() const;

  colx_cv cv;
  colx_enc_ctx encoding;

 private:
  void clear(uint32_t flags);

  Bytes data_;
  const uint8_t* data_at_ = nullptr;
  colx_cv cv_before_;
  colx_enc_ctx encoding_before_;
  GuardedPages pages_, nowhere_;
};

}  // namespace colx::test
