#include "tests/sweep/scan_conditions.h"

namespace colx::test {
namespace {

// Bits beyond the rows are as random as the others; a walk begins by reading one whole word.
Words random_selection(Random& random, uint32_t rows, bool walked) {
  size_t words = words_of(rows);
  if (walked) words = std::max<size_t>(words + random.below(2), 1);
  if (random.one_in(6)) return Words(words, 0);
  if (random.one_in(6)) return Words(words, ~uint64_t{0});
  return random.words(words, 1 + static_cast<unsigned>(random.below(5)));
}

Store random_store(Random& random) {
  if (!random.one_in(4)) return Store::plain;
  return random.one_in(2) ? Store::compressed : Store::decompressed;
}

}  // namespace

uint32_t random_row_count(Random& random) {
  if (random.one_in(3)) return static_cast<uint32_t>(random.below(300));
  static const std::vector<uint32_t> edges = [] {
    std::vector<uint32_t> all;
    for (uint32_t rows_per_step : {8, 16, 32, 64, 128}) {
      const std::vector<uint32_t> more = row_counts(rows_per_step);
      all.insert(all.end(), more.begin(), more.end());
    }
    return all;
  }();
  return edges[random.below(edges.size())];
}

uint32_t set_random_conditions(ScanBatch& batch, bool has_twin, Random& random) {
  batch.set_rows(random_row_count(random));
  if (random.one_in(4)) {
    batch.res_rows = random_row_count(random);
    batch.src_rows = random_row_count(random);
    batch.run_rows = random_row_count(random);
  }
  batch.run_length = random.one_in(6);
  batch.expand_status = static_cast<uint32_t>(random.below(12));
  batch.store = random_store(random);
  batch.decode_status = random.one_in(3) ? static_cast<uint32_t>(random.next()) : 0;
  batch.with_kctx = !random.one_in(8);
  // Bits that mean nothing to a scan are as random as the one that does.
  batch.kctx_flags = static_cast<uint32_t>(random.next());
  batch.flags_out = random.one_in(2) ? 0 : static_cast<uint32_t>(random.next());
  batch.edge = random.one_in(4) ? Edge::begin : Edge::end;
  constexpr Place places[] = {Place::end, Place::begin, Place::middle};
  batch.place = places[random.below(3)];

  const bool selected = batch.with_kctx && random.one_in(2);
  const bool walked = has_twin && selected && (batch.kctx_flags & COLX_KCTX_SELECTIVE) != 0;
  const uint32_t rows = walked             ? batch.src_rows
                        : batch.run_length ? batch.run_rows
                                           : batch.res_rows;
  if (selected) batch.selection = random_selection(random, rows, walked);
  if (random.one_in(3)) batch.nulls = random.words(words_of(rows), 1);
  return rows;
}

InputFacts facts_of(const ScanBatch& batch, uint32_t slot, uint32_t rows, uint64_t lo,
                    uint64_t hi) {
  InputFacts facts;
  facts.slot = slot;
  facts.rows = rows;
  facts.has_kctx = batch.with_kctx;
  facts.compressed = batch.store != Store::plain;
  facts.run_length = batch.run_length;
  facts.lo = lo;
  facts.hi = hi;
  return facts;
}

}  // namespace colx::test
