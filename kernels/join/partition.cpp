// colx_partition_dydi: the kernel for the records, the layout of the keys and what is carried
// along.
#include "kernels/join/key_layouts.h"
#include "kernels/join/partition_kernels.h"
#include "kernels/join/partition_records.h"

namespace colx {
namespace {

constexpr size_t ord(auto member) {
  return static_cast<size_t>(member);
}

struct PartitionKernels {
  colx_partition_call* rid[ord(Layout::none)][2];                 // key, row value
  colx_partition_call* lv[ord(Layout::none)][ord(Layout::none)];  // key, payload
  colx_partition_call* fixed[ord(Layout::none)];                  // key
};

#define COLX_PLACE_RID(key, value) \
  kernels.rid[ord(Layout::key)][ord(RowWord::value)] = colx_partition_rid_##key##_##value;
#define COLX_PLACE_LV(key, payload) \
  kernels.lv[ord(Layout::key)][ord(Layout::payload)] = colx_partition_lv_##key##_##payload;
#define COLX_PLACE_FIXED(key, payload) \
  kernels.fixed[ord(Layout::key)] = colx_partition_fixed_##key##_##payload;
constexpr PartitionKernels partition_kernels = [] {
  PartitionKernels kernels = {};
  COLX_PARTITION_RID(COLX_PLACE_RID)
  COLX_PARTITION_LV(COLX_PLACE_LV)
  COLX_PARTITION_FIXED(COLX_PLACE_FIXED)
  return kernels;
}();

bool has_all(uint32_t type, uint32_t bits) {
  return (type & bits) == bits;
}

RowWord row_value(const colx_cv* payload) {
  return flags_of(payload) & COLX_AUTORID ? RowWord::autorid : RowWord::payload;
}

// The kernel of row-id records, of length-prefixed records and of fixed ones; null if there is
// none.

colx_partition_call* rid_kernel(const colx_cv* src, const colx_cv* payload) {
  const Layout key = first_layout<Layout::fixed, Layout::lv_sep, Layout::lv, Layout::lp_sep,
                                  Layout::lp, Layout::hashrid, Layout::hash_values>(flags_of(src));
  if (key == Layout::none) return nullptr;
  if (key == Layout::hashrid) return colx_partition_rid_hashrid;
  return partition_kernels.rid[ord(key)][ord(row_value(payload))];
}

Layout carried_key(const colx_cv* src) {
  return first_layout<Layout::fixed, Layout::lv_sep, Layout::lv, Layout::lp_sep, Layout::lp,
                      Layout::hash_values>(flags_of(src));
}

colx_partition_call* lv_kernel(const colx_cv* src, const colx_cv* payload) {
  if (has_all(flags_of(src), COLX_LV | COLX_HASH_VALUES)) return colx_partition_lv_hash_values;
  const Layout key = carried_key(src);
  if (key == Layout::none) return nullptr;
  const Layout carried =
      first_layout<Layout::fixed, Layout::lv_sep, Layout::lv, Layout::lp_sep, Layout::lp>(
          flags_of(payload));
  if (carried == Layout::none) return nullptr;
  return partition_kernels.lv[ord(key)][ord(carried)];
}

colx_partition_call* fixed_kernel(const colx_cv* src, const colx_cv* payload) {
  const Layout key = carried_key(src);
  if (key == Layout::none || !(flags_of(payload) & COLX_FIXED)) return nullptr;
  return partition_kernels.fixed[ord(key)];
}

// The first family whose bits are all set decides, also if it has no kernel for the rest.
colx_partition_call* kernel_for(uint32_t type, const colx_cv* src, const colx_cv* payload) {
  constexpr uint32_t rid = COLX_PART_SERVED | COLX_PART_RID;
  if (has_all(type, rid | COLX_PART_GD)) {
    if (!(flags_of(src) & COLX_GD)) return nullptr;
    return partition_kernels.rid[ord(Layout::gd)][ord(row_value(payload))];
  }
  if (has_all(type, rid)) return rid_kernel(src, payload);
  if (has_all(type, COLX_PART_SERVED | COLX_PART_LV)) return lv_kernel(src, payload);
  if (has_all(type, COLX_PART_SERVED | COLX_PART_FIXED)) return fixed_kernel(src, payload);
  return nullptr;
}

}  // namespace
}  // namespace colx

extern "C" uint32_t colx_partition_dydi(colx_part_set* parts, colx_cv* src, colx_cv* payload,
                                        colx_hash_fn fn, colx_kctx* kctx) {
  colx_partition_call* const kernel = colx::kernel_for(parts->colx_part_type, src, payload);
  if (kernel == nullptr) return COLX_NOT_SERVED;
  return kernel(parts, src, payload, fn, kctx);
}
