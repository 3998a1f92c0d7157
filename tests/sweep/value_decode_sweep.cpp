// decode and decode_symbol: random codes, lists, dictionaries of both layouts and of none.
#include <algorithm>

#include "tests/support/code_patterns.h"
#include "tests/support/seeded_random.h"
#include "tests/support/value_decode_stage.h"
#include "tests/sweep/scan_conditions.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

bool serves_decode(uint32_t index) {
  return (index & 31) == COLX_OPC_DECODE;
}

bool serves_symbol(uint32_t index) {
  return (index & 31) == COLX_OPC_DECODE_SYMBOL;
}

unsigned width_at(uint32_t index) {
  const uint32_t code = index >> 7 & 31;
  return code < 20 ? code + 1 : code == 20 ? 24 : 32;
}

// A dictionary for codes below `codes`, which is lowered if the dictionary is a small one.
Dictionary random_dictionary(uint64_t& codes, Random& random) {
  Dictionary dictionary;
  switch (random.below(8)) {
    case 0:
      dictionary.layout = 2 + static_cast<uint32_t>(random.bits(31));
      return dictionary;
    case 1:
      return one_length_dictionary(0);
    case 2:
    case 3:
    case 4:
      return one_length_dictionary(static_cast<uint16_t>(random.bits(random.one_in(2) ? 4 : 16)));
    default:
      break;
  }
  codes = std::min(codes, 1 + random.below(2000));
  std::vector<uint32_t> lengths(codes);
  const uint64_t longest = random.one_in(2) ? 5 : 200000;
  for (uint32_t& length : lengths) length = static_cast<uint32_t>(random.below(longest));
  return cumulative_dictionary(lengths);
}

void set_random_edges(Edge& edge, Place& place, Random& random) {
  edge = random.one_in(4) ? Edge::begin : Edge::end;
  constexpr Place places[] = {Place::end, Place::begin, Place::middle};
  place = places[random.below(3)];
}

std::string decode_slot_difference(const SweepSlot& slot, uint64_t seed) {
  Random random(seed);
  DecodeBatch batch;
  batch.width_bits = width_at(slot.index);
  uint64_t codes = top_code(batch.width_bits) + 1;
  batch.dictionary = random_dictionary(codes, random);
  batch.codes.resize(1 + random_row_count(random));
  for (uint64_t& code : batch.codes) code = random.below(codes);
  batch.list.resize(1 + random.below(100));
  for (uint32_t& row : batch.list) row = static_cast<uint32_t>(random.below(batch.codes.size()));
  batch.more_flags = random.one_in(4) ? COLX_RLE : 0;
  batch.kctx_flags = static_cast<uint32_t>(random.next());
  batch.flags_out = static_cast<uint32_t>(random.next());
  batch.store = !random.one_in(4)  ? Store::plain
                : random.one_in(2) ? Store::compressed
                                   : Store::decompressed;
  batch.decode_status = random.one_in(3) ? static_cast<uint32_t>(random.next()) : 0;
  set_random_edges(batch.edge, batch.place, random);
  return decode_difference({slot.name, reinterpret_cast<colx_decode_fn>(slot.kernel)}, batch);
}

std::string symbol_slot_difference(const SweepSlot& slot, uint64_t seed) {
  Random random(seed);
  SymbolBatch batch;
  batch.width_bits = width_at(slot.index);
  uint64_t codes = top_code(batch.width_bits) + 1;
  batch.dictionary = random_dictionary(codes, random);
  batch.kctx_flags = static_cast<uint32_t>(random.next());
  batch.more_flags = static_cast<uint32_t>(random.next());
  const bool copies = batch.width_bits == 32 && batch.dictionary.layout == COLX_DICT_ONE_LENGTH &&
                      (batch.kctx_flags & COLX_KCTX_COPY_VALUES) != 0;
  if (copies) {
    if (random.one_in(2)) batch.dictionary.one_length = 1;
    batch.dictionary.one_length %= 40;
    codes = 1 + random.below(random.one_in(2) ? 20 : 300);
    batch.dictionary.num_symbols = static_cast<uint32_t>(codes);
    batch.dictionary.symbols = random.bytes(copied_symbol_bytes(batch.dictionary));
  }
  batch.codes.resize(random_row_count(random));
  for (uint32_t& code : batch.codes) code = static_cast<uint32_t>(random.below(codes));
  // A dictionary of NULLs needs the indicators.
  batch.with_row_flags = batch.dictionary.one_length == 0 || random.one_in(2);
  set_random_edges(batch.edge, batch.place, random);
  return symbol_difference({slot.name, reinterpret_cast<colx_decode_fn>(slot.kernel)}, batch);
}

}  // namespace

extern const SweepFamily decode_sweep;
const SweepFamily decode_sweep = {"decode", serves_decode, decode_slot_difference};

extern const SweepFamily symbol_decode_sweep;
const SweepFamily symbol_decode_sweep = {"decode_symbol", serves_symbol, symbol_slot_difference};

}  // namespace colx::test
