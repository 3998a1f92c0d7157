// Unpacking of the widths whose codes take 4 bytes each.
#include "kernels/decode/unpack.h"
#include "kernels/frame/kernels.h"

extern "C" {
namespace colx {

COLX_DECODE_UNPACK_4_BYTES(COLX_DEFINE_UNPACK)

}  // namespace colx
}  // extern "C"
