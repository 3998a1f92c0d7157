// The tests of unpacking, bursts and decoding rest on their stages: kernels with one mistake each,
// around an honest one, hold that the stages notice.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/burst_stage.h"
#include "tests/support/seeded_random.h"
#include "tests/support/unpack_stage.h"
#include "tests/support/value_decode_stage.h"

namespace colx::test {
namespace {

constexpr unsigned width = 5;  // elements of one byte

uint32_t honest(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  return unpack_kernel(width).kernel(res, src, kctx);
}

uint32_t moves_the_position(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, kctx);
  ++kctx->colx_kctx_position;
  return status;
}

uint32_t touches_the_output_flags(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, kctx);
  kctx->colx_kctx_flags_out ^= COLX_OUT_UNPACK;
  return status;
}

uint32_t loses_the_run(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t before = kctx->colx_kctx_state1;
  const uint32_t status = honest(res, src, kctx);
  kctx->colx_kctx_state1 = before ^ 1;
  return status;
}

uint32_t loses_the_runs_end(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, kctx);
  kctx->colx_kctx_state2 ^= 1;
  return status;
}

uint32_t counts_one_more(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, kctx);
  ++res->colx_cv_num_set;
  return status;
}

uint32_t always_says_nothing(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  honest(res, src, kctx);
  return COLX_NOTHING_FOUND;
}

uint32_t writes_a_wrong_element(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, kctx);
  static_cast<uint8_t*>(res->colx_cv_data)[res->colx_cv_num_set - 1] ^= 1;
  return status;
}

uint32_t forgets_to_restore_the_result(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, kctx);
  res->colx_cv_num_of_rows -= 1;
  return status;
}

uint32_t forgets_to_restore_the_source(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, kctx);
  src->colx_cv_num_of_rows -= 1;
  return status;
}

constexpr colx_decode_fn wrong_unpackings[] = {moves_the_position,
                                               touches_the_output_flags,
                                               loses_the_run,
                                               loses_the_runs_end,
                                               counts_one_more,
                                               always_says_nothing,
                                               writes_a_wrong_element,
                                               forgets_to_restore_the_result,
                                               forgets_to_restore_the_source};

std::string difference_of(colx_decode_fn kernel, const UnpackBatch& batch) {
  return unpack_difference({unpack_kernel(width).name, kernel, width}, batch);
}

// A batch for each path.
std::vector<UnpackBatch> batches() {
  Random random(1);
  std::vector<UnpackBatch> all;
  for (const bool by_runs : {false, true}) {
    const UnpackBatch range = by_runs ? random_run_batch(width, 8, {20, 1, 30, 40, 9}, random)
                                      : random_unpack_batch(width, 100, random);
    all.push_back(range);
    all.push_back(range);
    all.back().selection = Words{0x5555555555555555, 0xFF};
    all.back().place = Place::middle;
    all.push_back(all.back());
    all.back().kctx_flags = COLX_KCTX_SELECTIVE;
    all.push_back(range);
    all.back().list = {1, 50, 99};
  }
  return all;
}

TEST(UnpackStage, NoticesKernelsWithOneMistakeOnEveryPath) {
  for (const UnpackBatch& batch : batches()) {
    EXPECT_EQ(difference_of(honest, batch), "");
    for (const colx_decode_fn wrong : wrong_unpackings) {
      EXPECT_NE(difference_of(wrong, batch), "") << describe(batch);
    }
  }
}

uint32_t writes_behind_the_range(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest(res, src, kctx);
  static_cast<uint8_t*>(res->colx_cv_data)[res->colx_cv_num_set] = 0;
  return status;
}

TEST(UnpackStage, NoticesAByteBehindTheLastElement) {
  Random random(2);
  UnpackBatch batch = random_unpack_batch(width, 100, random);
  batch.capacity = 120;
  EXPECT_NE(difference_of(writes_behind_the_range, batch), "");
  batch.capacity = 100;
  batch.place = Place::middle;
  EXPECT_NE(difference_of(writes_behind_the_range, batch), "");
  batch.place = Place::end;
  EXPECT_DEATH(difference_of(writes_behind_the_range, batch), "memory fault in: colx_decode_unp");
}

uint32_t reads_a_byte_too_many(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const auto* const stream = static_cast<const volatile uint8_t*>(src->colx_cv_data);
  (void)stream[(src->colx_cv_num_of_rows * width + 7) / 8 + 16];
  return honest(res, src, kctx);
}

TEST(UnpackStage, EndsAtTheSixteenBytesBehindAStream) {
  Random random(3);
  const UnpackBatch batch = random_unpack_batch(width, 100, random);
  EXPECT_DEATH(difference_of(reads_a_byte_too_many, batch), "memory fault in: colx_decode_unp");
}

// A walk that begins anew forgets the runs that a resumed one must not look at.
uint32_t walks_from_the_start(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  kctx->colx_kctx_state2 = 0;
  return honest(res, src, kctx);
}

TEST(UnpackStage, NoticesAWalkFromTheStart) {
  Random random(4);
  UnpackBatch batch = random_run_batch(width, 8, {5, 1, 10, 4}, random);
  batch.codes = {3, 1, 2, 0};
  batch.lengths = {200, 200, 10, 4};
  batch.position = 9;
  batch.state1 = 2;
  batch.state2 = 16;
  batch.capacity = 11;
  EXPECT_EQ(difference_of(honest, batch), "");
  EXPECT_NE(difference_of(walks_from_the_start, batch), "");
}

uint32_t honest_burst(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  return burst_entry(COLX_WIDTH_BURST_8BIT).kernel(res, src, kctx);
}

uint32_t sets_a_bit_behind_the_rows(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest_burst(res, src, kctx);
  reinterpret_cast<uint8_t*>(res->colx_cv_bits)[res->colx_cv_num_of_rows / 8] |= 0x80;
  return status;
}

uint32_t clears_a_spare_byte(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest_burst(res, src, kctx);
  const size_t words = (res->colx_cv_num_of_rows + 63) / 64;
  reinterpret_cast<uint8_t*>(res->colx_cv_bits)[8 * words + 6] = 0;
  return status;
}

uint32_t touches_an_eighth_byte(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const size_t words = (res->colx_cv_num_of_rows + 63) / 64;
  auto* const eighth = reinterpret_cast<volatile uint8_t*>(res->colx_cv_bits) + 8 * words + 7;
  *eighth = static_cast<uint8_t>(*eighth | 0);
  return honest_burst(res, src, kctx);
}

uint32_t counts_the_runs(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest_burst(res, src, kctx);
  res->colx_cv_num_set = static_cast<uint32_t>(kctx->colx_kctx_aux_set);
  return status;
}

uint32_t keeps_the_output_flags_no_more(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  kctx->colx_kctx_flags_out |= 1;
  return honest_burst(res, src, kctx);
}

TEST(BurstStage, NoticesKernelsWithOneMistake) {
  BurstKernel kernel = burst_entry(COLX_WIDTH_BURST_8BIT);
  BurstBatch batch = burst_batch({10, 20, 40, 5, 6});
  batch.hit(1);
  batch.set = 1;
  EXPECT_EQ(burst_difference(kernel, batch), "");
  for (const colx_decode_fn wrong : {sets_a_bit_behind_the_rows, clears_a_spare_byte,
                                     counts_the_runs, keeps_the_output_flags_no_more}) {
    kernel.kernel = wrong;
    EXPECT_NE(burst_difference(kernel, batch), "");
  }
  kernel.kernel = touches_an_eighth_byte;
  batch.place = Place::end;
  EXPECT_DEATH(burst_difference(kernel, batch), "memory fault in: colx_burst_rle_8bit");
}

uint32_t honest_decode(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  return decode_kernel(width).kernel(res, src, kctx);
}

uint32_t points_a_byte_off(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest_decode(res, src, kctx);
  static_cast<uint8_t**>(res->colx_cv_data)[2] += 1;
  return status;
}

uint32_t tells_a_wrong_length(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest_decode(res, src, kctx);
  static_cast<uint16_t*>(res->colx_cv_aux)[2] += 256;
  return status;
}

uint32_t calls_a_value_null(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest_decode(res, src, kctx);
  res->colx_cv_row_flags[2] = 2;
  return status;
}

uint32_t forgets_the_last_row(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t before = kctx->colx_kctx_position;
  const uint32_t status = honest_decode(res, src, kctx);
  kctx->colx_kctx_position = before;
  return status;
}

uint32_t forgets_its_flag(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  const uint32_t status = honest_decode(res, src, kctx);
  kctx->colx_kctx_flags_out = 0;
  return status;
}

TEST(ValueDecodeStage, NoticesKernelsWithOneMistake) {
  ValueKernel kernel = decode_kernel(width);
  DecodeBatch batch;
  batch.width_bits = width;
  batch.codes = {1, 2, 3, 4};
  batch.list = {0, 1, 3, 2};
  batch.dictionary = cumulative_dictionary(std::vector<uint32_t>{5, 4, 3, 2, 1});
  EXPECT_EQ(decode_difference(kernel, batch), "");
  for (const colx_decode_fn wrong : {points_a_byte_off, tells_a_wrong_length, calls_a_value_null,
                                     forgets_the_last_row, forgets_its_flag}) {
    kernel.kernel = wrong;
    EXPECT_NE(decode_difference(kernel, batch), "");
  }
}

uint32_t decompresses_for_a_dictionary_of_nulls(colx_cv* res, colx_cv* src, colx_kctx* kctx) {
  colx_env& env = *kctx->colx_kctx_env;
  *src->colx_cv_decomp_slot =
      env.colx_env_alloc_cached(env.colx_env_host, env.colx_env_heap, 4, "", 8, 16, 0);
  return honest_decode(res, src, kctx);
}

TEST(ValueDecodeStage, NoticesAHostCallThatIsNotDue) {
  DecodeBatch batch;
  batch.width_bits = width;
  batch.codes = {1, 2, 3, 4};
  batch.list = {0, 1};
  batch.dictionary = one_length_dictionary(0);
  batch.store = Store::compressed;
  EXPECT_EQ(decode_difference(batch), "");
  EXPECT_NE(decode_difference({"decode", decompresses_for_a_dictionary_of_nulls}, batch), "");
}

}  // namespace
}  // namespace colx::test
