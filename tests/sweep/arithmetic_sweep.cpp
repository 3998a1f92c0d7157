// add, sub and mul: random numbers of all sorts, constants on either side, row counts that differ
// while the memory is there.
#include <algorithm>

#include "tests/support/arithmetic_stage.h"
#include "tests/support/number_patterns.h"
#include "tests/support/seeded_random.h"
#include "tests/sweep/scan_conditions.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

bool serves(uint32_t index) {
  const uint32_t opc = index & 31;
  return opc == COLX_OPC_ADD || opc == COLX_OPC_SUB || opc == COLX_OPC_MUL;
}

// Flags that mean nothing here are as random as the one that does.
Operand random_operand(uint32_t rows, Random& random) {
  Operand operand;
  operand.rows = rows;
  operand.constant = random.one_in(3);
  operand.more_flags = static_cast<uint32_t>(random.next()) & ~uint32_t{COLX_CONST};
  return operand;
}

std::string difference(const SweepSlot& slot, uint64_t seed) {
  Random random(seed);
  ArithmeticBatch batch = {oracle::arithmetic_kind_at(slot.index), {}, {}};
  const unsigned bytes = batch.kind.bytes();
  const uint32_t rows = random_row_count(random);
  const uint32_t fewer = random.one_in(2) ? rows : static_cast<uint32_t>(random.below(rows + 1));
  const bool fewer_left = random.one_in(2);
  batch.left = random_operand(fewer_left ? fewer : rows, random);
  batch.right = random_operand(fewer_left ? rows : fewer, random);
  const NumberMix mix = random.pick<NumberMix>(all_mixes);
  const bool left_is_one_value = batch.left.constant;
  const bool right_is_one_value = batch.right.constant && !batch.left.constant;
  batch.left.numbers = random_numbers(mix, bytes, left_is_one_value ? 1 : rows, random);
  batch.right.numbers = random_numbers(mix, bytes, right_is_one_value ? 1 : rows, random);
  batch.element = random_number(random.pick<NumberMix>(all_mixes), bytes, random);
  batch.edge = random.one_in(4) ? Edge::begin : Edge::end;
  constexpr Place places[] = {Place::end, Place::begin, Place::middle};
  batch.place = places[random.below(3)];
  batch.slack_bytes = random.one_in(2) ? 0 : random.below(16);
  batch.shift = random.below(16);
  return arithmetic_difference({slot.name, reinterpret_cast<colx_binary_fn>(slot.kernel)}, batch);
}

}  // namespace

extern const SweepFamily arithmetic_sweep;
const SweepFamily arithmetic_sweep = {"arithmetic", serves, difference};

}  // namespace colx::test
