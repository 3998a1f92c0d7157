// Gather from a cla store.
#include "kernels/join/gather.h"

namespace colx {
extern "C" {

COLX_GATHER_FROM(cla, COLX_DEFINE_INDEXED_GATHER)

}  // extern "C"
}  // namespace colx
