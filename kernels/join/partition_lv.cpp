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
  const Partitions to(parts);
  LvCopies records(src, kctx);
  uint32_t status = COLX_DONE;
  uint32_t row = kctx->colx_kctx_position;
  for (; row < rows; ++row) {
    records.ask();
    if (!scatter_row</*ahead=*/true>(to, records.hash(), records, kctx)) {
      status = COLX_PARTITION_FULL;
      break;
    }
  }
  kctx->colx_kctx_position = std::min(row, rows);
  records.save(kctx);
  return status;
}

}  // extern "C"
}  // namespace colx
