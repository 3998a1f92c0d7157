// Gather from a dlp store.
#include "kernels/join/gather.h"

namespace colx {
extern "C" {

COLX_GATHER_FROM(dlp, COLX_DEFINE_INDEXED_GATHER)

}  // extern "C"
}  // namespace colx
