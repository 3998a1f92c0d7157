// The arithmetic kernels by their names.
#include "kernels/aggregate/arithmetic.h"

#include "kernels/frame/kernels.h"

namespace colx {
extern "C" {

#define COLX_DEFINE(form, name, op, enc, code, flag)                              \
  uint32_t name(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx*) {         \
    return arithmetic<ArithmeticShape{Op::op, code, flag != 0}>(res, src, right); \
  }
COLX_ARITHMETIC(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
