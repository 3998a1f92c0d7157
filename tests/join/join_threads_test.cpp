// Calls at once: builds of different partitions of one table, and probes of one table.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "tests/oracle/probe_oracle.h"
#include "tests/support/chosen_hash.h"
#include "tests/support/key_column.h"
#include "tests/support/seeded_random.h"
#include "tests/support/table_memory.h"

namespace colx::test {
namespace {

constexpr uint32_t partitions = 8;
constexpr uint32_t rows_each = 3000;

struct Side {
  KeyColumn keys;
  PayloadColumn payload;
};

std::unique_ptr<Side> side_of(const TableShape& shape, uint64_t seed) {
  auto side = std::make_unique<Side>();
  Random random(seed);
  KeyBatch batch;
  batch.layout = oracle::KeyLayout::lv;
  batch.rows = meeting_rows(shape, rows_each, 700, random);
  side->keys.set(batch);
  side->payload.set_autorid(seed * rows_each);
  return side;
}

void at_once(const std::function<void(uint32_t)>& work) {
  std::vector<std::thread> threads;
  for (uint32_t i = 0; i < partitions; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

TEST(JoinThreads, PartitionsAreBuiltAtOnceAndProbedAtOnce) {
  const TableShape shape = table_shape(COLX_HT_K2V4, 4, 3, 0, rows_each / 8);
  TableMemory table;
  std::vector<std::unique_ptr<Side>> sides;
  for (uint64_t i = 0; i < partitions; ++i) sides.push_back(side_of(shape, i + 1));

  table.set(shape);
  for (uint32_t p = 0; p < partitions; ++p) {
    oracle::build({shape.form(), oracle::KeyLayout::lv, true}, table.ht, sides[p]->keys.cv,
                  sides[p]->payload.cv, static_cast<int32_t>(p), chosen_hash, colx_kctx{});
  }
  const Bytes expected_table = table.bytes();
  table.set(shape);
  std::vector<uint32_t> statuses(partitions);
  at_once([&](uint32_t p) {
    colx_kctx kctx = {};
    statuses[p] = colx_ht_build_dydi(&table.ht, &sides[p]->keys.cv, &sides[p]->payload.cv,
                                     static_cast<int32_t>(p), chosen_hash, &kctx);
  });
  EXPECT_EQ(statuses, std::vector<uint32_t>(partitions, COLX_DONE));
  EXPECT_EQ(table.difference(expected_table), "");

  std::vector<oracle::ProbeOutcome> expected;
  std::vector<std::vector<oracle::RidValue>> found(partitions);
  colx_cv room = {};
  room.colx_cv_num_of_rows = 0xFFFFFFFF;
  for (const auto& side : sides) {
    expected.push_back(oracle::probe({shape.form(), oracle::KeyLayout::lv, true}, room,
                                     side->keys.cv, side->payload.cv, table.ht, chosen_hash,
                                     colx_kctx{}));
  }
  at_once([&](uint32_t p) {
    colx_kctx kctx = {};
    colx_cv res = {};
    found[p].resize(expected[p].counted);
    res.colx_cv_data = found[p].data();
    res.colx_cv_num_of_rows = expected[p].counted;
    statuses[p] = colx_ht_probe_dydi(&res, &sides[p]->keys.cv, &sides[p]->payload.cv, &table.ht,
                                     chosen_hash, &kctx);
  });
  for (uint32_t p = 0; p < partitions; ++p) {
    EXPECT_EQ(statuses[p], uint32_t{COLX_DONE});
    EXPECT_FALSE(found[p].empty());
    EXPECT_EQ(found[p], expected[p].written);
  }
}

}  // namespace
}  // namespace colx::test
