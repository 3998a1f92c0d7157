// partition: which kernel serves which records, and what status 2 leaves alone.
#include <gtest/gtest.h>

#include <optional>

#include "tests/join/flag_subsets.h"
#include "tests/support/crash_note.h"
#include "tests/support/partition_stage.h"

namespace colx::test {
namespace {

using oracle::Carried;
using oracle::KeyLayout;
using oracle::PartitionForm;
using oracle::PartitionRecords;

constexpr uint32_t key_flags[] = {COLX_FIXED, COLX_LV_SEP,  COLX_LV,          COLX_LP_SEP,
                                  COLX_LP,    COLX_HASHRID, COLX_HASH_VALUES, COLX_GD};
constexpr uint32_t payload_flags[] = {COLX_FIXED,  COLX_LV_SEP, COLX_LV,
                                      COLX_LP_SEP, COLX_LP,     COLX_AUTORID};

colx_partition_call* entry() {
  return colx_global_specialized_ctx.colx_sctx_partition;
}

struct Choice {
  uint32_t type;
  uint32_t src_flags;
  uint32_t payload_flags;
};

std::optional<PartitionForm> form_of(const Choice& choice) {
  colx_part_set parts = {};
  colx_enc_ctx src_encoding = {}, payload_encoding = {};
  colx_cv src = {}, payload = {};
  parts.colx_part_type = choice.type;
  src_encoding.colx_enc_ctx_flags = choice.src_flags;
  payload_encoding.colx_enc_ctx_flags = choice.payload_flags;
  src.colx_cv_encoding_context = &src_encoding;
  payload.colx_cv_encoding_context = &payload_encoding;
  return oracle::partition_form(parts, src, &payload);
}

// The records of a choice that is not served, everything behind them unreadable.
std::string touched_when_refused(const Choice& choice) {
  static GuardedPages nowhere;
  uint8_t* const untouchable = nowhere.unreadable();
  colx_part_set parts = {};
  parts.colx_part_type = choice.type;
  parts.colx_part_cursors = parts.colx_part_ends = reinterpret_cast<void**>(untouchable);
  colx_enc_ctx encodings[2] = {};
  colx_cv vectors[2] = {};
  for (int i = 0; i < 2; ++i) {
    vectors[i].colx_cv_data = vectors[i].colx_cv_aux = untouchable;
    vectors[i].colx_cv_encoding_context = &encodings[i];
    vectors[i].colx_cv_num_of_rows = 3;
  }
  encodings[0].colx_enc_ctx_flags = choice.src_flags;
  encodings[1].colx_enc_ctx_flags = choice.payload_flags;
  colx_kctx kctx = {};
  kctx.colx_kctx_resume_extra = 11;
  kctx.colx_kctx_position = 1;
  kctx.colx_kctx_key_offset = 12;
  kctx.colx_kctx_value_offset = 13;
  const colx_part_set parts_before = parts;
  const colx_kctx kctx_before = kctx;
  const uint32_t status = entry()(&parts, &vectors[0], &vectors[1], nullptr, &kctx);
  if (status != COLX_NOT_SERVED) return "status " + std::to_string(status);
  if (std::memcmp(&parts, &parts_before, sizeof parts) != 0) return "changed: the partition set";
  return std::memcmp(&kctx, &kctx_before, sizeof kctx) == 0 ? "" : "changed: kctx";
}

// Empty if a call with such records does what the form does that they ask for. What this form has
// no use for is unreadable, so that another kernel than the one meant ends the program.
std::string difference(const Choice& choice, Random& random) {
  const std::optional<PartitionForm> form = form_of(choice);
  set_crash_note("colx_partition_dydi, type %x, flags %x and %x: %s", choice.type, choice.src_flags,
                 choice.payload_flags, form ? oracle::partition_name(*form).c_str() : "not served");
  const bool refuses = form && (choice.type & 0x10) != 0 &&
                       form->records != PartitionRecords::rid && form->carried != Carried::nothing;
  if (!form || refuses) return touched_when_refused(choice);
  PartitionStage& stage = partition_stage();
  PartitionBatch batch = random_partition_batch(*form, 3, random);
  stage.set(batch);
  stage.parts.colx_part_type = choice.type;
  stage.src.encoding.colx_enc_ctx_flags = choice.src_flags;
  if (stage.payload() == &stage.values.cv) {
    stage.values.encoding.colx_enc_ctx_flags = choice.payload_flags;
  } else if (stage.payload() == &stage.row_ids.cv) {
    stage.row_ids.encoding.colx_enc_ctx_flags = choice.payload_flags;
  }
  const oracle::PartitionOutcome expected = stage.expected();
  return stage.difference(stage.call(entry()), expected);
}

TEST(PartitionDispatch, EveryTypeAndEveryCombinationOfFlags) {
  Random random(1);
  size_t refused = 0;
  const auto expect_served_as_told = [&](const Choice& choice) {
    if (!form_of(choice)) ++refused;
    ASSERT_EQ(difference(choice, random), "")
        << std::hex << "type " << choice.type << ", flags " << choice.src_flags << " and "
        << choice.payload_flags;
  };
  for (uint32_t type = 0; type < 64; ++type) {
    const auto more = static_cast<uint32_t>(random.next() & ~uint64_t{0x3F});
    for (unsigned src = 0; src < 256; ++src) {
      expect_served_as_told({type | more, some_of(key_flags, src) | COLX_NATIVE,
                             some_of(payload_flags, static_cast<unsigned>(random.below(64)))});
    }
    for (unsigned payload = 0; payload < 64; ++payload) {
      expect_served_as_told({type | more,
                             some_of(key_flags, static_cast<unsigned>(random.below(256))),
                             some_of(payload_flags, payload) | COLX_DICT | COLX_DLP});
    }
  }
  EXPECT_GT(refused, 5000u);
}

TEST(PartitionDispatch, EveryKernelIsReachedByItsOwnFlags) {
  Random random(2);
  for (const PartitionKernel& kernel : partition_kernels()) {
    uint32_t src_flags = oracle::layout_flag(kernel.form.key);
    if (kernel.form.key == KeyLayout::lv && kernel.form.carried == Carried::nothing) {
      src_flags |= COLX_HASH_VALUES;
    }
    const auto layout = oracle::carried_layout(kernel.form.carried);
    const uint32_t flags = layout                                    ? oracle::layout_flag(*layout)
                           : kernel.form.carried == Carried::autorid ? uint32_t{COLX_AUTORID}
                                                                     : 0;
    const Choice choice = {oracle::part_type(kernel.form), src_flags, flags};
    ASSERT_TRUE(form_of(choice) == kernel.form) << kernel.name;
    EXPECT_EQ(difference(choice, random), "") << kernel.name;
  }
}

TEST(PartitionDispatch, Type0x29WithoutGdIsNotTriedAsRowIds) {
  for (const uint32_t flags : key_flags) {
    if (flags == COLX_GD) continue;
    EXPECT_EQ(form_of({0x29, flags, COLX_AUTORID}), std::nullopt);
    EXPECT_EQ(touched_when_refused({0x29, flags, COLX_AUTORID}), "");
  }
}

TEST(PartitionDispatch, Type0xEIsServedAs0xAAnd0xDAs9) {
  Random random(3);
  EXPECT_EQ(form_of({0xE, COLX_LP, COLX_FIXED})->records, PartitionRecords::lv);
  EXPECT_EQ(difference({0xE, COLX_LP, COLX_FIXED}, random), "");
  EXPECT_EQ(form_of({0xD, COLX_LP, COLX_FIXED})->records, PartitionRecords::rid);
  EXPECT_EQ(difference({0xD, COLX_LP, COLX_FIXED}, random), "");
  EXPECT_EQ(difference({0xF, COLX_LP, COLX_FIXED}, random), "");
}

TEST(PartitionDispatch, LvRecordsWithHashesAreSplitWhateverThePayloadSays) {
  Random random(4);
  for (unsigned payload = 0; payload < 64; ++payload) {
    for (const uint32_t more : {0u, uint32_t{COLX_FIXED}, uint32_t{COLX_LV_SEP | COLX_LP}}) {
      const Choice choice = {0xA, COLX_LV | COLX_HASH_VALUES | more,
                             some_of(payload_flags, payload)};
      EXPECT_EQ(form_of(choice)->carried, Carried::nothing);
      EXPECT_EQ(difference(choice, random), "");
    }
  }
}

TEST(PartitionDispatch, LvRecordsWithHashesAreLvKeysOfRowIdsAndFixedRecords) {
  Random random(5);
  const Choice rid = {0x9, COLX_LV | COLX_HASH_VALUES, COLX_AUTORID};
  EXPECT_EQ(form_of(rid)->key, KeyLayout::lv);
  EXPECT_EQ(difference(rid, random), "");
  const Choice fixed = {0xC, COLX_LV | COLX_HASH_VALUES, COLX_FIXED};
  EXPECT_EQ(form_of(fixed)->key, KeyLayout::lv);
  EXPECT_EQ(difference(fixed, random), "");
}

TEST(PartitionDispatch, TypeBit0x10RefusesAllLvAndFixedKernelsButTheOneThatSplitsRecords) {
  Random random(6);
  for (const PartitionKernel& kernel : partition_kernels()) {
    PartitionStage& stage = partition_stage();
    PartitionBatch batch = random_partition_batch(kernel.form, 30, random);
    batch.type = COLX_PART_REFUSE;
    for (colx_partition_call* const call : {kernel.kernel, entry()}) {
      stage.set(batch);
      const oracle::PartitionOutcome expected = stage.expected();
      const PartitionRun run = stage.call(call);
      EXPECT_EQ(stage.difference(run, expected), "") << kernel.name;
      const bool refuses =
          kernel.form.records != PartitionRecords::rid && kernel.form.carried != Carried::nothing;
      EXPECT_EQ(run.status, refuses ? COLX_NOT_SERVED : COLX_DONE) << kernel.name;
    }
  }
}

TEST(PartitionDispatch, DictionaryKeysAreNotServed) {
  for (const uint32_t type : {0x9u, 0xAu, 0xCu, 0x29u}) {
    EXPECT_EQ(touched_when_refused({type, COLX_DICT, COLX_FIXED | COLX_AUTORID}), "");
  }
}

}  // namespace
}  // namespace colx::test
