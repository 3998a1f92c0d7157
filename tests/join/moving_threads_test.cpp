// Calls at once: gathers from one store, conversions into partitions of one target, partitionings
// with sets of their own.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "tests/support/convert_stage.h"
#include "tests/support/gather_stage.h"
#include "tests/support/partition_stage.h"

namespace colx::test {
namespace {

constexpr uint32_t threads_at_once = 8;
constexpr auto& library = colx_global_specialized_ctx;

void at_once(const std::function<void(uint32_t)>& work) {
  std::vector<std::thread> threads;
  for (uint32_t i = 0; i < threads_at_once; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

TEST(MovingThreads, GathersFromOneStore) {
  for (const oracle::GatherStore store :
       {oracle::GatherStore::lp, oracle::GatherStore::dlp, oracle::GatherStore::cla}) {
    Random random(1);
    GatherStage stage;
    stage.set(far_gather_batch({store, oracle::GatherResult::lv, oracle::GatherIndex::fixed_4},
                               3000, random));
    const oracle::GatherOutcome expected = stage.expected();
    PatchedOutput outputs[threads_at_once];
    colx_cv results[threads_at_once];
    for (uint32_t i = 0; i < threads_at_once; ++i) {
      results[i] = stage.res;
      results[i].colx_cv_data = outputs[i].place(stage.res.colx_cv_capacity, Place::end);
    }
    at_once([&](uint32_t i) {
      colx_kctx kctx = {};
      EXPECT_EQ(library.colx_sctx_gather(&results[i], &stage.src, &stage.store, &kctx), COLX_DONE);
      EXPECT_EQ(kctx.colx_kctx_position, 3000u);
    });
    for (const PatchedOutput& output : outputs) EXPECT_EQ(output.difference(expected.data), "");
  }
}

TEST(MovingThreads, ConversionsIntoPartitionsOfOneTarget) {
  for (const oracle::ConvertForm form : oracle::convert_forms) {
    ConvertStage stages[threads_at_once];
    ConvertBatch batches[threads_at_once];
    Bytes data[threads_at_once], entries[threads_at_once];
    std::vector<void*> cursors, ends, writes, matrices;
    for (uint32_t i = 0; i < threads_at_once; ++i) {
      Random random(i);
      ConvertBatch& batch = batches[i];
      batch = random_convert_batch(form, 300 + i, 3, random);
      batch.part = batch.block = 0;
      ConvertStage& stage = stages[i];
      stage.set(batch);
      // What the conversion leaves by itself; the call puts the positions back.
      const ConvertRun run = stage.call(library.colx_sctx_transpose_convert);
      data[i].assign(stage.data(), stage.data() + run.data_bytes);
      entries[i].assign(stage.entries(), stage.entries() + run.entry_bytes);
      std::memset(const_cast<uint8_t*>(stage.data()), 0, data[i].size());
      for (size_t byte = 0; byte < entries[i].size(); ++byte) {
        const bool written = is_cla_form(form) || byte % 16 < 2 || byte % 16 >= 8;
        if (written) const_cast<uint8_t*>(stage.entries())[byte] ^= 0xFF;
      }
      const colx_row_store& out = stage.out;
      cursors.push_back(out.colx_store_data_cursors[0]);
      ends.push_back(out.colx_store_data_ends[0]);
      writes.push_back((is_cla_form(form) ? out.colx_store_cla_write : out.colx_store_lp_write)[0]);
      matrices.push_back(stage.in.colx_store_lp_pages[0]);
    }
    colx_row_store in = stages[0].in, out = stages[0].out;
    in.colx_store_lp_pages = matrices.data();
    out.colx_store_data_cursors = cursors.data();
    out.colx_store_data_ends = ends.data();
    (is_cla_form(form) ? out.colx_store_cla_write : out.colx_store_lp_write) = writes.data();
    at_once([&](uint32_t i) {
      colx_kctx kctx = {};
      const auto place = static_cast<int32_t>(i);
      EXPECT_EQ(library.colx_sctx_transpose_convert(&out, &in, place, place, batches[i].from,
                                                    batches[i].to, &kctx),
                COLX_DONE);
    });
    for (uint32_t i = 0; i < threads_at_once; ++i) {
      EXPECT_EQ(cursors[i], stages[i].data() + data[i].size());
      EXPECT_EQ(writes[i], stages[i].entries() + entries[i].size());
      EXPECT_EQ(std::memcmp(stages[i].data(), data[i].data(), data[i].size()), 0);
      EXPECT_EQ(std::memcmp(stages[i].entries(), entries[i].data(), entries[i].size()), 0);
    }
  }
}

TEST(MovingThreads, PartitioningsIntoSetsOfTheirOwn) {
  using oracle::Carried;
  using oracle::KeyLayout;
  PartitionStage stages[threads_at_once];
  oracle::PartitionOutcome expected[threads_at_once];
  for (uint32_t i = 0; i < threads_at_once; ++i) {
    Random random(i);
    const oracle::PartitionForm form = {oracle::PartitionRecords::lv, KeyLayout::hash_values,
                                        i % 2 == 0 ? Carried::lv : Carried::lp};
    stages[i].set(random_partition_batch(form, 3000, random));
    expected[i] = stages[i].expected();
  }
  at_once([&](uint32_t i) {
    PartitionStage& stage = stages[i];
    EXPECT_EQ(library.colx_sctx_partition(&stage.parts, &stage.src.cv, stage.payload(), nullptr,
                                          &stage.kctx),
              COLX_DONE);
  });
  for (uint32_t i = 0; i < threads_at_once; ++i) {
    for (uint64_t p = 0; p < stages[i].partitions(); ++p) {
      EXPECT_EQ(stages[i].filled_bytes(p), expected[i].moved_bytes[p]);
      EXPECT_EQ(stages[i].partition_difference(p, expected[i]), "");
    }
  }
}

}  // namespace
}  // namespace colx::test
