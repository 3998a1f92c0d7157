// The transpose kernels by name. Hidden C linkage: profiles, debuggers and tests know them by name.
#pragma once

#include "kernels/frame/colx_x86.h"

// Layouts of a referenced column, in the order in which its flags are tried: K(layout).
#define COLX_REFERENCED_LAYOUTS(K) K(fixed) K(lv_sep) K(lv) K(lp_sep) K(lp)

// Conversions: K(form, target).
#define COLX_CONVERSIONS(K) K(row, cla) K(col, cla) K(row, lp) K(col, lp)

#define COLX_PARAMS_reference \
  colx_row_store *store, colx_cv *src, uint32_t col, int32_t block, void *base
#define COLX_ARGS_reference store, src, col, block, base
#define COLX_PARAMS_convert                                                                  \
  colx_row_store *out, const colx_row_store *in, int32_t part, int32_t block, uint32_t from, \
      uint32_t to, colx_kctx *kctx
#define COLX_ARGS_convert out, in, part, block, from, to, kctx

#pragma GCC visibility push(hidden)
extern "C" {

// All return COLX_DONE.
#define COLX_DECLARE(layout) colx_transpose_reference_call colx_transpose_reference_##layout;
COLX_REFERENCED_LAYOUTS(COLX_DECLARE)
#undef COLX_DECLARE

// All return COLX_DONE or COLX_DATA_ROOM_FULL.
#define COLX_DECLARE(form, target) \
  colx_transpose_convert_call colx_transpose_convert_##form##_##target;
COLX_CONVERSIONS(COLX_DECLARE)
#undef COLX_DECLARE

}  // extern "C"
#pragma GCC visibility pop
