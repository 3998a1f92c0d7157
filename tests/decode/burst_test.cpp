// The burst kernels: from bits per run to bits per row, by the entries and by each form alone.
#include <gtest/gtest.h>

#include "kernels/decode/inner_forms.h"
#include "tests/support/assertion_text.h"
#include "tests/support/burst_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using oracle::BurstForm;
using oracle::RunRows;

struct Form {
  BurstKernel kernel;
  BurstForm form;
};

#define COLX_FORM(suffix, kind, form) \
  { {"colx_burst_rle_" #suffix, colx_burst_rle_##suffix, RunRows::kind}, BurstForm::form }
constexpr Form forms[] = {
    COLX_FORM(8bit_selective, byte_lengths, selective),
    COLX_FORM(8bit_inv_selective, byte_lengths, inv_selective),
    COLX_FORM(8bit_local_cla, byte_lengths, local_cla),
    COLX_FORM(8bit_inv_local_cla, byte_lengths, inv_local_cla),
    COLX_FORM(8bit_cla_selective, cumulative, selective),
    COLX_FORM(8bit_cla_inv_selective, cumulative, inv_selective),
    COLX_FORM(16bit_selective, two_byte_lengths, selective),
    COLX_FORM(16bit_inv_selective, two_byte_lengths, inv_selective),
    COLX_FORM(16bit_local_cla, two_byte_lengths, local_cla),
    COLX_FORM(16bit_inv_local_cla, two_byte_lengths, inv_local_cla),
    COLX_FORM(16bit_cla_selective, cumulative, selective),
    COLX_FORM(16bit_cla_inv_selective, cumulative, inv_selective),
};
#undef COLX_FORM

constexpr uint32_t entry_codes[] = {COLX_WIDTH_BURST_8BIT, COLX_WIDTH_BURST_8BIT_CLA,
                                    COLX_WIDTH_BURST_16BIT, COLX_WIDTH_BURST_16BIT_CLA};

uint32_t longest_run(RunRows kind) {
  return kind == RunRows::byte_lengths ? 255 : 65535;
}

constexpr Place all_places[] = {Place::end, Place::begin, Place::middle};

// The batch with its last and its first byte at the edge of an unreadable page.
void expect_right(const Form& form, BurstBatch batch) {
  for (const Place place : all_places) {
    batch.place = place;
    EXPECT_EQ(burst_difference(form.kernel, batch, form.form), "");
  }
}

BurstRun run(const Form& form, const BurstBatch& batch) {
  burst_stage().set(form.kernel.kind, batch);
  return burst_stage().call(form.kernel.kernel);
}

BurstRun run(uint32_t entry_code, const BurstBatch& batch) {
  const BurstKernel entry = burst_entry(entry_code);
  burst_stage().set(entry.kind, batch);
  return burst_stage().call(entry.kernel);
}

// Runs of one row each and one row behind them that no run covers: set by the inverted forms, clear
// by the others.
BurstBatch batch_with_a_row_behind(uint32_t runs, uint64_t set) {
  BurstBatch batch = burst_batch(std::vector<uint32_t>(runs, 1));
  batch.rows += 1;
  batch.set = set;
  return batch;
}

bool entry_begins_set(uint32_t entry_code, uint32_t runs, uint64_t set) {
  const BurstRun got = run(entry_code, batch_with_a_row_behind(runs, set));
  return oracle::bit_at(got.bits.data(), runs);
}

TEST(BurstChoice, OneOfAHundredRunsIsSelective) {
  EXPECT_EQ(oracle::burst_form(RunRows::byte_lengths, 100, 1), BurstForm::selective);
  EXPECT_FALSE(entry_begins_set(COLX_WIDTH_BURST_8BIT, 100, 1));
}

TEST(BurstChoice, TwoOfAHundredRunsAreLocalCla) {
  EXPECT_EQ(oracle::burst_form(RunRows::byte_lengths, 100, 2), BurstForm::local_cla);
  EXPECT_FALSE(entry_begins_set(COLX_WIDTH_BURST_8BIT, 100, 2));
}

TEST(BurstChoice, FiftyOfAHundredRunsAreLocalCla) {
  EXPECT_EQ(oracle::burst_form(RunRows::byte_lengths, 100, 50), BurstForm::local_cla);
  EXPECT_FALSE(entry_begins_set(COLX_WIDTH_BURST_8BIT, 100, 50));
}

TEST(BurstChoice, SixtyOfAHundredRunsAreInvLocalCla) {
  EXPECT_EQ(oracle::burst_form(RunRows::byte_lengths, 100, 60), BurstForm::inv_local_cla);
  EXPECT_TRUE(entry_begins_set(COLX_WIDTH_BURST_8BIT, 100, 60));
}

TEST(BurstChoice, NinetyEightOfAHundredRunsAreInvLocalCla) {
  EXPECT_EQ(oracle::burst_form(RunRows::byte_lengths, 100, 98), BurstForm::inv_local_cla);
  EXPECT_TRUE(entry_begins_set(COLX_WIDTH_BURST_8BIT, 100, 98));
}

TEST(BurstChoice, NinetyNineOfAHundredRunsAreInvSelective) {
  EXPECT_EQ(oracle::burst_form(RunRows::byte_lengths, 100, 99), BurstForm::inv_selective);
  EXPECT_TRUE(entry_begins_set(COLX_WIDTH_BURST_8BIT, 100, 99));
}

// Which side a form begins with is all that tells one choice from another; it changes above half.
TEST(BurstChoice, BeginsSetFromMoreThanHalfTheRunsOnAtEveryRunCount) {
  for (const uint32_t code : entry_codes) {
    const RunRows kind = burst_entry(code).kind;
    for (uint32_t runs = 0; runs <= 260; ++runs) {
      for (const uint64_t set : {runs / 50, runs / 50 + 1, runs / 2, runs / 2 + 1, runs - runs / 50,
                                 runs - runs / 50 + 1, runs}) {
        EXPECT_EQ(entry_begins_set(code, runs, set),
                  is_inverted(oracle::burst_form(kind, runs, set)))
            << burst_entry(code).name << ": " << set << " of " << runs;
      }
    }
  }
}

TEST(BurstChoice, ComparesTheNumberOfSetRunsAs64Bits) {
  for (const uint32_t code : entry_codes) {
    EXPECT_TRUE(entry_begins_set(code, 100, uint64_t{1} << 32)) << burst_entry(code).name;
    EXPECT_TRUE(entry_begins_set(code, 100, uint64_t{1} << 63)) << burst_entry(code).name;
  }
}

// Every length on both sides of the 56-bit steps, at every position in a word, first in the rows
// and behind others, hit and not.
TEST(BurstForms, SetRunsOfEveryLengthAtEveryPosition) {
  for (const Form& form : forms) {
    for (const uint32_t length :
         {0u,  1u,   2u,   7u,   8u,   55u,  56u,  57u,  58u,  63u,  64u,
          65u, 111u, 112u, 113u, 114u, 127u, 128u, 168u, 169u, 254u, 255u}) {
      for (uint32_t position = 0; position <= 64; ++position) {
        BurstBatch batch = burst_batch({position, length, 3});
        batch.hit(1);
        expect_right(form, batch);
        batch.hit(0);
        batch.run_bits[0] ^= 2;
        expect_right(form, batch);
      }
    }
  }
}

TEST(BurstForms, SetRunsOf65535Rows) {
  for (const Form& form : forms) {
    if (longest_run(form.kernel.kind) < 65535) continue;
    for (const uint32_t position : {0u, 1u, 7u, 8u, 63u, 64u}) {
      BurstBatch batch = burst_batch({position, 65535, 65535, 1});
      batch.hit(1);
      expect_right(form, batch);
    }
  }
}

TEST(BurstForms, ARunOf256RowsHasTheLengthBytes0100) {
  for (const Form& form : forms) {
    if (form.kernel.kind != RunRows::two_byte_lengths || is_inverted(form.form)) continue;
    BurstBatch batch = burst_batch({256, 1});
    batch.hit(0);
    EXPECT_EQ(run(form, batch).bits, (Words{~0ull, ~0ull, ~0ull, ~0ull, 0})) << form.kernel.name;
    EXPECT_EQ(run(form, batch).num_set, 256u) << form.kernel.name;
  }
}

TEST(BurstForms, ARunOf255RowsFromRow7EndsRight) {
  for (const Form& form : forms) {
    if (is_inverted(form.form)) continue;
    BurstBatch batch = burst_batch({7, 255, 20});
    batch.hit(1);
    const BurstRun got = run(form, batch);
    EXPECT_EQ(got.bits, (Words{~0x7Full, ~0ull, ~0ull, ~0ull, 0x3F})) << form.kernel.name;
    EXPECT_EQ(got.num_set, 255u) << form.kernel.name;
    EXPECT_EQ(got.status, COLX_DONE) << form.kernel.name;
  }
}

TEST(BurstForms, ARunOf255RowsFromRow7IsTakenAwayAndBitsPastTheRowsAreClear) {
  for (const Form& form : forms) {
    if (!is_inverted(form.form)) continue;
    BurstBatch batch = burst_batch({7, 255, 20});
    batch.hit(0);
    batch.hit(2);
    const BurstRun got = run(form, batch);
    EXPECT_EQ(got.bits, (Words{0x7F, 0, 0, 0, 0x3FFFFC0})) << form.kernel.name;
    EXPECT_EQ(got.num_set, 27u) << form.kernel.name;
  }
}

TEST(BurstForms, WithoutASetRunCountZeroReturnNothingFoundAndClearEverything) {
  for (const Form& form : forms) {
    const BurstRun got = run(form, burst_batch({30, 0, 90, 8}));
    EXPECT_EQ(got.bits, (Words{0, 0})) << form.kernel.name;
    EXPECT_EQ(got.num_set, 0u) << form.kernel.name;
    EXPECT_EQ(got.status, COLX_NOTHING_FOUND) << form.kernel.name;
  }
}

TEST(BurstForms, WithAllRunsSetCountTheRowsOfTheResult) {
  for (const Form& form : forms) {
    BurstBatch batch = burst_batch({30, 1, 89, 9});
    batch.run_bits[0] = 0xF;
    const BurstRun got = run(form, batch);
    EXPECT_EQ(got.bits, (Words{~0ull, ~0ull, 1})) << form.kernel.name;
    EXPECT_EQ(got.num_set, 129u) << form.kernel.name;
  }
}

TEST(BurstForms, LeaveRowsThatNoRunCoversAsTheyBegan) {
  for (const Form& form : forms) {
    BurstBatch batch = burst_batch({10, 10});
    batch.hit(0);
    batch.rows = 100;
    const bool set = is_inverted(form.form);
    const BurstRun got = run(form, batch);
    EXPECT_EQ(got.bits[0], set ? 0xFFFFFFFFFFF003FF : 0x3FFu) << form.kernel.name;
    EXPECT_EQ(got.bits[1], set ? 0xFFFFFFFFFu : 0u) << form.kernel.name;
    EXPECT_EQ(got.num_set, set ? 90u : 10u) << form.kernel.name;
    expect_right(form, batch);
    batch.rows = 128;
    expect_right(form, batch);
  }
}

TEST(BurstForms, TakeTheFirstRowOfARunFromTheCumulativeArray) {
  for (const Form& form : forms) {
    if (form.kernel.kind != RunRows::cumulative) continue;
    BurstBatch batch = burst_batch({10, 10});
    batch.hit(1);
    batch.first_row = 5;
    batch.rows = 25;
    EXPECT_EQ(run(form, batch).bits[0], is_inverted(form.form) ? 0x1FF801Fu : 0x1FF8000u);
    expect_right(form, batch);
  }
}

TEST(BurstForms, IgnoreRunBitsPastTheRuns) {
  for (const Form& form : forms) {
    BurstBatch batch = burst_batch({40, 50, 0});
    batch.hit(1);
    const Words expected = run(form, batch).bits;
    batch.run_bits[0] |= ~uint64_t{7};
    EXPECT_EQ(run(form, batch).bits, expected) << form.kernel.name;
    expect_right(form, batch);
  }
}

// A 64-bit access at the byte behind the last row would reach an eighth byte behind the result.
TEST(BurstForms, ARunOfNoRowsBehindAFullLastWordTouchesNoByte) {
  for (const Form& form : forms) {
    for (const uint64_t bits : {0ull, 1ull, 6ull, 7ull}) {
      BurstBatch batch = burst_batch({128, 0, 0});
      batch.run_bits[0] = bits;
      expect_right(form, batch);
    }
  }
}

TEST(BurstForms, WorkOnMisalignedResults) {
  for (const Form& form : forms) {
    for (size_t shift = 0; shift < 8; ++shift) {
      BurstBatch batch = burst_batch({3, 100, 60, 2, 200, 1});
      batch.run_bits[0] = 0x2A;
      batch.shift = shift;
      EXPECT_EQ(burst_difference(form.kernel, batch, form.form), "");
    }
  }
}

// Blocks of 64 runs: every run count around them, every second run hit, then all but those.
TEST(BurstForms, TakeEveryNumberOfRunsAroundTheirBlocks) {
  Random random(6);
  for (const Form& form : forms) {
    for (const uint32_t runs :
         {0u, 1u, 2u, 62u, 63u, 64u, 65u, 66u, 127u, 128u, 129u, 191u, 192u, 193u, 256u, 257u}) {
      std::vector<uint32_t> lengths(runs);
      for (uint32_t& length : lengths) {
        length = static_cast<uint32_t>(random.below(longest_run(form.kernel.kind) / 8));
      }
      BurstBatch batch = burst_batch(std::move(lengths));
      for (const uint64_t bits : {0x5555555555555555ull, 0x0123456789ABCDEFull, ~0ull}) {
        for (uint64_t& word : batch.run_bits) word = bits;
        expect_right(form, batch);
      }
    }
  }
}

// 64 runs of 255 rows: their sum within a block needs 14 bits.
TEST(BurstForms, ABlockOfTheLongestByteRunsAddsUp) {
  for (const Form& form : forms) {
    BurstBatch batch = burst_batch(std::vector<uint32_t>(200, 255));
    for (const uint32_t run : {0u, 62u, 63u, 64u, 65u, 127u, 128u, 199u}) batch.hit(run);
    expect_right(form, batch);
  }
}

TEST(BurstForms, AgreeWithTheOracleOnRandomRuns) {
  for (const Form& form : forms) {
    for (uint64_t seed = 0; seed < 300; ++seed) {
      Random random(mixed_seed(seed, 7));
      std::vector<uint32_t> lengths(random.below(200));
      const uint64_t mean = random.below(longest_run(form.kernel.kind) < 300 ? 255 : 1500) + 1;
      for (uint32_t& length : lengths) length = static_cast<uint32_t>(random.below(mean + 1));
      BurstBatch batch = burst_batch(std::move(lengths));
      batch.run_bits = random.words(batch.run_bits.size(), 1 + random.below(4));
      batch.rows += random.below(130);
      batch.place = random.pick(std::span<const Place>(all_places));
      EXPECT_EQ(burst_difference(form.kernel, batch, form.form), "") << "seed " << seed;
    }
  }
}

struct EntryLines {
  uint32_t code;
  const char* name;
  unsigned first_line;
};

constexpr EntryLines entry_lines[] = {
    {COLX_WIDTH_BURST_8BIT, "colx_burst_rle_8bit", 345724},
    {COLX_WIDTH_BURST_8BIT_CLA, "colx_burst_rle_8bit_cla", 345953},
    {COLX_WIDTH_BURST_16BIT, "colx_burst_rle_16bit", 346475},
    {COLX_WIDTH_BURST_16BIT_CLA, "colx_burst_rle_16bit_cla", 346704},
};
constexpr char runs_asserted[] =
    "(((((src)->colx_cv_encoding_context))->colx_enc_ctx_flags) & (COLX_RLE))";
constexpr char result_asserted[] = "colx_bv_res != colx_bv_aux";

TEST(BurstDeathTest, EntriesAssertARunLengthColumn) {
  for (const EntryLines& lines : entry_lines) {
    const BurstKernel entry = burst_entry(lines.code);
    EXPECT_STREQ(entry.name, lines.name);
    burst_stage().set(entry.kind, burst_batch({5}));
    burst_stage().encoding.colx_enc_ctx_flags = ~uint32_t{COLX_RLE};
    EXPECT_DEATH(burst_stage().call(entry.kernel),
                 assertion_text(runs_asserted, lines.first_line, lines.name));
  }
}

TEST(BurstDeathTest, EntriesAssertThatTheResultIsNotTheBitsOfTheRuns) {
  for (const EntryLines& lines : entry_lines) {
    const BurstKernel entry = burst_entry(lines.code);
    burst_stage().set(entry.kind, burst_batch({5}));
    burst_stage().kctx.colx_kctx_selection = burst_stage().res.colx_cv_bits;
    EXPECT_DEATH(burst_stage().call(entry.kernel),
                 assertion_text(result_asserted, lines.first_line + 1, lines.name));
  }
}

TEST(BurstDeathTest, TheColumnIsAssertedBeforeTheResult) {
  for (const EntryLines& lines : entry_lines) {
    const BurstKernel entry = burst_entry(lines.code);
    burst_stage().set(entry.kind, burst_batch({5}));
    burst_stage().encoding.colx_enc_ctx_flags = 0;
    burst_stage().kctx.colx_kctx_selection = burst_stage().res.colx_cv_bits;
    EXPECT_DEATH(burst_stage().call(entry.kernel),
                 assertion_text(runs_asserted, lines.first_line, lines.name));
  }
}

}  // namespace
}  // namespace colx::test
