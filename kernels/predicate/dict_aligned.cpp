// Dictionary predicates on codes of 8, 16, 32 and 64 bits: the names; the work is in the patterns.
#include "kernels/predicate/dict_aligned.h"

#include "kernels/frame/kernels.h"

extern "C" {
namespace colx {

#define COLX_DEFINE(form, name, op, enc, code, flag)                               \
  uint32_t name(COLX_PARAMS_##form) {                                              \
    if (wants_selective(kctx)) return name##_selective(COLX_ARGS_##form);          \
    return scan<AlignedCodes<Op::op, code_width(code), NullCodes{flag}>>(          \
        res, src, COLX_CONSTANTS_##form, kctx, COLX_DECOMPRESSION_TEXTS(#name));   \
  }                                                                                \
  uint32_t name##_selective(COLX_PARAMS_##form) {                                  \
    return scan_selected<AlignedCodes<Op::op, code_width(code), NullCodes{flag}>>( \
        res, src, COLX_CONSTANTS_##form, kctx, COLX_DECOMPRESSION_TEXTS(#name));   \
  }

COLX_DICT_ALIGNED(COLX_DEFINE)

}  // namespace colx
}  // extern "C"
