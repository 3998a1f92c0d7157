// Partition into length-prefixed records: the payload travels with the hash.
#include "kernels/join/partition.h"

namespace colx {
extern "C" {

#define COLX_DEFINE(key, carried)                                                   \
  uint32_t colx_partition_lv_##key##_##carried(COLX_PARAMS_partition) {             \
    if (parts->colx_part_type & COLX_PART_REFUSE) return COLX_NOT_SERVED;           \
    return partition<Layout::key, LvRecords<Layout::carried>>(COLX_ARGS_partition); \
  }
COLX_PARTITION_LV(COLX_DEFINE)
#undef COLX_DEFINE

// Splits what the kernels above have written once more, by other bits of the hash.
uint32_t colx_partition_lv_hash_values(colx_part_set* parts, colx_cv* src, colx_cv*, colx_hash_fn,
                                       colx_kctx* kctx) {
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t row = kctx->colx_kctx_position;
  LvCopies records(src, kctx);
  const uint32_t left = row < rows ? rows - row : 0;
  const uint32_t done = scatter(
      Partitions(parts), [&](uint32_t) { return records.hash(); }, records, left, kctx);
  kctx->colx_kctx_position = rows - (left - done);
  records.save(kctx);
  return done == left ? COLX_DONE : COLX_PARTITION_FULL;
}

}  // extern "C"
}  // namespace colx
