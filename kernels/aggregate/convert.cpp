// Conversion of canonical numbers to native ones, or the sum of a whole column of canonical numbers
// or dsb integers. Rows are read by the canonical rule whatever COLX_NATIVE says; such a column is
// only summed.
//
// The order of a sum's additions is a promise, and another one than that of other sums: the lanes
// of vectors, added up in pairs, go onto the result first, also when there was no vector; the rows
// behind the last vector make a sum of their own, from +0.0, that goes onto it after that.
#include "kernels/aggregate/number_forms.h"
#include "kernels/frame/assertion.h"
#include "kernels/frame/colx_x86.h"

namespace colx {
namespace {

template <class Number>
COLX_INLINE Vec canonical_lanes(const uint8_t* from, uint32_t row) {
  return numbers_at<Number, NumberForm::canonical>(from + size_t{row} * sizeof(Number));
}

template <class Number>
void convert_rows(colx_cv* res, const colx_cv* src) {
  const uint8_t* const from = bytes_at(src->colx_cv_data, 0);
  uint8_t* const to = bytes_at(res->colx_cv_data, 0);
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t whole = rows / lanes_of<Number> * lanes_of<Number>;
  uint32_t r = 0;
#pragma GCC unroll 2
  for (; r != whole; r += lanes_of<Number>)
    store(to + size_t{r} * sizeof(Number), canonical_lanes<Number>(from, r));
  for (; r != rows; ++r)
    store_as(to + size_t{r} * sizeof(Number),
             bits_at<Number, NumberForm::canonical>(from + size_t{r} * sizeof(Number)));
}

template <class Number>
void sum_rows(colx_cv* res, const colx_cv* src) {
  const uint8_t* const from = bytes_at(src->colx_cv_data, 0);
  const uint32_t rows = src->colx_cv_num_of_rows;
  const uint32_t whole = rows / lanes_of<Number> * lanes_of<Number>;
  Vec sums = zeros();
  uint32_t r = 0;
#pragma GCC unroll 4
  for (; r != whole; r += lanes_of<Number>)
    sums = number_sum<Number>(sums, canonical_lanes<Number>(from, r));
  Number tail = 0;
  for (; r != rows; ++r)
    tail += number_at<Number, NumberForm::canonical>(from + size_t{r} * sizeof(Number));
  uint8_t* const total = bytes_at(res->colx_cv_data, 0);
  add_to(total, 0, pairwise_sum<Number>(sums));
  add_to(total, 0, tail);
}

void sum_dsb_rows(colx_cv* res, const colx_cv* src) {
  uint64_t sum = 0;
  serve_dsb_width(src->colx_cv_encoding_context->colx_enc_ctx_width, [&](auto bytes) {
    sum = dsb_sum<bytes>(bytes_at(src->colx_cv_data, 0), src->colx_cv_num_of_rows);
  });
  add_to(bytes_at(res->colx_cv_data, 0), 0, sum);
}

}  // namespace
}  // namespace colx

extern "C" {

// The type is tested by bits: 3 is a float. There is no converted form of dsb integers.
uint32_t colx_convert_dydi(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  using namespace colx;
  const colx_enc_ctx* const enc = src->colx_cv_encoding_context;
  const bool sums = kctx && kctx->colx_kctx_flags & COLX_KCTX_SUM;
  if (!sums && enc->colx_enc_ctx_flags & COLX_NATIVE) return COLX_BAD_INPUT;
  const uint32_t type = enc->colx_enc_ctx_type;
  if (type & COLX_TYPE_FLOAT)
    sums ? sum_rows<float>(res, src) : convert_rows<float>(res, src);
  else if (type & COLX_TYPE_DOUBLE)
    sums ? sum_rows<double>(res, src) : convert_rows<double>(res, src);
  else if (!(type & COLX_TYPE_DSB))
    return COLX_BAD_INPUT;
  else if (sums)
    sum_dsb_rows(res, src);
  else
    __assert_fail("0", "colxc_x86", __LINE__, "colx_convert_dydi");
  return COLX_DONE;
}

}  // extern "C"
