// Logic, counting and ranges on word bit vectors: arrays of 64-bit words.
#include "kernels/bitvec/bit_count.h"
#include "kernels/bitvec/bit_logic.h"
#include "kernels/bitvec/bit_range.h"
#include "kernels/frame/colx_x86.h"

using namespace colx;

extern "C" {

void colx_lbiwvnot_dydi(uint64_t* dst, uint32_t* count, const uint64_t* a, uint64_t nbits) {
  combine<Not, uint64_t>(dst, count, nbits, a);
}

#define COLX_DEFINE_TWO_INPUTS(name, Op)                                          \
  void name(uint64_t* dst, uint32_t* count, const uint64_t* a, const uint64_t* b, \
            uint64_t nbits) {                                                     \
    combine<Op, uint64_t>(dst, count, nbits, a, b);                               \
  }
COLX_DEFINE_TWO_INPUTS(colx_lbiwvand_dydi, And)
COLX_DEFINE_TWO_INPUTS(colx_lbiwvor_dydi, Or)
COLX_DEFINE_TWO_INPUTS(colx_lbiwvxor_dydi, Xor)
COLX_DEFINE_TWO_INPUTS(colx_lbiwvandnot_dydi, AndNot)

#define COLX_DEFINE_THREE_INPUTS(name, Op)                                        \
  void name(uint64_t* dst, uint32_t* count, const uint64_t* a, const uint64_t* b, \
            const uint64_t* c, uint64_t nbits) {                                  \
    combine<Three<Op>, uint64_t>(dst, count, nbits, a, b, c);                     \
  }
COLX_DEFINE_THREE_INPUTS(colx_lbiwvand3_dydi, And)
COLX_DEFINE_THREE_INPUTS(colx_lbiwvor3_dydi, Or)
COLX_DEFINE_THREE_INPUTS(colx_lbiwvxor3_dydi, Xor)

uint32_t colx_lbiwvpopcnt_dydi(uint32_t* count, const uint64_t* a, uint64_t nbits) {
  return *count = count_bits<uint64_t>(bytes_at(a, 0), nbits);
}

void colx_lbiwvset_range_dydi(uint64_t* bits, uint64_t first, uint64_t last) {
  change_range<true>(bits, first, last);
}

void colx_lbiwvclr_range_dydi(uint64_t* bits, uint64_t first, uint64_t last) {
  change_range<false>(bits, first, last);
}

}  // extern "C"
