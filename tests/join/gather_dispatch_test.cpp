// gather: which kernel serves which records, tried over all flags, and what status 2 leaves alone.
#include <gtest/gtest.h>

#include <optional>

#include "tests/join/flag_subsets.h"
#include "tests/support/crash_note.h"
#include "tests/support/gather_stage.h"

namespace colx::test {
namespace {

using oracle::GatherForm;
using oracle::GatherIndex;
using oracle::GatherResult;
using oracle::GatherStore;

constexpr uint32_t result_flags[] = {COLX_FIXED,  COLX_LV_SEP, COLX_LV,
                                     COLX_LP_SEP, COLX_LP,     COLX_DLP};
constexpr uint32_t source_flags[] = {COLX_FIXED, COLX_RIDVALUE, COLX_LP_SEP, COLX_LP, COLX_DLP};
constexpr uint32_t store_bits[] = {COLX_STORE_CLA, COLX_STORE_DLP, COLX_STORE_LP};

struct Choice {
  uint32_t res_flags;
  uint32_t src_flags;
  uint32_t store_type;
  uint32_t width;
  uint32_t kctx_flags;
};

// Writes the choice into the stage's records, whatever they held.
void choose(const Choice& choice) {
  GatherStage& stage = gather_stage();
  stage.res_encoding.colx_enc_ctx_flags = choice.res_flags;
  stage.src_encoding.colx_enc_ctx_flags = choice.src_flags;
  stage.src_encoding.colx_enc_ctx_width = choice.width;
  stage.store.colx_store_type = choice.store_type;
  stage.kctx.colx_kctx_flags = choice.kctx_flags;
}

std::optional<GatherForm> form_of(const Choice& choice) {
  GatherStage& stage = gather_stage();
  choose(choice);
  return oracle::gather_form(stage.res, stage.src, stage.store, &stage.kctx);
}

// Empty if a call with such records does what the form does that they ask for. All that this form
// has no use for is unreadable, so that another kernel than the one meant ends the program.
std::string difference(const Choice& choice, Random& random) {
  GatherStage& stage = gather_stage();
  GatherBatch batch =
      random_gather_batch({GatherStore::lp, GatherResult::lp, GatherIndex::fixed_8}, 0, random);
  stage.set(batch);
  const std::optional<GatherForm> form = form_of(choice);
  set_crash_note("colx_gather_dydi, flags %x and %x, store %x: %s", choice.res_flags,
                 choice.src_flags, choice.store_type,
                 form ? oracle::gather_name(*form).c_str() : "not served");
  if (form) {
    batch = random_gather_batch(*form, 3, random);
    batch.index_bits = choice.width;
    if (form->index == GatherIndex::fixed && choice.width < 8) batch.indices = {0, 0, 0};
    batch.capacity = 1000;
    stage.set(batch);
    choose(choice);
    const oracle::GatherOutcome expected = stage.expected();
    return stage.difference(stage.call(colx_global_specialized_ctx.colx_sctx_gather), expected);
  }
  stage.data.place(64, Place::middle);
  stage.aux.place(64, Place::middle);
  stage.res.colx_cv_data = stage.data.begin();
  stage.res.colx_cv_aux = stage.aux.begin();
  stage.src.colx_cv_num_of_rows = 3;
  const GatherRun run = stage.call(colx_global_specialized_ctx.colx_sctx_gather);
  if (run.status != COLX_NOT_SERVED) return "served";
  return stage.touched();
}

TEST(GatherDispatch, EveryCombinationOfFlags) {
  constexpr uint32_t widths[] = {8, 16, 32, 64, 24, 40, 56, 12, 39, 65, 3};
  Random random(1);
  size_t refused = 0;
  for (unsigned res = 0; res < 64; ++res) {
    for (unsigned src = 0; src < 32; ++src) {
      for (unsigned store = 0; store < 8; ++store) {
        const Choice choice = {
            some_of(result_flags, res) | (random.one_in(2) ? COLX_HASH_VALUES | COLX_DICT : 0u),
            some_of(source_flags, src) | (random.one_in(2) ? COLX_NATIVE | COLX_LV : 0u),
            some_of(store_bits, store) | static_cast<uint32_t>(random.next() & ~uint64_t{0x38}),
            random.pick<uint32_t>(widths), static_cast<uint32_t>(random.next())};
        ASSERT_EQ(difference(choice, random), "")
            << "flags " << choice.res_flags << " and " << choice.src_flags << ", store "
            << choice.store_type << ", width " << choice.width;
        if (!form_of(choice)) ++refused;
      }
    }
  }
  EXPECT_GT(refused, 1000u);
}

TEST(GatherDispatch, StoreFormsAreTriedInTheOrderLpDlpCla) {
  Random random(2);
  const Choice all = {COLX_LP, COLX_FIXED, 0x38, 32, 0};
  EXPECT_EQ(form_of(all)->store, GatherStore::lp);
  EXPECT_EQ(difference(all, random), "");
  EXPECT_EQ(difference({COLX_LP, COLX_FIXED, 0x18, 32, 0}, random), "");
  EXPECT_EQ(difference({COLX_LP, COLX_FIXED, 0x08, 32, 0}, random), "");
  EXPECT_EQ(difference({COLX_LP, COLX_FIXED, 0x07, 32, 0}, random), "");
}

TEST(GatherDispatch, AResultOfLvOrLvSepWithAPointerSourceNeedsNoStoreForm) {
  Random random(3);
  for (const uint32_t result : {COLX_LV_SEP, COLX_LV}) {
    for (const uint32_t source : {COLX_LP_SEP, COLX_LP, COLX_DLP}) {
      const Choice choice = {result, source, 0, 0, 0};
      EXPECT_EQ(form_of(choice)->store, GatherStore::none);
      EXPECT_EQ(difference(choice, random), "");
      const Choice with_store = {result | COLX_FIXED, source | COLX_FIXED, 0x38, 32, 0};
      EXPECT_EQ(form_of(with_store)->store, GatherStore::none);
      EXPECT_EQ(difference(with_store, random), "");
    }
  }
}

TEST(GatherDispatch, ADirectSourceWithAnotherResultIsNotServed) {
  Random random(4);
  for (const uint32_t result : {COLX_FIXED, COLX_LP_SEP, COLX_LP, COLX_DLP}) {
    EXPECT_EQ(form_of({result, COLX_LP, COLX_STORE_LP, 0, 0}), std::nullopt);
    EXPECT_EQ(difference({result, COLX_LP, COLX_STORE_LP, 0, 0}, random), "");
  }
}

TEST(GatherDispatch, WidthsAreReadAs16BitNumbers) {
  Random random(5);
  for (const uint32_t width : {0x10008u, 0xFFFF0010u, 0x10020u, 0xABCD0040u, 0x10018u}) {
    EXPECT_EQ(difference({COLX_LP, COLX_FIXED, COLX_STORE_LP, width, 0}, random), "") << width;
  }
}

TEST(GatherDispatch, WhatIsNotServedNeedsNoKctx) {
  GatherStage& stage = gather_stage();
  Random random(6);
  stage.set(
      random_gather_batch({GatherStore::lp, GatherResult::lp, GatherIndex::ridvalue}, 0, random));
  stage.res_encoding.colx_enc_ctx_flags = COLX_DICT;
  stage.src.colx_cv_num_of_rows = 3;
  EXPECT_EQ(
      colx_global_specialized_ctx.colx_sctx_gather(&stage.res, &stage.src, &stage.store, nullptr),
      COLX_NOT_SERVED);
}

TEST(GatherDispatch, OnlyFlag0x20TakesTheRowIdOfARecord) {
  Random random(7);
  const Choice value = {COLX_LP, COLX_RIDVALUE, COLX_STORE_LP, 0, ~0x20u};
  EXPECT_EQ(form_of(value)->index, GatherIndex::ridvalue);
  EXPECT_EQ(difference(value, random), "");
  const Choice rid = {COLX_LP, COLX_RIDVALUE, COLX_STORE_LP, 0, 0x20};
  EXPECT_EQ(form_of(rid)->index, GatherIndex::ridvalue_rid);
  EXPECT_EQ(difference(rid, random), "");
}

}  // namespace
}  // namespace colx::test
