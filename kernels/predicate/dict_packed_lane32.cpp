// Dictionary predicates on packed codes of 11 to 24 bits, in lanes of four bytes.
#include "kernels/frame/kernels.h"
#include "kernels/predicate/dict_paired.h"

extern "C" {
namespace colx {

COLX_DICT_PACKED_LANE32(COLX_DEFINE_PACKED)

}  // namespace colx
}  // extern "C"
