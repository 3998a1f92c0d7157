// colx_gather_dydi: the kernel for the layout of the result, the form of the store and the indexes.
#include <iterator>

#include "kernels/join/gather_kernels.h"
#include "kernels/join/gather_results.h"
#include "kernels/join/gather_sources.h"

namespace colx {
namespace {

constexpr size_t ord(auto member) {
  return static_cast<size_t>(member);
}

// The flags of an axis in the order in which they are tried, which is that of its members.
constexpr uint32_t store_flags[] = {COLX_STORE_LP, COLX_STORE_DLP, COLX_STORE_CLA};
constexpr uint32_t result_flags[] = {COLX_FIXED,  COLX_LV_SEP, COLX_LV,
                                     COLX_LP_SEP, COLX_LP,     COLX_DLP};
constexpr uint32_t source_flags[] = {COLX_LP_SEP, COLX_LP, COLX_DLP};
static_assert(store_flags[ord(Store::cla)] == COLX_STORE_CLA);
static_assert(result_flags[ord(Result::lp_sep)] == COLX_LP_SEP);
static_assert(source_flags[ord(Source::dlp)] == COLX_DLP);

// The first member whose flag is set; behind the last one if none is.
template <size_t count>
size_t first_set(uint32_t flags, const uint32_t (&tried)[count]) {
  size_t member = 0;
  while (member < count && !(flags & tried[member])) ++member;
  return member;
}

constexpr size_t index_forms = static_cast<size_t>(Index::ridvalue_rid) + 1;

struct IndexedKernels {
  colx_gather_call* of[std::size(store_flags)][std::size(result_flags)][index_forms];
};
struct DirectKernels {
  colx_gather_call* of[std::size(result_flags)][std::size(source_flags)];
};

#define COLX_PLACE(store, result, index)                                  \
  kernels.of[ord(Store::store)][ord(Result::result)][ord(Index::index)] = \
      colx_gather_##store##_##result##_##index;
constexpr IndexedKernels indexed_kernels = [] {
  IndexedKernels kernels = {};
  COLX_GATHER_KERNELS(COLX_PLACE)
  return kernels;
}();
#undef COLX_PLACE

#define COLX_PLACE(result, source) \
  kernels.of[ord(Result::result)][ord(Source::source)] = colx_gather_##result##_##source;
constexpr DirectKernels direct_kernels = [] {
  DirectKernels kernels = {};
  COLX_GATHER_DIRECT(COLX_PLACE)
  return kernels;
}();
#undef COLX_PLACE

// Null unless the result is of values in a stream and the source tells pointer and length.
colx_gather_call* direct_kernel(uint32_t result_layouts, uint32_t source_layouts) {
  const size_t source = first_set(source_layouts, source_flags);
  if (source == std::size(source_flags)) return nullptr;
  if (result_layouts & COLX_LV_SEP) return direct_kernels.of[ord(Result::lv_sep)][source];
  if (result_layouts & COLX_LV) return direct_kernels.of[ord(Result::lv)][source];
  return nullptr;
}

// Behind the last member if the source is no column of indexes.
size_t index_form(const colx_cv* src, const colx_kctx* kctx) {
  const uint32_t layouts = flags_of(src);
  if (layouts & COLX_FIXED) {
    switch (fixed_length(src)) {
      case 8:
        return ord(Index::fixed_8);
      case 4:
        return ord(Index::fixed_4);
      case 2:
        return ord(Index::fixed_2);
      case 1:
        return ord(Index::fixed_1);
      default:
        return ord(Index::fixed);
    }
  }
  if (!(layouts & COLX_RIDVALUE)) return index_forms;
  const bool by_row_id = kctx != nullptr && kctx->colx_kctx_flags & COLX_KCTX_GATHER_RID;
  return ord(by_row_id ? Index::ridvalue_rid : Index::ridvalue);
}

}  // namespace
}  // namespace colx

extern "C" uint32_t colx_gather_dydi(colx_cv* res, colx_cv* src, const colx_row_store* store,
                                     colx_kctx* kctx) {
  using namespace colx;
  const uint32_t layouts = flags_of(res);
  if (colx_gather_call* const direct = direct_kernel(layouts, flags_of(src)))
    return direct(res, src, store, kctx);
  const size_t form = first_set(store->colx_store_type, store_flags);
  const size_t result = first_set(layouts, result_flags);
  const size_t index = index_form(src, kctx);
  if (form == std::size(store_flags) || result == std::size(result_flags) || index == index_forms)
    return COLX_NOT_SERVED;
  return indexed_kernels.of[form][result][index](res, src, store, kctx);
}
