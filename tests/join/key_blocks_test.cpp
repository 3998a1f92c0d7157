// The passes that hash a block of rows for partition, build and probe: seed 0 whatever the caller
// knows of seeds, and where each row of a stream starts.
#include <gtest/gtest.h>

#include "kernels/join/hash_passes.h"
#include "tests/oracle/native_numbers.h"
#include "tests/support/chosen_hash.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/key_column.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using oracle::KeyLayout;

constexpr KeyLayout block_layouts[] = {KeyLayout::fixed, KeyLayout::lv, KeyLayout::lv_sep,
                                       KeyLayout::lp, KeyLayout::lp_sep};

// A value in the unused arguments: nothing may come of it.
constexpr uint64_t unused = 0x5A5A5A5A5A5A5A5A;

struct BlockRun {
  std::vector<uint64_t> hashes;
  std::vector<uint64_t> starts;
  std::string damage;
};

void call_pass(KeyLayout layout, uint64_t* hashes, uint64_t* offsets, const colx_cv& src,
               uint16_t length, uint32_t rows) {
  const void* const data = src.colx_cv_data;
  const void* const aux = src.colx_cv_aux;
  switch (layout) {
    case KeyLayout::fixed:
      return colx_hashfn_array_fixed(hashes, data, length, rows, unused, recording_hash);
    case KeyLayout::lv:
      return colx_hashfn_array_lv(hashes, offsets, data, rows, unused, unused, recording_hash);
    case KeyLayout::lv_sep:
      return colx_hashfn_array_lv_sep(hashes, offsets, data, aux, rows, unused, recording_hash);
    case KeyLayout::lp:
      return colx_hashfn_array_lp(hashes, data, rows, unused, recording_hash);
    default:
      return colx_hashfn_array_lp_sep(hashes, data, aux, rows, unused, recording_hash);
  }
}

KeyBatch random_batch(KeyLayout layout, uint32_t rows, Random& random) {
  constexpr uint16_t lengths[] = {0, 1, 2, 3, 8, 17, 255, 256, 300};
  KeyBatch batch;
  batch.layout = layout;
  batch.edge = random.one_in(2) ? Edge::begin : Edge::end;
  batch.width_bits = 8 * random.pick<uint16_t>(lengths);
  batch.rows.resize(rows);
  for (KeyRow& row : batch.rows) row.length = random.pick<uint16_t>(lengths);
  return batch;
}

// Empty if the pass asks, stores and returns what the layout says, and touches nothing else.
std::string block_difference(const KeyBatch& batch) {
  static KeyColumn column;
  static GuardedOutput hashes_output, offsets_output;
  static GuardedPages nowhere;
  column.set(batch);
  column.remember();
  const auto rows = static_cast<uint32_t>(batch.rows.size());
  const bool stream = oracle::is_stream(batch.layout);
  uint64_t* const hashes = hashes_output.words(rows, Place::end);
  uint64_t* const offsets = stream ? offsets_output.words(rows + 1, Place::end)
                                   : reinterpret_cast<uint64_t*>(nowhere.unreadable());
  set_crash_note("colx_hashfn_array_%s, %u rows", layout_name(batch.layout), rows);
  start_recording();
  call_pass(batch.layout, hashes, offsets, column.cv, static_cast<uint16_t>(batch.width_bits >> 3),
            rows);

  const oracle::KeyRun run = oracle::keys_of(batch.layout, column.cv, 0, 0, rows);
  if (recorded_calls().size() != rows) {
    return std::to_string(recorded_calls().size()) + " calls for " + std::to_string(rows);
  }
  for (uint32_t row = 0; row < rows; ++row) {
    const oracle::HashCall expected = {run.keys[row].at, run.keys[row].length, 0};
    if (recorded_calls()[row] != expected || hashes[row] != recorded_value(expected)) {
      return "row " + std::to_string(row);
    }
  }
  for (uint32_t row = 0; stream && row <= rows; ++row) {
    if (offsets[row] != run.starts[row]) return "offset " + std::to_string(row);
  }
  if (std::string text = hashes_output.damage(); !text.empty()) return text;
  if (std::string text = offsets_output.damage(); stream && !text.empty()) return text;
  return column.damage();
}

TEST(KeyBlocks, HashEveryRowUnderSeedZeroAndTellWhereItStarts) {
  for (const KeyLayout layout : block_layouts) {
    for (const uint32_t rows : {0u, 1u, 2u, 3u, 100u, 1023u, 1024u}) {
      for (uint64_t round = 0; round < 5; ++round) {
        const uint64_t seed = mixed_seed(rows, round);
        Random random(seed);
        EXPECT_EQ(block_difference(random_batch(layout, rows, random)), "")
            << "colx_hashfn_array_" << layout_name(layout) << ", " << rows << " rows, seed "
            << seed;
      }
    }
  }
}

TEST(KeyBlocks, AFullBlockOfTheLongestRecordsTakesOffsetsBeyond26Bits) {
  for (const KeyLayout layout : {KeyLayout::lv, KeyLayout::lv_sep}) {
    KeyBatch batch;
    batch.layout = layout;
    batch.rows.resize(1024, {.length = 65535});
    EXPECT_EQ(block_difference(batch), "") << layout_name(layout);
  }
}

TEST(KeyBlocks, OffsetsCountTheLengthFieldsOfLengthPrefixedRecordsOnly) {
  KeyColumn column;
  KeyBatch batch;
  batch.rows = {{.length = 3}, {.length = 0}, {.length = 65535}};
  uint64_t hashes[3], offsets[4];

  batch.layout = KeyLayout::lv;
  column.set(batch);
  colx_hashfn_array_lv(hashes, offsets, column.cv.colx_cv_data, 3, 0, 0, chosen_hash);
  EXPECT_EQ(offsets[0], 0u);
  EXPECT_EQ(offsets[1], 5u);
  EXPECT_EQ(offsets[2], 7u);
  EXPECT_EQ(offsets[3], 65544u);

  batch.layout = KeyLayout::lv_sep;
  column.set(batch);
  colx_hashfn_array_lv_sep(hashes, offsets, column.cv.colx_cv_data, column.cv.colx_cv_aux, 3, 0,
                           chosen_hash);
  EXPECT_EQ(offsets[0], 0u);
  EXPECT_EQ(offsets[1], 3u);
  EXPECT_EQ(offsets[2], 3u);
  EXPECT_EQ(offsets[3], 65538u);
}

TEST(KeyBlocks, ACodeIsHashedAsFourRawBytes) {
  const uint32_t codes[] = {0, 1, 0xFFFFFFFF, 0x12345678};
  uint64_t hashes[4];
  start_recording();
  colx_hashfn_array_fixed(hashes, codes, 4, 4, 0, recording_hash);
  for (size_t row = 0; row < 4; ++row) {
    EXPECT_EQ(recorded_calls()[row], (oracle::HashCall{codes + row, 4, 0}));
  }
}

}  // namespace
}  // namespace colx::test
