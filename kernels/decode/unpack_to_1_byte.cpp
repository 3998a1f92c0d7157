// Unpacking of the widths whose codes take 1 byte each.
#include "kernels/decode/unpack.h"
#include "kernels/frame/kernels.h"

extern "C" {
namespace colx {

COLX_DECODE_UNPACK_1_BYTE(COLX_DEFINE_UNPACK)

}  // namespace colx
}  // extern "C"
