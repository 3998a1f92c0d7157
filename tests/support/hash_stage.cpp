#include "tests/support/hash_stage.h"

#include <cstring>

#include "kernels/join/hash_passes.h"
#include "tests/oracle/native_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/chosen_hash.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;
using oracle::SeedMode;

uint32_t call_entry(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn) {
  static int not_to_be_used;
  return colx_hash_dydi(res, src, seeds, fn, &not_to_be_used);
}

std::string text_of(const oracle::HashCall& call, const oracle::HashCall& other) {
  const auto apart = static_cast<const uint8_t*>(call.key) - static_cast<const uint8_t*>(other.key);
  return "key " + std::to_string(apart) + " bytes off, length " + std::to_string(call.length) +
         " for " + std::to_string(other.length) + ", seed " + std::to_string(call.seed) + " for " +
         std::to_string(other.seed);
}

}  // namespace

#define COLX_HASH_KERNELS_OF(layout)       \
  {"colx_hash_hashfn_const_" #layout,      \
   colx_hash_hashfn_const_##layout,        \
   {KeyLayout::layout, SeedMode::one}},    \
      {"colx_hash_hashfn_stream_" #layout, \
       colx_hash_hashfn_stream_##layout,   \
       {KeyLayout::layout, SeedMode::per_row}},

const std::vector<HashKernel>& hash_kernels() {
  static const std::vector<HashKernel> kernels = {
      COLX_HASH_KERNELS_OF(fixed) COLX_HASH_KERNELS_OF(dict) COLX_HASH_KERNELS_OF(lv_sep)
          COLX_HASH_KERNELS_OF(lv) COLX_HASH_KERNELS_OF(lp_sep) COLX_HASH_KERNELS_OF(lp)};
  return kernels;
}

HashStage& hash_stage() {
  static HashStage stage;
  return stage;
}

void HashStage::set(const KeyBatch& batch, const std::vector<uint64_t>& seed_values,
                    uint32_t seed_rows) {
  keys.set(batch);
  auto* const nowhere = nowhere_.unreadable();
  std::memset(&seeds_encoding, 0, sizeof seeds_encoding);
  seeds_encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
  std::memset(&seeds, 0, sizeof seeds);
  const auto* const stored = reinterpret_cast<const uint8_t*>(seed_values.data());
  seeds.colx_cv_data = seed_pages_.place({stored, 8 * seed_values.size()}, 0, batch.edge);
  seeds.colx_cv_aux = nowhere;
  seeds.colx_cv_encoding_context = &seeds_encoding;
  seeds.colx_cv_num_of_rows = seed_rows;

  slot_count_ = batch.rows.size();
  std::memset(&res, 0, sizeof res);
  res.colx_cv_data = slots_.words(slot_count_, batch.edge == Edge::end ? Place::end : Place::begin);
  res.colx_cv_aux = nowhere;
  res.colx_cv_encoding_context = reinterpret_cast<colx_enc_ctx*>(nowhere);
  res.colx_cv_bits = reinterpret_cast<uint64_t*>(nowhere);
  res.colx_cv_num_set = 0xDEADBEEF;
  res.colx_cv_num_of_rows = 0xFEEDFACE;
}

void HashStage::remember() {
  keys.remember();
  res_before_ = res;
  seeds_before_ = seeds;
  seeds_encoding_before_ = seeds_encoding;
}

std::string HashStage::difference_behind(uint32_t status,
                                         const std::vector<oracle::HashCall>& expected) {
  if (status != COLX_DONE) return "status " + std::to_string(status);
  const std::vector<oracle::HashCall>& calls = recorded_calls();
  if (calls.size() != expected.size()) {
    return std::to_string(calls.size()) + " calls for " + std::to_string(expected.size()) + " rows";
  }
  for (size_t row = 0; row < expected.size(); ++row) {
    const std::string place = "row " + std::to_string(row) + ": ";
    if (calls[row] != expected[row]) return place + text_of(calls[row], expected[row]);
    const uint64_t slot = oracle::native_at(static_cast<uint8_t*>(res.colx_cv_data) + 8 * row, 8);
    if (slot != recorded_value(expected[row])) return place + "the slot has another value";
  }
  if (!same_bytes(res, res_before_)) return "changed: a field of res";
  if (!same_bytes(seeds, seeds_before_) || !same_bytes(seeds_encoding, seeds_encoding_before_)) {
    return "changed: the seeds' records";
  }
  if (std::string text = keys.damage(); !text.empty()) return text;
  return slots_.damage();
}

std::string HashStage::difference(const HashKernel& kernel) {
  remember();
  set_crash_note("%s, %u rows", kernel.name, keys.cv.colx_cv_num_of_rows);
  start_recording();
  const uint32_t status = kernel.call(&res, &keys.cv, &seeds, recording_hash);
  const std::string text =
      difference_behind(status, oracle::hash_calls(kernel.form, keys.cv, seeds));
  return text.empty() ? text : std::string(kernel.name) + ": " + text;
}

std::string HashStage::entry_difference() {
  const auto form = oracle::hash_kernel(keys.cv, seeds);
  if (form.has_value()) return difference({"colx_hash_dydi", call_entry, *form});
  remember();
  set_crash_note("colx_hash_dydi, not served");
  start_recording();
  const uint32_t status = call_entry(&res, &keys.cv, &seeds, recording_hash);
  if (status != COLX_NOT_SERVED) return "colx_hash_dydi: status " + std::to_string(status);
  if (!recorded_calls().empty()) return "colx_hash_dydi: refused, but hashed";
  for (size_t byte = 0; byte < 8 * slot_count_; ++byte) {
    if (static_cast<uint8_t*>(res.colx_cv_data)[byte] != GuardedOutput::dirty_byte(byte)) {
      return "colx_hash_dydi: refused, but wrote";
    }
  }
  if (!same_bytes(res, res_before_)) return "colx_hash_dydi: changed: a field of res";
  return keys.damage();
}

}  // namespace colx::test
