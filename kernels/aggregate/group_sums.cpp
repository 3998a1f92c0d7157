// Group-by sums: every row is added to the accumulator of its group or, without groups, to the
// first one. Accumulators are of the rows' type, for dsb integers of 64 bits that wrap, and are
// indexed by group keys, which are not checked.
//
// The order of additions is a promise. With groups each row goes onto its accumulator in row order.
// Without, the rows go one by one onto a sum that begins at +0.0, and that goes onto the
// accumulator, also when there was no row.
#include "kernels/aggregate/group_sums.h"

#include "kernels/aggregate/number_forms.h"

namespace colx {
namespace {

COLX_INLINE uint32_t group_at(const uint8_t* groups, size_t row) {
  return load_as<uint32_t>(groups + row * 4);
}

// Native rows one by one: taking them out of a vector costs more.
template <class Number, NumberForm form>
COLX_INLINE NumberLanes<Number> next_lanes(const uint8_t* from) {
  if constexpr (form == NumberForm::canonical)
    return lanes_in<Number>(numbers_at<Number, form>(from));
  NumberLanes<Number> lanes;
#pragma GCC unroll 4
  for (uint32_t k = 0; k < lanes_of<Number>; ++k)
    lanes.at[k] = load_as<Number>(from + k * sizeof(Number));
  return lanes;
}

// Calls visit(row, value) for all rows in order.
template <class Number, NumberForm form, class Visit>
COLX_INLINE void visit_numbers(const uint8_t* from, uint32_t rows, const Visit& visit) {
  constexpr uint32_t lanes = lanes_of<Number>;
  const size_t whole = rows / lanes * lanes;
  size_t r = 0;
#pragma GCC unroll 2  // one vector alone makes a loop that is half as fast at some addresses
  for (; r != whole; r += lanes) {
    const NumberLanes<Number> values = next_lanes<Number, form>(from + r * sizeof(Number));
#pragma GCC unroll 4
    for (uint32_t k = 0; k < lanes; ++k) visit(r + k, values.at[k]);
  }
  for (; r != rows; ++r) visit(r, number_at<Number, form>(from + r * sizeof(Number)));
}

template <class Number, NumberForm form>
COLX_INLINE uint32_t sum_numbers(colx_cv* res, const colx_cv* src, const colx_cv* groups) {
  uint8_t* const accumulators = bytes_at(res->colx_cv_data, 0);
  const uint8_t* const from = bytes_at(src->colx_cv_data, 0);
  const uint32_t rows = src->colx_cv_num_of_rows;
  if (groups) {
    const uint8_t* const keys = bytes_at(groups->colx_cv_data, 0);
    visit_numbers<Number, form>(
        from, rows, [&](size_t r, Number value) __attribute__((always_inline)) {
          add_to(accumulators, group_at(keys, r), value);
        });
  } else {
    Number sum = 0;
    visit_numbers<Number, form>(
        from, rows, [&](size_t, Number value) __attribute__((always_inline)) { sum += value; });
    add_to(accumulators, 0, sum);
  }
  return COLX_DONE;
}

template <unsigned bytes>
COLX_INLINE void sum_dsb(colx_cv* res, const colx_cv* src, const colx_cv* groups) {
  uint8_t* const accumulators = bytes_at(res->colx_cv_data, 0);
  const uint8_t* const from = bytes_at(src->colx_cv_data, 0);
  const uint32_t rows = src->colx_cv_num_of_rows;
  if (!groups) return add_to(accumulators, 0, dsb_sum<bytes>(from, rows));
  const uint8_t* const keys = bytes_at(groups->colx_cv_data, 0);
  for (uint32_t r = 0; r < rows; ++r)
    add_to(accumulators, group_at(keys, r), dsb_at<bytes>(from + size_t{r} * bytes));
}

}  // namespace

extern "C" {

#define COLX_DEFINE(type, form)                                                               \
  uint32_t colx_gby_sum_##type##_##form(colx_cv* res, colx_cv* src, colx_cv* groups, void*) { \
    return sum_numbers<type, NumberForm::form>(res, src, groups);                             \
  }
COLX_DEFINE(float, native)
COLX_DEFINE(float, canonical)
COLX_DEFINE(double, native)
COLX_DEFINE(double, canonical)

// A width that dsb rows do not have changes nothing.
uint32_t colx_gby_sum_dsb(colx_cv* res, colx_cv* src, colx_cv* groups, void*) {
  serve_dsb_width(src->colx_cv_encoding_context->colx_enc_ctx_width,
                  [&](auto bytes) { sum_dsb<bytes>(res, src, groups); });
  return COLX_DONE;
}

}  // extern "C"
}  // namespace colx

extern "C" {

// The type is a byte. dsb integers are big-endian whatever COLX_NATIVE says.
uint32_t colx_gby_sum_dydi(colx_cv* res, colx_cv* src, colx_cv* groups, void* unused) {
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  const bool native = (enc->colx_enc_ctx_flags & COLX_NATIVE) != 0;
  switch (static_cast<uint8_t>(enc->colx_enc_ctx_type)) {
    case COLX_TYPE_FLOAT:
      return native ? colx_gby_sum_float_native(res, src, groups, unused)
                    : colx_gby_sum_float_canonical(res, src, groups, unused);
    case COLX_TYPE_DOUBLE:
      return native ? colx_gby_sum_double_native(res, src, groups, unused)
                    : colx_gby_sum_double_canonical(res, src, groups, unused);
    case COLX_TYPE_DSB:
      return colx_gby_sum_dsb(res, src, groups, unused);
    default:
      return COLX_BAD_INPUT;
  }
}

}  // extern "C"
