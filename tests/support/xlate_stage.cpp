#include "tests/support/xlate_stage.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "tests/oracle/bit_vectors.h"
#include "tests/oracle/stored_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

// Where an array would begin of which only the part from that byte on exists.
template <class T>
T* moved_back(const T* at, uint64_t bytes) {
  return reinterpret_cast<T*>(reinterpret_cast<uintptr_t>(at) - bytes);
}

// A context of which the 8-byte word at `byte` can be read and either nothing before or nothing
// behind it.
colx_enc_ctx* bare_context(GuardedPages& pages, size_t byte, Edge edge) {
  if (edge == Edge::begin) return reinterpret_cast<colx_enc_ctx*>(pages.at_begin(8) - byte);
  uint8_t* const at = pages.at_end(byte + 8);
  std::memset(at, record_dirt, byte + 8);
  return reinterpret_cast<colx_enc_ctx*>(at);
}

std::string fields_difference(const XlateRun& run, const oracle::XlateOutcome& expected) {
  std::string text = unlike("status", run.status, expected.status);
  if (text.empty()) text = unlike("colx_kctx_flags_out", run.flags_out, expected.flags_out);
  if (text.empty()) text = unlike("colx_cv_num_set", run.num_set, expected.num_set);
  if (text.empty()) text = unlike("the first hit", run.first_hit, expected.first_hit);
  if (text.empty()) text = unlike("the last hit", run.last_hit, expected.last_hit);
  return text;
}

uint32_t number_at(const uint8_t* at) {
  uint32_t number;
  std::memcpy(&number, at, sizeof number);
  return number;
}

}  // namespace

XlateStage& xlate_stage() {
  static XlateStage stage;
  return stage;
}

bool XlateStage::refuses() const {
  return (batch_.enc_flags & COLX_HASH_VALUES) == 0 || batch_.width != 32;
}

bool XlateStage::looks_at(uint32_t row) const {
  return !batch_.selection ||
         oracle::bit_at(batch_.selection->data(), row - batch_.first_word() * 64);
}

const uint8_t* XlateStage::place_input(GuardedPages& pages, std::vector<uint8_t> content) {
  const uint8_t* const at = pages.place(content, 0, batch_.edge);
  inputs_.push_back({at, std::move(content)});
  return at;
}

// Up to the largest element that is used; unused bits of the last byte look like hits and markers.
const uint8_t* XlateStage::place_elements(GuardedPages& pages, const Numbers& elements,
                                          size_t used) {
  const std::span<const uint32_t> kept = {elements.data(), std::min(used, elements.size())};
  return place_input(pages,
                     oracle::stored_elements(kept, kernel_.translation.element_bits, record_dirt));
}

void XlateStage::place_rows() {
  const uint8_t* const keys = place_input(keys_pages_, oracle::big_endian_array(batch_.keys, 4));
  src.colx_cv_data = moved_back(keys, uint64_t{batch_.start} * 4);
  kctx.colx_kctx_selection = nullptr;
  if (!batch_.selection) return;
  // A walk begins by reading one whole word, also behind the last row.
  Words readable = *batch_.selection;
  readable.resize(std::max(
      words_of(batch_.rows()) - std::min(words_of(batch_.rows()), batch_.first_word()), 1u));
  const auto* const bytes = reinterpret_cast<const uint8_t*>(readable.data());
  const uint8_t* const at = place_input(selection_pages_, {bytes, bytes + 8 * readable.size()});
  kctx.colx_kctx_selection = const_cast<uint64_t*>(
      reinterpret_cast<const uint64_t*>(moved_back(at, 8 * uint64_t{batch_.first_word()})));
}

void XlateStage::place_flat_table() {
  uint32_t base = 0;
  if (kernel_.translation.form == COLX_XLATE_OFF) {
    auto* const offset =
        bare_context(offset_pages_, offsetof(colx_enc_ctx, colx_enc_ctx_key_base), batch_.edge);
    offset->colx_enc_ctx_key_base = base = batch_.base;
    kctx.colx_kctx_off_ctx = offset;
  }
  if (batch_.raw_table != nullptr) {
    table.colx_cv_bits = static_cast<uint64_t*>(const_cast<void*>(batch_.raw_table));
    return;
  }
  size_t used = 0;
  for (uint32_t row = batch_.start; row != batch_.rows(); ++row) {
    if (looks_at(row)) used = std::max(used, size_t{batch_.keys[row - batch_.start] - base} + 1);
  }
  table.colx_cv_bits = const_cast<uint64_t*>(
      reinterpret_cast<const uint64_t*>(place_elements(table_pages_, batch_.elements, used)));
}

void XlateStage::place_levels() {
  auto* const levels =
      bare_context(levels_pages_, offsetof(colx_enc_ctx, colx_enc_ctx_xlate_shift), batch_.edge);
  levels->colx_enc_ctx_xlate_shift = batch_.shift;
  levels->colx_enc_ctx_xlate_mask = batch_.mask;
  table.colx_cv_encoding_context = levels;
  if (batch_.raw_table != nullptr) {
    table.colx_cv_bits = static_cast<uint64_t*>(const_cast<void*>(batch_.raw_table));
    return;
  }
  std::array<size_t, most_pages> used = {};
  for (uint32_t row = batch_.start; row != batch_.rows(); ++row) {
    if (!looks_at(row)) continue;
    const uint32_t key = batch_.keys[row - batch_.start];
    const size_t end = size_t{key & batch_.mask} + 1;
    for (const uint32_t page :
         {batch_.shift < 32 ? key >> batch_.shift : 0, key >> (batch_.shift & 31)}) {
      if (page < most_pages) used[page] = std::max(used[page], end);
    }
  }
  std::vector<uint8_t> pointers(8 * batch_.pages.size());
  for (size_t p = 0; p < batch_.pages.size(); ++p) {
    const uint8_t* page = nullptr;
    if (batch_.pages[p]) page = place_elements(pages_[p], *batch_.pages[p], used[p]);
    std::memcpy(&pointers[8 * p], &page, sizeof page);
  }
  table.colx_cv_bits = const_cast<uint64_t*>(
      reinterpret_cast<const uint64_t*>(place_input(table_pages_, std::move(pointers))));
}

// The row of the first code in the bytes of the output.
uint32_t XlateStage::first_code_row() const {
  return kernel_.translation.element_bits < 8 ? batch_.start & ~1u : batch_.start;
}

void XlateStage::place_outputs() {
  const uint32_t words =
      words_of(batch_.rows()) - std::min(words_of(batch_.rows()), batch_.first_word());
  bits_at_ = bits_.words(words, batch_.place);
  if (batch_.zeroed) std::memset(bits_at_, 0, 8 * size_t{words});
  bits_before_.assign(bits_at_, bits_at_ + words);
  res.colx_cv_bits = moved_back(bits_at_, 8 * uint64_t{batch_.first_word()});
  pair_at_ = pair_.bytes(8, batch_.place);
  res.colx_cv_data = pair_at_;
  code_bytes_ = 0;
  if (!kernel_.translation.writes_codes) return;
  const unsigned bits = kernel_.translation.element_bits;
  code_bytes_ = (uint64_t{batch_.rows() - first_code_row()} * bits + 7) / 8;
  codes_at_ = codes_.bytes(code_bytes_, batch_.place, bits < 8 ? 1 : bits / 8);
  kctx.colx_kctx_xlate_out = moved_back(codes_at_, uint64_t{first_code_row()} * bits / 8);
}

void XlateStage::set(const XlateKernel& kernel, const XlateBatch& batch) {
  kernel_ = kernel;
  batch_ = batch;
  inputs_.clear();
  make_dirty(res);
  make_dirty(src);
  make_dirty(table);
  make_dirty(encoding);
  make_dirty(kctx);
  encoding.colx_enc_ctx_flags = batch.enc_flags;
  encoding.colx_enc_ctx_width = batch.width;
  src.colx_cv_encoding_context = &encoding;
  src.colx_cv_num_of_rows = batch.rows();
  kctx.colx_kctx_start_row = batch.start;
  kctx.colx_kctx_flags = batch.kctx_flags;
  kctx.colx_kctx_flags_out = batch.flags_out;
  place_rows();
  if (kernel.translation.form == COLX_XLATE_IND) {
    place_levels();
  } else {
    place_flat_table();
  }
  place_outputs();
  if (!refuses()) return;
  src.colx_cv_data = nowhere_.unreadable();
  table.colx_cv_bits = reinterpret_cast<uint64_t*>(nowhere_.unreadable());
  if (batch.selection) {
    kctx.colx_kctx_selection = reinterpret_cast<uint64_t*>(nowhere_.unreadable());
  }
}

oracle::XlateOutcome XlateStage::expected() const {
  oracle::XlateOutcome outcome = oracle::xlate_outcome(kernel_.translation, src, table, kctx);
  if (outcome.refused) {  // what was there before the call
    outcome.num_set = res.colx_cv_num_set;
    outcome.first_hit = number_at(pair_at_);
    outcome.last_hit = number_at(pair_at_ + 4);
  }
  return outcome;
}

XlateRun XlateStage::call() {
  res_before_ = res;
  src_before_ = src;
  table_before_ = table;
  kctx_before_ = kctx;
  XlateRun run = {};
  run.status = kernel_.kernel(&res, &src, &table, &kctx);
  run.num_set = res.colx_cv_num_set;
  run.first_hit = number_at(pair_at_);
  run.last_hit = number_at(pair_at_ + 4);
  run.flags_out = kctx.colx_kctx_flags_out;
  for (uint32_t row = batch_.start; row != batch_.rows(); ++row) {
    if (oracle::bit_at(bits_at_, row - batch_.first_word() * 64)) run.hits.push_back(row);
  }
  run.codes = codes();
  return run;
}

Numbers XlateStage::codes() const {
  Numbers codes;
  if (!kernel_.translation.writes_codes) return codes;
  for (uint32_t row = batch_.start; row != batch_.rows(); ++row) {
    codes.push_back(
        oracle::element_at(codes_at_, kernel_.translation.element_bits, row - first_code_row()));
  }
  return codes;
}

std::string XlateStage::bits_difference(const oracle::XlateOutcome& expected) const {
  Words words = bits_before_;
  const uint32_t first_row = batch_.first_word() * 64;
  oracle::write_hits(expected, words.data(), first_row);
  for (uint64_t bit = 0; bit < 64 * uint64_t{words.size()}; ++bit) {
    if (oracle::bit_at(bits_at_, bit) == oracle::bit_at(words.data(), bit)) continue;
    return "the bit of row " + std::to_string(first_row + bit) + " is " +
           (oracle::bit_at(bits_at_, bit) ? "1" : "0");
  }
  return {};
}

std::string XlateStage::codes_difference(const oracle::XlateOutcome& expected) const {
  if (!kernel_.translation.writes_codes) return {};
  std::vector<uint8_t> codes(code_bytes_);
  for (size_t i = 0; i < code_bytes_; ++i) codes[i] = GuardedOutput::dirty_byte(i);
  const unsigned bits = kernel_.translation.element_bits;
  oracle::write_codes(expected, bits, codes.data(), first_code_row());
  for (size_t i = 0; i < code_bytes_ * 8 / bits; ++i) {
    const uint32_t is = oracle::element_at(codes_at_, bits, i);
    const std::string text =
        unlike("the code of row ", is, oracle::element_at(codes.data(), bits, i));
    if (!text.empty()) return text + " (row " + std::to_string(first_code_row() + i) + ")";
  }
  return {};
}

std::string XlateStage::damage() const {
  colx_cv res_now = res;
  res_now.colx_cv_num_set = res_before_.colx_cv_num_set;
  if (!same_bytes(res_now, res_before_)) return "changed: a field of res";
  if (!same_bytes(src, src_before_)) return "changed: a field of src";
  if (!same_bytes(table, table_before_)) return "changed: a field of the table";
  colx_kctx kctx_now = kctx;
  kctx_now.colx_kctx_flags_out = kctx_before_.colx_kctx_flags_out;
  if (!same_bytes(kctx_now, kctx_before_)) return "changed: a field of kctx";
  for (const Input& input : inputs_) {
    if (!std::equal(input.content.begin(), input.content.end(), input.at)) {
      return "changed: an input";
    }
  }
  if (std::string text = bits_.damage(); !text.empty()) return "bits: " + text;
  if (std::string text = pair_.damage(); !text.empty()) return "first and last: " + text;
  return kernel_.translation.writes_codes ? codes_.damage() : std::string();
}

std::string XlateStage::difference(const XlateRun& run,
                                   const oracle::XlateOutcome& expected) const {
  std::string text = fields_difference(run, expected);
  if (text.empty()) text = bits_difference(expected);
  if (text.empty()) text = codes_difference(expected);
  return text.empty() ? damage() : text;
}

std::string xlate_difference(const XlateKernel& kernel, const XlateBatch& batch) {
  XlateStage& stage = xlate_stage();
  stage.set(kernel, batch);
  const oracle::XlateOutcome expected = stage.expected();
  set_crash_note("%s, %s", kernel.name, describe(batch).c_str());
  const XlateRun run = stage.call();
  const std::string text = stage.difference(run, expected);
  return text.empty() ? text
                      : std::string(kernel.name) + ": " + text + " [" + describe(batch) + "]";
}

XlateRun run_xlate(const XlateKernel& kernel, const XlateBatch& batch) {
  xlate_stage().set(kernel, batch);
  return xlate_stage().call();
}

Numbers codes_before(const XlateKernel& kernel, const XlateBatch& batch) {
  xlate_stage().set(kernel, batch);
  return xlate_stage().codes();
}

}  // namespace colx::test
