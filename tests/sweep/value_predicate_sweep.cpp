// Predicates on stored values, fixed and dynp, plain and with tie codes, and their selective twins.
#include <iterator>

#include "tests/support/value_batch.h"
#include "tests/sweep/scan_conditions.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

bool serves(uint32_t index) {
  const uint32_t enc = index >> 5 & 3;
  return (index & 31) <= COLX_OPC_GE_LE && (enc == COLX_ENC_FIXED || enc == COLX_ENC_DYNP);
}

unsigned random_width(const oracle::ValueScan& scan, Random& random) {
  if (!scan.reads_width()) return scan.word_bits;
  constexpr unsigned of_64[] = {40, 48, 56, 64};
  return scan.word_bits == 32 ? (random.one_in(2) ? 24 : 32) : of_64[random.below(4)];
}

// Now and then a fixed row's constant has bytes beyond the row.
uint64_t random_value(const oracle::ValueScan& scan, unsigned width_bits, Random& random) {
  const uint64_t one = uint64_t{1} << (64 - width_bits);
  switch (random.below(7)) {
    case 0:
      return 0;
    case 1:
      return 0 - one;
    case 2:
      return uint64_t{1} << 63;
    case 3:
      return (uint64_t{1} << 63) - one;
    case 4:
      return random.bits(8) << 56;
    case 5:
      return random.bits(random.one_in(8) ? scan.word_bits : width_bits) << (64 - scan.word_bits);
    default:
      return random.bits(width_bits) << (64 - width_bits);
  }
}

// Mostly codes that rows have; dynp kernels accept one more and refuse the rest.
uint8_t random_tie(const oracle::ValueScan& scan, Random& random) {
  if (random.one_in(8)) return static_cast<uint8_t>(random.next());
  return static_cast<uint8_t>(random.below(scan.word_bits / 8 + 1));
}

struct ValueInput {
  ScanBatch batch;
  InputFacts facts;
};

// Of the two places of a row width, the one that the kernel must not go by holds any number.
void set_widths(ScanBatch& batch, const oracle::ValueScan& scan, unsigned width_bits,
                oracle::ValueConstant lo, oracle::ValueConstant hi, Random& random) {
  const auto any = static_cast<uint32_t>(random.next());
  const uint32_t width = any << 8 | width_bits;
  const bool by_source = scan.tz && !batch.wants_twin();
  batch.width_bits = by_source ? width : any;
  set_value_constants(batch, scan, by_source ? any : width, lo, hi);
}

ValueInput random_input(const oracle::ValueScan& scan, uint32_t slot, Random& random) {
  ValueInput input;
  ScanBatch& batch = input.batch;
  const uint32_t rows = set_random_conditions(batch, true, random);
  const unsigned width_bits = random_width(scan, random);
  const oracle::ValueConstant lo = {random_value(scan, width_bits, random),
                                    random_tie(scan, random)};
  oracle::ValueConstant hi = {random_value(scan, width_bits, random), random_tie(scan, random)};
  if (random.one_in(4)) hi.value = lo.value;
  input.facts = facts_of(batch, slot, rows, lo.value, hi.value);

  const uint64_t centre = oracle::is_range(scan.opc) && random.one_in(2) ? hi.value : lo.value;
  const Pattern pattern = all_patterns[random.below(std::size(all_patterns))];
  ValueRows column = pattern_rows(scan, width_bits, pattern, rows, centre, random);
  for (ValueRow& row : column) {  // fixed rows of 64-bit words may have any nibble
    if (scan.is_fixed() && scan.word_bits == 64) row.code = static_cast<uint8_t>(random.below(16));
  }
  const ScanBatch laid_out = value_batch(scan, width_bits, column, lo, hi);
  batch.layout_flags = laid_out.layout_flags;
  batch.stream = laid_out.stream;
  batch.slack_bytes = laid_out.slack_bytes;
  batch.aux = laid_out.aux;
  batch.aux_slack_bytes = laid_out.aux_slack_bytes;
  set_widths(batch, scan, width_bits, lo, hi, random);
  return input;
}

std::string difference(const SweepSlot& slot, uint64_t seed) {
  const oracle::ValueScan scan = value_scan_at(slot.index);
  Random random(seed);
  ValueInput input = random_input(scan, slot.index, random);
  while (undefined_input(input.facts) != nullptr) input = random_input(scan, slot.index, random);
  const ScanKernel kernel = {slot.name, slot.kernel, oracle::is_range(scan.opc)};
  return value_difference(kernel, scan, input.batch);
}

}  // namespace

extern const SweepFamily value_predicate_sweep;
const SweepFamily value_predicate_sweep = {"predicates on stored values", serves, difference};

}  // namespace colx::test
