// Predicates on dictionary codes of every width, plain and _null, with their selective twins.
#include <algorithm>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/support/code_patterns.h"
#include "tests/support/dict_batch.h"
#include "tests/sweep/scan_conditions.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

bool serves(uint32_t index) {
  return (index & 31) <= COLX_OPC_GE_LE && (index >> 5 & 3) == COLX_ENC_DICT;
}

// At one bit every 32-bit number is a constant; a packed constant is one too wide now and then,
// which the table of undefined inputs takes out again.
uint64_t random_constant(unsigned width_bits, Random& random) {
  const uint64_t top = top_code(width_bits);
  if (width_bits == 1 && random.one_in(4)) return random.bits(32);
  if (!is_aligned_width(width_bits) && random.one_in(32)) return top + 1;
  switch (random.below(6)) {
    case 0:
      return 0;
    case 1:
      return 1;
    case 2:
      return top;
    case 3:
      return top / 2 + random.below(2);
    default:
      return random.bits(width_bits);
  }
}

struct DictInput {
  ScanBatch batch;
  InputFacts facts;
};

DictInput random_input(const oracle::DictScan& scan, uint32_t slot, Random& random) {
  DictInput input;
  const bool has_twin = scan.width_bits != 1;
  ScanBatch conditions;
  const uint32_t rows = set_random_conditions(conditions, has_twin, random);
  const uint64_t lo = random_constant(scan.width_bits, random);
  const uint64_t hi = random.one_in(4) ? lo : random_constant(scan.width_bits, random);
  input.facts = facts_of(conditions, slot, rows, lo, hi);

  const uint64_t centre = oracle::is_range(scan.opc) && random.one_in(2) ? hi : lo;
  const std::vector<uint64_t> codes = pattern_codes(
      random.pick(std::span<const Pattern>(all_patterns)), scan.width_bits, rows, centre, random);
  const ScanBatch column = dict_batch(scan, codes, lo, hi);
  input.batch = std::move(conditions);
  input.batch.stream = column.stream;
  input.batch.slack_bytes = column.slack_bytes;
  input.batch.width_bits = column.width_bits;
  input.batch.args = column.args;
  input.batch.hi_args = column.hi_args;
  if (scan.width_bits == 1) {
    const oracle::OneBitResult result = oracle::one_bit_result(scan.opc, scan.null_form, lo, hi);
    input.batch.stream_readable =
        result == oracle::OneBitResult::bits || result == oracle::OneBitResult::inverted;
  }
  return input;
}

std::string difference(const SweepSlot& slot, uint64_t seed) {
  const oracle::DictScan scan = dict_scan_at(slot.index);
  Random random(seed);
  DictInput input = random_input(scan, slot.index, random);
  while (undefined_input(input.facts) != nullptr) input = random_input(scan, slot.index, random);
  const ScanKernel kernel = {slot.name, slot.kernel, oracle::is_range(scan.opc)};
  return dict_difference(kernel, scan, input.batch);
}

}  // namespace

extern const SweepFamily dict_predicate_sweep;
const SweepFamily dict_predicate_sweep = {"predicates on dictionary codes", serves, difference};

}  // namespace colx::test
