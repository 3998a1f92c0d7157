// Random calls of what moves rows: partition, gather, conversion of row stores.
#include "tests/support/convert_stage.h"
#include "tests/support/gather_kernels.h"
#include "tests/support/gather_stage.h"
#include "tests/support/partition_stage.h"
#include "tests/sweep/function_sweep.h"

namespace colx::test {
namespace {

std::string partition_batch_difference(uint64_t seed) {
  Random random(seed);
  const auto& kernels = partition_kernels();
  PartitionBatch batch = random_partition_batch(kernels[random.below(kernels.size())].form,
                                                static_cast<uint32_t>(random.below(200)), random);
  batch.edge = random.one_in(2) ? Edge::begin : Edge::end;
  batch.position = static_cast<uint32_t>(random.below(batch.keys.size() + 1));
  if (random.one_in(2)) {
    for (unsigned p = 0; p < 16; ++p) batch.rooms.push_back(random.below(800));
  }
  return partition_difference(batch);
}

std::string gather_batch_difference(uint64_t seed) {
  Random random(seed);
  const auto& kernels = gather_kernels();
  GatherBatch batch = random_gather_batch(kernels[random.below(kernels.size())].form,
                                          static_cast<uint32_t>(random.below(120)), random);
  batch.edge = random.one_in(2) ? Edge::begin : Edge::end;
  batch.position = static_cast<uint32_t>(random.below(batch.indices.size() + 1));
  return gather_difference(batch);
}

std::string convert_batch_difference(uint64_t seed) {
  Random random(seed);
  constexpr uint16_t most_columns = 5;
  ConvertBatch batch =
      random_convert_batch(oracle::convert_forms[random.below(std::size(oracle::convert_forms))],
                           static_cast<uint32_t>(1 + random.below(60)),
                           static_cast<uint16_t>(1 + random.below(most_columns)), random);
  if (random.one_in(2)) {
    batch.room = static_cast<int64_t>(random.below(static_cast<uint64_t>(convert_room(batch)) + 1));
  }
  return convert_difference(batch);
}

}  // namespace

extern const FunctionSweep partition_sweep = {"partition", "colx_partition_dydi",
                                              partition_batch_difference};
extern const FunctionSweep gather_sweep = {"gather", "colx_gather_dydi", gather_batch_difference};
extern const FunctionSweep transpose_convert_sweep = {
    "transpose_convert", "colx_transpose_convert_dydi", convert_batch_difference};

}  // namespace colx::test
