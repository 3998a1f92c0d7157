// The gather kernels by name. Hidden C linkage: profiles, debuggers and tests know them by name.
//
// All return COLX_DONE or, with the row that did not fit in colx_kctx_position, COLX_OUT_OF_ROOM.
// They begin at the row in colx_kctx_position, read the flags of no vector and need a kctx.
#pragma once

#include "kernels/frame/colx_x86.h"

// Each axis once: X(member, ...).
#define COLX_GATHER_STORES(X, ...) X(lp, __VA_ARGS__) X(dlp, __VA_ARGS__) X(cla, __VA_ARGS__)
#define COLX_GATHER_RESULTS(X, ...) \
  X(fixed, __VA_ARGS__)             \
  X(lv_sep, __VA_ARGS__)            \
  X(lv, __VA_ARGS__) X(lp_sep, __VA_ARGS__) X(lp, __VA_ARGS__) X(dlp, __VA_ARGS__)
#define COLX_GATHER_INDEXES(X, ...) \
  X(fixed_8, __VA_ARGS__)           \
  X(fixed_4, __VA_ARGS__)           \
  X(fixed_2, __VA_ARGS__)           \
  X(fixed_1, __VA_ARGS__)           \
  X(fixed, __VA_ARGS__) X(ridvalue, __VA_ARGS__) X(ridvalue_rid, __VA_ARGS__)

// colx_gather_<store>_<result>_<index>: K(store, result, index).
#define COLX_GATHER_OF(index, result, store, K) K(store, result, index)
#define COLX_GATHER_INTO(result, store, K)      COLX_GATHER_INDEXES(COLX_GATHER_OF, result, store, K)
#define COLX_GATHER_FROM(store, K)              COLX_GATHER_RESULTS(COLX_GATHER_INTO, store, K)

#define COLX_GATHER_KERNELS(K) COLX_GATHER_STORES(COLX_GATHER_FROM, K)

// colx_gather_<result>_<source>, which reads no store: K(result, source).
#define COLX_GATHER_DIRECT(K) \
  K(lv_sep, lp_sep) K(lv_sep, lp) K(lv_sep, dlp) K(lv, lp_sep) K(lv, lp) K(lv, dlp)

#define COLX_PARAMS_gather colx_cv *res, colx_cv *src, const colx_row_store *store, colx_kctx *kctx
#define COLX_ARGS_gather   res, src, store, kctx

#pragma GCC visibility push(hidden)
extern "C" {

#define COLX_DECLARE(store, result, index) \
  colx_gather_call colx_gather_##store##_##result##_##index;
COLX_GATHER_KERNELS(COLX_DECLARE)
#undef COLX_DECLARE

#define COLX_DECLARE(result, source) colx_gather_call colx_gather_##result##_##source;
COLX_GATHER_DIRECT(COLX_DECLARE)
#undef COLX_DECLARE

}  // extern "C"
#pragma GCC visibility pop
