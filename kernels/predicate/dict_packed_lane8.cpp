// Dictionary predicates on packed codes of 2 and 4 bits, in lanes of one byte.
#include "kernels/frame/kernels.h"
#include "kernels/predicate/dict_paired.h"

extern "C" {
namespace colx {

COLX_DICT_PACKED_LANE8(COLX_DEFINE_PACKED)

}  // namespace colx
}  // extern "C"
