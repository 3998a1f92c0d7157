// decode_unpack on all its paths: random rows, capacities, places to begin, selections, lists and
// runs.
#include <algorithm>

#include "tests/support/unpack_stage.h"
#include "tests/sweep/scan_conditions.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

bool serves(uint32_t index) {
  return (index & 31) == COLX_OPC_DECODE_UNPACK;
}

unsigned width_at(uint32_t index) {
  const uint32_t code = index >> 7 & 31;
  return code < 20 ? code + 1 : code == 20 ? 24 : 32;
}

uint32_t below(Random& random, uint64_t bound) {
  return static_cast<uint32_t>(random.below(bound));
}

// The state that a call leaves behind that has handled `row` last.
void set_state_behind(UnpackBatch& batch, uint32_t row) {
  batch.state1 = 0;
  batch.state2 = batch.lengths[0];
  while (batch.state2 <= row) batch.state2 += batch.lengths[++batch.state1];
}

// A range takes runs of at least one row; elsewhere runs of none may lie between others.
UnpackBatch random_runs(unsigned width, bool range, Random& random) {
  const unsigned length_bits = random.one_in(2) ? 8 : 16;
  const uint32_t longest = random.one_in(4) ? 250 : 1 + below(random, 8);
  std::vector<uint32_t> lengths(1 + random.below(80));
  for (uint32_t& length : lengths) {
    length = 1 + below(random, longest);
    if (!range && random.one_in(8)) length = 0;
  }
  return random_run_batch(width, length_bits, std::move(lengths), random);
}

void set_random_place(UnpackBatch& batch, Random& random) {
  batch.position = random.one_in(2) ? 0 : below(random, uint64_t{batch.rows} + 1);
  batch.state1 = static_cast<uint32_t>(random.next());  // means nothing at position 0
  batch.state2 = static_cast<uint32_t>(random.next());
  if (!batch.run_length || batch.position == 0) return;
  if (random.one_in(3)) {
    batch.state2 = 0;
  } else {
    set_state_behind(batch, below(random, batch.position));
  }
}

std::vector<uint32_t> random_list(const UnpackBatch& batch, Random& random) {
  std::vector<uint32_t> list;
  if (batch.run_length) {
    const uint64_t stride = 1 + random.below(20);
    uint64_t row = batch.position + random.below(stride);
    for (; row < batch.rows; row += 1 + random.below(stride)) {
      list.push_back(static_cast<uint32_t>(row));
    }
    if (list.empty() && batch.rows > 0) list.push_back(batch.rows - 1);
  } else if (batch.rows > 0) {
    for (uint64_t n = 1 + random.below(100); n > 0; --n) list.push_back(below(random, batch.rows));
  }
  return list;
}

std::string difference(const SweepSlot& slot, uint64_t seed) {
  Random random(seed);
  const unsigned width = width_at(slot.index);
  const bool by_runs = random.one_in(3);
  const uint64_t rows_by = random.below(4);  // 0 range, 1 list, else a selection
  UnpackBatch batch = by_runs ? random_runs(width, rows_by == 0, random)
                              : random_unpack_batch(width, random_row_count(random), random);
  set_random_place(batch, random);
  batch.kctx_flags = static_cast<uint32_t>(random.next());
  batch.flags_out = random.one_in(2) ? 0 : static_cast<uint32_t>(random.next());
  if (rows_by == 1) {
    std::vector<uint32_t> list = random_list(batch, random);
    if (!list.empty()) batch.list = std::move(list);
  } else if (rows_by > 1) {
    batch.selection = random.words(batch.rows / 64 + 1, 1 + static_cast<unsigned>(random.below(5)));
    if (random.one_in(3)) {
      for (uint64_t& word : *batch.selection) word = ~word;
    }
  }
  batch.capacity = random.one_in(2) ? batch.rows : below(random, uint64_t{batch.rows} + 2);
  batch.capacity = random.one_in(8) ? below(random, 4) : batch.capacity;

  batch.store = !random.one_in(4)  ? Store::plain
                : random.one_in(2) ? Store::compressed
                                   : Store::decompressed;
  batch.decode_status = random.one_in(3) ? static_cast<uint32_t>(random.next()) : 0;
  batch.edge = random.one_in(4) ? Edge::begin : Edge::end;
  constexpr Place places[] = {Place::end, Place::begin, Place::middle};
  batch.place = places[random.below(3)];
  batch.shift = 4 * random.below(4);
  return unpack_difference({slot.name, reinterpret_cast<colx_decode_fn>(slot.kernel), width},
                           batch);
}

}  // namespace

extern const SweepFamily unpack_sweep;
const SweepFamily unpack_sweep = {"decode_unpack", serves, difference};

}  // namespace colx::test
