// Predicates on dynp rows by their values: the names; the work is in the patterns.
#include "kernels/predicate/dynp.h"

#include "kernels/frame/kernels.h"

extern "C" {
namespace colx {

#define COLX_DEFINE_0(form, name, op, code)                                      \
  uint32_t name(COLX_PARAMS_##form) {                                            \
    if (wants_selective(kctx)) return name##_selective(COLX_ARGS_##form);        \
    return scan<ValueRows<Op::op, DynpColumn<code_width(code) / 8>>>(            \
        res, src, COLX_CONSTANTS_##form, kctx, COLX_DECOMPRESSION_TEXTS(#name)); \
  }                                                                              \
  uint32_t name##_selective(COLX_PARAMS_##form) {                                \
    return scan_selected<ValueRows<Op::op, DynpColumn<code_width(code) / 8>>>(   \
        res, src, COLX_CONSTANTS_##form, kctx, COLX_DECOMPRESSION_TEXTS(#name)); \
  }
#define COLX_DEFINE_1(...)
#define COLX_DEFINE(form, name, op, enc, code, flag) COLX_DEFINE_##flag(form, name, op, code)

COLX_DYNP(COLX_DEFINE)

}  // namespace colx
}  // extern "C"
