// Predicates on fixed rows by their values: the names; the work is in the patterns.
#include "kernels/predicate/fixed.h"

#include "kernels/frame/kernels.h"

extern "C" {
namespace colx {

#define COLX_DEFINE_0(...) COLX_DEFINE_FIXED(FixedByValue, __VA_ARGS__)
#define COLX_DEFINE_1(...)
#define COLX_DEFINE(form, name, op, enc, code, flag) COLX_DEFINE_##flag(form, name, op, code)

COLX_FIXED(COLX_DEFINE)

}  // namespace colx
}  // extern "C"
