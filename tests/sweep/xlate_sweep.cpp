// Translation: random tables, first rows, selections and hit rates, bits that are zero and bits
// that are not; and shares of group keys.
#include <iterator>

#include "tests/oracle/bit_vectors.h"
#include "tests/support/key_share.h"
#include "tests/support/xlate_stage.h"
#include "tests/sweep/scan_conditions.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

bool is_xlate(uint32_t index) {
  return (index & 31) == COLX_OPC_XLATE;
}

bool serves_lookup(uint32_t index) {
  return is_xlate(index) && (index >> 5 & 3) != COLX_XLATE_GROUPKEY;
}

bool serves_share(uint32_t index) {
  return is_xlate(index) && (index >> 5 & 3) == COLX_XLATE_GROUPKEY;
}

uint32_t random_start(Random& random) {
  switch (random.below(4)) {
    case 0:
      return 0;
    case 1:
      return static_cast<uint32_t>(random.below(70));
    case 2:
      return static_cast<uint32_t>(random.below(1000));
    default:  // beyond 2^32 bytes of keys, and within a signed number of rows
      return 0x70000000 + static_cast<uint32_t>(random.below(200));
  }
}

// Keys of rows that are not selected are none: no table has them.
void set_random_selection(XlateBatch& batch, Random& random) {
  const uint32_t first_row = batch.first_word() * 64;
  const unsigned sparsity = 1 + static_cast<unsigned>(random.below(4));
  Words words = random.words(words_of(batch.rows() - first_row) + 1, sparsity);
  if (random.one_in(3)) {
    for (uint64_t& word : words) word = ~word;
  }
  if (random.one_in(8)) words.assign(words.size(), 0);
  for (uint32_t i = 0; i < batch.keys.size(); ++i) {
    const uint32_t row = batch.start + i - first_row;
    if (!oracle::bit_at(words.data(), row)) batch.keys[i] = static_cast<uint32_t>(random.next());
  }
  batch.selection = std::move(words);
}

// Mostly what the kernels serve; any other flag beside, which mean nothing to them.
void set_random_keys_form(XlateBatch& batch, Random& random) {
  batch.enc_flags = static_cast<uint32_t>(random.next()) | COLX_HASH_VALUES;
  if (random.one_in(16)) batch.enc_flags &= ~uint32_t{COLX_HASH_VALUES};
  if (random.one_in(16)) {
    constexpr uint32_t widths[] = {0, 8, 16, 31, 33, 64, 0x120, 0x10020, 0x80000020};
    batch.width = random.pick(std::span<const uint32_t>(widths));
  }
}

std::string lookup_difference(const SweepSlot& slot, uint64_t seed) {
  Random random(seed);
  const XlateKernel kernel = {
      slot.name,
      reinterpret_cast<colx_binary_fn>(slot.kernel),
      {slot.index >> 5 & 3, element_bits_at(slot.index), (slot.index >> 12 & 1) != 0}};
  constexpr unsigned hit_percents[] = {0, 3, 50, 97, 100};
  const uint32_t count =
      random.one_in(8) ? 700 + random_row_count(random) : random_row_count(random);
  XlateBatch batch =
      random_xlate_batch(kernel, random_start(random), count,
                         hit_percents[random.below(std::size(hit_percents))], random);
  if (random.one_in(2)) set_random_selection(batch, random);
  set_random_keys_form(batch, random);
  batch.kctx_flags = static_cast<uint32_t>(random.next());
  batch.flags_out = random.one_in(2) ? 0 : static_cast<uint32_t>(random.next());
  batch.zeroed = random.one_in(2);
  batch.edge = random.one_in(4) ? Edge::begin : Edge::end;
  constexpr Place places[] = {Place::end, Place::begin, Place::middle};
  batch.place = places[random.below(3)];
  return xlate_difference(kernel, batch);
}

std::string share_difference(const SweepSlot& slot, uint64_t seed) {
  Random random(seed);
  const KeyShareKernel kernel = {slot.name, reinterpret_cast<colx_binary_fn>(slot.kernel),
                                 element_bits_at(slot.index)};
  KeyShareBatch batch = random_key_share(kernel.element_bits, random_row_count(random), random);
  batch.third_is_null = random.one_in(2);
  batch.edge = random.one_in(4) ? Edge::begin : Edge::end;
  constexpr Place places[] = {Place::end, Place::begin, Place::middle};
  batch.place = places[random.below(3)];
  return key_share_difference(kernel, batch);
}

}  // namespace

extern const SweepFamily xlate_sweep;
const SweepFamily xlate_sweep = {"translation", serves_lookup, lookup_difference};

extern const SweepFamily xlate_share_sweep;
const SweepFamily xlate_share_sweep = {"group-key translation", serves_share, share_difference};

}  // namespace colx::test
