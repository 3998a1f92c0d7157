// The iterators of both forms of bit vector.
#include "kernels/bitvec/iteration.h"

using namespace colx;

extern "C" {

void colx_lbiwv_ictx_ini2_dydi(colx_lbiwv_ictx* ctx, const uint64_t* bits, uint64_t nbits,
                               uint64_t invert, uint64_t start) {
  start_iteration(ctx, bits, nbits, invert, start);
}

void colx_lbiv_ictx_ini2_dydi(colx_lbiwv_ictx* ctx, const void* bits, uint64_t nbits,
                              uint64_t invert, uint64_t start) {
  start_iteration(ctx, bits, nbits, invert, start);
}

#define COLX_DEFINE_ITERATION(prefix, Form)                                       \
  uint64_t prefix##iter_dydi(colx_lbiwv_ictx* ctx) {                              \
    return next_bit<Form, false>(ctx);                                            \
  }                                                                               \
  uint64_t prefix##iter_clr_dydi(colx_lbiwv_ictx* ctx) {                          \
    return next_bit<Form, true>(ctx);                                             \
  }                                                                               \
  uint64_t prefix##ones_dydi(colx_lbiwv_ictx* ctx, uint32_t* out, uint64_t max) { \
    return next_bits<Form>(ctx, out, max);                                        \
  }
// The run calls belong to the interface but are not served: they read nothing.
#define COLX_DEFINE_RUNS(prefix, Form)                                 \
  uint64_t prefix##run_dydi(uint64_t, uint64_t) {                      \
    return Form::end;                                                  \
  }                                                                    \
  uint64_t prefix##runs_dydi(uint64_t, uint64_t, uint64_t, uint64_t) { \
    return 0;                                                          \
  }

COLX_DEFINE_ITERATION(colx_lbiwv, WordForm)
COLX_DEFINE_RUNS(colx_lbiwv, WordForm)
COLX_DEFINE_ITERATION(colx_lbiv, ByteForm)
COLX_DEFINE_RUNS(colx_lbiv, ByteForm)

}  // extern "C"
