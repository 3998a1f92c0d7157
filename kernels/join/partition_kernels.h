// The partition kernels by name. Hidden C linkage: profiles, debuggers and tests know them by name.
//
// All return COLX_DONE or COLX_PARTITION_FULL; those of length-prefixed and fixed records refuse
// with COLX_NOT_SERVED if the part set says so, but for colx_partition_lv_hash_values.
#pragma once

#include "kernels/frame/colx_x86.h"

// Each axis once: X(member, ...).
#define COLX_PARTITION_KEYS(X, ...) \
  X(fixed, __VA_ARGS__)             \
  X(lv_sep, __VA_ARGS__)            \
  X(lv, __VA_ARGS__) X(lp_sep, __VA_ARGS__) X(lp, __VA_ARGS__) X(hash_values, __VA_ARGS__)
#define COLX_PARTITION_PAYLOADS(X, ...) \
  X(fixed, __VA_ARGS__)                 \
  X(lv_sep, __VA_ARGS__) X(lv, __VA_ARGS__) X(lp_sep, __VA_ARGS__) X(lp, __VA_ARGS__)
#define COLX_PARTITION_ROW_VALUES(X, ...) X(autorid, __VA_ARGS__) X(payload, __VA_ARGS__)

// colx_partition_<records>_<key>_<carried>, by the records that they write: K(key, carried).
#define COLX_PARTITION_OF(carried, key, K) K(key, carried)
#define COLX_PARTITION_RID_OF(key, K)      COLX_PARTITION_ROW_VALUES(COLX_PARTITION_OF, key, K)
#define COLX_PARTITION_LV_OF(key, K)       COLX_PARTITION_PAYLOADS(COLX_PARTITION_OF, key, K)
#define COLX_PARTITION_FIXED_OF(key, K)    K(key, fixed)
#define COLX_PARTITION_RID(K) \
  COLX_PARTITION_KEYS(COLX_PARTITION_RID_OF, K) COLX_PARTITION_RID_OF(gd, K)
#define COLX_PARTITION_LV(K)    COLX_PARTITION_KEYS(COLX_PARTITION_LV_OF, K)
#define COLX_PARTITION_FIXED(K) COLX_PARTITION_KEYS(COLX_PARTITION_FIXED_OF, K)

#define COLX_PARAMS_partition \
  colx_part_set *parts, colx_cv *src, colx_cv *payload, colx_hash_fn fn, colx_kctx *kctx
#define COLX_ARGS_partition parts, src, payload, fn, kctx

#pragma GCC visibility push(hidden)
extern "C" {

#define COLX_DECLARE(key, carried) colx_partition_call colx_partition_rid_##key##_##carried;
COLX_PARTITION_RID(COLX_DECLARE)
#undef COLX_DECLARE
#define COLX_DECLARE(key, carried) colx_partition_call colx_partition_lv_##key##_##carried;
COLX_PARTITION_LV(COLX_DECLARE)
#undef COLX_DECLARE
#define COLX_DECLARE(key, carried) colx_partition_call colx_partition_fixed_##key##_##carried;
COLX_PARTITION_FIXED(COLX_DECLARE)
#undef COLX_DECLARE

// Records that are copied whole; `payload` is not read.
colx_partition_call colx_partition_rid_hashrid, colx_partition_lv_hash_values;

}  // extern "C"
#pragma GCC visibility pop
