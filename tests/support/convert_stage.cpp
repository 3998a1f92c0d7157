#include "tests/support/convert_stage.h"

#include <algorithm>
#include <cstring>

#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

extern "C" {
colx_transpose_convert_call colx_transpose_convert_row_cla, colx_transpose_convert_col_cla,
    colx_transpose_convert_row_lp, colx_transpose_convert_col_lp;
}

namespace colx::test {
namespace {

using oracle::ConvertForm;

// A store all of whose arrays are unreadable.
colx_row_store closed_store(void* untouchable) {
  colx_row_store store;
  std::memset(&store, 0, sizeof store);
  void** const no_array = static_cast<void**>(untouchable);
  store.colx_store_lp_pages = store.colx_store_dlp_pages = store.colx_store_cla_pages = no_array;
  store.colx_store_lp_write = store.colx_store_cla_write = store.colx_store_data_bases = no_array;
  store.colx_store_data_cursors = store.colx_store_data_ends = no_array;
  return store;
}

oracle::Patches moved(const oracle::Patches& patches, uint64_t bytes) {
  oracle::Patches all = patches;
  for (oracle::Patch& patch : all) patch.at += bytes;
  return all;
}

}  // namespace

ConvertKernel convert_kernel(ConvertForm form) {
  switch (form) {
    case ConvertForm::row_cla:
      return {"colx_transpose_convert_row_cla", colx_transpose_convert_row_cla};
    case ConvertForm::col_cla:
      return {"colx_transpose_convert_col_cla", colx_transpose_convert_col_cla};
    case ConvertForm::row_lp:
      return {"colx_transpose_convert_row_lp", colx_transpose_convert_row_lp};
    case ConvertForm::col_lp:
      return {"colx_transpose_convert_col_lp", colx_transpose_convert_col_lp};
  }
  return {};
}

ConvertStage& convert_stage() {
  static ConvertStage stage;
  return stage;
}

// An array of pointers from which that index, above or below 0, gives `entry`.
void** ConvertStage::array_around(void* entry, int32_t index) {
  std::vector<void*> pointers(2 * around + 1, arrays_.unreadable());
  pointers[around] = entry;
  void** const first = arrays_.place_pointers(pointers);
  used_.push_back(first);
  return first + around - index;
}

void ConvertStage::place_matrix() {
  Bytes all;
  for (const Bytes& value : batch_.values) all.insert(all.end(), value.begin(), value.end());
  const uint8_t* value = arrays_.place(all);
  Bytes records(oracle::record_bytes * batch_.values.size());
  for (size_t i = 0; i < batch_.values.size(); ++i) {
    uint8_t* const record = records.data() + oracle::record_bytes * i;
    const auto length = static_cast<uint16_t>(batch_.values[i].size());
    std::memset(record, 0xE5, oracle::record_bytes);
    std::memcpy(record, &length, sizeof length);
    std::memcpy(record + 8, &value, sizeof value);
    value += length;
  }
  in.colx_store_ncols = batch_.columns;
  const uint64_t before = uint64_t{batch_.first_row} * batch_.columns * oracle::record_bytes;
  in.colx_store_lp_pages = array_around(arrays_.place(records) - before, batch_.block);
}

// The data room first; the oracle then tells how many offsets or records there will be.
void ConvertStage::place_outputs() {
  const bool cla = is_cla_form(batch_.form);
  before_bytes_ = cla && batch_.from != 0 ? 4 : 0;
  const size_t room = std::max<int64_t>(batch_.room, 0) + batch_.room_behind;
  uint8_t* const cursor = data_.place(room, batch_.place);
  out.colx_store_data_cursors = array_around(cursor, batch_.part);
  out.colx_store_data_ends = array_around(cursor + batch_.room, batch_.part);
  void**& write = cla ? out.colx_store_cla_write : out.colx_store_lp_write;
  uint32_t before = batch_.offset_before;
  write = array_around(&before + 1, batch_.part);
  const size_t bytes = before_bytes_ + oracle::end_of(expected().entries);
  uint8_t* const entries = entries_.place(bytes, batch_.place);
  if (before_bytes_ != 0) std::memcpy(entries, &before, sizeof before);
  write[batch_.part] = entries + before_bytes_;
}

void ConvertStage::set(const ConvertBatch& batch) {
  batch_ = batch;
  used_.clear();
  arrays_.clear(batch.edge, batch.misaligned);
  in = closed_store(arrays_.unreadable());
  out = closed_store(arrays_.unreadable());
  in.colx_store_type = batch.in_type;
  out.colx_store_type = (is_cla_form(batch.form) ? COLX_STORE_CLA : COLX_STORE_LP) |
                        (is_row_form(batch.form) ? COLX_STORE_ROW_FORM : 0) | batch.out_type;
  out.colx_store_ncols = 0x7777;
  std::memset(&kctx, 0, sizeof kctx);
  kctx.colx_kctx_env = static_cast<colx_env*>(arrays_.unreadable());
  kctx.colx_kctx_selection = static_cast<uint64_t*>(arrays_.unreadable());
  kctx.colx_kctx_position = 0x12344321;
  place_matrix();
  place_outputs();
}

oracle::ConvertOutcome ConvertStage::expected() const {
  return oracle::convert_outcome(batch_.form, out, in, batch_.part, batch_.block, batch_.from,
                                 batch_.to);
}

ConvertRun ConvertStage::call(colx_transpose_convert_call* kernel) {
  in_before_ = in;
  out_before_ = out;
  kctx_before_ = kctx;
  used_before_.clear();
  for (void** const array : used_) {
    used_before_.push_back(std::vector<void*>(array, array + 2 * around + 1));
  }
  void** const cursor = out.colx_store_data_cursors + batch_.part;
  void** const entry =
      (is_cla_form(batch_.form) ? out.colx_store_cla_write : out.colx_store_lp_write) + batch_.part;
  const auto* const cursor_before = static_cast<const uint8_t*>(*cursor);
  const auto* const entry_before = static_cast<const uint8_t*>(*entry);
  const uint32_t status =
      kernel(&out, &in, batch_.part, batch_.block, batch_.from, batch_.to, &kctx);
  const ConvertRun run = {status, kctx.colx_kctx_position,
                          static_cast<const uint8_t*>(*cursor) - cursor_before,
                          static_cast<const uint8_t*>(*entry) - entry_before};
  *cursor = const_cast<uint8_t*>(cursor_before);
  *entry = const_cast<uint8_t*>(entry_before);
  return run;
}

std::string ConvertStage::changed_records() const {
  if (!same_bytes(in, in_before_)) return "changed: a field of the matrix's store";
  if (!same_bytes(out, out_before_)) return "changed: a field of the target";
  colx_kctx kctx_now = kctx;
  kctx_now.colx_kctx_position = kctx_before_.colx_kctx_position;
  if (!same_bytes(kctx_now, kctx_before_)) return "changed: a field of kctx";
  for (size_t i = 0; i < used_.size(); ++i) {
    if (std::memcmp(used_[i], used_before_[i].data(), used_before_[i].size() * sizeof(void*)) !=
        0) {
      return "changed: array " + std::to_string(i);
    }
  }
  return {};
}

std::string ConvertStage::difference(const ConvertRun& run,
                                     const oracle::ConvertOutcome& expected) const {
  const auto unlike = [](const char* what, int64_t is, int64_t should) {
    return std::string(what) + " " + std::to_string(is) + ", expected " + std::to_string(should);
  };
  if (run.status != expected.status) return unlike("status", run.status, expected.status);
  if (run.position != expected.position) {
    return unlike("position", run.position, expected.position);
  }
  const auto data_bytes = static_cast<int64_t>(expected.data_bytes);
  const auto entry_bytes = static_cast<int64_t>(expected.entry_bytes);
  if (run.data_bytes != data_bytes) return unlike("cursor moved by", run.data_bytes, data_bytes);
  if (run.entry_bytes != entry_bytes) {
    return unlike("entries moved by", run.entry_bytes, entry_bytes);
  }
  if (std::string text = data_.difference(expected.data); !text.empty()) return "data: " + text;
  oracle::Patches entries = moved(expected.entries, before_bytes_);
  if (before_bytes_ != 0) {
    entries.push_back(oracle::patch_of_number(0, batch_.offset_before, 4));
  }
  if (std::string text = entries_.difference(entries); !text.empty()) return "entries: " + text;
  return changed_records();
}

ConvertBatch random_convert_batch(ConvertForm form, uint32_t rows, uint16_t columns,
                                  Random& random) {
  ConvertBatch batch;
  batch.form = form;
  batch.columns = columns;
  batch.values.resize(size_t{rows} * columns);
  for (Bytes& value : batch.values) {
    value = random.bytes(random.one_in(5) ? 0 : random.one_in(20) ? 200 : random.below(31));
  }
  batch.first_row = static_cast<uint32_t>(random.one_in(3) ? 0 : random.below(1000));
  batch.from = batch.first_row;
  batch.to = batch.first_row + rows - 1;
  batch.offset_before = static_cast<uint32_t>(random.next());
  batch.part = static_cast<int32_t>(random.below(7)) - 3;
  batch.block = static_cast<int32_t>(random.below(7)) - 3;
  batch.misaligned = random.below(3);
  batch.room = convert_room(batch);
  return batch;
}

int64_t convert_room(const ConvertBatch& batch) {
  int64_t bytes = 0;
  for (const Bytes& value : batch.values) {
    bytes += static_cast<uint16_t>(value.size()) + (is_row_form(batch.form) ? 2 : 0);
  }
  return bytes;
}

std::string describe(const ConvertBatch& batch) {
  const auto number = [](int64_t n) { return std::to_string(n); };
  return number(batch.rows()) + " rows of " + number(batch.columns) + ", " + number(batch.from) +
         " to " + number(batch.to) + ", part " + number(batch.part) + ", block " +
         number(batch.block) + ", room " + number(batch.room);
}

std::string convert_difference(const ConvertBatch& batch) {
  const ConvertKernel kernel = convert_kernel(batch.form);
  const std::string what = describe(batch);
  set_crash_note("%s, %s", kernel.name, what.c_str());
  ConvertStage& stage = convert_stage();
  for (colx_transpose_convert_call* const call :
       {kernel.kernel, colx_global_specialized_ctx.colx_sctx_transpose_convert}) {
    stage.set(batch);
    const oracle::ConvertOutcome expected = stage.expected();
    const std::string text = stage.difference(stage.call(call), expected);
    if (!text.empty()) return std::string(kernel.name) + ": " + text + " [" + what + "]";
  }
  return {};
}

ConvertRun run_convert(const ConvertBatch& batch) {
  set_crash_note("colx_transpose_convert_dydi, %s", describe(batch).c_str());
  convert_stage().set(batch);
  return convert_stage().call(colx_global_specialized_ctx.colx_sctx_transpose_convert);
}

}  // namespace colx::test
