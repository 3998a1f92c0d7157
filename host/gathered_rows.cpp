#include "host/gathered_rows.h"

#include <algorithm>
#include <cstring>

namespace colx::host {

uint64_t EntryList::entry(size_t index) const {
  const auto* at = static_cast<const uint8_t*>(data_) + index * stride_;
  if (stride_ == sizeof(Match) && kind_ == 0) at += offsetof(Match, build_value);
  uint64_t entry = 0;
  std::memcpy(&entry, at, stride_ == 4 ? 4 : 8);
  return entry;
}

uint32_t EntryList::describe(colx_cv& vector, colx_enc_ctx& encoding) const {
  const bool records = stride_ == sizeof(Match);
  vector = {};
  encoding = {};
  encoding.colx_enc_ctx_flags = records ? COLX_RIDVALUE : COLX_FIXED;
  encoding.colx_enc_ctx_width = records ? 0 : 8 * stride_;
  // Gather only reads the list; the record has no const members.
  vector.colx_cv_data = const_cast<void*>(data_);
  vector.colx_cv_num_of_rows = static_cast<uint32_t>(size_);
  vector.colx_cv_encoding_context = &encoding;
  return records && kind_ == 1 ? COLX_KCTX_GATHER_RID : 0;
}

Result<GatheredRows> GatheredRows::open(const Library& library, const RowStore& store,
                                        const EntryList& entries, GatherLayout layout,
                                        uint32_t room) {
  if (room == 0) return make_error("room for no byte: use 1 or more");
  if (entries.size() > UINT32_MAX)
    return make_error("%zu entries at once: pass up to 2^32 - 1", entries.size());
  if (layout == GatherLayout::fixed && store.shortest() != store.longest())
    return make_error("fixed results of values of %u to %u bytes; gather pointers or copies",
                      store.shortest(), store.longest());
  // The store is trusted by the kernels, so every reference is looked at first.
  for (size_t index = 0; index < entries.size(); ++index)
    if (entries.entry(index) >= store.entries())
      return make_error("reference %zu asks for entry %llu of a store of %u", index,
                        static_cast<unsigned long long>(entries.entry(index)), store.entries());
  GatheredRows rows(store, entries);
  rows.gather_ = library.record().colx_sctx_gather;
  if (!rows.gather_) return make_error("%s: has no colx_gather_dydi", library.file().c_str());
  rows.layout_ = layout;
  rows.bytes_ = StreamBuffer(room);
  return rows;
}

Result<GatheredValues> GatheredRows::next() {
  colx_cv source, result{};
  colx_enc_ctx source_encoding, result_encoding{};
  colx_kctx kctx{};
  kctx.colx_kctx_flags = entries_.describe(source, source_encoding);
  kctx.colx_kctx_position = position_;
  colx_row_store store = store_->describe(8 * store_->longest());
  result_encoding.colx_enc_ctx_flags = static_cast<uint32_t>(layout_);
  store_->describe_places(result_encoding);
  result.colx_cv_encoding_context = &result_encoding;
  while (position_ < entries_.size()) {
    // Values without bytes take no room, so lengths are kept for all that is left.
    lengths_.resize(entries_.size() - position_);
    result.colx_cv_data = bytes_.data();
    result.colx_cv_capacity = bytes_.size();
    result.colx_cv_aux = lengths_.data();
    const uint32_t status = gather_(&result, &source, &store, &kctx);
    if (status != COLX_DONE && status != COLX_OUT_OF_ROOM)
      return make_error("colx_gather_dydi returned status %u", status);
    const uint32_t from = position_;
    position_ = kctx.colx_kctx_position;
    if (position_ != from) return values(from, position_);
    bytes_ = StreamBuffer(2 * bytes_.size() + 16);  // one value wants more room than there is
  }
  return GatheredValues{};
}

GatheredValues GatheredRows::values(uint32_t from, uint32_t to) {
  const uint32_t count = to - from;
  const auto* bytes = reinterpret_cast<const char*>(bytes_.data());
  if (layout_ == GatherLayout::fixed)
    lengths_.assign(count, static_cast<uint16_t>(store_->longest()));
  if (layout_ == GatherLayout::pointers)
    return {{reinterpret_cast<const char* const*>(bytes), count}, {lengths_.data(), count}};
  starts_.resize(count);
  for (uint32_t i = 0; i < count; bytes += lengths_[i++]) starts_[i] = bytes;
  return {{starts_.data(), count}, {lengths_.data(), count}};
}

}  // namespace colx::host
