// One call of a `decode` or `decode_symbol` kernel at guard pages.
//
// The dictionary is what the kernel may read of it: the arrays of its layout to their last byte,
// no value but where values are copied. Each of the result's arrays has room for the rows and ends
// where they end.
#pragma once

#include <bit>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/value_decode_oracle.h"
#include "tests/support/scan_stage.h"
#include "tests/support/stored_rows.h"

namespace colx::test {

struct Dictionary {
  uint32_t layout = COLX_DICT_ONE_LENGTH;
  uint16_t one_length = 1;
  std::vector<uint32_t> offsets;  // of a cumulative dictionary, one more than there are codes
  uint32_t num_symbols = 0;
  Bytes symbols;  // readable bytes of the values; without any none may be read
};

Dictionary one_length_dictionary(uint16_t length);
Dictionary cumulative_dictionary(std::span<const uint32_t> lengths);

// Bytes of the values that copying them may read. Up to 16 values of one byte are held in a vector
// of 1, 2, 4, 8 or 16 bytes, whichever has room for them.
inline size_t copied_symbol_bytes(const Dictionary& dictionary) {
  const size_t symbols = dictionary.num_symbols;
  if (dictionary.one_length == 1 && symbols <= 16) return std::bit_ceil(symbols);
  return symbols * dictionary.one_length;
}

// The dictionary of a source, as an encoding context has it.
class DictionaryPages {
 public:
  void place(colx_enc_ctx& encoding, const Dictionary& dictionary, Edge edge);

 private:
  GuardedPages one_length_, offsets_, symbols_, nowhere_;
};

// The three arrays of a result.
class ValueArrays {
 public:
  void place(colx_cv& res, size_t rows, Place place, bool with_flags);
  // Where the arrays differ from `rows`, those that are not written from what they held before.
  std::string difference(const oracle::WrittenArrays& written,
                         std::span<const oracle::DecodedRow> rows) const;

 private:
  size_t rows_ = 0;
  bool with_flags_ = true;
  const uint8_t* values_ = nullptr;
  const uint8_t* lengths_ = nullptr;
  const uint8_t* flags_ = nullptr;
  GuardedOutput values_output_, lengths_output_, flags_output_;
};

struct DecodeBatch {
  unsigned width_bits = 8;
  std::vector<uint64_t> codes;
  std::vector<uint32_t> list;
  const uint32_t* raw_list = nullptr;  // instead of `list`: a list of no rows
  Dictionary dictionary;
  uint32_t more_flags = 0;  // of colx_enc_ctx_flags
  uint32_t kctx_flags = 0;
  uint32_t flags_out = 0;
  Store store = Store::plain;
  uint32_t decode_status = 0;
  Edge edge = Edge::end;
  Place place = Place::end;
};

struct SymbolBatch {
  unsigned width_bits = 8;
  std::vector<uint32_t> codes;
  Dictionary dictionary;
  bool with_row_flags = true;
  uint32_t more_flags = 0;
  uint32_t kctx_flags = 0;
  Edge edge = Edge::end;
  Place place = Place::end;
};

struct ValueKernel {
  const char* name;
  colx_decode_fn kernel;
};

ValueKernel decode_kernel(unsigned width_bits);
ValueKernel symbol_kernel(unsigned width_bits);

// The records and everything that they point at.
class ValueDecodeStage {
 public:
  void set(const DecodeBatch& batch);
  void set(const SymbolBatch& batch);
  std::string decode_difference(const ValueKernel& kernel, unsigned width_bits);
  std::string symbol_difference(const ValueKernel& kernel, unsigned width_bits);
  uint32_t call(const ValueKernel& kernel);
  // What the last call left of a row; `offset` is where its value begins, in bytes from the first
  // value's begin.
  uint16_t length(size_t row) const;
  uint16_t indicator(size_t row) const { return res.colx_cv_row_flags[row]; }
  int64_t offset(size_t row) const;

  colx_cv res;
  colx_cv src;
  colx_enc_ctx encoding;
  colx_kctx kctx;
  RecordingHost& host = scan_stage().host;  // the newest host is in charge: all stages share one

 private:
  void clear_records(uint32_t enc_flags, const Dictionary& dictionary, Edge edge);
  std::string damage() const;

  Bytes stream_;
  StoredRows stored_;
  DictionaryPages dictionary_;
  ValueArrays arrays_;
  GuardedOutput copied_output_;
  GuardedPages rows_pages_, nowhere_;
  colx_cv res_before_, src_before_;
  colx_enc_ctx encoding_before_;
  colx_kctx kctx_before_;
};

ValueDecodeStage& value_decode_stage();

// Empty if the call does what the oracle says and nothing else, else one line.
std::string decode_difference(const ValueKernel& kernel, const DecodeBatch& batch);
std::string symbol_difference(const ValueKernel& kernel, const SymbolBatch& batch);

inline std::string decode_difference(const DecodeBatch& batch) {
  return decode_difference(decode_kernel(batch.width_bits), batch);
}
inline std::string symbol_difference(const SymbolBatch& batch) {
  return symbol_difference(symbol_kernel(batch.width_bits), batch);
}

// For the examples: the status of a call, whose results then lie in the stage's records.
uint32_t run_decode(const DecodeBatch& batch);
uint32_t run_symbol(const SymbolBatch& batch);

}  // namespace colx::test
