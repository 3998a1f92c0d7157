// Logic, counting and ranges on byte bit vectors: arrays of bytes of their exact length, at any
// address.
#include "kernels/bitvec/bit_count.h"
#include "kernels/bitvec/bit_logic.h"
#include "kernels/bitvec/bit_range.h"
#include "kernels/frame/colx_x86.h"

using namespace colx;

extern "C" {

void colx_lbivnot_dydi(void* dst, uint32_t* count, const void* a, uint64_t nbits) {
  combine<Not, uint8_t>(dst, count, nbits, a);
}

#define COLX_DEFINE_TWO_INPUTS(name, Op)                                                \
  void name(void* dst, uint32_t* count, const void* a, const void* b, uint64_t nbits) { \
    combine<Op, uint8_t>(dst, count, nbits, a, b);                                      \
  }
COLX_DEFINE_TWO_INPUTS(colx_lbivand_dydi, And)
COLX_DEFINE_TWO_INPUTS(colx_lbivor_dydi, Or)
COLX_DEFINE_TWO_INPUTS(colx_lbivxor_dydi, Xor)
COLX_DEFINE_TWO_INPUTS(colx_lbivandnot_dydi, AndNot)

#define COLX_DEFINE_THREE_INPUTS(name, Op)                                           \
  void name(void* dst, uint32_t* count, const void* a, const void* b, const void* c, \
            uint64_t nbits) {                                                        \
    combine<Three<Op>, uint8_t>(dst, count, nbits, a, b, c);                         \
  }
COLX_DEFINE_THREE_INPUTS(colx_lbivand3_dydi, And)
COLX_DEFINE_THREE_INPUTS(colx_lbivor3_dydi, Or)
COLX_DEFINE_THREE_INPUTS(colx_lbivxor3_dydi, Xor)

void colx_lbivpopcnt_dydi(uint32_t* count, const void* a, uint64_t nbits) {
  *count = count_bits<uint8_t>(bytes_at(a, 0), nbits);
}

void colx_lbivset_range_dydi(void* bits, uint64_t first, uint64_t last) {
  change_range<true>(bits, first, last);
}

void colx_lbivclr_range_dydi(void* bits, uint64_t first, uint64_t last) {
  change_range<false>(bits, first, last);
}

}  // extern "C"
