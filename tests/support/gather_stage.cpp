#include "tests/support/gather_stage.h"

#include <algorithm>
#include <cstring>

#include "tests/support/call_records.h"
#include "tests/support/crash_note.h"

namespace colx::test {
namespace {

using oracle::GatherForm;
using oracle::GatherIndex;
using oracle::GatherResult;
using oracle::GatherStore;

// Rooms above this are not granted whole: an output then ends where the last value ends.
constexpr uint64_t most_room = 1 << 20;

bool reads_values(GatherResult result) {
  return result == GatherResult::fixed || result == GatherResult::lv ||
         result == GatherResult::lv_sep;
}

// Bytes that a row reads of a value of this length.
size_t bytes_read(const GatherBatch& batch, size_t length) {
  if (!reads_values(batch.form.result)) return 0;
  return batch.form.result == GatherResult::fixed ? batch.value_bits >> 3 : length;
}

uint32_t store_bit(GatherStore store) {
  switch (store) {
    case GatherStore::lp:
      return COLX_STORE_LP;
    case GatherStore::dlp:
      return COLX_STORE_DLP;
    case GatherStore::cla:
      return COLX_STORE_CLA;
    case GatherStore::none:
      return 0;
  }
  return 0;
}

uint32_t src_bit(GatherIndex index) {
  switch (index) {
    case GatherIndex::ridvalue:
    case GatherIndex::ridvalue_rid:
      return COLX_RIDVALUE;
    case GatherIndex::lp_sep:
      return COLX_LP_SEP;
    case GatherIndex::lp:
      return COLX_LP;
    case GatherIndex::dlp:
      return COLX_DLP;
    default:
      return COLX_FIXED;
  }
}

uint32_t index_width_bits(const GatherBatch& batch) {
  switch (batch.form.index) {
    case GatherIndex::fixed_8:
      return 64;
    case GatherIndex::fixed_4:
      return 32;
    case GatherIndex::fixed_2:
      return 16;
    case GatherIndex::fixed_1:
      return 8;
    default:
      return batch.index_bits;
  }
}

struct LpRecord {
  uint16_t length;
  uint8_t unused[6];
  const uint8_t* value;
};
static_assert(sizeof(LpRecord) == 16);

LpRecord lp_record(const Bytes& value, const uint8_t* at) {
  return {static_cast<uint16_t>(value.size()), {0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6}, at};
}

void put_word(Bytes& bytes, uint64_t word) {
  const Bytes stored = native_bytes(word, 8);
  bytes.insert(bytes.end(), stored.begin(), stored.end());
}

}  // namespace

GatherStage& gather_stage() {
  static GatherStage stage;
  return stage;
}

// All pointers lead to where nothing can be read.
void GatherStage::clear_records() {
  void* const untouchable = arrays_->unreadable();
  for (colx_enc_ctx* const encoding : {&res_encoding, &src_encoding}) {
    std::memset(encoding, 0, sizeof *encoding);
    encoding->colx_enc_ctx_symbols = encoding->colx_enc_ctx_cla = untouchable;
    encoding->colx_enc_ctx_dlp_pages = static_cast<void**>(untouchable);
  }
  for (colx_cv* const vector : {&res, &src}) {
    std::memset(vector, 0, sizeof *vector);
    vector->colx_cv_data = vector->colx_cv_aux = untouchable;
    vector->colx_cv_row_flags = static_cast<uint16_t*>(untouchable);
    vector->colx_cv_nulls = vector->colx_cv_bits = static_cast<uint64_t*>(untouchable);
    vector->colx_cv_num_set = ScanStage::dirty_num_set;
  }
  res.colx_cv_encoding_context = &res_encoding;
  res.colx_cv_num_of_rows = 0x55AA55AA;
  src.colx_cv_encoding_context = &src_encoding;

  std::memset(&store, 0, sizeof store);
  void** const no_array = static_cast<void**>(untouchable);
  store.colx_store_lp_pages = store.colx_store_dlp_pages = store.colx_store_cla_pages = no_array;
  store.colx_store_lp_write = store.colx_store_cla_write = store.colx_store_data_bases = no_array;
  store.colx_store_data_cursors = store.colx_store_data_ends = no_array;

  std::memset(&kctx, 0, sizeof kctx);
  kctx.colx_kctx_env = static_cast<colx_env*>(untouchable);
  kctx.colx_kctx_selection = static_cast<uint64_t*>(untouchable);
}

// Lays values side by side, the first at `values`; gives their offsets with `first_offset` added.
std::vector<uint64_t> GatherStage::place_values(const std::vector<Bytes>& page,
                                                uint64_t first_offset) {
  std::vector<uint64_t> offsets;
  uint64_t at = 0, end = 0;
  Bytes area;
  for (const Bytes& value : page) {
    offsets.push_back(first_offset + at);
    area.insert(area.end(), value.begin(), value.end());
    end = std::max<uint64_t>(end, at + bytes_read(batch_, value.size()));
    at += value.size();
  }
  while (area.size() < end) area.push_back(static_cast<uint8_t>(0x9C ^ area.size()));
  area.resize(end);
  values = reads_values(batch_.form.result) ? arrays_->place(area)
                                            : static_cast<uint8_t*>(arrays_->unreadable());
  return offsets;
}

void GatherStage::place_lp_store() {
  std::vector<void*> pages;
  for (const std::vector<Bytes>& page : batch_.pages) {
    const std::vector<uint64_t> offsets = place_values(page, 0);
    std::vector<LpRecord> records;
    for (size_t i = 0; i < page.size(); ++i) {
      records.push_back(lp_record(page[i], values + offsets[i]));
    }
    pages.push_back(arrays_->place_all(records));
  }
  store.colx_store_lp_pages = arrays_->place_pointers(pages);
}

void GatherStage::place_cla_store() {
  std::vector<void*> pages, bases;
  for (const std::vector<Bytes>& page : batch_.pages) {
    const std::vector<uint64_t> offsets = place_values(page, batch_.first_offset);
    std::vector<uint32_t> cla(offsets.begin(), offsets.end());
    cla.push_back(static_cast<uint32_t>(page.empty() ? batch_.first_offset
                                                     : offsets.back() + page.back().size()));
    pages.push_back(arrays_->place_all(cla));
    bases.push_back(reinterpret_cast<void*>(reinterpret_cast<uint64_t>(values) -
                                            uint64_t{batch_.first_offset}));
  }
  store.colx_store_cla_pages = arrays_->place_pointers(pages);
  store.colx_store_data_bases = arrays_->place_pointers(bases);
}

void GatherStage::place_dlp_store() {
  std::vector<Bytes> all;
  for (const std::vector<Bytes>& page : batch_.pages)
    all.insert(all.end(), page.begin(), page.end());
  const std::vector<uint64_t> offsets = place_values(all, 0);
  std::vector<void*> pages;
  size_t next = 0;
  for (const std::vector<Bytes>& page : batch_.pages) {
    std::vector<uint64_t> words;
    for (const Bytes& value : page) {
      const uint64_t place = batch_.dlp_noise << batch_.dlp_bits | offsets[next++];
      words.push_back(place << 16 | value.size());
    }
    pages.push_back(arrays_->place_all(words));
  }
  store.colx_store_dlp_pages = arrays_->place_pointers(pages);
  if (batch_.form.result != GatherResult::dlp) {
    res_encoding.colx_enc_ctx_dlp_pages = arrays_->place_pointers({values});
  }
}

void GatherStage::place_direct_source() {
  std::vector<void*> bases;
  std::vector<std::vector<uint64_t>> offsets;
  for (const std::vector<Bytes>& page : batch_.pages) {
    offsets.push_back(place_values(page, 0));
    bases.push_back(values);
  }
  std::vector<uint8_t*> pointers;
  std::vector<uint16_t> lengths;
  std::vector<LpRecord> records;
  std::vector<uint64_t> words;
  for (const uint64_t index : batch_.indices) {
    const oracle::PageEntry at = oracle::split_index(store, index);
    const Bytes& value = batch_.pages[at.page][at.entry];
    const uint64_t offset = offsets[at.page][at.entry];
    pointers.push_back(static_cast<uint8_t*>(bases[at.page]) + offset);
    lengths.push_back(static_cast<uint16_t>(value.size()));
    records.push_back(lp_record(value, pointers.back()));
    words.push_back((at.page << batch_.dlp_bits | offset) << 16 | value.size());
  }
  if (batch_.form.index == GatherIndex::lp_sep) {
    src.colx_cv_data = arrays_->place_all(pointers);
    src.colx_cv_aux = arrays_->place_all(lengths);
  } else if (batch_.form.index == GatherIndex::lp) {
    src.colx_cv_data = arrays_->place_all(records);
  } else {
    src.colx_cv_data = arrays_->place_all(words);
    src_encoding.colx_enc_ctx_dlp_bits = static_cast<uint8_t>(batch_.dlp_bits);
    src_encoding.colx_enc_ctx_dlp_pages = arrays_->place_pointers(bases);
  }
}

void GatherStage::place_indices() {
  Bytes stream;
  const bool records =
      batch_.form.index == GatherIndex::ridvalue || batch_.form.index == GatherIndex::ridvalue_rid;
  for (size_t row = 0; row < batch_.indices.size(); ++row) {
    const uint64_t index = batch_.indices[row];
    const uint64_t noise = 0xFEDCBA9876543210 + row;
    if (records) {
      put_word(stream, batch_.form.index == GatherIndex::ridvalue ? noise : index);
      put_word(stream, batch_.form.index == GatherIndex::ridvalue ? index : noise);
    } else {
      const Bytes stored = native_bytes(index, (index_width_bits(batch_) & 0xFFFF) >> 3);
      stream.insert(stream.end(), stored.begin(), stored.end());
    }
  }
  src.colx_cv_data = arrays_->place(stream);
}

void GatherStage::set(const GatherBatch& batch) {
  batch_ = batch;
  arrays_ = batch.far_apart ? &far_ : &near_;
  arrays_->clear(batch.edge, batch.misaligned);
  clear_records();
  const GatherForm& form = batch.form;
  store.colx_store_type = store_bit(form.store) | batch.store_type;
  store.colx_store_ncols = 0x7777;
  store.colx_store_value_bits = batch.value_bits;
  store.colx_store_page_hi = batch.page_hi;
  store.colx_store_page_shift = batch.page_shift;
  res_encoding.colx_enc_ctx_flags = flag_of(form.result) | batch.res_flags;
  const bool direct = form.store == GatherStore::none;
  res_encoding.colx_enc_ctx_dlp_bits = static_cast<uint8_t>(direct ? 61 : batch.dlp_bits);
  res.colx_cv_capacity = batch.capacity;
  src_encoding.colx_enc_ctx_flags = src_bit(form.index) | batch.src_flags;
  src_encoding.colx_enc_ctx_width = index_width_bits(batch);
  src_encoding.colx_enc_ctx_dlp_bits = 63;
  src.colx_cv_num_of_rows = static_cast<uint32_t>(batch.indices.size());
  kctx.colx_kctx_position = batch.position;
  kctx.colx_kctx_flags =
      (form.index == GatherIndex::ridvalue_rid ? uint32_t{COLX_KCTX_GATHER_RID} : 0) |
      batch.kctx_flags;
  if (form.store == GatherStore::lp) place_lp_store();
  if (form.store == GatherStore::cla) place_cla_store();
  if (form.store == GatherStore::dlp) place_dlp_store();
  if (direct) {
    place_direct_source();
  } else {
    place_indices();
  }
  place_outputs(expected());
}

oracle::GatherOutcome GatherStage::expected() const {
  return oracle::gather_outcome(batch_.form, res, src, store, kctx);
}

void GatherStage::place_outputs(const oracle::GatherOutcome& expected) {
  const bool whole = batch_.form.result != GatherResult::dlp && res.colx_cv_capacity <= most_room;
  res.colx_cv_data =
      data.place(whole ? res.colx_cv_capacity : oracle::end_of(expected.data), batch_.place);
  aux.place(oracle::end_of(expected.aux), batch_.place);
  const bool has_lengths =
      batch_.form.result == GatherResult::lv_sep || batch_.form.result == GatherResult::lp_sep;
  res.colx_cv_aux = has_lengths ? aux.begin() : arrays_->unreadable();
}

GatherRun GatherStage::call(colx_gather_call* kernel) {
  res_before_ = res;
  src_before_ = src;
  res_encoding_before_ = res_encoding;
  src_encoding_before_ = src_encoding;
  store_before_ = store;
  kctx_before_ = kctx;
  const uint32_t status = kernel(&res, &src, &store, &kctx);
  return {status, kctx.colx_kctx_position};
}

std::string GatherStage::changed_records(const colx_kctx& kctx_now) const {
  if (!same_bytes(res, res_before_)) return "changed: a field of res";
  if (!same_bytes(src, src_before_)) return "changed: a field of src";
  if (!same_bytes(res_encoding, res_encoding_before_)) return "changed: the result's encoding";
  if (!same_bytes(src_encoding, src_encoding_before_)) return "changed: the source's encoding";
  if (!same_bytes(store, store_before_)) return "changed: a field of the store";
  if (!same_bytes(kctx_now, kctx_before_)) return "changed: a field of kctx";
  return {};
}

std::string GatherStage::difference(const GatherRun& run,
                                    const oracle::GatherOutcome& expected) const {
  if (run.status != expected.status) {
    return "status " + std::to_string(run.status) + ", expected " + std::to_string(expected.status);
  }
  if (run.position != expected.position) {
    return "position " + std::to_string(run.position) + ", expected " +
           std::to_string(expected.position);
  }
  if (std::string text = data.difference(expected.data); !text.empty()) return "data: " + text;
  if (std::string text = aux.difference(expected.aux); !text.empty()) return "lengths: " + text;
  colx_kctx kctx_now = kctx;
  kctx_now.colx_kctx_position = kctx_before_.colx_kctx_position;
  return changed_records(kctx_now);
}

std::string GatherStage::touched() const {
  if (std::string text = data.difference({}); !text.empty()) return "data: " + text;
  if (std::string text = aux.difference({}); !text.empty()) return "lengths: " + text;
  return changed_records(kctx);
}

namespace {

GatherBatch random_batch(const GatherForm& form, uint32_t rows, uint8_t shift, uint64_t pages,
                         Random& random) {
  GatherBatch batch;
  batch.form = form;
  batch.page_shift = shift;
  const bool split = batch.page_shift != 64;
  const uint64_t per_page = split ? uint64_t{1} << batch.page_shift : 20;
  batch.pages.resize(split ? pages : 1);
  for (std::vector<Bytes>& page : batch.pages) {
    page.resize(per_page);
    for (Bytes& value : page) value = random.bytes(random.one_in(5) ? 0 : random.below(41));
  }
  // Bits above the highest that counts are noise, and so is that bit's number without pages.
  const bool cut = random.one_in(2);
  batch.page_hi = static_cast<uint8_t>(!cut ? 63 : split ? batch.page_shift + 2 : random.below(63));
  constexpr uint32_t odd_widths[] = {24, 40, 48, 56, 63, 30};
  batch.index_bits = random.pick<uint32_t>(odd_widths);
  batch.first_offset = random.one_in(2) ? 0 : static_cast<uint32_t>(random.below(1u << 31));
  batch.dlp_bits = static_cast<unsigned>(14 + random.below(10));
  batch.dlp_noise = form.store == GatherStore::dlp ? random.below(1u << 16) : 0;
  constexpr uint16_t value_widths[] = {0, 8, 16, 24, 32, 48, 64, 72, 128, 135, 200};
  batch.value_bits = random.pick<uint16_t>(value_widths);
  batch.misaligned = random.below(3);
  batch.indices.resize(rows);
  for (uint64_t& index : batch.indices) {
    const uint64_t noise = cut && split ? random.next() << (batch.page_hi + 1) : 0;
    const uint64_t page = random.below(batch.pages.size());
    index = (split ? page << batch.page_shift : 0) | random.below(per_page) | noise;
  }
  return batch;
}

void give_room(GatherBatch& batch, Random& random) {
  const bool tested = batch.form.result != GatherResult::dlp;
  batch.capacity = tested ? gather_room(batch) : random.below(100);
}

}  // namespace

GatherBatch random_gather_batch(const GatherForm& form, uint32_t rows, Random& random) {
  constexpr uint8_t shifts[] = {64, 0, 1, 3};
  const uint8_t shift = random.pick<uint8_t>(shifts);
  GatherBatch batch = random_batch(form, rows, shift, 1 + random.below(6), random);
  give_room(batch, random);
  return batch;
}

GatherBatch far_gather_batch(const GatherForm& form, uint32_t rows, Random& random) {
  constexpr uint8_t shifts[] = {0, 1, 3};
  GatherBatch batch = random_batch(form, rows, random.pick<uint8_t>(shifts), 6, random);
  batch.far_apart = true;
  give_room(batch, random);
  return batch;
}

uint64_t gather_room(const GatherBatch& batch) {
  GatherBatch roomy = batch;
  roomy.capacity = UINT64_MAX;
  GatherStage& stage = gather_stage();
  stage.set(roomy);
  return oracle::end_of(stage.expected().data);
}

std::string describe(const GatherBatch& batch) {
  const auto number = [](uint64_t n) { return std::to_string(n); };
  return number(batch.indices.size()) + " rows from " + number(batch.position) + ", " +
         number(batch.pages.size()) + " pages, shift " + number(batch.page_shift) + ", hi " +
         number(batch.page_hi) + ", room " + number(batch.capacity) + ", value bits " +
         number(batch.value_bits) + ", index bits " + number(batch.index_bits) + ", dlp bits " +
         number(batch.dlp_bits);
}

std::string gather_difference(const GatherBatch& batch) {
  const GatherKernel& kernel = gather_kernel(batch.form);
  const std::string what = describe(batch);
  set_crash_note("%s, %s", kernel.name, what.c_str());
  GatherStage& stage = gather_stage();
  for (colx_gather_call* const call :
       {kernel.kernel, colx_global_specialized_ctx.colx_sctx_gather}) {
    stage.set(batch);
    const oracle::GatherOutcome expected = stage.expected();
    const std::string text = stage.difference(stage.call(call), expected);
    if (!text.empty()) return std::string(kernel.name) + ": " + text + " [" + what + "]";
  }
  return {};
}

GatherRun run_gather(const GatherBatch& batch) {
  set_crash_note("colx_gather_dydi, %s", describe(batch).c_str());
  gather_stage().set(batch);
  return gather_stage().call(colx_global_specialized_ctx.colx_sctx_gather);
}

}  // namespace colx::test
