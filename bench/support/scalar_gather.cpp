#include "bench/support/scalar_gather.h"

#include <cstring>

namespace colx::bench {
namespace {

struct Found {
  const uint8_t* value;
  uint64_t length;
  uint64_t page;
};

template <class T>
__attribute__((always_inline)) inline T load(const void* from, uint64_t element) {
  T number;
  std::memcpy(&number, static_cast<const uint8_t*>(from) + element * sizeof(T), sizeof(T));
  return number;
}

template <LoopIndex index>
__attribute__((always_inline)) inline uint64_t index_of(const void* indices, uint64_t row) {
  if constexpr (index == LoopIndex::fixed_4) return load<uint32_t>(indices, row);
  if constexpr (index == LoopIndex::fixed_8) return load<uint64_t>(indices, row);
  if constexpr (index == LoopIndex::ridvalue) return load<uint64_t>(indices, 2 * row + 1);
}

template <LoopStore store>
__attribute__((always_inline)) inline Found find(const LoopPages& pages, uint64_t index) {
  const uint64_t page = (index & pages.page_mask) >> pages.page_shift;
  const uint64_t entry = index & ((uint64_t{1} << pages.page_shift) - 1);
  const void* const at = pages.pages[page];
  if constexpr (store == LoopStore::lp) {
    return {load<const uint8_t*>(at, 2 * entry + 1), load<uint16_t>(at, 8 * entry), page};
  } else if constexpr (store == LoopStore::cla) {
    const uint64_t begin = load<uint32_t>(at, entry);
    const uint64_t end = load<uint32_t>(at, entry + 1);
    return {pages.bases[page] + begin, (end - begin) & 0xFFFF, page};
  } else {
    const uint64_t word = load<uint64_t>(at, entry);
    const uint64_t place = word >> 16 & ((uint64_t{1} << pages.place_bits) - 1);
    return {pages.data_page + place, word & 0xFFFF, page};
  }
}

template <LoopStore store, LoopResult result, LoopIndex index>
uint64_t gather(const void* __restrict indices, uint64_t rows, const LoopPages& store_pages,
                const LoopOutput& output) {
  const LoopPages pages = store_pages;
  uint8_t* __restrict out = output.data;
  uint64_t room = output.room;
  for (uint64_t row = 0; row < rows; ++row) {
    const Found found = find<store>(pages, index_of<index>(indices, row));
    uint64_t bytes = result == LoopResult::fixed_4 ? 4 : 8;
    if constexpr (result == LoopResult::lv_sep) bytes = found.length;
    if constexpr (result == LoopResult::lv) bytes = found.length + 2;
    if (result != LoopResult::dlp && room < bytes) return row;
    room -= bytes;
    if constexpr (result == LoopResult::lv_sep || result == LoopResult::lp_sep) {
      output.lengths[row] = static_cast<uint16_t>(found.length);
    }
    if constexpr (result == LoopResult::lp_sep) {
      std::memcpy(out, &found.value, 8);
    } else if constexpr (result == LoopResult::dlp) {
      const uint64_t place =
          (found.page << pages.place_bits) +
          (reinterpret_cast<uint64_t>(found.value) & ((uint64_t{1} << pages.place_bits) - 1));
      const uint64_t word = place << 16 | found.length;
      std::memcpy(out, &word, 8);
    } else if constexpr (result == LoopResult::lv) {
      const auto length = static_cast<uint16_t>(found.length);
      std::memcpy(out, &length, 2);
      std::memcpy(out + 2, found.value, found.length);
    } else {
      std::memcpy(out, found.value, bytes);
    }
    out += bytes;
  }
  return rows;
}

template <LoopStore store, LoopResult result>
GatherLoop by_index(LoopIndex index) {
  switch (index) {
    case LoopIndex::fixed_4:
      return gather<store, result, LoopIndex::fixed_4>;
    case LoopIndex::fixed_8:
      return gather<store, result, LoopIndex::fixed_8>;
    case LoopIndex::ridvalue:
      return gather<store, result, LoopIndex::ridvalue>;
  }
  return nullptr;
}

template <LoopStore store>
GatherLoop of_values(LoopResult result, LoopIndex index) {
  return result == LoopResult::fixed_4 ? by_index<store, LoopResult::fixed_4>(index)
                                       : by_index<store, LoopResult::fixed_8>(index);
}

}  // namespace

GatherLoop gather_loop(LoopStore store, LoopResult result, LoopIndex index) {
  switch (result) {
    case LoopResult::lv_sep:
      return by_index<LoopStore::lp, LoopResult::lv_sep>(index);
    case LoopResult::lv:
      return by_index<LoopStore::lp, LoopResult::lv>(index);
    case LoopResult::lp_sep:
      return by_index<LoopStore::lp, LoopResult::lp_sep>(index);
    case LoopResult::dlp:
      return by_index<LoopStore::lp, LoopResult::dlp>(index);
    default:
      return store == LoopStore::lp    ? of_values<LoopStore::lp>(result, index)
             : store == LoopStore::cla ? of_values<LoopStore::cla>(result, index)
                                       : of_values<LoopStore::dlp>(result, index);
  }
}

}  // namespace colx::bench
