// The sum and distinct slots: kernels that do nothing and return 0. Grouped sums have an entry of
// their own.
#include "kernels/frame/kernels.h"

extern "C" {

#define COLX_DEFINE(form, name, op, enc, code, flag)        \
  uint32_t name(colx_cv*, colx_cv*, colx_cv*, colx_kctx*) { \
    return COLX_DONE;                                       \
  }
namespace colx {
COLX_SUM_DISTINCT(COLX_DEFINE)
}  // namespace colx

}  // extern "C"
