#include "tests/support/burst_stage.h"

#include <bit>
#include <cstring>

#include "tests/oracle/stored_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

constexpr size_t spare_bytes = 7;

Bytes stored_runs(oracle::RunRows kind, const BurstBatch& batch) {
  if (kind == oracle::RunRows::byte_lengths) return oracle::big_endian_array(batch.lengths, 1);
  if (kind == oracle::RunRows::two_byte_lengths) return oracle::big_endian_array(batch.lengths, 2);
  std::vector<uint32_t> first_rows = {batch.first_row};
  for (const uint32_t length : batch.lengths) first_rows.push_back(first_rows.back() + length);
  return oracle::big_endian_array(first_rows, 4);
}

// The first bit that is not as expected.
std::string bits_difference(const Words& bits, const Words& expected) {
  for (size_t i = 0; i < expected.size(); ++i) {
    if (bits[i] == expected[i]) continue;
    const uint64_t row = 64 * i + static_cast<unsigned>(std::countr_zero(bits[i] ^ expected[i]));
    return "bit " + std::to_string(row) +
           (oracle::bit_at(bits.data(), row) ? " is set" : " is clear");
  }
  return {};
}

}  // namespace

uint64_t BurstBatch::hits() const {
  uint64_t count = 0;
  for (uint32_t run = 0; run < runs(); ++run) count += oracle::bit_at(run_bits.data(), run) ? 1 : 0;
  return count;
}

BurstBatch burst_batch(std::vector<uint32_t> lengths) {
  BurstBatch batch;
  for (const uint32_t length : lengths) batch.rows += length;
  batch.run_bits.assign(std::max<size_t>(words_of(lengths.size()), 1), 0);
  batch.lengths = std::move(lengths);
  return batch;
}

std::string describe(const BurstBatch& batch) {
  return "runs " + std::to_string(batch.runs()) + ", rows " + std::to_string(batch.rows) +
         ", set " + std::to_string(batch.set);
}

BurstStage& burst_stage() {
  static BurstStage stage;
  return stage;
}

void BurstStage::set(oracle::RunRows kind, const BurstBatch& batch) {
  batch_ = batch;
  void* const untouchable = nowhere_.unreadable();

  std::memset(&encoding, 0, sizeof encoding);
  encoding.colx_enc_ctx_symbols = untouchable;
  encoding.colx_enc_ctx_rle_runs = untouchable;
  encoding.colx_enc_ctx_rle_cla = untouchable;
  const uint8_t* const stored = runs_pages_.place(stored_runs(kind, batch), 0, batch.edge);
  (kind == oracle::RunRows::cumulative ? encoding.colx_enc_ctx_rle_cla
                                       : encoding.colx_enc_ctx_rle_runs) = stored;
  encoding.colx_enc_ctx_rle_rows = batch.runs();
  encoding.colx_enc_ctx_rle_bits = static_cast<uint64_t*>(untouchable);
  encoding.colx_enc_ctx_flags = COLX_RLE | COLX_DICT;

  std::memset(&src, 0, sizeof src);
  src.colx_cv_data = untouchable;
  src.colx_cv_encoding_context = &encoding;
  src.colx_cv_nulls = static_cast<uint64_t*>(untouchable);
  src.colx_cv_bits = static_cast<uint64_t*>(untouchable);
  src.colx_cv_num_of_rows = 0xABCDEF01;

  std::memset(&res, 0, sizeof res);
  res.colx_cv_data = untouchable;
  res.colx_cv_encoding_context = static_cast<colx_enc_ctx*>(untouchable);
  res.colx_cv_nulls = static_cast<uint64_t*>(untouchable);
  res.colx_cv_bits = reinterpret_cast<uint64_t*>(
      output_.bytes(8 * size_t{words_of(batch.rows)} + spare_bytes, batch.place, batch.shift));
  res.colx_cv_num_set = ScanStage::dirty_num_set;
  res.colx_cv_num_of_rows = batch.rows;

  std::memset(&kctx, 0, sizeof kctx);
  const auto* const bits = reinterpret_cast<const uint8_t*>(batch.run_bits.data());
  kctx.colx_kctx_selection = reinterpret_cast<uint64_t*>(
      bits_pages_.place({bits, 8 * batch.run_bits.size()}, 0, batch.edge));
  kctx.colx_kctx_aux_set = batch.set;
}

std::string BurstStage::damage() const {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(res.colx_cv_bits);
  const size_t written = 8 * size_t{words_of(batch_.rows)};
  for (size_t i = written; i < written + spare_bytes; ++i) {
    if (bytes[i] != GuardedOutput::dirty_byte(i)) {
      return "changed: spare byte " + std::to_string(i - written);
    }
  }
  if (std::memcmp(kctx.colx_kctx_selection, batch_.run_bits.data(), 8 * batch_.run_bits.size())) {
    return "changed: the bits of the runs";
  }
  return output_.damage();
}

BurstRun BurstStage::call(colx_decode_fn kernel) {
  colx_cv res_before = res;
  const colx_cv src_before = src;
  const colx_enc_ctx encoding_before = encoding;
  const colx_kctx kctx_before = kctx;

  BurstRun run = {};
  run.status = kernel(&res, &src, &kctx);
  run.num_set = res.colx_cv_num_set;
  run.bits.resize(words_of(batch_.rows));
  if (!run.bits.empty()) std::memcpy(run.bits.data(), res.colx_cv_bits, 8 * run.bits.size());

  res_before.colx_cv_num_set = res.colx_cv_num_set;
  if (!same_bytes(res, res_before)) {
    run.damage = "changed: a field of res";
  } else if (!same_bytes(src, src_before)) {
    run.damage = "changed: a field of src";
  } else if (!same_bytes(encoding, encoding_before)) {
    run.damage = "changed: a field of the encoding context";
  } else if (!same_bytes(kctx, kctx_before)) {
    run.damage = "changed: a field of kctx";
  } else {
    run.damage = damage();
  }
  return run;
}

std::string burst_difference(const BurstKernel& kernel, const BurstBatch& batch,
                             oracle::BurstForm form) {
  BurstStage& stage = burst_stage();
  stage.set(kernel.kind, batch);
  const oracle::BurstOutcome expected =
      oracle::burst_outcome(form, kernel.kind, stage.res, stage.src, stage.kctx);
  set_crash_note("%s, %s", kernel.name, describe(batch).c_str());
  const BurstRun run = stage.call(kernel.kernel);

  std::string text = bits_difference(run.bits, expected.words);
  if (text.empty()) text = run.damage;
  if (text.empty() && run.num_set != expected.num_set) {
    text = "colx_cv_num_set is " + std::to_string(run.num_set) + ", expected " +
           std::to_string(expected.num_set);
  }
  if (text.empty() && run.status != expected.status) {
    text = "status is " + std::to_string(run.status);
  }
  return text.empty() ? text
                      : std::string(kernel.name) + ": " + text + " [" + describe(batch) + "]";
}

BurstKernel burst_entry(uint32_t width_code) {
  const uint32_t index = colx_slot_index(COLX_OPC_BURST, COLX_ENC_RLE, width_code, COLX_FORM_PLAIN);
  const ScanKernel slot = kernel_at(index);
  const oracle::RunRows kind = width_code == COLX_WIDTH_BURST_8BIT ? oracle::RunRows::byte_lengths
                               : width_code == COLX_WIDTH_BURST_16BIT
                                   ? oracle::RunRows::two_byte_lengths
                                   : oracle::RunRows::cumulative;
  return {slot.name, reinterpret_cast<colx_decode_fn>(slot.kernel), kind};
}

}  // namespace colx::test
