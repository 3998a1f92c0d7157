#include "tests/support/value_decode_stage.h"

#include <cstring>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/stored_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

constexpr size_t stream_slack_bytes = 16;

template <class T>
T element(const uint8_t* array, size_t i) {
  T value;
  std::memcpy(&value, array + i * sizeof(T), sizeof(T));
  return value;
}

// Whether all bytes of an array are as GuardedOutput made them.
bool dirty(const uint8_t* array, size_t bytes) {
  for (size_t i = 0; i < bytes; ++i) {
    if (array[i] != GuardedOutput::dirty_byte(i)) return false;
  }
  return true;
}

ValueKernel kernel_of(uint32_t opc, unsigned width_bits) {
  const ScanKernel slot =
      kernel_at(colx_slot_index(opc, COLX_ENC_DICT, colx_width_code(width_bits), COLX_FORM_PLAIN));
  return {slot.name, reinterpret_cast<colx_decode_fn>(slot.kernel)};
}

}  // namespace

Dictionary one_length_dictionary(uint16_t length) {
  Dictionary dictionary;
  dictionary.one_length = length;
  return dictionary;
}

Dictionary cumulative_dictionary(std::span<const uint32_t> lengths) {
  Dictionary dictionary;
  dictionary.layout = COLX_DICT_CUMULATIVE;
  dictionary.offsets = {0};
  for (const uint32_t length : lengths) {
    dictionary.offsets.push_back(dictionary.offsets.back() + length);
  }
  return dictionary;
}

void DictionaryPages::place(colx_enc_ctx& encoding, const Dictionary& dictionary, Edge edge) {
  void* const untouchable = nowhere_.unreadable();
  encoding.colx_enc_ctx_layout = dictionary.layout;
  encoding.colx_enc_ctx_num_symbols = dictionary.num_symbols;
  encoding.colx_enc_ctx_symbols =
      dictionary.symbols.empty() ? untouchable : symbols_.place(dictionary.symbols, 0, edge);
  encoding.colx_enc_ctx_one_len = encoding.colx_enc_ctx_cla = untouchable;
  if (dictionary.layout == COLX_DICT_ONE_LENGTH) {
    const uint32_t length[] = {dictionary.one_length};
    encoding.colx_enc_ctx_one_len = one_length_.place(oracle::big_endian_array(length, 2), 0, edge);
  } else if (dictionary.layout == COLX_DICT_CUMULATIVE) {
    encoding.colx_enc_ctx_cla =
        offsets_.place(oracle::big_endian_array(dictionary.offsets, 4), 0, edge);
  }
}

void ValueArrays::place(colx_cv& res, size_t rows, Place place, bool with_flags) {
  rows_ = rows;
  with_flags_ = with_flags;
  values_ = values_output_.bytes(8 * rows, place, 8);
  lengths_ = lengths_output_.bytes(2 * rows, place, 2);
  flags_ = flags_output_.bytes(2 * rows, place, 6);
  res.colx_cv_data = const_cast<uint8_t*>(values_);
  res.colx_cv_aux = const_cast<uint8_t*>(lengths_);
  if (with_flags) {
    res.colx_cv_row_flags = reinterpret_cast<uint16_t*>(const_cast<uint8_t*>(flags_));
  }
}

std::string ValueArrays::difference(const oracle::WrittenArrays& written,
                                    std::span<const oracle::DecodedRow> rows) const {
  for (size_t i = 0; i < rows.size(); ++i) {
    const std::string row = "row " + std::to_string(i) + ": ";
    const oracle::DecodedRow& r = rows[i];
    if (written.values && element<const uint8_t*>(values_, i) != r.value) {
      return row + "the pointer is " +
             std::to_string(element<const uint8_t*>(values_, i) - r.value) + " bytes off";
    }
    if (written.lengths && element<uint16_t>(lengths_, i) != r.length) {
      return row + unlike("the length", element<uint16_t>(lengths_, i), r.length);
    }
    if (written.flags && element<uint16_t>(flags_, i) != r.flag) {
      return row + unlike("the indicator", element<uint16_t>(flags_, i), r.flag);
    }
  }
  if (!written.values && !dirty(values_, 8 * rows_)) return "changed: the pointers";
  if (!written.lengths && !dirty(lengths_, 2 * rows_)) return "changed: the lengths";
  if (!written.flags && !dirty(flags_, 2 * rows_)) return "changed: the indicators";
  for (const GuardedOutput* output : {&values_output_, &lengths_output_, &flags_output_}) {
    if (std::string text = output->damage(); !text.empty()) return text;
  }
  return {};
}

ValueKernel decode_kernel(unsigned width_bits) {
  return kernel_of(COLX_OPC_DECODE, width_bits);
}

ValueKernel symbol_kernel(unsigned width_bits) {
  return kernel_of(COLX_OPC_DECODE_SYMBOL, width_bits);
}

ValueDecodeStage& value_decode_stage() {
  static ValueDecodeStage stage;
  return stage;
}

void ValueDecodeStage::clear_records(uint32_t enc_flags, const Dictionary& dictionary, Edge edge) {
  void* const untouchable = nowhere_.unreadable();
  std::memset(&encoding, 0, sizeof encoding);
  encoding.colx_enc_ctx_rle_runs = encoding.colx_enc_ctx_rle_cla = untouchable;
  encoding.colx_enc_ctx_rle_bits = static_cast<uint64_t*>(untouchable);
  encoding.colx_enc_ctx_flags = enc_flags;
  dictionary_.place(encoding, dictionary, edge);

  std::memset(&src, 0, sizeof src);
  src.colx_cv_aux = untouchable;
  src.colx_cv_encoding_context = &encoding;
  src.colx_cv_nulls = src.colx_cv_bits = static_cast<uint64_t*>(untouchable);
  src.colx_cv_decomp_slot = static_cast<void**>(untouchable);

  std::memset(&res, 0, sizeof res);
  res.colx_cv_encoding_context = static_cast<colx_enc_ctx*>(untouchable);
  res.colx_cv_nulls = res.colx_cv_bits = static_cast<uint64_t*>(untouchable);
  res.colx_cv_num_set = ScanStage::dirty_num_set;

  std::memset(&kctx, 0, sizeof kctx);
  kctx.colx_kctx_env = &host.env;
  kctx.colx_kctx_selection = static_cast<uint64_t*>(untouchable);
  kctx.colx_kctx_position = 0x12344321;
}

void ValueDecodeStage::set(const DecodeBatch& batch) {
  const bool compressed = batch.store != Store::plain;
  clear_records(COLX_DICT | batch.more_flags | (compressed ? COLX_COMPRESSED : 0), batch.dictionary,
                batch.edge);
  stream_ = oracle::pack_codes(batch.codes, batch.width_bits);
  stored_.place(src, host, stream_, stream_slack_bytes, batch.store, batch.edge,
                batch.decode_status);
  src.colx_cv_num_of_rows = static_cast<uint32_t>(batch.codes.size());
  arrays_.place(res, batch.list.size(), batch.place, true);
  const auto* const list = reinterpret_cast<const uint8_t*>(batch.list.data());
  kctx.colx_kctx_rows = batch.raw_list != nullptr
                            ? batch.raw_list
                            : reinterpret_cast<const uint32_t*>(
                                  rows_pages_.place({list, 4 * batch.list.size()}, 0, batch.edge));
  kctx.colx_kctx_num_rows = static_cast<uint32_t>(batch.list.size());
  kctx.colx_kctx_flags = batch.kctx_flags;
  kctx.colx_kctx_flags_out = batch.flags_out;
}

void ValueDecodeStage::set(const SymbolBatch& batch) {
  clear_records(batch.more_flags, batch.dictionary, batch.edge);
  host.reset();
  const unsigned code_bytes = oracle::symbol_code_bytes(batch.width_bits, batch.kctx_flags);
  stream_.clear();
  for (const uint32_t code : batch.codes) {
    const Bytes stored = native_bytes(code, code_bytes);
    stream_.insert(stream_.end(), stored.begin(), stored.end());
  }
  src.colx_cv_data = rows_pages_.place(stream_, 0, batch.edge);
  src.colx_cv_num_of_rows = static_cast<uint32_t>(batch.codes.size());
  kctx.colx_kctx_rows = static_cast<const uint32_t*>(src.colx_cv_aux);
  kctx.colx_kctx_flags = batch.kctx_flags;
  arrays_.place(res, batch.codes.size(), batch.place, batch.with_row_flags);
  if (oracle::symbol_outcome(batch.width_bits, res, src, kctx).copies) {
    const size_t bytes = batch.codes.size() * batch.dictionary.one_length;
    res.colx_cv_data = copied_output_.bytes(bytes, batch.place, 8);
  }
}

uint32_t ValueDecodeStage::call(const ValueKernel& kernel) {
  res_before_ = res;
  src_before_ = src;
  encoding_before_ = encoding;
  kctx_before_ = kctx;
  return kernel.kernel(&res, &src, &kctx);
}

// What is left once a difference has made good the fields that a call may change.
uint16_t ValueDecodeStage::length(size_t row) const {
  uint16_t length;
  std::memcpy(&length, static_cast<const uint8_t*>(res.colx_cv_aux) + 2 * row, 2);
  return length;
}

int64_t ValueDecodeStage::offset(size_t row) const {
  const uint8_t* value;
  std::memcpy(&value, static_cast<const uint8_t*>(res.colx_cv_data) + 8 * row, 8);
  return value - static_cast<const uint8_t*>(encoding.colx_enc_ctx_symbols);
}

std::string ValueDecodeStage::damage() const {
  colx_cv res_now = res;
  res_now.colx_cv_num_set = res_before_.colx_cv_num_set;
  if (!same_bytes(res_now, res_before_)) return "changed: a field of res";
  if (!same_bytes(src, src_before_)) return "changed: a field of src";
  if (!same_bytes(encoding, encoding_before_)) return "changed: a field of the encoding context";
  colx_kctx kctx_now = kctx;
  kctx_now.colx_kctx_position = kctx_before_.colx_kctx_position;
  kctx_now.colx_kctx_flags_out = kctx_before_.colx_kctx_flags_out;
  if (!same_bytes(kctx_now, kctx_before_)) return "changed: a field of kctx";
  return {};
}

std::string ValueDecodeStage::decode_difference(const ValueKernel& kernel, unsigned width_bits) {
  const oracle::DecodeOutcome expected =
      oracle::decode_outcome(width_bits, stream_, res, src, kctx);
  const uint32_t status = call(kernel);
  std::string text = unlike("status", status, expected.status);
  if (text.empty()) text = arrays_.difference(expected.written, expected.rows);
  if (text.empty()) text = unlike("colx_cv_num_set", res.colx_cv_num_set, expected.num_set);
  if (text.empty()) text = unlike("position", kctx.colx_kctx_position, expected.position);
  if (text.empty()) text = unlike("flags_out", kctx.colx_kctx_flags_out, expected.flags_out);
  if (text.empty()) text = damage();
  if (text.empty()) text = stored_.difference(src, host, kernel.name, expected.reads_codes, {});
  return text;
}

std::string ValueDecodeStage::symbol_difference(const ValueKernel& kernel, unsigned width_bits) {
  const oracle::SymbolOutcome expected = oracle::symbol_outcome(width_bits, res, src, kctx);
  const uint32_t status = call(kernel);
  std::string text = unlike("status", status, expected.status);
  if (text.empty()) text = arrays_.difference(expected.written, expected.rows);
  if (text.empty()) text = unlike("colx_cv_num_set", res.colx_cv_num_set, expected.num_set);
  if (text.empty()) {
    text = unlike("position", kctx.colx_kctx_position, kctx_before_.colx_kctx_position);
  }
  if (text.empty()) {
    text = unlike("flags_out", kctx.colx_kctx_flags_out, kctx_before_.colx_kctx_flags_out);
  }
  if (text.empty()) text = damage();
  if (text.empty() && !stream_.empty() &&
      std::memcmp(src.colx_cv_data, stream_.data(), stream_.size()) != 0) {
    text = "changed: the codes";
  }
  if (text.empty() && !host.order.empty()) text = "host call: " + host.order[0];
  if (!text.empty() || !expected.copies) return text;
  const auto* const copied = static_cast<const uint8_t*>(res.colx_cv_data);
  for (size_t i = 0; i < expected.bytes.size(); ++i) {
    if (copied[i] != expected.bytes[i]) return "copied byte " + std::to_string(i);
  }
  return copied_output_.damage();
}

std::string decode_difference(const ValueKernel& kernel, const DecodeBatch& batch) {
  const std::string what = std::to_string(batch.list.size()) + " rows, layout " +
                           std::to_string(batch.dictionary.layout);
  set_crash_note("%s, %s", kernel.name, what.c_str());
  value_decode_stage().set(batch);
  const std::string text = value_decode_stage().decode_difference(kernel, batch.width_bits);
  return text.empty() ? text : std::string(kernel.name) + ": " + text + " [" + what + "]";
}

std::string symbol_difference(const ValueKernel& kernel, const SymbolBatch& batch) {
  const std::string what = std::to_string(batch.codes.size()) + " rows, layout " +
                           std::to_string(batch.dictionary.layout) + ", length " +
                           std::to_string(batch.dictionary.one_length) + ", flags " +
                           std::to_string(batch.kctx_flags);
  set_crash_note("%s, %s", kernel.name, what.c_str());
  value_decode_stage().set(batch);
  const std::string text = value_decode_stage().symbol_difference(kernel, batch.width_bits);
  return text.empty() ? text : std::string(kernel.name) + ": " + text + " [" + what + "]";
}

uint32_t run_decode(const DecodeBatch& batch) {
  value_decode_stage().set(batch);
  return value_decode_stage().call(decode_kernel(batch.width_bits));
}

uint32_t run_symbol(const SymbolBatch& batch) {
  value_decode_stage().set(batch);
  return value_decode_stage().call(symbol_kernel(batch.width_bits));
}

}  // namespace colx::test
