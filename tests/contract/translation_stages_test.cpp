// The tests of translation and group keys rest on their stages: kernels with one mistake each,
// around an honest one, hold that the stages notice.
#include <gtest/gtest.h>

#include "tests/support/group_key_stage.h"
#include "tests/support/key_share.h"
#include "tests/support/xlate_stage.h"

namespace colx::test {
namespace {

XlateKernel honest_kernel() {
  return xlate_kernel(COLX_XLATE_SIM, 4, true);
}

uint32_t honest(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  return honest_kernel().kernel(res, src, table, kctx);
}

uint32_t counts_one_more(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  ++res->colx_cv_num_set;
  return status;
}

uint32_t refuses_too_late(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  honest(res, src, table, kctx);
  return COLX_NOT_SERVED;
}

uint32_t moves_the_first_hit(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  ++static_cast<uint32_t*>(res->colx_cv_data)[0];
  return status;
}

uint32_t moves_the_last_hit(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  ++static_cast<uint32_t*>(res->colx_cv_data)[1];
  return status;
}

uint32_t touches_the_output_flags(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  kctx->colx_kctx_flags_out ^= COLX_OUT_XLATE_SELECTED;
  return status;
}

uint32_t moves_the_first_row(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  ++kctx->colx_kctx_start_row;
  return status;
}

uint32_t flips_a_bit_before_the_rows(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  res->colx_cv_bits[0] ^= 1;
  return status;
}

uint32_t writes_the_neighbouring_nibble(colx_cv* res, colx_cv* src, colx_cv* table,
                                        colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  static_cast<uint8_t*>(kctx->colx_kctx_xlate_out)[1] ^= 1;
  return status;
}

uint32_t writes_a_code_behind_the_rows(colx_cv* res, colx_cv* src, colx_cv* table,
                                       colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  static_cast<uint8_t*>(kctx->colx_kctx_xlate_out)[(src->colx_cv_num_of_rows + 1) / 2] ^= 1;
  return status;
}

uint32_t writes_a_wrong_code(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, table, kctx);
  static_cast<uint8_t*>(kctx->colx_kctx_xlate_out)[4] ^= 0x10;
  return status;
}

constexpr colx_binary_fn wrong_translations[] = {counts_one_more,
                                                 refuses_too_late,
                                                 moves_the_first_hit,
                                                 moves_the_last_hit,
                                                 touches_the_output_flags,
                                                 moves_the_first_row,
                                                 flips_a_bit_before_the_rows,
                                                 writes_the_neighbouring_nibble,
                                                 writes_a_code_behind_the_rows,
                                                 writes_a_wrong_code};

// Rows 3 to 90, all and some of them.
std::vector<XlateBatch> batches() {
  Random random(1);
  XlateBatch all_rows = random_xlate_batch(honest_kernel(), 3, 88, 50, random);
  all_rows.place = Place::middle;
  XlateBatch selected = all_rows;
  selected.selection = Words{0x5555555555555555, 0x5555555555555555};
  return {all_rows, selected};
}

TEST(XlateStage, NoticesKernelsWithOneMistakeWithAndWithoutASelection) {
  for (const XlateBatch& batch : batches()) {
    XlateKernel kernel = honest_kernel();
    kernel.kernel = honest;
    EXPECT_EQ(xlate_difference(kernel, batch), "");
    for (const colx_binary_fn wrong : wrong_translations) {
      kernel.kernel = wrong;
      EXPECT_NE(xlate_difference(kernel, batch), "") << describe(batch);
    }
  }
}

uint32_t reads_a_key_behind_the_rows(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const auto* const keys = static_cast<const volatile uint8_t*>(src->colx_cv_data);
  (void)keys[4 * size_t{src->colx_cv_num_of_rows}];
  return honest(res, src, table, kctx);
}

uint32_t reads_behind_the_table(colx_cv* res, colx_cv* src, colx_cv* table, colx_kctx* kctx) {
  const auto* const elements = reinterpret_cast<const volatile uint8_t*>(table->colx_cv_bits);
  for (size_t byte = 0; byte <= 1000 / 2; ++byte) (void)elements[byte];
  return honest(res, src, table, kctx);
}

TEST(XlateStage, EndsAtTheGuardPages) {
  for (const colx_binary_fn wrong : {reads_a_key_behind_the_rows, reads_behind_the_table}) {
    XlateKernel kernel = honest_kernel();
    kernel.kernel = wrong;
    EXPECT_DEATH(xlate_difference(kernel, batches()[0]),
                 "memory fault in: colx_xlate_sim_nib_c2d, rows 3 to 91");
  }
}

uint32_t honest_share(colx_cv* res, colx_cv* src, colx_cv* unused, colx_kctx* kctx) {
  return key_share_kernel(8).kernel(res, src, unused, kctx);
}

uint32_t writes_a_wrong_key(colx_cv* res, colx_cv* src, colx_cv* unused, colx_kctx* kctx) {
  const uint32_t status = honest_share(res, src, unused, kctx);
  static_cast<uint32_t*>(res->colx_cv_data)[16] ^= 1;
  return status;
}

uint32_t writes_a_key_too_many(colx_cv* res, colx_cv* src, colx_cv* unused, colx_kctx* kctx) {
  const uint32_t status = honest_share(res, src, unused, kctx);
  static_cast<uint32_t*>(res->colx_cv_data)[src->colx_cv_num_of_rows] ^= 1;
  return status;
}

uint32_t counts_the_keys(colx_cv* res, colx_cv* src, colx_cv* unused, colx_kctx* kctx) {
  const uint32_t status = honest_share(res, src, unused, kctx);
  res->colx_cv_num_set = src->colx_cv_num_of_rows;
  return status;
}

uint32_t always_says_nothing(colx_cv* res, colx_cv* src, colx_cv* unused, colx_kctx* kctx) {
  honest_share(res, src, unused, kctx);
  return COLX_NOTHING_FOUND;
}

TEST(KeyShareStage, NoticesKernelsWithOneMistake) {
  Random random(2);
  KeyShareBatch batch = random_key_share(8, 17, random);
  batch.place = Place::middle;
  KeyShareKernel kernel = key_share_kernel(8);
  EXPECT_EQ(key_share_difference(kernel, batch), "");
  for (const colx_binary_fn wrong :
       {writes_a_wrong_key, writes_a_key_too_many, counts_the_keys, always_says_nothing}) {
    kernel.kernel = wrong;
    EXPECT_NE(key_share_difference(kernel, batch), "");
  }
}

#define COLX_GROUPKEY_PARAMS                                                             \
  colx_cv *res, uint32_t *key_space, colx_cv *cols, uint32_t num_cols, colx_cv *scratch, \
      colx_kctx *kctx
#define COLX_GROUPKEY_ARGS res, key_space, cols, num_cols, scratch, kctx

uint32_t moves_the_callers_position(COLX_GROUPKEY_PARAMS) {
  const uint32_t status = colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
  ++kctx->colx_kctx_position;
  return status;
}

uint32_t makes_a_wrong_key(COLX_GROUPKEY_PARAMS) {
  const uint32_t status = colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
  ++static_cast<uint32_t*>(res->colx_cv_data)[17];
  return status;
}

uint32_t makes_a_key_too_many(COLX_GROUPKEY_PARAMS) {
  const uint32_t status = colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
  static_cast<uint32_t*>(res->colx_cv_data)[res->colx_cv_num_set] = 0;
  return status;
}

uint32_t counts_one_key_less(COLX_GROUPKEY_PARAMS) {
  const uint32_t status = colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
  --res->colx_cv_num_set;
  return status;
}

uint32_t makes_the_space_larger(COLX_GROUPKEY_PARAMS) {
  const uint32_t status = colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
  ++*key_space;
  return status;
}

uint32_t says_that_the_room_ran_out(COLX_GROUPKEY_PARAMS) {
  colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
  return COLX_OUT_OF_ROOM;
}

uint32_t writes_behind_the_scratch(COLX_GROUPKEY_PARAMS) {
  const uint32_t status = colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
  ++static_cast<uint32_t*>(scratch->colx_cv_data)[scratch->colx_cv_num_of_rows];
  return status;
}

uint32_t forgets_a_buffer(COLX_GROUPKEY_PARAMS) {
  const colx_env& env = *kctx->colx_kctx_env;
  uint64_t cookie;
  env.colx_env_alloc(env.colx_env_host, 12, "more", 4, 0, &cookie);
  return colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
}

uint32_t changes_a_column(COLX_GROUPKEY_PARAMS) {
  const uint32_t status = colx_groupkey_dydi(COLX_GROUPKEY_ARGS);
  ++cols[1].colx_cv_num_set;
  return status;
}

TEST(GroupKeyStage, NoticesEntriesWithOneMistake) {
  Random random(3);
  GroupKeyBatch batch =
      group_key_batch({random_key_column(9, 90, random), random_run_column(9, 90, 7, random)});
  batch.place = Place::middle;
  batch.room = 100;
  batch.scratch_rows = 40;
  EXPECT_EQ(group_key_difference(batch), "");
  for (colx_groupkey_call* const wrong :
       {moves_the_callers_position, makes_a_wrong_key, makes_a_key_too_many, counts_one_key_less,
        makes_the_space_larger, says_that_the_room_ran_out, writes_behind_the_scratch,
        forgets_a_buffer, changes_a_column}) {
    EXPECT_NE(group_key_difference(batch, wrong), "");
  }
}

TEST(GroupKeyStage, NoticesWhatIsWrittenThoughTheStatusIs3) {
  GroupKeyBatch batch = group_key_batch({key_column(65536, {0}), key_column(65536, {0})});
  EXPECT_EQ(group_key_difference(batch), "");
  for (colx_groupkey_call* const wrong : {makes_the_space_larger, counts_one_key_less}) {
    EXPECT_NE(group_key_difference(batch, wrong), "");
  }
}

}  // namespace
}  // namespace colx::test
