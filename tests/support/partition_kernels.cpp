#include "tests/support/partition_kernels.h"

#include <cstdio>
#include <cstdlib>

#define EACH_KEY(X, ...) \
  X(__VA_ARGS__, fixed)  \
  X(__VA_ARGS__, lv_sep) \
  X(__VA_ARGS__, lv)     \
  X(__VA_ARGS__, lp_sep) \
  X(__VA_ARGS__, lp)     \
  X(__VA_ARGS__, hash_values)
#define RID_OF(X, key) X(rid, key, autorid) X(rid, key, payload)
#define LV_OF(X, key) \
  X(lv, key, fixed) X(lv, key, lv_sep) X(lv, key, lv) X(lv, key, lp_sep) X(lv, key, lp)
#define FIXED_OF(X, key)      X(fixed, key, fixed)
#define EACH_OF_A_KEY(X, key) RID_OF(X, key) LV_OF(X, key) FIXED_OF(X, key)
#define EACH_KERNEL(X)        EACH_KEY(EACH_OF_A_KEY, X) RID_OF(X, gd)

extern "C" {
#define DECLARE(records, key, carried) \
  colx_partition_call colx_partition_##records##_##key##_##carried;
EACH_KERNEL(DECLARE)
colx_partition_call colx_partition_rid_hashrid, colx_partition_lv_hash_values;
}

namespace colx::test {
namespace {

using oracle::Carried;
using oracle::KeyLayout;
using oracle::PartitionForm;
using oracle::PartitionRecords;

#define ROW(records, key, carried)                   \
  {"colx_partition_" #records "_" #key "_" #carried, \
   colx_partition_##records##_##key##_##carried,     \
   {PartitionRecords::records, KeyLayout::key, Carried::carried}},

constexpr PartitionKernel kernels[] = {
    EACH_KERNEL(ROW){"colx_partition_rid_hashrid",
                     colx_partition_rid_hashrid,
                     {PartitionRecords::rid, KeyLayout::hashrid, Carried::nothing}},
    {"colx_partition_lv_hash_values",
     colx_partition_lv_hash_values,
     {PartitionRecords::lv, KeyLayout::lv, Carried::nothing}}};
static_assert(std::size(kernels) == 52);

}  // namespace

std::span<const PartitionKernel> partition_kernels() {
  return kernels;
}

const PartitionKernel& partition_kernel(const PartitionForm& form) {
  for (const PartitionKernel& kernel : kernels) {
    if (kernel.form == form) return kernel;
  }
  std::fprintf(stderr, "no kernel %s\n", oracle::partition_name(form).c_str());
  std::abort();
}

}  // namespace colx::test
