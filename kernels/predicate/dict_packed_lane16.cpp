// Dictionary predicates on packed codes of 3 to 12 bits that fit a lane of two bytes.
#include "kernels/frame/kernels.h"
#include "kernels/predicate/dict_paired.h"

extern "C" {
namespace colx {

COLX_DICT_PACKED_LANE16(COLX_DEFINE_PACKED)

}  // namespace colx
}  // extern "C"
