// Transpose, first half: a column's values entered as one column of a row-major matrix of lp
// records, by reference. The references hold as long as the column's memory does.
#include "kernels/join/row_store.h"
#include "kernels/join/transpose_kernels.h"

namespace colx {
namespace {

// Only the low 16 bits of `col` count. A negative `block` means the matrix at `base`.
template <Layout layout>
COLX_INLINE uint32_t reference(const colx_row_store* store, const colx_cv* src, uint32_t col,
                               int32_t block, void* base) {
  uint8_t* const matrix = bytes_at(block < 0 ? base : store->colx_store_lp_write[block], 0);
  const uint64_t row_bytes = store->colx_store_ncols * lp_record_bytes;
  uint8_t* record = matrix + (col & 0xFFFF) * lp_record_bytes;
  auto values = Values<layout>::of(src, 0, 0);
#pragma GCC unroll 4
  for (uint32_t rows = src->colx_cv_num_of_rows; rows > 0; --rows) {
    const RowBytes value = values.value();
    store_lp(record, value);
    values.pass(value);
    record += row_bytes;
  }
  return COLX_DONE;
}

}  // namespace

extern "C" {

#define COLX_DEFINE(layout)                                           \
  uint32_t colx_transpose_reference_##layout(COLX_PARAMS_reference) { \
    return reference<Layout::layout>(COLX_ARGS_reference);            \
  }
COLX_REFERENCED_LAYOUTS(COLX_DEFINE)

}  // extern "C"
}  // namespace colx

extern "C" uint32_t colx_transpose_reference_dydi(colx_row_store* store, colx_cv* src, uint32_t col,
                                                  int32_t block, void* base) {
  if (!(store->colx_store_type & COLX_STORE_LP)) return COLX_NOT_SERVED;
  const uint32_t flags = colx::flags_of(src);
#define COLX_TRY(layout)                           \
  if (flags & colx::flag_of(colx::Layout::layout)) \
    return colx_transpose_reference_##layout(COLX_ARGS_reference);
  COLX_REFERENCED_LAYOUTS(COLX_TRY)
#undef COLX_TRY
  return COLX_NOT_SERVED;
}
