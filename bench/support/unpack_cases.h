// Cases of decode_unpack: contiguous ranges and selections, by width and element.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

inline constexpr unsigned code_widths[] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                           12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32};

// The element without COLX_KCTX_WIDE_CODES.
constexpr unsigned natural_element_bytes(unsigned width_bits) {
  return width_bits <= 8 ? 1 : width_bits <= 16 ? 2 : 4;
}

// "colx_decode_unpack_dict_3bit to 1": a range of rows to elements of that many bytes.
Case unpack_case(unsigned width_bits, unsigned element_bytes, const SizeClass& size);

// "colx_decode_unpack_dict_3bit to 1, 50%": the rows of a selection with so many bits set, in
// blocks; "..., 1% walked": bit by bit.
Case unpack_selected_case(unsigned width_bits, unsigned percent, bool walked,
                          const SizeClass& size);

}  // namespace colx::bench
