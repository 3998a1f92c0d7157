// Partition into records of a row value and a hash: the input of hash build.
#include "kernels/join/partition.h"

namespace colx {
namespace {

template <Layout key, RowWord value>
using RowRecords = std::conditional_t<key == Layout::gd, GdRecords<value>, RidRecords<value>>;

}  // namespace

extern "C" {

#define COLX_DEFINE(key, value)                                        \
  uint32_t colx_partition_rid_##key##_##value(COLX_PARAMS_partition) { \
    using Records = RowRecords<Layout::key, RowWord::value>;           \
    return partition<Layout::key, Records>(COLX_ARGS_partition);       \
  }
COLX_PARTITION_RID(COLX_DEFINE)
#undef COLX_DEFINE

uint32_t colx_partition_rid_hashrid(COLX_PARAMS_partition) {
  return partition<Layout::hashrid, HashridCopies>(COLX_ARGS_partition);
}

}  // extern "C"
}  // namespace colx
