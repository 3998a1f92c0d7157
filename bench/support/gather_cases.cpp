#include "bench/support/gather_cases.h"

#include <cstring>
#include <map>
#include <memory>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr uint64_t value_bytes = 8;
constexpr unsigned place_bits = 32;

// Entries of a store, as bits of an index: pages above, entries of a page below.
struct StoreShape {
  unsigned index_bits;
  unsigned page_shift;
  uint64_t rows;  // of a pass

  uint64_t entries() const { return uint64_t{1} << index_bits; }
  uint64_t per_page() const { return uint64_t{1} << page_shift; }
  uint64_t pages() const { return entries() / per_page(); }
};

StoreShape shape_of(const SizeClass& size) {
  return size.windows > 1 ? StoreShape{24, 16, 1 << 20} : StoreShape{13, 10, 24 << 10};
}

// Stores are made once for all cases of a size and live as long as the program.
struct Store {
  StoreShape shape;
  uint8_t* values;
  std::vector<void*> lp_pages, cla_pages, dlp_pages, bases;
  void* data_page[1];

  // Values of lp and dlp stores do not lie in the order of the entries.
  uint64_t offset(uint64_t entry) const {
    return value_bytes * (entry * 0x9E3779B1 & (shape.entries() - 1));
  }
};

void fill_pages(Store& store) {
  const StoreShape& shape = store.shape;
  uint8_t* const records = lasting_bytes(16 * shape.entries());
  uint8_t* const words = lasting_bytes(8 * shape.entries());
  uint8_t* const offsets = lasting_bytes(4 * (shape.entries() + shape.pages()));
  for (uint64_t entry = 0; entry < shape.entries(); ++entry) {
    const uint64_t place = store.offset(entry);
    const uint8_t* const value = store.values + place;
    const uint64_t word = place << 16 | value_bytes;
    std::memcpy(records + 16 * entry, &value_bytes, 2);
    std::memcpy(records + 16 * entry + 8, &value, 8);
    std::memcpy(words + 8 * entry, &word, 8);
  }
  for (uint64_t page = 0; page < shape.pages(); ++page) {
    const uint64_t first = page * shape.per_page();
    uint8_t* const cla = offsets + 4 * (first + page);
    for (uint64_t i = 0; i <= shape.per_page(); ++i) {
      const auto offset = static_cast<uint32_t>(value_bytes * i);
      std::memcpy(cla + 4 * i, &offset, 4);
    }
    store.lp_pages.push_back(records + 16 * first);
    store.dlp_pages.push_back(words + 8 * first);
    store.cla_pages.push_back(cla);
    store.bases.push_back(store.values + value_bytes * first);
  }
}

Store& store_of(const SizeClass& size) {
  static std::map<std::string, Store> made;
  Store& store = made[size.name];
  if (!store.lp_pages.empty()) return store;
  store.shape = shape_of(size);
  store.values = lasting_bytes(value_bytes * store.shape.entries());
  for (uint64_t i = 0; i < store.shape.entries(); ++i) {
    const uint64_t value = i * 0xD6E8FEB86659FD93;
    std::memcpy(store.values + value_bytes * i, &value, value_bytes);
  }
  fill_pages(store);
  store.data_page[0] = store.values;
  return store;
}

const char* store_name(LoopStore store) {
  return store == LoopStore::lp ? "lp" : store == LoopStore::cla ? "cla" : "dlp";
}
const char* index_name(LoopIndex index) {
  return index == LoopIndex::fixed_4   ? "fixed_4"
         : index == LoopIndex::fixed_8 ? "fixed_8"
                                       : "ridvalue";
}

// Name, flag and bytes of a result's row.
struct ResultForm {
  const char* name;
  uint32_t flag;
  uint64_t data_bytes;
  bool has_lengths;
};

ResultForm form_of(LoopResult result) {
  switch (result) {
    case LoopResult::fixed_4:
      return {"fixed", COLX_FIXED, 4, false};
    case LoopResult::fixed_8:
      return {"fixed", COLX_FIXED, 8, false};
    case LoopResult::lv_sep:
      return {"lv_sep", COLX_LV_SEP, 8, true};
    case LoopResult::lv:
      return {"lv", COLX_LV, 10, false};
    case LoopResult::lp_sep:
      return {"lp_sep", COLX_LP_SEP, 8, true};
    case LoopResult::dlp:
      return {"dlp", COLX_DLP, 8, false};
  }
  return {};
}

uint64_t index_bytes(LoopIndex index) {
  return index == LoopIndex::fixed_4 ? 4 : index == LoopIndex::fixed_8 ? 8 : 16;
}

struct GatherCall {
  LoopResult result;
  LoopIndex index;
  SizeClass size;
  const Store* store;
  GatherLoop loop;
  LoopPages pages;
  std::vector<uint16_t> lengths;
  colx_row_store descriptor = {};
  colx_cv res = {};
  colx_cv src = {};
  colx_enc_ctx res_encoding = {};
  colx_enc_ctx src_encoding = {};

  uint64_t rows() const { return store->shape.rows; }
  uint64_t out_bytes() const { return rows() * form_of(result).data_bytes; }
  // Any number will do for an index: what is above its highest bit is not looked at.
  const uint8_t* indices(unsigned window) const { return random_bytes(size) + window * size.bytes; }
  uint8_t* output(unsigned window) const { return output_bytes(size) + window * size.bytes; }

  uint32_t run(unsigned window) {
    colx_kctx kctx = {};
    res.colx_cv_encoding_context = &res_encoding;
    res.colx_cv_data = output(window);
    res.colx_cv_aux = lengths.data();
    src.colx_cv_encoding_context = &src_encoding;
    src.colx_cv_data = const_cast<uint8_t*>(indices(window));
    return colx_gather_dydi(&res, &src, &descriptor, &kctx);
  }
  uint64_t run_loop(unsigned window) {
    return loop(indices(window), rows(), pages, {output(window), lengths.data(), out_bytes()});
  }
};

void set_descriptor(GatherCall& call, LoopStore form) {
  const Store& store = *call.store;
  const auto array = [](const std::vector<void*>& pages) {
    return const_cast<void**>(pages.data());
  };
  colx_row_store& descriptor = call.descriptor;
  descriptor.colx_store_type = form == LoopStore::lp    ? COLX_STORE_LP
                               : form == LoopStore::cla ? COLX_STORE_CLA
                                                        : COLX_STORE_DLP;
  descriptor.colx_store_value_bits = call.result == LoopResult::fixed_4 ? 32 : 64;
  descriptor.colx_store_page_hi = static_cast<uint8_t>(store.shape.index_bits - 1);
  descriptor.colx_store_page_shift = static_cast<uint8_t>(store.shape.page_shift);
  descriptor.colx_store_lp_pages = array(store.lp_pages);
  descriptor.colx_store_cla_pages = array(store.cla_pages);
  descriptor.colx_store_dlp_pages = array(store.dlp_pages);
  descriptor.colx_store_data_bases = array(store.bases);
  void** const pages = form == LoopStore::lp    ? array(store.lp_pages)
                       : form == LoopStore::cla ? array(store.cla_pages)
                                                : array(store.dlp_pages);
  call.pages = {.page_mask = store.shape.entries() - 1,
                .page_shift = store.shape.page_shift,
                .pages = pages,
                .bases = reinterpret_cast<const uint8_t* const*>(store.bases.data()),
                .data_page = store.values,
                .place_bits = place_bits};
}

std::shared_ptr<GatherCall> gather_call(LoopStore form, LoopResult result, LoopIndex index,
                                        const SizeClass& size) {
  auto call = std::make_shared<GatherCall>();
  call->result = result;
  call->index = index;
  call->size = size;
  call->store = &store_of(size);
  call->loop = gather_loop(form, result, index);
  call->lengths.resize(call->rows());
  set_descriptor(*call, form);
  call->res_encoding.colx_enc_ctx_flags = form_of(result).flag;
  call->res_encoding.colx_enc_ctx_dlp_bits = place_bits;
  call->res_encoding.colx_enc_ctx_dlp_pages = const_cast<void**>(call->store->data_page);
  call->res.colx_cv_capacity = call->out_bytes();
  call->src_encoding.colx_enc_ctx_flags = index == LoopIndex::ridvalue ? COLX_RIDVALUE : COLX_FIXED;
  call->src_encoding.colx_enc_ctx_width = index == LoopIndex::fixed_4 ? 32 : 64;
  call->src.colx_cv_num_of_rows = static_cast<uint32_t>(call->rows());
  return call;
}

// The loop's fixed values are those that the entries stand for.
bool loop_is_right(const GatherCall& call, LoopStore form) {
  if (call.result != LoopResult::fixed_4 && call.result != LoopResult::fixed_8) return true;
  const uint64_t bytes = form_of(call.result).data_bytes;
  for (uint64_t row = 0; row < call.rows(); ++row) {
    uint64_t index = 0;
    const uint64_t width = index_bytes(call.index);
    std::memcpy(&index, call.indices(0) + row * width + (width == 16 ? 8 : 0), width == 4 ? 4 : 8);
    index &= call.store->shape.entries() - 1;
    const uint64_t place = form == LoopStore::cla ? value_bytes * index : call.store->offset(index);
    if (std::memcmp(call.output(0) + row * bytes, call.store->values + place, bytes) != 0) {
      return false;
    }
  }
  return true;
}

std::string fault_of(GatherCall& call, LoopStore form) {
  uint8_t* const out = call.output(0);
  if (call.run_loop(0) != call.rows() || !loop_is_right(call, form)) return "the loop is wrong";
  const std::vector<uint8_t> expected(out, out + call.out_bytes());
  const std::vector<uint16_t> lengths = call.lengths;
  std::memset(out, 0x5A, call.out_bytes());
  std::fill(call.lengths.begin(), call.lengths.end(), uint16_t{0});
  if (call.run(0) != COLX_DONE) return "the kernel stops";
  const bool same = std::memcmp(out, expected.data(), expected.size()) == 0;
  return same && call.lengths == lengths ? "" : "the kernel differs from the plain loop";
}

}  // namespace

Case gather_case(LoopStore store, LoopResult result, LoopIndex index, const SizeClass& size) {
  const ResultForm form = form_of(result);
  const auto prepare = [=] {
    const auto call = gather_call(store, result, index, size);
    Contest contest;
    contest.fault = fault_of(*call, store);
    contest.kernel = [=](unsigned window) { call->run(window); };
    contest.scalar = [=](unsigned window) { call->run_loop(window); };
    return contest;
  };
  const uint64_t rows = shape_of(size).rows;
  const uint64_t entry_bytes = store == LoopStore::lp ? 16 : 8;
  const uint64_t row_bytes = index_bytes(index) + entry_bytes + value_bytes + form.data_bytes;
  const std::string name = std::string("colx_gather_") + store_name(store) + "_" + form.name + "_" +
                           index_name(index) +
                           (result == LoopResult::fixed_4 ? ", 4 bytes" : ", 8 bytes");
  return {name, "", size, rows, rows * row_bytes, prepare};
}

}  // namespace colx::bench
