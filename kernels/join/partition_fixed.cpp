// Partition into fixed records: a hash and a number of payload bytes that is the same for all rows.
#include "kernels/join/partition.h"

namespace colx {
extern "C" {

#define COLX_DEFINE(key, carried)                                          \
  uint32_t colx_partition_fixed_##key##_##carried(COLX_PARAMS_partition) { \
    if (parts->colx_part_type & COLX_PART_REFUSE) return COLX_NOT_SERVED;  \
    return partition<Layout::key, FixedRecords>(COLX_ARGS_partition);      \
  }
COLX_PARTITION_FIXED(COLX_DEFINE)
#undef COLX_DEFINE

}  // extern "C"
}  // namespace colx
