// Prototypes of the kernels that no slot holds: the forms that a table kernel picks among, and the
// expansion of runs. Hidden C linkage: calls are direct, and profiles, debuggers and tests know
// them by name.
#pragma once

#include "kernels/frame/colx_x86.h"
#include "kernels/frame/registry.h"

#pragma GCC visibility push(hidden)
extern "C" {

// Forms of the burst kernels, all with the kernels' arguments; none of them asserts anything.
#define COLX_BURST_COUNTED_FORMS(K, bits)     \
  K(colx_burst_rle_##bits##bit_selective)     \
  K(colx_burst_rle_##bits##bit_inv_selective) \
  K(colx_burst_rle_##bits##bit_local_cla)     \
  K(colx_burst_rle_##bits##bit_inv_local_cla)
#define COLX_BURST_LISTED_FORMS(K, bits)      \
  K(colx_burst_rle_##bits##bit_cla_selective) \
  K(colx_burst_rle_##bits##bit_cla_inv_selective)

#define COLX_DECLARE(name) uint32_t name(colx_cv* res, colx_cv* src, colx_kctx* kctx);
COLX_BURST_COUNTED_FORMS(COLX_DECLARE, 8)
COLX_BURST_COUNTED_FORMS(COLX_DECLARE, 16)
COLX_BURST_LISTED_FORMS(COLX_DECLARE, 8)
COLX_BURST_LISTED_FORMS(COLX_DECLARE, 16)
#undef COLX_DECLARE

// Forms of the kernels that find values through a dictionary, by its layout. All return 0.
#define COLX_DECLARE(form, name, op, enc, code, flag) \
  uint32_t name##_one_len(COLX_PARAMS_##form);        \
  uint32_t name##_cla_stride_one(COLX_PARAMS_##form);
COLX_DECODE(COLX_DECLARE)
COLX_DECODE_SYMBOL(COLX_DECLARE)
#undef COLX_DECLARE

// colx_rle<L>_expand_ub<E>: writes each value of `src` (colx_cv_num_of_rows native elements of E
// bytes at colx_cv_data) as often as its run has rows, to the colx_cv_data of `res`. `lengths` are
// those of the runs from the first value on, of L bits, big-endian. The first run has `first_len`
// rows whatever its entry says, and the last one is cut by `last_cut`.
//
// The values may be the last elements of the output itself if every run has a row: no value is
// overwritten before it was read. Nothing is written behind the rows.
#define COLX_DECLARE(L, E)                                                                     \
  void colx_rle##L##_expand_ub##E(const colx_cv* res, const colx_cv* src, const void* lengths, \
                                  uint32_t first_len, uint32_t last_cut);
COLX_DECLARE(8, 1)
COLX_DECLARE(8, 2)
COLX_DECLARE(8, 4)
COLX_DECLARE(16, 1)
COLX_DECLARE(16, 2)
COLX_DECLARE(16, 4)
#undef COLX_DECLARE

// Stores `value` into `count` elements; `dst` needs no alignment.
void colx_memset_ub1(void* dst, uint8_t value, uint64_t count);
void colx_memset_ub2(void* dst, uint16_t value, uint64_t count);
void colx_memset_ub4(void* dst, uint32_t value, uint64_t count);

}  // extern "C"
#pragma GCC visibility pop
