// Burst kernels: runs of all lengths, few, half and most of them hit, and counts that do not agree
// with the bits, so that every form meets every content.
#include <algorithm>

#include "tests/support/burst_stage.h"
#include "tests/support/seeded_random.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

bool serves(uint32_t index) {
  return (index & 31) == COLX_OPC_BURST;
}

std::vector<uint32_t> random_lengths(uint32_t longest, Random& random) {
  constexpr uint32_t run_counts[] = {0, 1, 2, 49, 50, 51, 63, 64, 65, 100, 127, 128, 129};
  const uint32_t runs = random.one_in(2) ? random.pick(std::span<const uint32_t>(run_counts))
                                         : static_cast<uint32_t>(random.below(300));
  constexpr uint32_t edges[] = {0, 1, 55, 56, 57, 58, 63, 64, 65, 111, 112, 113, 114, 127, 128};
  const uint64_t kind = random.below(5);
  std::vector<uint32_t> lengths(runs);
  for (uint32_t& length : lengths) {
    switch (kind) {
      case 0:
        length = 1;
        break;
      case 1:
        length = static_cast<uint32_t>(random.below(4));
        break;
      case 2:
        length = random.pick(std::span<const uint32_t>(edges));
        break;
      case 3:
        length = static_cast<uint32_t>(random.below(256));
        break;
      default:
        length = random.one_in(40) ? static_cast<uint32_t>(random.below(longest + 1)) : 3;
        break;
    }
  }
  return lengths;
}

std::string difference(const SweepSlot& slot, uint64_t seed) {
  Random random(seed);
  BurstKernel kernel = burst_entry(slot.index >> 7 & 31);
  kernel.kernel = reinterpret_cast<colx_decode_fn>(slot.kernel);
  const uint32_t longest = kernel.kind == oracle::RunRows::byte_lengths ? 255 : 65535;

  BurstBatch batch = burst_batch(random_lengths(longest, random));
  const size_t words = batch.run_bits.size();
  const unsigned sparsity = 1 + static_cast<unsigned>(random.below(7));
  batch.run_bits = random.words(words, sparsity);
  if (random.one_in(2)) {
    for (uint64_t& word : batch.run_bits) word = ~word;
  }
  if (random.one_in(8)) batch.run_bits.assign(words, random.one_in(2) ? 0 : ~uint64_t{0});
  batch.set = random.one_in(3) ? random.below(batch.runs() + 2) : batch.hits();
  if (random.one_in(32)) batch.set = random.next();

  // Rows in front of the first run and behind the last are in none.
  if (kernel.kind == oracle::RunRows::cumulative && random.one_in(4)) {
    batch.first_row = static_cast<uint32_t>(random.below(200));
    batch.rows += batch.first_row;
  }
  if (random.one_in(3)) batch.rows += static_cast<uint32_t>(random.below(200));
  if (random.one_in(4)) batch.rows = (batch.rows + 63) / 64 * 64;

  batch.edge = random.one_in(4) ? Edge::begin : Edge::end;
  constexpr Place places[] = {Place::end, Place::begin, Place::middle};
  batch.place = places[random.below(3)];
  batch.shift = 8 * random.below(2);
  return burst_difference(kernel, batch);
}

}  // namespace

extern const SweepFamily burst_sweep;
const SweepFamily burst_sweep = {"bursts", serves, difference};

}  // namespace colx::test
