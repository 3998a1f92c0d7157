/* A library that opens as one of kernels, with faults that only a look at its table finds: an empty
 * slot, a kernel in two slots, a wrong name, and hardly any function. */
#include <stddef.h>

#include "kernels/frame/colx_x86.h"

/* Finds nothing, whatever it is asked. */
static uint32_t kernel(colx_cv* res) {
  res->colx_cv_num_set = 0;
  return COLX_NOTHING_FOUND;
}

enum { EQ_8BIT = 928, LT_8BIT = 929 };

const colx_kernel_fn colx_dispatch_table[COLX_DISPATCH_SLOTS] = {
    [EQ_8BIT] = (colx_kernel_fn)kernel, [LT_8BIT] = (colx_kernel_fn)kernel};

const char* const colx_dispatch_func_names[COLX_DISPATCH_SLOTS] = {
    [0 ... EQ_8BIT - 1] = "colx_invalid_dispatch",
    [EQ_8BIT] = "colx_eq_dict_8bit",
    [LT_8BIT] = "colx_le_dict_8bit",
    [LT_8BIT + 1 ... COLX_DISPATCH_SLOTS - 1] = "colx_invalid_dispatch"};

uint32_t colx_dispatch_table_size(void) {
  return COLX_DISPATCH_SLOTS - 1;
}

const colx_specialized_ctx colx_global_specialized_ctx = {
    .colx_sctx_magic = COLX_SCTX_MAGIC,
    .colx_sctx_version = COLX_SCTX_VERSION,
    .colx_sctx_name = COLX_SCTX_NAME,
    .colx_sctx_dispatch = colx_dispatch_table};
