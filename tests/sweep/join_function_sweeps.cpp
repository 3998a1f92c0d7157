// Random calls of the join: hash, build, probe and the Bloom test.
#include <algorithm>

#include "tests/support/bloom_stage.h"
#include "tests/support/build_stage.h"
#include "tests/support/hash_stage.h"
#include "tests/support/probe_stage.h"
#include "tests/support/table_passes.h"
#include "tests/sweep/function_sweep.h"

namespace colx::test {
namespace {

TableShape random_shape(uint32_t type, Random& random) {
  return table_shape(type, static_cast<unsigned>(random.below(4)),
                     static_cast<unsigned>(random.below(3)), static_cast<unsigned>(random.below(3)),
                     static_cast<uint32_t>(random.below(30)));
}

std::string hash_difference(uint64_t seed) {
  Random random(seed);
  constexpr uint16_t lengths[] = {0, 1, 2, 7, 8, 9, 15, 16, 33, 300};
  const HashKernel& kernel = hash_kernels()[random.below(hash_kernels().size())];
  KeyBatch batch;
  batch.layout = kernel.form.layout;
  batch.edge = random.one_in(2) ? Edge::begin : Edge::end;
  batch.rows.resize(random.below(300));
  batch.width_bits = static_cast<uint32_t>(1 + random.below(25));
  if (batch.layout == oracle::KeyLayout::fixed) batch.width_bits *= 8;
  batch.symbol_lengths.resize(std::min<uint64_t>(uint64_t{1} << (batch.width_bits & 31), 300));
  for (uint32_t& length : batch.symbol_lengths) length = random.pick<uint16_t>(lengths);
  for (KeyRow& row : batch.rows) {
    row.hash = random.next();
    row.length = random.pick<uint16_t>(lengths);
    row.code =
        static_cast<uint32_t>(random.below(std::max<size_t>(batch.symbol_lengths.size(), 1)));
  }
  if (batch.layout != oracle::KeyLayout::dict) batch.symbol_lengths.clear();
  std::vector<uint64_t> seeds(std::max<size_t>(batch.rows.size(), 1));
  for (uint64_t& one : seeds) one = random.next();
  const bool one_seed = random.one_in(2);
  hash_stage().set(batch, seeds, one_seed ? 1 : static_cast<uint32_t>(seeds.size()));
  return hash_stage().entry_difference();
}

std::string build_difference(uint64_t seed) {
  Random random(seed);
  const BuildKernel& kernel = build_kernels()[random.below(build_kernels().size())];
  BuildStage& stage = build_stage();
  const uint32_t type = kernel.form.form.type | (kernel.codes ? uint32_t{COLX_HT_GD} : 0);
  const TableShape shape = random_shape(type, random);
  stage.table.set(shape);
  const auto rows = static_cast<uint32_t>(random.below(random.one_in(5) ? 1200 : 150));
  const auto tags = static_cast<uint32_t>(1 + random.below(60));
  stage.set_rows(join_rows(kernel, meeting_rows(shape, rows, tags, random), random),
                 kernel.form.form.value_bytes);
  stage.part = random.one_in(4) ? static_cast<int32_t>(random.below(shape.partitions)) : -1;
  return stage.entry_difference();
}

std::string probe_difference(uint64_t seed) {
  Random random(seed);
  const ProbeKernel& kernel = probe_kernels()[random.below(probe_kernels().size())];
  ProbeStage& stage = probe_stage();
  const TableShape shape = random_shape(table_type(kernel), random);
  stage.table.set(shape);
  const TableKeys keys =
      kernel.form.layout == oracle::KeyLayout::gd ? TableKeys::codes : TableKeys::tags;
  const auto tags = static_cast<uint32_t>(5 + random.below(100));
  const uint64_t tags_seed = random.next();
  Random table_tags(tags_seed), row_tags(tags_seed);
  fill_at_random(stage.table, keys, static_cast<uint32_t>(random.below(100)), tags, table_tags);
  const auto rows = static_cast<uint32_t>(random.below(random.one_in(5) ? 1200 : 150));
  stage.set_rows(join_rows(kernel, meeting_rows(shape, rows, tags, row_tags), random),
                 kernel.form.form.value_bytes);
  stage.set_room(static_cast<uint32_t>(random.below(random.one_in(2) ? 30 : rows * 30 + 10)));
  return stage.entry_difference();
}

std::string bloom_batch_difference(uint64_t seed) {
  Random random(seed);
  constexpr uint32_t masks[] = {0, 1, 7, 0xFF, 0x3FF, 0xFFF, 0x5A5, 0x7FFF};
  constexpr unsigned densities[] = {1, 2, 4, 32, no_bits};
  const BloomKernel& kernel = bloom_kernels[random.below(std::size(bloom_kernels))];
  BloomBatch batch;
  batch.width_bits = kernel.form.width_bits;
  batch.values.resize(random.below(400));
  for (uint64_t& value : batch.values) value = random.next();
  batch.start = static_cast<uint32_t>(random.below(batch.values.size() + 1));
  choose_filter(batch, masks, densities, random);
  if (kernel.form.form == oracle::BloomForm::selective) {
    batch.selection = random.words(batch.values.size() / 64 + 1, 1 + random.below(3));
  }
  return bloom_difference(kernel, batch, seed);
}

}  // namespace

extern const FunctionSweep hash_sweep = {"hash", "colx_hash_dydi", hash_difference};
extern const FunctionSweep hash_build_sweep = {"build", "colx_ht_build_dydi", build_difference};
extern const FunctionSweep hash_probe_sweep = {"probe", "colx_ht_probe_dydi", probe_difference};
extern const FunctionSweep bloom_sweep = {
    "bloom",
    "colx_bloom_dydi colx_bloom_hash32 colx_bloom_hash64 colx_bloom_hash32_selective "
    "colx_bloom_hash64_selective",
    bloom_batch_difference};

}  // namespace colx::test
