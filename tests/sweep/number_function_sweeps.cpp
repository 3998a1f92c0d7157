// Random calls of group sums, conversion, group keys and the crossing count.
#include <algorithm>

#include "tests/oracle/stored_numbers.h"
#include "tests/support/group_key_stage.h"
#include "tests/support/number_patterns.h"
#include "tests/support/number_sum_stage.h"
#include "tests/support/polygon_stage.h"
#include "tests/sweep/function_sweep.h"

namespace colx::test {
namespace {

// Rows of a numeric type, 1 and 2 in native form if told so; dsb rows are bytes as they come.
NumberColumn random_column(uint32_t type, bool native, uint32_t rows, Random& random) {
  constexpr uint32_t dsb_widths[] = {8, 16, 32, 64};
  const auto mix = random.pick<NumberMix>(all_mixes);
  NumberColumn column;
  column.rows = rows;
  column.type = type;
  column.flags = native ? uint32_t{COLX_NATIVE} : 0;
  column.width_bits = type == COLX_TYPE_FLOAT    ? 32
                      : type == COLX_TYPE_DOUBLE ? 64
                                                 : random.pick<uint32_t>(dsb_widths);
  column.edge = random.one_in(2) ? Edge::begin : Edge::end;
  const unsigned bytes = column.width_bits / 8;
  if (type == COLX_TYPE_DSB) {
    column.stored = random.bytes(size_t{rows} * bytes);
  } else {
    column.stored =
        oracle::stored_rows(random_numbers(mix, bytes, rows, random), bytes,
                            native ? oracle::NumberForm::native : oracle::NumberForm::canonical);
  }
  return column;
}

uint32_t random_type(Random& random) {
  constexpr uint32_t types[] = {COLX_TYPE_FLOAT, COLX_TYPE_DOUBLE, COLX_TYPE_DSB};
  return random.pick<uint32_t>(types);
}

Place random_place(Random& random) {
  constexpr Place places[] = {Place::begin, Place::middle, Place::end};
  return random.pick<Place>(places);
}

std::string group_sums_difference(uint64_t seed) {
  Random random(seed);
  const uint32_t type = random_type(random);
  const auto rows = static_cast<uint32_t>(random.below(300));
  GroupSumBatch batch;
  batch.column = random_column(type, random.one_in(2), rows, random);
  batch.place = random_place(random);
  const size_t elements = 1 + random.below(40);
  batch.elements =
      random_numbers(NumberMix::ordinary, type == COLX_TYPE_FLOAT ? 4 : 8, elements, random);
  if (random.one_in(3)) return group_sum_difference(batch);
  batch.groups.emplace(rows);
  for (uint32_t& group : *batch.groups) group = static_cast<uint32_t>(random.below(elements));
  return group_sum_difference(batch);
}

std::string conversion_difference(uint64_t seed) {
  Random random(seed);
  const uint32_t type = random_type(random);
  NumberBatch batch;
  batch.column = random_column(type, false, static_cast<uint32_t>(random.below(300)), random);
  batch.place = random_place(random);
  batch.element = random_number(NumberMix::ordinary, type == COLX_TYPE_FLOAT ? 4 : 8, random);
  // Rows of dsb are summed only.
  if (type == COLX_TYPE_DSB || random.one_in(2)) batch.kctx_flags = COLX_KCTX_SUM;
  return convert_difference(batch);
}

std::string group_keys_difference(uint64_t seed) {
  Random random(seed);
  const auto rows = static_cast<uint32_t>(1 + random.below(400));
  std::vector<GroupedColumn> columns;
  for (size_t count = 1 + random.below(5); columns.size() < count;) {
    const auto symbols = static_cast<uint32_t>(1 + random.bits(1 + unsigned(random.below(9))));
    columns.push_back(random.one_in(2) ? random_key_column(symbols, rows, random)
                                       : random_run_column(symbols, rows, 40, random));
  }
  GroupKeyBatch batch = group_key_batch(columns);
  batch.kctx_flags = static_cast<uint32_t>(random.next());  // other flags mean nothing here
  if (random.one_in(2)) batch.selection = random.words(words_of(rows), 1 + random.below(4));
  batch.position = random.one_in(2) ? 0 : static_cast<uint32_t>(random.below(rows + 1));
  batch.room = random.one_in(2) ? rows : static_cast<uint32_t>(random.below(rows + 3));
  batch.scratch_rows = 1 + static_cast<uint32_t>(random.below(rows + 3));
  batch.edge = random.one_in(4) ? Edge::begin : Edge::end;
  batch.place = random_place(random);
  return group_key_difference(batch);
}

std::string crossings_difference(uint64_t seed) {
  Random random(seed);
  const bool on_grid = random.one_in(2);
  const auto coordinate = [&] {
    return on_grid ? static_cast<double>(random.below(7)) - 3
                   : static_cast<double>(random.next() >> 11) * 0x1p-53 - 0.5;
  };
  PolygonBatch batch;
  batch.polygon.resize(random.below(120));
  for (oracle::Point& vertex : batch.polygon) vertex = {coordinate(), coordinate()};
  batch.query = {coordinate(), coordinate()};
  batch.edge = random.one_in(2) ? Edge::begin : Edge::end;
  return polygon_difference(batch);
}

}  // namespace

extern const FunctionSweep group_sum_sweep = {"gby_sum", "colx_gby_sum_dydi",
                                              group_sums_difference};
extern const FunctionSweep conversion_sweep = {"convert", "colx_convert_dydi",
                                               conversion_difference};
extern const FunctionSweep group_key_sweep = {"groupkey", "colx_groupkey_dydi",
                                              group_keys_difference};
extern const FunctionSweep polygon_sweep = {"spatial_pip", "colx_spatial_pip_dydi",
                                            crossings_difference};

}  // namespace colx::test
