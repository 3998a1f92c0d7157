// Gather from an lp store.
#include "kernels/join/gather.h"

namespace colx {
extern "C" {

COLX_GATHER_FROM(lp, COLX_DEFINE_INDEXED_GATHER)

}  // extern "C"
}  // namespace colx
