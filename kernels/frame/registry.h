// The one list of table kernels. Each axis is listed once; every kernel is a row
//
//   K(form, name, op, enc, code, flag)
//
// with its argument form (one_sided, range, decode, binary), its C name, operation, encoding, width
// code and flag. The rows give the prototypes (kernels.h), the slots and the names
// (dispatch_table.cpp), and each family stamps its definitions from its own list here. A family
// joins the table by one word in COLX_TABLE_KERNELS; its twins by one in COLX_SELECTIVE_TWINS.
#pragma once

#include "kernels/frame/slot_index.h"

#define COLX_ONE_SIDED_OPS(X, ...) \
  X(eq, __VA_ARGS__)               \
  X(lt, __VA_ARGS__)               \
  X(gt, __VA_ARGS__) X(le, __VA_ARGS__) X(ge, __VA_ARGS__) X(ne, __VA_ARGS__)
#define COLX_RANGE_OPS(X, ...) \
  X(gt_lt, __VA_ARGS__) X(gt_le, __VA_ARGS__) X(ge_lt, __VA_ARGS__) X(ge_le, __VA_ARGS__)

// Ten operations of one encoding and width, plain and in the variant form that `suffix` names.
#define COLX_PREDICATE(form, op, w, enc, suffix, K)                \
  K(form, colx_##op##_##enc##_##w##bit, op, enc, width_code(w), 0) \
  K(form, colx_##op##_##enc##_##w##bit##suffix, op, enc, width_code(w), 1)
#define COLX_ONE_SIDED(op, ...) COLX_PREDICATE(one_sided, op, __VA_ARGS__)
#define COLX_RANGE(op, ...)     COLX_PREDICATE(range, op, __VA_ARGS__)
#define COLX_PREDICATES_OF(w, ...)                   \
  COLX_ONE_SIDED_OPS(COLX_ONE_SIDED, w, __VA_ARGS__) \
  COLX_RANGE_OPS(COLX_RANGE, w, __VA_ARGS__)

// Dictionary predicates, by the width of a code.
#define COLX_DICT_ALIGNED(K)             \
  COLX_PREDICATES_OF(8, dict, _null, K)  \
  COLX_PREDICATES_OF(16, dict, _null, K) \
  COLX_PREDICATES_OF(32, dict, _null, K) \
  COLX_PREDICATES_OF(64, dict, _null, K)

#define COLX_DICT_PACKED_LANE8(K) \
  COLX_PREDICATES_OF(2, dict, _null, K) COLX_PREDICATES_OF(4, dict, _null, K)
#define COLX_DICT_PACKED_LANE16(K)       \
  COLX_PREDICATES_OF(3, dict, _null, K)  \
  COLX_PREDICATES_OF(5, dict, _null, K)  \
  COLX_PREDICATES_OF(6, dict, _null, K)  \
  COLX_PREDICATES_OF(7, dict, _null, K)  \
  COLX_PREDICATES_OF(9, dict, _null, K)  \
  COLX_PREDICATES_OF(10, dict, _null, K) \
  COLX_PREDICATES_OF(12, dict, _null, K)
#define COLX_DICT_PACKED_LANE32(K)       \
  COLX_PREDICATES_OF(11, dict, _null, K) \
  COLX_PREDICATES_OF(13, dict, _null, K) \
  COLX_PREDICATES_OF(14, dict, _null, K) \
  COLX_PREDICATES_OF(15, dict, _null, K) \
  COLX_PREDICATES_OF(17, dict, _null, K) \
  COLX_PREDICATES_OF(18, dict, _null, K) \
  COLX_PREDICATES_OF(19, dict, _null, K) \
  COLX_PREDICATES_OF(20, dict, _null, K) \
  COLX_PREDICATES_OF(24, dict, _null, K)
#define COLX_DICT_PACKED(K)  \
  COLX_DICT_PACKED_LANE8(K)  \
  COLX_DICT_PACKED_LANE16(K) \
  COLX_DICT_PACKED_LANE32(K)
#define COLX_DICT_ONE_BIT(K) COLX_PREDICATES_OF(1, dict, _null, K)

// Predicates on stored values, by the kernel's word; _tz with a code per row that breaks ties.
#define COLX_FIXED(K)                   \
  COLX_PREDICATES_OF(8, fixed, _tz, K)  \
  COLX_PREDICATES_OF(16, fixed, _tz, K) \
  COLX_PREDICATES_OF(32, fixed, _tz, K) \
  COLX_PREDICATES_OF(64, fixed, _tz, K)
#define COLX_DYNP(K)                   \
  COLX_PREDICATES_OF(16, dynp, _tz, K) \
  COLX_PREDICATES_OF(32, dynp, _tz, K) \
  COLX_PREDICATES_OF(64, dynp, _tz, K)

// Kernels that exist once for every width of a dictionary code up to 32 bits: X(width, ...).
#define COLX_CODE_WIDTHS_1_BYTE(X, ...) \
  X(1, __VA_ARGS__)                     \
  X(2, __VA_ARGS__)                     \
  X(3, __VA_ARGS__)                     \
  X(4, __VA_ARGS__) X(5, __VA_ARGS__) X(6, __VA_ARGS__) X(7, __VA_ARGS__) X(8, __VA_ARGS__)
#define COLX_CODE_WIDTHS_2_BYTES(X, ...) \
  X(9, __VA_ARGS__)                      \
  X(10, __VA_ARGS__)                     \
  X(11, __VA_ARGS__)                     \
  X(12, __VA_ARGS__) X(13, __VA_ARGS__) X(14, __VA_ARGS__) X(15, __VA_ARGS__) X(16, __VA_ARGS__)
#define COLX_CODE_WIDTHS_4_BYTES(X, ...) \
  X(17, __VA_ARGS__)                     \
  X(18, __VA_ARGS__) X(19, __VA_ARGS__) X(20, __VA_ARGS__) X(24, __VA_ARGS__) X(32, __VA_ARGS__)

// Codes to plain numbers, by the bytes that a code unpacks to.
#define COLX_DECODE_UNPACK_OF(w, K) \
  K(decode, colx_decode_unpack_dict_##w##bit, decode_unpack, dict, width_code(w), 0)
#define COLX_DECODE_UNPACK_1_BYTE(K)  COLX_CODE_WIDTHS_1_BYTE(COLX_DECODE_UNPACK_OF, K)
#define COLX_DECODE_UNPACK_2_BYTES(K) COLX_CODE_WIDTHS_2_BYTES(COLX_DECODE_UNPACK_OF, K)
#define COLX_DECODE_UNPACK_4_BYTES(K) COLX_CODE_WIDTHS_4_BYTES(COLX_DECODE_UNPACK_OF, K)
#define COLX_DECODE_UNPACK(K)   \
  COLX_DECODE_UNPACK_1_BYTE(K)  \
  COLX_DECODE_UNPACK_2_BYTES(K) \
  COLX_DECODE_UNPACK_4_BYTES(K)

// Codes to pointers, lengths and indicators of their values.
#define COLX_DECODE_OF(w, K) K(decode, colx_decode_dict_##w##bit, decode, dict, width_code(w), 0)
#define COLX_DECODE(K)                        \
  COLX_CODE_WIDTHS_1_BYTE(COLX_DECODE_OF, K)  \
  COLX_CODE_WIDTHS_2_BYTES(COLX_DECODE_OF, K) \
  COLX_CODE_WIDTHS_4_BYTES(COLX_DECODE_OF, K)

// Codes that were unpacked to arrays, to pointers, lengths and indicators.
#define COLX_DECODE_SYMBOL(K)                                                      \
  K(decode, colx_decode_symbol_dict_8bit, decode_symbol, dict, width_code(8), 0)   \
  K(decode, colx_decode_symbol_dict_16bit, decode_symbol, dict, width_code(16), 0) \
  K(decode, colx_decode_symbol_dict_32bit, decode_symbol, dict, width_code(32), 0)

// Membership of codes in a set.
#define COLX_SET_OF(w, K) K(binary, colx_set_dict_##w##bit, set, dict, width_code(w), 0)
#define COLX_SET(K)                        \
  COLX_CODE_WIDTHS_1_BYTE(COLX_SET_OF, K)  \
  COLX_CODE_WIDTHS_2_BYTES(COLX_SET_OF, K) \
  COLX_CODE_WIDTHS_4_BYTES(COLX_SET_OF, K)

// Slots that are served by doing nothing.
#define COLX_SUM_OF(w, K) K(binary, colx_sum_dict_##w##bit, sum, dict, width_code(w), 0)
#define COLX_DISTINCT_OF(w, K) \
  K(binary, colx_distinct_dict_##w##bit, distinct, dict, width_code(w), 0)
#define COLX_SUM_FIXED_OF(w, K) K(binary, colx_sum_fixed_##w##bit, sum, fixed, width_code(w), 0)
#define COLX_SUM_DISTINCT(K)                    \
  COLX_CODE_WIDTHS_1_BYTE(COLX_SUM_OF, K)       \
  COLX_CODE_WIDTHS_2_BYTES(COLX_SUM_OF, K)      \
  COLX_CODE_WIDTHS_4_BYTES(COLX_SUM_OF, K)      \
  COLX_CODE_WIDTHS_1_BYTE(COLX_DISTINCT_OF, K)  \
  COLX_CODE_WIDTHS_2_BYTES(COLX_DISTINCT_OF, K) \
  COLX_CODE_WIDTHS_4_BYTES(COLX_DISTINCT_OF, K) \
  COLX_SUM_FIXED_OF(8, K)                       \
  COLX_SUM_FIXED_OF(16, K) COLX_SUM_FIXED_OF(32, K) COLX_SUM_FIXED_OF(64, K)

// Run-length columns: from bits per run to bits per row.
#define COLX_BURST(K)                                                          \
  K(decode, colx_burst_rle_8bit, burst, rle, COLX_WIDTH_BURST_8BIT, 0)         \
  K(decode, colx_burst_rle_8bit_cla, burst, rle, COLX_WIDTH_BURST_8BIT_CLA, 0) \
  K(decode, colx_burst_rle_16bit, burst, rle, COLX_WIDTH_BURST_16BIT, 0)       \
  K(decode, colx_burst_rle_16bit_cla, burst, rle, COLX_WIDTH_BURST_16BIT_CLA, 0)

// Hash keys to small codes, by table form and table element; _c2d stores the codes as well.
#define COLX_XLATE_ELEMENTS(X, ...)   \
  X(nib, COLX_WIDTH_NIB, __VA_ARGS__) \
  X(ub1, COLX_WIDTH_UB1, __VA_ARGS__) \
  X(ub2, COLX_WIDTH_UB2, __VA_ARGS__) X(ub4, COLX_WIDTH_UB4, __VA_ARGS__)
#define COLX_XLATE_HITS_OF(element, code, form, K) \
  K(binary, colx_xlate_##form##_##element, xlate, form, code, 0)
#define COLX_XLATE_CODES_OF(element, code, form, K) \
  K(binary, colx_xlate_##form##_##element##_c2d, xlate, form, code, 1)
#define COLX_XLATE_FORM(form, K)                   \
  COLX_XLATE_HITS_OF(bit, COLX_WIDTH_BIT, form, K) \
  COLX_XLATE_ELEMENTS(COLX_XLATE_HITS_OF, form, K) \
  COLX_XLATE_ELEMENTS(COLX_XLATE_CODES_OF, form, K)
#define COLX_XLATE(K)     \
  COLX_XLATE_FORM(sim, K) \
  COLX_XLATE_FORM(off, K) \
  COLX_XLATE_FORM(ind, K)

// A column's share of a group key, through a table of such codes.
#define COLX_GROUPKEY(K) COLX_XLATE_ELEMENTS(COLX_XLATE_CODES_OF, groupkey, K)

// Arithmetic on rows of two operands, by type and by their byte forms, native or canonical; _sum
// adds the results up.
#define COLX_ARITHMETIC_OF(type, l, r, code, op, K)             \
  K(binary, colx_##op##_##type##_##l##_##r, op, fixed, code, 0) \
  K(binary, colx_##op##_##type##_##l##_##r##_sum, op, fixed, code, 1)
#define COLX_ARITHMETIC_FORMS(type, is_double, ...)                                   \
  COLX_ARITHMETIC_OF(type, n, n, is_double, __VA_ARGS__)                              \
  COLX_ARITHMETIC_OF(type, c, n, is_double | COLX_WIDTH_LEFT_CANONICAL, __VA_ARGS__)  \
  COLX_ARITHMETIC_OF(type, n, c, is_double | COLX_WIDTH_RIGHT_CANONICAL, __VA_ARGS__) \
  COLX_ARITHMETIC_OF(                                                                 \
      type, c, c, is_double | COLX_WIDTH_LEFT_CANONICAL | COLX_WIDTH_RIGHT_CANONICAL, __VA_ARGS__)
#define COLX_ARITHMETIC_TYPES(...)             \
  COLX_ARITHMETIC_FORMS(float, 0, __VA_ARGS__) \
  COLX_ARITHMETIC_FORMS(double, COLX_WIDTH_DOUBLE, __VA_ARGS__)
#define COLX_ARITHMETIC(K)      \
  COLX_ARITHMETIC_TYPES(add, K) \
  COLX_ARITHMETIC_TYPES(sub, K) \
  COLX_ARITHMETIC_TYPES(mul, K)

// All table kernels, and those of them that hand over to a twin named <kernel>_selective.
#define COLX_TABLE_KERNELS(K) \
  COLX_SELECTIVE_TWINS(K)     \
  COLX_DICT_ONE_BIT(K)        \
  COLX_DECODE(K)              \
  COLX_DECODE_UNPACK(K)       \
  COLX_DECODE_SYMBOL(K)       \
  COLX_BURST(K)               \
  COLX_SUM_DISTINCT(K)        \
  COLX_GROUPKEY(K)            \
  COLX_ARITHMETIC(K)
#define COLX_SELECTIVE_TWINS(K) \
  COLX_DICT_ALIGNED(K)          \
  COLX_DICT_PACKED(K)           \
  COLX_FIXED(K)                 \
  COLX_DYNP(K)                  \
  COLX_SET(K)                   \
  COLX_XLATE(K)

// Parameters and arguments by form.
#define COLX_PARAMS_one_sided colx_cv *res, colx_cv *src, const void *const *args, colx_kctx *kctx
#define COLX_ARGS_one_sided   res, src, args, kctx
#define COLX_PARAMS_range                                                             \
  colx_cv *res, colx_cv *src, const void *const *lo_args, const void *const *hi_args, \
      colx_kctx *kctx
#define COLX_ARGS_range    res, src, lo_args, hi_args, kctx
#define COLX_PARAMS_decode colx_cv *res, colx_cv *src, colx_kctx *kctx
#define COLX_ARGS_decode   res, src, kctx
#define COLX_PARAMS_binary colx_cv *res, colx_cv *src, colx_cv *other, colx_kctx *kctx
#define COLX_ARGS_binary   res, src, other, kctx
