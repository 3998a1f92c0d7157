// The tests of the hash join rest on their stages: kernels with one mistake each, around an honest
// one, hold that the stages notice.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/build_stage.h"
#include "tests/support/hash_stage.h"
#include "tests/support/probe_stage.h"
#include "tests/support/seeded_random.h"
#include "tests/support/table_passes.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;

// ---- hashing

const HashKernel& honest_hash() {
  return hash_kernels().front();
}

uint32_t hashes_a_row_less(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn) {
  src->colx_cv_num_of_rows -= 1;
  honest_hash().call(res, src, seeds, fn);
  src->colx_cv_num_of_rows += 1;
  return COLX_DONE;
}

uint32_t hashes_a_row_twice(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn) {
  fn(src->colx_cv_data, 8, 1);
  return honest_hash().call(res, src, seeds, fn);
}

uint32_t stores_another_value(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn) {
  const uint32_t status = honest_hash().call(res, src, seeds, fn);
  static_cast<uint64_t*>(res->colx_cv_data)[3] ^= uint64_t{1} << 63;
  return status;
}

uint32_t counts_the_rows(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn) {
  res->colx_cv_num_of_rows = src->colx_cv_num_of_rows;
  return honest_hash().call(res, src, seeds, fn);
}

uint32_t writes_over_a_key(colx_cv* res, colx_cv* src, colx_cv* seeds, colx_hash_fn fn) {
  static_cast<uint8_t*>(src->colx_cv_data)[0] ^= 1;
  return honest_hash().call(res, src, seeds, fn);
}

TEST(HashStage, NoticesKernelsWithOneMistake) {
  const auto difference_of = [](auto* call) {
    KeyBatch batch;
    batch.layout = KeyLayout::fixed;
    batch.rows.resize(9);
    hash_stage().set(batch, {1}, 1);
    return hash_stage().difference({"a kernel", call, honest_hash().form});
  };
  EXPECT_EQ(difference_of(honest_hash().call), "");
  for (auto* wrong : {hashes_a_row_less, hashes_a_row_twice, stores_another_value, counts_the_rows,
                      writes_over_a_key}) {
    EXPECT_NE(difference_of(wrong), "");
  }
}

// ---- build

const BuildKernel& honest_build() {
  return build_kernel_named("colx_ht_build_k2v8_lv_payload");
}

uint8_t* first_bucket_of(colx_ht* ht) {
  return static_cast<uint8_t*>(ht->colx_ht_buckets[0]);
}

// An honest call, then one mistake.
template <void (*Mistake)(colx_ht*, colx_kctx*)>
uint32_t build_with(colx_ht* ht, colx_cv* src, colx_cv* payload, int32_t part, colx_hash_fn fn,
                    colx_kctx* kctx) {
  const uint32_t status = honest_build().call(ht, src, payload, part, fn, kctx);
  Mistake(ht, kctx);
  return status;
}

void turns_a_mark_over(colx_ht* ht, colx_kctx*) {
  *first_bucket_of(ht) ^= 0x40;
}
void writes_an_unused_byte(colx_ht* ht, colx_kctx*) {
  first_bucket_of(ht)[12] ^= 1;
}
void writes_a_slot_behind_the_used_ones(colx_ht* ht, colx_kctx*) {
  static_cast<uint8_t*>(ht->colx_ht_over_cur[0])[-1] ^= 1;
}
void clears_the_next_bucket(colx_ht* ht, colx_kctx*) {
  *static_cast<uint8_t*>(ht->colx_ht_over_cur[0]) ^= 1;
}
void moves_a_cursor(colx_ht* ht, colx_kctx*) {
  ht->colx_ht_over_cur[0] = static_cast<uint8_t*>(ht->colx_ht_over_cur[0]) + 64;
}
void moves_the_position(colx_ht*, colx_kctx* kctx) {
  kctx->colx_kctx_position -= 1;
}
void forgets_the_offset(colx_ht*, colx_kctx* kctx) {
  kctx->colx_kctx_key_offset = 0;
}
void writes_the_resume_word(colx_ht*, colx_kctx* kctx) {
  kctx->colx_kctx_resume_extra ^= 1;
}
void touches_the_value_offset(colx_ht*, colx_kctx* kctx) {
  kctx->colx_kctx_value_offset = 0;
}

constexpr colx_ht_build_call* wrong_builds[] = {build_with<turns_a_mark_over>,
                                                build_with<writes_an_unused_byte>,
                                                build_with<writes_a_slot_behind_the_used_ones>,
                                                build_with<clears_the_next_bucket>,
                                                build_with<moves_a_cursor>,
                                                build_with<moves_the_position>,
                                                build_with<forgets_the_offset>,
                                                build_with<writes_the_resume_word>,
                                                build_with<touches_the_value_offset>};

TEST(BuildStage, NoticesKernelsWithOneMistake) {
  const auto difference_of = [](colx_ht_build_call* call) {
    Random random(1);
    const TableShape shape = table_shape(COLX_HT_K2V8, 1, 0, 0, 20);
    build_stage().table.set(shape);
    build_stage().set_rows(join_rows(honest_build(), meeting_rows(shape, 40, 9, random), random),
                           8);
    return build_stage().difference({"a kernel", call, honest_build().form, false});
  };
  EXPECT_EQ(difference_of(honest_build().call), "");
  for (colx_ht_build_call* wrong : wrong_builds) EXPECT_NE(difference_of(wrong), "");
}

// ---- probe

const ProbeKernel& honest_probe() {
  for (const ProbeKernel& kernel : probe_kernels()) {
    if (std::string(kernel.name) == "colx_ht_probe_k4v4_lv_autorid") return kernel;
  }
  std::abort();
}

template <void (*Mistake)(colx_cv*, colx_kctx*)>
uint32_t probe_with(colx_cv* res, colx_cv* src, colx_cv* payload, const colx_ht* ht,
                    colx_hash_fn fn, colx_kctx* kctx) {
  const uint32_t status = honest_probe().call(res, src, payload, ht, fn, kctx);
  Mistake(res, kctx);
  return status;
}

void counts_one_more(colx_cv* res, colx_kctx*) {
  res->colx_cv_num_of_rows += 1;
}
void writes_behind_its_records(colx_cv* res, colx_kctx*) {
  static_cast<uint64_t*>(res->colx_cv_data)[2 * res->colx_cv_num_of_rows] = 0;
}
void stores_another_row(colx_cv* res, colx_kctx*) {
  static_cast<uint64_t*>(res->colx_cv_data)[0] += 1;
}
void counts_set_bits(colx_cv* res, colx_kctx*) {
  res->colx_cv_num_set = res->colx_cv_num_of_rows;
}
void stops_a_row_early(colx_cv*, colx_kctx* kctx) {
  kctx->colx_kctx_position -= 1;
}
void goes_on_elsewhere(colx_cv*, colx_kctx* kctx) {
  kctx->colx_kctx_key_offset += 2;
}

constexpr colx_ht_probe_call* wrong_probes[] = {
    probe_with<counts_one_more>,    probe_with<writes_behind_its_records>,
    probe_with<stores_another_row>, probe_with<counts_set_bits>,
    probe_with<stops_a_row_early>,  probe_with<goes_on_elsewhere>};

TEST(ProbeStage, NoticesKernelsWithOneMistake) {
  const auto difference_of = [](colx_ht_probe_call* call) {
    Random random(1), tags(2), same_tags(2);
    const TableShape shape = table_shape(COLX_HT_K4V4, 1, 0, 0, 20);
    probe_stage().table.set(shape);
    fill_at_random(probe_stage().table, TableKeys::tags, 40, 9, tags);
    probe_stage().set_rows(join_rows(honest_probe(), meeting_rows(shape, 40, 9, same_tags), random),
                           4);
    probe_stage().set_room(900);
    return probe_stage().difference({"a kernel", call, honest_probe().form});
  };
  EXPECT_EQ(difference_of(honest_probe().call), "");
  for (colx_ht_probe_call* wrong : wrong_probes) EXPECT_NE(difference_of(wrong), "");
}

}  // namespace
}  // namespace colx::test
