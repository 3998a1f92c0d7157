#include "tests/support/group_key_stage.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/stored_numbers.h"
#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

constexpr size_t stream_slack_bytes = 16;

uint32_t number_at(const void* at) {
  uint32_t number;
  std::memcpy(&number, at, sizeof number);
  return number;
}

// The narrowest width that has kernels.
unsigned code_bits_for(uint32_t symbols) {
  const auto bits = static_cast<unsigned>(std::bit_width(std::max(symbols, 2u) - 1));
  return bits <= 20 ? bits : bits <= 24 ? 24 : 32;
}

std::string decoder_name(const GroupedColumn& column) {
  return "colx_decode_unpack_dict_" + std::to_string(column.code_bits) + "bit";
}

}  // namespace

GroupedColumn key_column(uint32_t symbols, Numbers codes) {
  GroupedColumn column;
  column.symbols = symbols;
  column.code_bits = column.shift = code_bits_for(symbols);
  column.rows = static_cast<uint32_t>(codes.size());
  column.codes = std::move(codes);
  return column;
}

GroupedColumn random_key_column(uint32_t symbols, uint32_t rows, Random& random) {
  Numbers codes(rows);
  for (uint32_t& code : codes) code = static_cast<uint32_t>(random.below(symbols));
  return key_column(symbols, std::move(codes));
}

GroupedColumn random_run_column(uint32_t symbols, uint32_t rows, uint32_t longest, Random& random) {
  Numbers lengths;
  for (uint32_t done = 0; done < rows; done += lengths.back()) {
    lengths.push_back(std::min(1 + static_cast<uint32_t>(random.below(longest)), rows - done));
  }
  GroupedColumn column = random_key_column(symbols, static_cast<uint32_t>(lengths.size()), random);
  column.rows = rows;
  column.lengths = std::move(lengths);
  column.length_bits = longest > 255 || random.one_in(2) ? 16 : 8;
  return column;
}

GroupKeyBatch group_key_batch(std::vector<GroupedColumn> columns, uint32_t kctx_flags) {
  GroupKeyBatch batch;
  batch.room = batch.scratch_rows = columns[0].rows;
  batch.columns = std::move(columns);
  batch.kctx_flags = kctx_flags;
  return batch;
}

std::string describe(const GroupKeyBatch& batch) {
  std::string text = std::to_string(batch.columns.size()) + " columns of " +
                     std::to_string(batch.columns[0].rows) + " rows from " +
                     std::to_string(batch.position) + ", room " + std::to_string(batch.room) +
                     ", scratch " + std::to_string(batch.scratch_rows) +
                     ((batch.kctx_flags & COLX_KCTX_MULTIPLY_KEYS) != 0 ? ", times" : ", shifted");
  if (batch.selection) {
    text += (batch.kctx_flags & COLX_KCTX_SELECTIVE) != 0 ? ", walked" : ", selected";
  }
  if (batch.list) text += ", list of " + std::to_string(batch.list->size());
  for (const GroupedColumn& column : batch.columns) {
    text += (column.lengths ? ", r" : ", w") + std::to_string(column.code_bits);
  }
  return text;
}

GroupKeyStage& group_key_stage() {
  static GroupKeyStage stage;
  return stage;
}

void GroupKeyStage::place_column(size_t number) {
  const GroupedColumn& column = batch_.columns[number];
  Column& placed = columns_[number];
  colx_enc_ctx& encoding = placed.encoding;
  make_dirty(encoding);
  encoding.colx_enc_ctx_key =
      colx_column_key(COLX_ENC_DICT, colx_width_code(column.code_bits), COLX_FORM_PLAIN);
  encoding.colx_enc_ctx_num_symbols = column.symbols;
  encoding.colx_enc_ctx_width = column.shift;
  encoding.colx_enc_ctx_flags = (column.dict ? COLX_DICT : 0) | column.other_flags |
                                (column.lengths ? COLX_RLE : 0) |
                                (column.store != Store::plain ? COLX_COMPRESSED : 0);
  encoding.colx_enc_ctx_rle_width = static_cast<uint8_t>(column.length_bits);
  if (column.lengths) {
    encoding.colx_enc_ctx_rle_rows = static_cast<uint32_t>(column.lengths->size());
    encoding.colx_enc_ctx_rle_runs = placed.lengths.place(
        oracle::big_endian_array(*column.lengths, column.length_bits / 8), 0, batch_.edge);
  }
  placed.encoding_before = encoding;

  const std::vector<uint64_t> codes(column.codes.begin(), column.codes.end());
  streams_[number] = oracle::pack_codes(codes, column.code_bits);
  colx_cv& vector = vectors_[number];
  make_dirty(vector);
  placed.rows.place(vector, host, streams_[number], stream_slack_bytes, column.store, batch_.edge,
                    0);
  vector.colx_cv_encoding_context = &encoding;
  vector.colx_cv_num_of_rows = column.rows;
}

void GroupKeyStage::place_row_choice() {
  kctx.colx_kctx_selection = nullptr;
  kctx.colx_kctx_rows = nullptr;
  if (batch_.selection) {
    Words readable = *batch_.selection;
    uint32_t rows = 0;
    for (const GroupedColumn& column : batch_.columns) rows = std::max(rows, column.rows);
    readable.resize(std::max(words_of(rows), 1u));
    kctx.colx_kctx_selection = selection_pages_.place_values(readable, batch_.edge);
  }
  if (batch_.list) {
    kctx.colx_kctx_rows = list_pages_.place_values(*batch_.list, batch_.edge);
    kctx.colx_kctx_num_rows = static_cast<uint32_t>(batch_.list->size());
  }
}

void GroupKeyStage::set(const GroupKeyBatch& batch) {
  batch_ = batch;
  streams_.assign(batch.columns.size(), {});
  while (columns_.size() < batch.columns.size()) columns_.emplace_back();
  vectors_.assign(batch.columns.size(), colx_cv{});
  // Placing a column clears the host's records: the compressed one comes last.
  for (const bool compressed : {false, true}) {
    for (size_t c = 0; c < batch.columns.size(); ++c) {
      if ((batch.columns[c].store == Store::compressed) == compressed) place_column(c);
    }
  }
  vectors_at_ = vectors_pages_.place_values(vectors_, batch.edge);

  make_dirty(res);
  make_dirty(scratch);
  make_dirty(kctx);
  keys_at_ = keys_.bytes(4 * size_t{batch.room}, batch.place, 4);
  res.colx_cv_data = keys_at_;
  res.colx_cv_num_of_rows = batch.room;
  scratch.colx_cv_data = scratch_codes_.bytes(4 * size_t{batch.scratch_rows}, batch.place, 4);
  scratch.colx_cv_num_of_rows = batch.scratch_rows;
  key_space_at_ = reinterpret_cast<uint32_t*>(key_space_.bytes(4, batch.place));

  kctx.colx_kctx_env = &host.env;
  kctx.colx_kctx_flags = batch.kctx_flags;
  kctx.colx_kctx_position = batch.position;
  kctx.colx_kctx_state1 = batch.state1;
  kctx.colx_kctx_state2 = batch.state2;
  place_row_choice();
}

oracle::GroupKeyOutcome GroupKeyStage::expected() const {
  return oracle::group_key_outcome(res, vectors_, streams_, scratch, kctx);
}

GroupKeyRun GroupKeyStage::call(colx_groupkey_call* entry) {
  res_before_ = res;
  scratch_before_ = scratch;
  kctx_before_ = kctx;
  GroupKeyRun run = {};
  run.status = entry(&res, key_space_at_, vectors_at_, static_cast<uint32_t>(vectors_.size()),
                     &scratch, &kctx);
  run.num_set = res.colx_cv_num_set;
  run.key_space = number_at(key_space_at_);
  for (size_t i = 0; i < std::min(run.num_set, batch_.room); ++i) {
    run.keys.push_back(number_at(keys_at_ + 4 * i));
  }
  return run;
}

// Blocks of a selection write more than they deliver, within the room.
std::string GroupKeyStage::keys_difference(const oracle::GroupKeyOutcome& expected) const {
  for (size_t i = 0; i < expected.keys.size(); ++i) {
    const uint32_t key = number_at(keys_at_ + 4 * i);
    if (key == expected.keys[i]) continue;
    return "key " + std::to_string(i) + " is " + std::to_string(key) + ", expected " +
           std::to_string(expected.keys[i]);
  }
  if (batch_.selection && (batch_.kctx_flags & COLX_KCTX_SELECTIVE) == 0 && !expected.refused) {
    return {};
  }
  for (size_t i = 4 * expected.keys.size(); i < 4 * size_t{batch_.room}; ++i) {
    if (keys_at_[i] != GuardedOutput::dirty_byte(i)) {
      return "written: byte " + std::to_string(i - 4 * expected.keys.size()) +
             " behind the last key";
    }
  }
  return {};
}

std::string GroupKeyStage::host_difference(bool refused, bool decoded) const {
  std::vector<std::string> order;
  const GroupedColumn* compressed = nullptr;
  size_t which = 0;
  for (size_t c = 0; c < batch_.columns.size(); ++c) {
    if (batch_.columns[c].store != Store::compressed || !decoded) continue;
    compressed = &batch_.columns[c];
    which = c;
  }
  if (!refused) order.push_back("alloc");
  if (compressed != nullptr) order.insert(order.end(), {"alloc_cached", "decode"});
  if (!refused) order.push_back("free");
  if (host.order != order) {
    std::string text = "host calls:";
    for (const std::string& call : host.order) text += " " + call;
    return text;
  }
  if (!host.misuse.empty()) return host.misuse[0];
  if (refused) return {};
  const ScratchAllocation& a = host.scratch_allocations[0];
  if (a.label != "colx_groupkey_dydi: temp column info") return "allocation label is " + a.label;
  if (a.bytes != 12 * batch_.columns.size()) return "allocated: " + std::to_string(a.bytes);
  if (a.host != host.handle || a.unit != 4 || a.zero != 0) return "arguments of colx_env_alloc";
  if (compressed == nullptr) return {};
  return first_touch_difference(host, decoder_name(*compressed), vectors_[which],
                                streams_[which].size(), 0);
}

std::string GroupKeyStage::damage() const {
  colx_cv res_now = res;
  res_now.colx_cv_num_set = res_before_.colx_cv_num_set;
  if (!same_bytes(res_now, res_before_)) return "changed: a field of res";
  if (!same_bytes(scratch, scratch_before_)) return "changed: a field of scratch";
  if (!same_bytes(kctx, kctx_before_)) return "changed: a field of kctx";
  for (size_t c = 0; c < vectors_.size(); ++c) {
    const std::string column = " of column " + std::to_string(c);
    if (!same_bytes(vectors_at_[c], vectors_[c])) return "changed: a field" + column;
    if (!same_bytes(columns_[c].encoding, columns_[c].encoding_before)) {
      return "changed: the encoding" + column;
    }
  }
  if (std::string text = keys_.damage(); !text.empty()) return "keys: " + text;
  if (std::string text = scratch_codes_.damage(); !text.empty()) return "scratch: " + text;
  return key_space_.damage();
}

std::string GroupKeyStage::difference(const GroupKeyRun& run,
                                      const oracle::GroupKeyOutcome& expected) const {
  if (run.status != expected.status) {
    return "status is " + std::to_string(run.status) + ", expected " +
           std::to_string(expected.status);
  }
  uint32_t dirty_space;
  for (size_t b = 0; b < 4; ++b) {
    reinterpret_cast<uint8_t*>(&dirty_space)[b] = GuardedOutput::dirty_byte(b);
  }
  const uint32_t key_space = expected.refused ? dirty_space : expected.key_space;
  if (run.key_space != key_space) return "the key space is " + std::to_string(run.key_space);
  const auto keys = static_cast<uint32_t>(expected.keys.size());
  const uint32_t num_set = expected.refused ? res_before_.colx_cv_num_set : keys;
  if (run.num_set != num_set) {
    return "colx_cv_num_set is " + std::to_string(run.num_set) + ", expected " +
           std::to_string(num_set);
  }
  std::string text = keys_difference(expected);
  const bool decoded =
      !expected.refused && batch_.room != 0 && batch_.position < batch_.columns[0].rows;
  if (text.empty()) text = host_difference(expected.refused, decoded);
  return text.empty() ? damage() : text;
}

std::string group_key_difference(const GroupKeyBatch& batch, colx_groupkey_call* entry) {
  GroupKeyStage& stage = group_key_stage();
  stage.set(batch);
  const oracle::GroupKeyOutcome expected = stage.expected();
  set_crash_note("colx_groupkey_dydi, %s", describe(batch).c_str());
  const GroupKeyRun run = stage.call(entry);
  const std::string text = stage.difference(run, expected);
  return text.empty() ? text : "colx_groupkey_dydi: " + text + " [" + describe(batch) + "]";
}

GroupKeyRun run_group_keys(const GroupKeyBatch& batch) {
  group_key_stage().set(batch);
  return group_key_stage().call(colx_groupkey_dydi);
}

}  // namespace colx::test
