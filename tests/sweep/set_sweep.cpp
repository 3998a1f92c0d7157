// Set kernels of every width, with their selective twins. Wide codes keep to the lower end of their
// values, so that the table stays small.
#include <algorithm>

#include "tests/support/code_patterns.h"
#include "tests/support/set_batch.h"
#include "tests/sweep/scan_conditions.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

constexpr uint64_t widest_table = 1 << 14;

bool serves(uint32_t index) {
  return (index & 31) == COLX_OPC_SET;
}

unsigned width_at(uint32_t index) {
  const uint32_t code = index >> 7 & 31;
  return code < 20 ? code + 1 : code == 20 ? 24 : 32;
}

Words random_table(uint64_t largest_code, Random& random) {
  const size_t words = largest_code / 64 + 1;
  if (random.one_in(8)) return Words(words, 0);
  if (random.one_in(8)) return Words(words, ~uint64_t{0});
  return random.words(words, 1 + static_cast<unsigned>(random.below(5)));
}

std::string difference(const SweepSlot& slot, uint64_t seed) {
  Random random(seed);
  const unsigned width = width_at(slot.index);
  ScanBatch batch;
  InputFacts facts;
  uint32_t rows;
  do {
    batch = {};
    rows = set_random_conditions(batch, /*has_twin=*/true, random);
    facts = facts_of(batch, slot.index, rows, 0, 0);
  } while (undefined_input(facts) != nullptr);

  const uint64_t codes_below = std::min(top_code(width) + 1, widest_table);
  std::vector<uint64_t> codes(rows);
  uint64_t largest = 0;
  for (uint64_t& code : codes) {
    code = random.below(codes_below);
    largest = std::max(largest, code);
  }
  const ScanBatch column = set_batch(width, codes, random_table(largest, random));
  batch.stream = column.stream;
  batch.slack_bytes = column.slack_bytes;
  batch.width_bits = column.width_bits;
  batch.code_table = column.code_table;
  if (width == 1) {
    const uint64_t wanted = (*batch.code_table)[0] & 3;
    batch.stream_readable = wanted == 1 || wanted == 2;  // none or both: nobody looks at the rows
  }
  return set_difference({slot.name, slot.kernel, /*range=*/false}, width, batch);
}

}  // namespace

extern const SweepFamily set_sweep;
const SweepFamily set_sweep = {"sets", serves, difference};

}  // namespace colx::test
