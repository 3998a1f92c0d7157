// Predicates on dynp rows by value and code: the names; the work is in the patterns. The code is
// the row's length, so that rows which differ in trailing zeros alone are told apart.
#include "kernels/frame/kernels.h"
#include "kernels/predicate/dynp.h"
#include "kernels/predicate/tied_rows.h"

namespace colx {
namespace {

// A constant's code may be one above the largest of a row, but no higher.
template <Op op, unsigned L>
COLX_INLINE bool codes_served(const ScanArgs& args) {
  const auto codes = ConstantCodes<op>::read(args);
  return codes.lo <= L && codes.hi <= L;
}

}  // namespace

extern "C" {

#define COLX_DEFINE_0(...)
#define COLX_DEFINE_TWIN(form, name, op, code)                                   \
  uint32_t name##_selective(COLX_PARAMS_##form) {                                \
    return scan_selected<TiedRows<Op::op, DynpColumn<code_width(code) / 8>>>(    \
        res, src, COLX_CONSTANTS_##form, kctx, COLX_DECOMPRESSION_TEXTS(#name)); \
  }
#define COLX_DEFINE_1(form, name, op, code)                                                \
  COLX_DEFINE_TWIN(form, name, op, code)                                                   \
  uint32_t name(COLX_PARAMS_##form) {                                                      \
    constexpr unsigned lane = code_width(code) / 8;                                        \
    if (!codes_served<Op::op, lane>(COLX_CONSTANTS_##form)) return COLX_NOT_SERVED;        \
    if (wants_selective(kctx)) return name##_selective(COLX_ARGS_##form);                  \
    return scan<TiedRows<Op::op, DynpColumn<lane>>>(res, src, COLX_CONSTANTS_##form, kctx, \
                                                    COLX_DECOMPRESSION_TEXTS(#name));      \
  }
#define COLX_DEFINE(form, name, op, enc, code, flag) COLX_DEFINE_##flag(form, name, op, code)

COLX_DYNP(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
