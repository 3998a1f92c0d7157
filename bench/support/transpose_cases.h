// Cases of transpose: a column's references, and the copying of a matrix's values.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

// "colx_transpose_reference_lv, 8 columns", against the 16-byte stores alone as its limit. `layout`
// is COLX_FIXED, COLX_LV_SEP, COLX_LV, COLX_LP_SEP or COLX_LP; values have some 8 bytes.
Case reference_case(uint32_t layout, unsigned columns, const SizeClass& size);

enum class ConvertTo { row_cla, col_cla, row_lp, col_lp };

// Lengths of a matrix's values: all alike, or at random from 2 up to twice the mean. The copying of
// random lengths is mostly mispredicted branches, unless a pass is so short that its lengths are
// learnt by heart, which then goes now one way and now another.
enum class ValueLengths { alike, random };

// "colx_transpose_convert_col_cla, 24 bytes" of a matrix of 8 columns, against memcpy calls of the
// same lengths as its peer.
Case convert_case(ConvertTo form, unsigned mean_bytes, ValueLengths lengths, const SizeClass& size);

}  // namespace colx::bench
