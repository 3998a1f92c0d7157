// gather, stopped again and again for want of room, gives the rows of one call with room for all.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/oracle/native_numbers.h"
#include "tests/support/gather_stage.h"

namespace colx::test {
namespace {

using oracle::GatherResult;
using oracle::native_at;

// The next `rows` rows of the result, each as the bytes that it consists of: what a host takes out
// before it calls again. The rows are counted by the position alone.
std::vector<Bytes> taken_rows(GatherResult result, const uint8_t* data, const uint8_t* aux,
                              size_t value_bytes, uint32_t rows) {
  std::vector<Bytes> taken;
  for (uint32_t row = 0; row < rows; ++row) {
    Bytes whole;
    size_t bytes = value_bytes;
    if (result == GatherResult::lv_sep || result == GatherResult::lp_sep) {
      whole.assign(aux + 2 * row, aux + 2 * row + 2);
    }
    if (result == GatherResult::lv_sep) bytes = native_at(aux + 2 * row, 2);
    if (result == GatherResult::lv) bytes = native_at(data, 2) + 2;
    if (result == GatherResult::lp_sep) bytes = 8;
    if (result == GatherResult::lp) bytes = 16;
    whole.insert(whole.end(), data, data + bytes);
    if (result == GatherResult::lp) std::memset(whole.data() + 2, 0, 6);
    taken.push_back(whole);
    data += bytes;
  }
  return taken;
}

struct Resumed {
  std::vector<Bytes> rows;
  unsigned calls = 0;
  std::string fault;
};

// Calls until all rows are done. Room is `least` bytes and up to `more` besides, another each time.
Resumed resume(const GatherBatch& batch, uint64_t least, uint64_t more, Random& random) {
  GatherStage& stage = gather_stage();
  stage.set(batch);
  Resumed all;
  for (GatherRun run = {COLX_OUT_OF_ROOM, 0}; run.status != COLX_DONE; ++all.calls) {
    const uint32_t before = stage.kctx.colx_kctx_position;
    stage.res.colx_cv_capacity = least + random.below(more + 1);
    stage.place_outputs(stage.expected());
    const oracle::GatherOutcome expected = stage.expected();
    run = stage.call(colx_global_specialized_ctx.colx_sctx_gather);
    all.fault = stage.difference(run, expected);
    if (!all.fault.empty() || all.calls > 10000) return all;
    const std::vector<Bytes> taken =
        taken_rows(batch.form.result, stage.data.begin(), stage.aux.begin(), batch.value_bits >> 3,
                   run.position - before);
    all.rows.insert(all.rows.end(), taken.begin(), taken.end());
  }
  return all;
}

TEST(GatherResume, TinyRoomsGiveTheRowsOfOneCall) {
  for (const GatherKernel& kernel : gather_kernels()) {
    if (kernel.form.result == GatherResult::dlp) continue;
    Random random(1);
    GatherBatch batch = random_gather_batch(kernel.form, 300, random);
    batch.value_bits = 72;
    batch.pages.back().back() = random.bytes(40);
    const Resumed whole = resume(batch, uint64_t{1} << 40, 0, random);
    EXPECT_EQ(whole.calls, 1u);
    EXPECT_EQ(whole.rows.size(), 300u);
    const Resumed parts = resume(batch, 42, 60, random);
    EXPECT_EQ(parts.fault, "") << kernel.name;
    EXPECT_GT(parts.calls, 5u) << kernel.name;
    EXPECT_TRUE(parts.rows == whole.rows) << kernel.name;
  }
}

TEST(GatherResume, RoomForOneRecordAtATime) {
  for (const GatherKernel& kernel : gather_kernels()) {
    if (kernel.form.result == GatherResult::dlp) continue;
    Random random(2);
    GatherBatch batch = random_gather_batch(kernel.form, 50, random);
    for (std::vector<Bytes>& page : batch.pages) {
      for (Bytes& value : page) value = random.bytes(14);
    }
    batch.value_bits = 128;
    const Resumed whole = resume(batch, uint64_t{1} << 40, 0, random);
    const uint64_t one = kernel.form.result == GatherResult::lv_sep   ? 14
                         : kernel.form.result == GatherResult::lp_sep ? 8
                                                                      : 16;
    const Resumed parts = resume(batch, one, 0, random);
    EXPECT_EQ(parts.fault, "") << kernel.name;
    EXPECT_EQ(parts.calls, 50u) << kernel.name;
    EXPECT_TRUE(parts.rows == whole.rows) << kernel.name;
  }
}

TEST(GatherResume, ADlpResultThatIsBegunInTheMiddleCompletesTheOneBefore) {
  for (const GatherKernel& kernel : gather_kernels()) {
    if (kernel.form.result != GatherResult::dlp) continue;
    Random random(3);
    GatherBatch batch = random_gather_batch(kernel.form, 60, random);
    GatherStage& stage = gather_stage();
    stage.set(batch);
    const oracle::GatherOutcome whole = stage.expected();
    stage.src.colx_cv_num_of_rows = 23;
    EXPECT_EQ(stage.call(kernel.kernel).position, 23u);
    stage.src.colx_cv_num_of_rows = 60;
    EXPECT_EQ(stage.difference(stage.call(kernel.kernel), whole), "") << kernel.name;
  }
}

}  // namespace
}  // namespace colx::test
