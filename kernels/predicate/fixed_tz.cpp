// Predicates on fixed rows by value and code: the names; the work is in the patterns.
#include "kernels/frame/kernels.h"
#include "kernels/predicate/fixed.h"
#include "kernels/predicate/tied_rows.h"

namespace colx {
namespace {

struct FixedByValueAndCode {
  template <Op op, class Column>
  using Rows = TiedRows<op, Column>;
  static constexpr WidthSource width_source = WidthSource::src;
  static constexpr unsigned vectors_per_step = 4;
};

// A row of one byte has nothing that a code could tell apart: the kernels on 8 bits read none.
template <unsigned word_bits>
using FixedTied = std::conditional_t<word_bits == 8, FixedByValue, FixedByValueAndCode>;

}  // namespace

extern "C" {

#define COLX_DEFINE_0(...)
#define COLX_DEFINE_1(form, name, op, code) \
  COLX_DEFINE_FIXED(FixedTied<code_width(code)>, form, name, op, code)
#define COLX_DEFINE(form, name, op, enc, code, flag) COLX_DEFINE_##flag(form, name, op, code)

COLX_FIXED(COLX_DEFINE)

}  // extern "C"
}  // namespace colx
