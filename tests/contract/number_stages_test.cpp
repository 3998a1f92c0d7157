// The tests of arithmetic, sums, conversion and the crossing count rest on their stages: kernels
// with one mistake each, around an honest one, hold that the stages notice.
#include <gtest/gtest.h>
#include <x86intrin.h>

#include <cstring>

#include "tests/support/arithmetic_stage.h"
#include "tests/support/number_patterns.h"
#include "tests/support/number_sum_stage.h"
#include "tests/support/polygon_stage.h"

namespace colx::test {
namespace {

using oracle::NumberForm;

// A call with denormals taken and given for zeros.
template <class Call>
uint32_t with_flushed_denormals(Call call) {
  const unsigned before = _mm_getcsr();
  _mm_setcsr(before | _MM_FLUSH_ZERO_ON | 0x40);
  const uint32_t status = call();
  _mm_setcsr(before);
  return status;
}

constexpr oracle::ArithmeticKind stored_kind = {COLX_OPC_SUB, false, NumberForm::canonical,
                                                NumberForm::native, false};
constexpr oracle::ArithmeticKind summed_kind = {COLX_OPC_SUB, false, NumberForm::canonical,
                                                NumberForm::native, true};

uint32_t stores(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  return arithmetic_kernel(stored_kind).kernel(res, src, right, kctx);
}

uint32_t sums(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  return arithmetic_kernel(summed_kind).kernel(res, src, right, kctx);
}

template <colx_binary_fn honest>
uint32_t counts_rows(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  res->colx_cv_num_set = src->colx_cv_num_of_rows;
  return honest(res, src, right, kctx);
}

template <colx_binary_fn honest>
uint32_t says_nothing_found(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  honest(res, src, right, kctx);
  return COLX_NOTHING_FOUND;
}

template <colx_binary_fn honest>
uint32_t is_off_by_the_last_bit(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, right, kctx);
  static_cast<uint8_t*>(res->colx_cv_data)[0] ^= 1;
  return status;
}

template <colx_binary_fn honest>
uint32_t changes_an_operand(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, right, kctx);
  static_cast<uint8_t*>(right->colx_cv_data)[0] ^= 1;
  return status;
}

template <colx_binary_fn honest>
uint32_t changes_an_encoding(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, right, kctx);
  src->colx_cv_encoding_context->colx_enc_ctx_flags ^= COLX_CONST;
  return status;
}

template <colx_binary_fn honest>
uint32_t takes_the_smaller_count(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  const uint32_t left_rows = src->colx_cv_num_of_rows, right_rows = right->colx_cv_num_of_rows;
  src->colx_cv_num_of_rows = right->colx_cv_num_of_rows = std::min(left_rows, right_rows);
  const uint32_t status = honest(res, src, right, kctx);
  src->colx_cv_num_of_rows = left_rows;
  right->colx_cv_num_of_rows = right_rows;
  return status;
}

template <colx_binary_fn honest>
uint32_t flushes_denormals(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  return with_flushed_denormals([&] { return honest(res, src, right, kctx); });
}

uint32_t writes_a_row_behind(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  const uint32_t rows = std::max(src->colx_cv_num_of_rows, right->colx_cv_num_of_rows);
  static_cast<uint8_t*>(res->colx_cv_data)[4 * size_t{rows}] = 0;
  return stores(res, src, right, kctx);
}

template <colx_binary_fn honest>
uint32_t reads_a_row_behind(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  (void)static_cast<const volatile uint8_t*>(src->colx_cv_data)[4 * src->colx_cv_num_of_rows];
  return honest(res, src, right, kctx);
}

uint32_t forgets_what_was_there(colx_cv* res, colx_cv* src, colx_cv* right, colx_kctx* kctx) {
  std::memset(res->colx_cv_data, 0, 4);
  return sums(res, src, right, kctx);
}

ArithmeticBatch arithmetic_batch(const oracle::ArithmeticKind& kind) {
  Random random(1);
  ArithmeticBatch batch = {kind, {}, {}};
  batch.set_rows(random_numbers(NumberMix::tiny, 4, 11, random),
                 random_numbers(NumberMix::tiny, 4, 11, random));
  batch.left.rows = 7;
  batch.element = 5;
  return batch;
}

template <colx_binary_fn honest>
void expect_mistakes_noticed(const oracle::ArithmeticKind& kind, colx_binary_fn own_mistake) {
  const ArithmeticBatch batch = arithmetic_batch(kind);
  EXPECT_EQ(arithmetic_difference({"honest", honest}, batch), "");
  const colx_binary_fn wrong[] = {counts_rows<honest>,
                                  says_nothing_found<honest>,
                                  is_off_by_the_last_bit<honest>,
                                  changes_an_operand<honest>,
                                  changes_an_encoding<honest>,
                                  takes_the_smaller_count<honest>,
                                  flushes_denormals<honest>,
                                  own_mistake};
  for (size_t i = 0; i < std::size(wrong); ++i) {
    EXPECT_NE(arithmetic_difference({"wrong", wrong[i]}, batch), "") << i;
  }
}

TEST(ArithmeticStage, NoticesKernelsWithOneMistake) {
  expect_mistakes_noticed<stores>(stored_kind, writes_a_row_behind);
  expect_mistakes_noticed<sums>(summed_kind, forgets_what_was_there);
}

TEST(ArithmeticStage, EndsAtTheGuardPageBehindTheRows) {
  ArithmeticBatch batch = arithmetic_batch(stored_kind);
  batch.left.rows = 11;
  EXPECT_DEATH(arithmetic_difference({"wrong", reads_a_row_behind<stores>}, batch),
               "memory fault in: wrong, rows 11 and 11");
}

uint32_t sum_counts_rows(colx_cv* res, colx_cv* src, colx_cv* groups, void* extra) {
  const uint32_t status = colx_gby_sum_dydi(res, src, groups, extra);
  res->colx_cv_num_set = src->colx_cv_num_of_rows;
  return status;
}

uint32_t sum_forgets_the_groups(colx_cv* res, colx_cv* src, colx_cv*, void* extra) {
  return colx_gby_sum_dydi(res, src, nullptr, extra);
}

uint32_t sum_flushes_denormals(colx_cv* res, colx_cv* src, colx_cv* groups, void* extra) {
  return with_flushed_denormals([&] { return colx_gby_sum_dydi(res, src, groups, extra); });
}

uint32_t sum_looks_for_the_other_form(colx_cv* res, colx_cv* src, colx_cv* groups, void* extra) {
  src->colx_cv_encoding_context->colx_enc_ctx_flags ^= COLX_NATIVE;
  const uint32_t status = colx_gby_sum_dydi(res, src, groups, extra);
  src->colx_cv_encoding_context->colx_enc_ctx_flags ^= COLX_NATIVE;
  return status;
}

uint32_t sum_writes_the_group_behind(colx_cv* res, colx_cv* src, colx_cv* groups, void* extra) {
  static_cast<uint8_t*>(res->colx_cv_data)[3 * 4] ^= 1;
  return colx_gby_sum_dydi(res, src, groups, extra);
}

uint32_t sum_changes_the_groups(colx_cv* res, colx_cv* src, colx_cv* groups, void* extra) {
  const uint32_t status = colx_gby_sum_dydi(res, src, groups, extra);
  static_cast<uint32_t*>(groups->colx_cv_data)[0] ^= 1;
  return status;
}

TEST(GroupSumStage, NoticesKernelsWithOneMistake) {
  Random random(2);
  GroupSumBatch batch;
  batch.column.stored =
      oracle::stored_rows(random_numbers(NumberMix::tiny, 4, 11, random), 4, NumberForm::canonical);
  batch.column.rows = 11;
  batch.column.type = COLX_TYPE_FLOAT;
  batch.groups = {{0, 1, 2, 2, 2, 1, 0, 0, 1, 2, 1}};
  batch.elements = {1, 2, 3};
  EXPECT_EQ(group_sum_difference(batch), "");
  colx_gby_sum_call* const wrong[] = {sum_counts_rows,
                                      sum_forgets_the_groups,
                                      sum_flushes_denormals,
                                      sum_looks_for_the_other_form,
                                      sum_writes_the_group_behind,
                                      sum_changes_the_groups};
  for (size_t i = 0; i < std::size(wrong); ++i) {
    EXPECT_NE(group_sum_difference(batch, wrong[i]), "") << i;
  }
}

uint32_t convert_quiets_nans(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = colx_convert_dydi(res, src, kctx);
  for (uint32_t row = 0; row < src->colx_cv_num_of_rows; ++row) {
    uint32_t bits;
    auto* const at = static_cast<uint8_t*>(res->colx_cv_data) + 4 * row;
    std::memcpy(&bits, at, 4);
    if (oracle::is_nan(bits, 4)) bits |= 0x00400000;
    std::memcpy(at, &bits, 4);
  }
  return status;
}

uint32_t convert_drops_the_sign_of_zero(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = colx_convert_dydi(res, src, kctx);
  for (uint32_t row = 0; row < src->colx_cv_num_of_rows; ++row) {
    auto* const at = static_cast<uint8_t*>(res->colx_cv_data) + 4 * row;
    if (at[0] == 0 && at[1] == 0 && at[2] == 0) at[3] &= at[3] == 0x80 ? 0 : 0xFF;
  }
  return status;
}

uint32_t convert_changes_the_kctx(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  kctx->colx_kctx_position = src->colx_cv_num_of_rows;
  return colx_convert_dydi(res, src, kctx);
}

TEST(ConvertStage, NoticesKernelsWithOneMistake) {
  NumberBatch batch;
  batch.column.stored = oracle::stored_rows(special_numbers(4), 4, NumberForm::canonical);
  batch.column.rows = static_cast<uint32_t>(special_numbers(4).size());
  batch.column.type = COLX_TYPE_FLOAT;
  EXPECT_EQ(convert_difference(batch), "");
  colx_three_call* const wrong[] = {convert_quiets_nans, convert_drops_the_sign_of_zero,
                                    convert_changes_the_kctx};
  for (size_t i = 0; i < std::size(wrong); ++i) {
    EXPECT_NE(convert_difference(batch, wrong[i]), "") << i;
  }
}

uint32_t pip_counts_one_more(colx_cv* res, colx_cv* xs, colx_cv* ys, colx_cv* px, colx_cv* py,
                             colx_kctx* kctx) {
  const uint32_t status = colx_spatial_pip_dydi(res, xs, ys, px, py, kctx);
  *static_cast<uint32_t*>(res->colx_cv_data) += 1;
  return status;
}

uint32_t pip_reads_a_vertex_behind(colx_cv* res, colx_cv* xs, colx_cv* ys, colx_cv* px, colx_cv* py,
                                   colx_kctx* kctx) {
  (void)static_cast<const volatile uint8_t*>(ys->colx_cv_data)[8 * xs->colx_cv_num_of_rows];
  return colx_spatial_pip_dydi(res, xs, ys, px, py, kctx);
}

TEST(PolygonStage, NoticesKernelsWithOneMistake) {
  const PolygonBatch batch = {{{0, 0}, {2, 0}, {2, 2}, {0, 2}}, {-1, 1}};
  EXPECT_EQ(polygon_difference(batch), "");
  EXPECT_NE(polygon_difference(batch, pip_counts_one_more), "");
  EXPECT_DEATH(polygon_difference(batch, pip_reads_a_vertex_behind),
               "memory fault in: crossing count of 4 vertices");
}

}  // namespace
}  // namespace colx::test
