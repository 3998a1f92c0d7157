#include "tests/support/unpack_stage.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/stored_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"
#include "tests/support/dict_batch.h"

namespace colx::test {
namespace {

constexpr size_t stream_slack_bytes = 16;

std::string fields_difference(const UnpackRun& run, const oracle::UnpackOutcome& expected) {
  std::string text = unlike("colx_cv_num_set", run.num_set, expected.num_set);
  if (text.empty()) text = unlike("status", run.status, expected.status);
  if (text.empty()) text = unlike("colx_kctx_position", run.position, expected.position);
  if (text.empty()) text = unlike("colx_kctx_state1", run.state1, expected.state1);
  if (text.empty()) text = unlike("colx_kctx_state2", run.state2, expected.state2);
  if (text.empty()) text = unlike("colx_kctx_flags_out", run.flags_out, expected.flags_out);
  return text;
}

std::string codes_difference(const UnpackRun& run, const oracle::UnpackOutcome& expected) {
  for (size_t i = 0; i < run.codes.size(); ++i) {
    if (run.codes[i] == expected.codes[i]) continue;
    return "element " + std::to_string(i) + " is " + std::to_string(run.codes[i]) + ", expected " +
           std::to_string(expected.codes[i]);
  }
  return {};
}

}  // namespace

UnpackKernel unpack_kernel(unsigned width_bits) {
  const uint32_t index = colx_slot_index(COLX_OPC_DECODE_UNPACK, COLX_ENC_DICT,
                                         colx_width_code(width_bits), COLX_FORM_PLAIN);
  const ScanKernel slot = kernel_at(index);
  return {slot.name, reinterpret_cast<colx_decode_fn>(slot.kernel), width_bits};
}

uint32_t unpack_alignment_rows(unsigned width_bits) {
  return std::lcm(8u, width_bits);
}

uint32_t unpack_block_rows(unsigned width_bits) {
  return dict_rows_per_step(width_bits);
}

UnpackBatch unpack_batch(unsigned width_bits, std::vector<uint64_t> codes) {
  UnpackBatch batch;
  batch.width_bits = width_bits;
  batch.rows = batch.capacity = static_cast<uint32_t>(codes.size());
  batch.codes = std::move(codes);
  return batch;
}

UnpackBatch random_unpack_batch(unsigned width_bits, uint32_t rows, Random& random) {
  std::vector<uint64_t> codes(rows);
  for (uint64_t& code : codes) code = random.bits(width_bits);
  return unpack_batch(width_bits, std::move(codes));
}

UnpackBatch random_run_batch(unsigned width_bits, unsigned length_bits,
                             std::vector<uint32_t> lengths, Random& random) {
  UnpackBatch batch =
      random_unpack_batch(width_bits, static_cast<uint32_t>(lengths.size()), random);
  batch.run_length = true;
  batch.length_bits = length_bits;
  batch.rows = batch.capacity = std::accumulate(lengths.begin(), lengths.end(), 0u);
  batch.lengths = std::move(lengths);
  return batch;
}

std::string describe(const UnpackBatch& batch) {
  std::string text = std::to_string(batch.rows) + " rows from " + std::to_string(batch.position) +
                     " into " + std::to_string(batch.capacity);
  if (batch.selection) {
    text += (batch.kctx_flags & COLX_KCTX_SELECTIVE) != 0 ? ", sparse" : ", selected";
  }
  if (batch.list) text += ", list of " + std::to_string(batch.list->size());
  if (batch.run_length) {
    text += ", " + std::to_string(batch.lengths.size()) + " runs of " +
            std::to_string(batch.length_bits) + " bits, state " + std::to_string(batch.state1) +
            " " + std::to_string(batch.state2);
  }
  if ((batch.kctx_flags & COLX_KCTX_WIDE_CODES) != 0) text += ", wide";
  if (batch.store == Store::compressed) text += ", compressed";
  if (batch.store == Store::decompressed) text += ", decompressed";
  return text;
}

UnpackStage& unpack_stage() {
  static UnpackStage stage;
  return stage;
}

size_t UnpackStage::element_bytes() const {
  return oracle::unpacked_bytes(batch_.width_bits, batch_.kctx_flags);
}

void UnpackStage::set_encoding(const UnpackBatch& batch, void* untouchable) {
  std::memset(&encoding, 0, sizeof encoding);
  encoding.colx_enc_ctx_key = colx_column_key(COLX_ENC_DICT, colx_width_code(batch.width_bits), 0);
  encoding.colx_enc_ctx_symbols = encoding.colx_enc_ctx_cla = untouchable;
  encoding.colx_enc_ctx_rle_cla = untouchable;
  encoding.colx_enc_ctx_rle_bits = static_cast<uint64_t*>(untouchable);
  encoding.colx_enc_ctx_rle_runs = untouchable;
  if (batch.run_length) {
    encoding.colx_enc_ctx_rle_runs = lengths_pages_.place(
        oracle::big_endian_array(batch.lengths, batch.length_bits / 8), 0, batch.edge);
  }
  encoding.colx_enc_ctx_rle_width = static_cast<uint8_t>(batch.length_bits);
  encoding.colx_enc_ctx_rle_rows = static_cast<uint32_t>(batch.lengths.size());
  encoding.colx_enc_ctx_flags = COLX_DICT | (batch.run_length ? COLX_RLE : 0) |
                                (batch.store != Store::plain ? COLX_COMPRESSED : 0);
  encoding.colx_enc_ctx_width = batch.width_bits;
}

void UnpackStage::set(const UnpackBatch& batch) {
  batch_ = batch;
  stream_ = oracle::pack_codes(batch.codes, batch.width_bits);
  void* const untouchable = nowhere_.unreadable();
  set_encoding(batch, untouchable);

  std::memset(&src, 0, sizeof src);
  rows_.place(src, host, stream_, stream_slack_bytes, batch.store, batch.edge, batch.decode_status);
  src.colx_cv_aux = untouchable;
  src.colx_cv_encoding_context = &encoding;
  src.colx_cv_nulls = src.colx_cv_bits = static_cast<uint64_t*>(untouchable);
  src.colx_cv_num_set = ScanStage::dirty_num_set;
  src.colx_cv_num_of_rows = batch.rows;

  room_ = batch.room                       ? *batch.room
          : batch.list && !batch.selection ? batch.list->size()
          : batch.raw_list                 ? 0
                                           : batch.capacity;
  std::memset(&res, 0, sizeof res);
  res.colx_cv_data = output_.bytes(room_ * element_bytes(), batch.place, batch.shift);
  res.colx_cv_aux = untouchable;
  res.colx_cv_encoding_context = static_cast<colx_enc_ctx*>(untouchable);
  res.colx_cv_nulls = res.colx_cv_bits = static_cast<uint64_t*>(untouchable);
  res.colx_cv_num_set = ScanStage::dirty_num_set;
  res.colx_cv_num_of_rows = batch.capacity;

  std::memset(&kctx, 0, sizeof kctx);
  kctx.colx_kctx_env = &host.env;
  if (batch.selection) {
    // A walk begins by reading one whole word, also behind the last row.
    const bool walked = batch.run_length || (batch.kctx_flags & COLX_KCTX_SELECTIVE) != 0;
    size_t words = words_of(batch.rows);
    if (walked) words = std::max<size_t>(words, batch.position / 64 + 1);
    Words readable = *batch.selection;
    readable.resize(words);
    kctx.colx_kctx_selection = selection_pages_.place_values(readable, batch.edge);
  }
  if (batch.list) kctx.colx_kctx_rows = list_pages_.place_values(*batch.list, batch.edge);
  if (batch.raw_list != nullptr) kctx.colx_kctx_rows = batch.raw_list;
  kctx.colx_kctx_num_rows = batch.list ? static_cast<uint32_t>(batch.list->size()) : 0;
  kctx.colx_kctx_flags = batch.kctx_flags;
  kctx.colx_kctx_position = batch.position;
  kctx.colx_kctx_state1 = batch.state1;
  kctx.colx_kctx_state2 = batch.state2;
  kctx.colx_kctx_flags_out = batch.flags_out;
}

oracle::UnpackOutcome UnpackStage::expected() const {
  return oracle::unpack_outcome(batch_.width_bits, stream_, res, src, kctx);
}

UnpackRun UnpackStage::call(const UnpackKernel& kernel) {
  res_before_ = res;
  src_before_ = src;
  encoding_before_ = encoding;
  kctx_before_ = kctx;

  UnpackRun run = {};
  run.status = kernel.kernel(&res, &src, &kctx);
  run.num_set = res.colx_cv_num_set;
  run.position = kctx.colx_kctx_position;
  run.state1 = kctx.colx_kctx_state1;
  run.state2 = kctx.colx_kctx_state2;
  run.flags_out = kctx.colx_kctx_flags_out;
  const auto* const output = static_cast<const uint8_t*>(res_before_.colx_cv_data);
  for (size_t i = 0; i < run.num_set && i < room_; ++i) {
    uint32_t code = 0;
    std::memcpy(&code, output + i * element_bytes(), element_bytes());
    run.codes.push_back(code);
  }
  return run;
}

std::string UnpackStage::damage(const UnpackKernel& kernel,
                                const oracle::UnpackOutcome& expected) const {
  colx_cv res_now = res;
  res_now.colx_cv_num_set = res_before_.colx_cv_num_set;
  if (!same_bytes(res_now, res_before_)) return "changed: a field of res";
  if (!same_bytes(src, src_before_)) return "changed: a field of src";
  if (!same_bytes(encoding, encoding_before_)) return "changed: a field of the encoding context";
  colx_kctx kctx_now = kctx;
  kctx_now.colx_kctx_position = kctx_before_.colx_kctx_position;
  kctx_now.colx_kctx_state1 = kctx_before_.colx_kctx_state1;
  kctx_now.colx_kctx_state2 = kctx_before_.colx_kctx_state2;
  kctx_now.colx_kctx_flags_out = kctx_before_.colx_kctx_flags_out;
  if (!same_bytes(kctx_now, kctx_before_)) return "changed: a field of kctx";
  if (std::string text = output_.damage(); !text.empty()) return text;

  // Only the blocks of a selection write more than they deliver, within the capacity. Where rows or
  // room are less than a block, all rows are taken one by one.
  const auto* const output = static_cast<const uint8_t*>(res.colx_cv_data);
  const size_t delivered = expected.codes.size() * element_bytes();
  const uint32_t block = unpack_block_rows(batch_.width_bits);
  const bool by_blocks = expected.path == oracle::UnpackPath::blocks && batch_.capacity >= block &&
                         batch_.rows >= batch_.position + block;
  const size_t checked = by_blocks ? 0 : room_ * element_bytes();
  for (size_t i = delivered; i < checked; ++i) {
    if (output[i] != GuardedOutput::dirty_byte(i)) {
      return "written: byte " + std::to_string(i - delivered) + " behind the last element";
    }
  }
  std::vector<std::string> raises;
  if (expected.raises) {
    raises.push_back(std::string(kernel.name) + ": [rle] ones_vec size is zero");
  }
  return rows_.difference(src, host, kernel.name, /*reads_rows=*/true, raises);
}

std::string unpack_difference(const UnpackKernel& kernel, const UnpackBatch& batch) {
  UnpackStage& stage = unpack_stage();
  stage.set(batch);
  const oracle::UnpackOutcome expected = stage.expected();
  set_crash_note("%s, %s", kernel.name, describe(batch).c_str());
  const UnpackRun run = stage.call(kernel);
  std::string text = fields_difference(run, expected);
  if (text.empty()) text = codes_difference(run, expected);
  if (text.empty()) text = stage.damage(kernel, expected);
  return text.empty() ? text
                      : std::string(kernel.name) + ": " + text + " [" + describe(batch) + "]";
}

UnpackRun run_unpack(const UnpackBatch& batch) {
  unpack_stage().set(batch);
  return unpack_stage().call(unpack_kernel(batch.width_bits));
}

std::string resumed_difference(const UnpackBatch& batch, uint32_t most, Random& random) {
  const std::vector<uint32_t> whole = run_unpack(batch).codes;
  std::vector<uint32_t> pieces;
  UnpackBatch slice = batch;
  slice.room.reset();
  while (pieces.size() <= whole.size()) {
    slice.capacity = static_cast<uint32_t>(random.below(most + 1));
    const std::string text = unpack_difference(slice);
    if (!text.empty()) return text;
    const colx_kctx& kctx = unpack_stage().kctx;
    const colx_cv& res = unpack_stage().res;
    const auto* const output = static_cast<const uint8_t*>(res.colx_cv_data);
    const size_t bytes = oracle::unpacked_bytes(batch.width_bits, batch.kctx_flags);
    for (size_t i = 0; i < res.colx_cv_num_set; ++i) {
      pieces.push_back(0);
      std::memcpy(&pieces.back(), output + i * bytes, bytes);
    }
    // The last row looked at; the next call begins behind it. Without any room a selection has not
    // looked at a row.
    if (kctx.colx_kctx_position == batch.rows - 1 && slice.capacity != 0) break;
    slice.position = kctx.colx_kctx_position + (batch.selection && slice.capacity == 0 ? 0 : 1);
    slice.state1 = kctx.colx_kctx_state1;
    slice.state2 = kctx.colx_kctx_state2;
    if (slice.store == Store::compressed) slice.store = Store::decompressed;
  }
  return pieces == whole ? "" : "resumed, " + describe(batch) + ": not what one call delivers";
}

}  // namespace colx::test
