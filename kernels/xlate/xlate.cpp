// The translations by their names. A selection goes to the twin, whether or not the flag asks for
// it.
#include "kernels/frame/kernels.h"
#include "kernels/xlate/translation.h"

namespace colx {
extern "C" {

#define COLX_DEFINE(form, name, op, enc, code, flag)                                    \
  uint32_t name(COLX_PARAMS_##form) {                                                   \
    if (kctx->colx_kctx_selection) return name##_selective(COLX_ARGS_##form);           \
    return translate<XlateShape{Enc::enc, code, flag != 0}>(COLX_ARGS_##form);          \
  }                                                                                     \
  uint32_t name##_selective(COLX_PARAMS_##form) {                                       \
    return translate_selected<XlateShape{Enc::enc, code, flag != 0}>(COLX_ARGS_##form); \
  }
COLX_XLATE(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
