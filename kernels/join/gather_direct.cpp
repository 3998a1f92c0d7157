// Gather without a store: the source vector itself tells pointer and length.
#include "kernels/join/gather.h"

namespace colx {
extern "C" {

#define COLX_DEFINE(result, source)                                                     \
  uint32_t colx_gather_##result##_##source(COLX_PARAMS_gather) {                        \
    return gather<Result::result>(DirectValues<Source::source>(src), COLX_ARGS_gather); \
  }
COLX_GATHER_DIRECT(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
