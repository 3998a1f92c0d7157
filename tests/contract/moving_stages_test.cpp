// The tests of partition, gather and transpose rest on their stages: calls with one mistake each,
// around an honest one, hold that the stages notice.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/convert_stage.h"
#include "tests/support/gather_stage.h"
#include "tests/support/partition_stage.h"

namespace colx::test {
namespace {

using oracle::Carried;
using oracle::ConvertForm;
using oracle::GatherIndex;
using oracle::GatherResult;
using oracle::GatherStore;
using oracle::KeyLayout;
using oracle::PartitionRecords;

constexpr auto& library = colx_global_specialized_ctx;

std::string gather_noticed(colx_gather_call* kernel) {
  Random random(1);
  GatherBatch batch = random_gather_batch(
      {GatherStore::cla, GatherResult::lv_sep, GatherIndex::fixed_4}, 50, random);
  for (std::vector<Bytes>& page : batch.pages) {
    for (Bytes& value : page) value = random.bytes(20);
  }
  batch.capacity = 500;  // half of the rows
  GatherStage& stage = gather_stage();
  stage.set(batch);
  const oracle::GatherOutcome expected = stage.expected();
  return stage.difference(stage.call(kernel), expected);
}

TEST(MovingStages, AnHonestGatherIsLeftAlone) {
  EXPECT_EQ(gather_noticed(library.colx_sctx_gather), "");
}

TEST(MovingStages, MistakesOfAGatherAreNoticed) {
  constexpr colx_gather_call* mistakes[] = {
      [](colx_cv*, colx_cv*, const colx_row_store*, colx_kctx*) -> uint32_t { return COLX_DONE; },
      [](colx_cv* res, colx_cv* src, const colx_row_store* store, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = library.colx_sctx_gather(res, src, store, kctx);
        ++kctx->colx_kctx_position;
        return status;
      },
      [](colx_cv* res, colx_cv* src, const colx_row_store* store, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = library.colx_sctx_gather(res, src, store, kctx);
        return status == COLX_OUT_OF_ROOM ? uint32_t{COLX_DONE} : status;
      },
      [](colx_cv* res, colx_cv* src, const colx_row_store* store, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = library.colx_sctx_gather(res, src, store, kctx);
        static_cast<uint8_t*>(res->colx_cv_data)[res->colx_cv_capacity - 1] ^= 1;
        return status;
      },
      [](colx_cv* res, colx_cv* src, const colx_row_store* store, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = library.colx_sctx_gather(res, src, store, kctx);
        static_cast<uint8_t*>(res->colx_cv_aux)[-1] ^= 1;
        return status;
      },
      [](colx_cv* res, colx_cv* src, const colx_row_store* store, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = library.colx_sctx_gather(res, src, store, kctx);
        res->colx_cv_num_of_rows = kctx->colx_kctx_position;
        return status;
      }};
  for (size_t i = 0; i < std::size(mistakes); ++i) {
    EXPECT_NE(gather_noticed(mistakes[i]), "") << "mistake " << i;
  }
}

std::string partition_noticed(colx_partition_call* kernel) {
  Random random(2);
  PartitionBatch batch =
      random_partition_batch({PartitionRecords::lv, KeyLayout::lv, Carried::lv_sep}, 200, random);
  batch.rooms.assign(16, 150);
  PartitionStage& stage = partition_stage();
  stage.set(batch);
  const oracle::PartitionOutcome expected = stage.expected();
  return stage.difference(stage.call(kernel), expected);
}

uint32_t partition_honestly(colx_part_set* parts, colx_cv* src, colx_cv* payload, colx_hash_fn fn,
                            colx_kctx* kctx) {
  return library.colx_sctx_partition(parts, src, payload, fn, kctx);
}

TEST(MovingStages, AnHonestPartitioningIsLeftAlone) {
  EXPECT_EQ(partition_noticed(partition_honestly), "");
}

TEST(MovingStages, MistakesOfAPartitioningAreNoticed) {
  constexpr colx_partition_call* mistakes[] = {
      [](colx_part_set*, colx_cv*, colx_cv*, colx_hash_fn, colx_kctx*) -> uint32_t {
        return COLX_DONE;
      },
      [](colx_part_set* parts, colx_cv* src, colx_cv* payload, colx_hash_fn fn,
         colx_kctx* kctx) -> uint32_t {
        const uint32_t status = partition_honestly(parts, src, payload, fn, kctx);
        ++kctx->colx_kctx_key_offset;
        return status;
      },
      [](colx_part_set* parts, colx_cv* src, colx_cv* payload, colx_hash_fn fn,
         colx_kctx* kctx) -> uint32_t {
        const uint32_t status = partition_honestly(parts, src, payload, fn, kctx);
        ++kctx->colx_kctx_value_offset;
        return status;
      },
      [](colx_part_set* parts, colx_cv* src, colx_cv* payload, colx_hash_fn fn,
         colx_kctx* kctx) -> uint32_t {
        const uint32_t status = partition_honestly(parts, src, payload, fn, kctx);
        kctx->colx_kctx_resume_extra ^= 1;
        return status;
      },
      [](colx_part_set* parts, colx_cv* src, colx_cv* payload, colx_hash_fn fn,
         colx_kctx* kctx) -> uint32_t {
        const uint32_t status = partition_honestly(parts, src, payload, fn, kctx);
        parts->colx_part_cursors[3] = static_cast<uint8_t*>(parts->colx_part_cursors[3]) + 1;
        return status;
      },
      [](colx_part_set* parts, colx_cv* src, colx_cv* payload, colx_hash_fn fn,
         colx_kctx* kctx) -> uint32_t {
        const uint32_t status = partition_honestly(parts, src, payload, fn, kctx);
        static_cast<uint8_t*>(parts->colx_part_ends[0])[-1] ^= 1;
        return status;
      },
      [](colx_part_set* parts, colx_cv* src, colx_cv* payload, colx_hash_fn fn,
         colx_kctx* kctx) -> uint32_t {
        const uint32_t status = partition_honestly(parts, src, payload, fn, kctx);
        fn(src->colx_cv_data, 2, 0);
        return status;
      }};
  for (size_t i = 0; i < std::size(mistakes); ++i) {
    EXPECT_NE(partition_noticed(mistakes[i]), "") << "mistake " << i;
  }
}

std::string convert_noticed(ConvertForm form, colx_transpose_convert_call* kernel) {
  Random random(3);
  ConvertBatch batch = random_convert_batch(form, 20, 3, random);
  batch.room /= 2;
  batch.room_behind = 1;
  ConvertStage& stage = convert_stage();
  stage.set(batch);
  const oracle::ConvertOutcome expected = stage.expected();
  return stage.difference(stage.call(kernel), expected);
}

uint32_t convert_honestly(colx_row_store* out, const colx_row_store* in, int32_t part,
                          int32_t block, uint32_t from, uint32_t to, colx_kctx* kctx) {
  return library.colx_sctx_transpose_convert(out, in, part, block, from, to, kctx);
}

TEST(MovingStages, AnHonestConversionIsLeftAlone) {
  for (const ConvertForm form : oracle::convert_forms) {
    EXPECT_EQ(convert_noticed(form, convert_honestly), "");
  }
}

TEST(MovingStages, MistakesOfAConversionAreNoticed) {
  constexpr colx_transpose_convert_call* mistakes[] = {
      [](colx_row_store*, const colx_row_store*, int32_t, int32_t, uint32_t, uint32_t,
         colx_kctx*) -> uint32_t { return COLX_DATA_ROOM_FULL; },
      [](colx_row_store* out, const colx_row_store* in, int32_t part, int32_t block, uint32_t from,
         uint32_t to, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = convert_honestly(out, in, part, block, from, to, kctx);
        ++kctx->colx_kctx_position;
        return status;
      },
      [](colx_row_store* out, const colx_row_store* in, int32_t part, int32_t block, uint32_t from,
         uint32_t to, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = convert_honestly(out, in, part, block, from, to, kctx);
        out->colx_store_data_cursors[part] = out->colx_store_data_ends[part];
        return status;
      },
      [](colx_row_store* out, const colx_row_store* in, int32_t part, int32_t block, uint32_t from,
         uint32_t to, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = convert_honestly(out, in, part, block, from, to, kctx);
        *static_cast<uint8_t*>(out->colx_store_data_ends[part]) ^= 1;
        return status;
      },
      [](colx_row_store* out, const colx_row_store* in, int32_t part, int32_t block, uint32_t from,
         uint32_t to, colx_kctx* kctx) -> uint32_t {
        const uint32_t status = convert_honestly(out, in, part, block, from, to, kctx);
        out->colx_store_data_ends[part + 1] = nullptr;
        return status;
      }};
  for (const ConvertForm form : oracle::convert_forms) {
    for (size_t i = 0; i < std::size(mistakes); ++i) {
      EXPECT_NE(convert_noticed(form, mistakes[i]), "") << "mistake " << i;
    }
  }
}

}  // namespace
}  // namespace colx::test
