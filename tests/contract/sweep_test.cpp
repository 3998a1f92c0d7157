// Every filled slot of the shared library, in random batches at guard pages, against its oracle.
//
// A failure prints the kernel, the row and a seed; this runs that batch again, alone:
//   COLX_SWEEP=colx_ge_dict_13bit:0x1234567890abcdef ./sweep_test
// COLX_SWEEP_BATCHES=1000 runs more batches a slot than the usual number, with the same seeds
// first; COLX_SWEEP_SEED=7 runs others.
#include "tests/sweep/sweep_family.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/dict_batch.h"
#include "tests/support/kernel_library.h"
#include "tests/support/seeded_random.h"
#include "tests/support/undefined_inputs.h"

namespace colx::test {
namespace {

constexpr uint64_t usual_batches = 200;

const KernelLibrary& library() {
  static const KernelLibrary opened(COLX_LIBRARY_FILE);
  return opened;
}

std::vector<SweepSlot> filled_slots() {
  std::vector<SweepSlot> slots;
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    if (library().kernel(i) != nullptr) {
      slots.push_back({i, library().name(i), library().kernel(i)});
    }
  }
  return slots;
}

uint64_t batches_per_slot() {
  const char* const text = std::getenv("COLX_SWEEP_BATCHES");
  return text != nullptr ? std::strtoull(text, nullptr, 0) : usual_batches;
}

std::string with_seed(const SweepSlot& slot, const std::string& difference, uint64_t seed) {
  char again[160];
  std::snprintf(again, sizeof again, "  again: COLX_SWEEP=%s:0x%llx", slot.name,
                static_cast<unsigned long long>(seed));
  return difference + again;
}

uint64_t seed_of(const SweepSlot& slot, uint64_t batch) {
  const char* const base = std::getenv("COLX_SWEEP_SEED");
  const uint64_t other = base != nullptr ? std::strtoull(base, nullptr, 0) << 32 : 0;
  return mixed_seed(slot.index ^ other, batch);
}

// Runs `batches` batches; gives the first difference with its seed, or nothing.
std::string first_difference(const SweepFamily& family, const SweepSlot& slot, uint64_t batches) {
  for (uint64_t b = 0; b < batches; ++b) {
    const std::string text = family.difference(slot, seed_of(slot, b));
    if (!text.empty()) return with_seed(slot, text, seed_of(slot, b));
  }
  return {};
}

TEST(Sweep, EveryFilledSlotHasAFamily) {
  for (const SweepSlot& slot : filled_slots()) {
    EXPECT_NE(sweep_family_of(slot.index), nullptr)
        << slot.name << " (slot " << slot.index << ") is filled and no sweep family serves it";
  }
}

TEST(Sweep, NoSlotIsServedByTwoFamilies) {
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    int serving = 0;
    for (const SweepFamily* family : sweep_families()) serving += family->serves(i) ? 1 : 0;
    EXPECT_LE(serving, 1) << library().name(i);
  }
}

TEST(Sweep, EveryFilledSlotAgreesWithItsOracle) {
  const char* const one = std::getenv("COLX_SWEEP");
  const char* const colon = one != nullptr ? std::strchr(one, ':') : nullptr;
  for (const SweepSlot& slot : filled_slots()) {
    const SweepFamily* const family = sweep_family_of(slot.index);
    if (family == nullptr) continue;  // reported above
    if (colon == nullptr) {
      EXPECT_EQ(first_difference(*family, slot, batches_per_slot()), "");
    } else if (std::string(one, colon) == slot.name) {
      const uint64_t seed = std::strtoull(colon + 1, nullptr, 0);
      EXPECT_EQ(with_seed(slot, family->difference(slot, seed), seed), with_seed(slot, "", seed));
    }
  }
  if (one != nullptr) return;
  for (const UndefinedInput& row : undefined_inputs()) {
    if (row.applies == nullptr) continue;
    EXPECT_GT(times_met(row), 0u) << "no batch has met this condition: " << row.condition;
  }
}

// Kernels with one mistake each, in the slot of an honest one: the sweep has to notice them all.

ScanKernel honest() {
  return kernel_named("colx_ge_dict_16bit");
}

uint32_t call_honest(colx_cv* res, colx_cv* src, const void* const* args, colx_kctx* kctx) {
  return reinterpret_cast<colx_scan_fn>(honest().kernel)(res, src, args, kctx);
}

uint32_t counts_one_more(colx_cv* res, colx_cv* src, const void* const* args, colx_kctx* kctx) {
  const uint32_t status = call_honest(res, src, args, kctx);
  ++res->colx_cv_num_set;
  return status;
}

uint32_t sets_bit_63_in_the_tail(colx_cv* res, colx_cv* src, const void* const* args,
                                 colx_kctx* kctx) {
  const uint32_t status = call_honest(res, src, args, kctx);
  const uint32_t rows = res->colx_cv_num_of_rows;
  if (rows % 64 != 0) res->colx_cv_bits[rows / 64] |= uint64_t{1} << 63;
  return status;
}

uint32_t writes_a_word_too_many(colx_cv* res, colx_cv* src, const void* const* args,
                                colx_kctx* kctx) {
  const uint32_t status = call_honest(res, src, args, kctx);
  if (res->colx_cv_num_of_rows % 64 == 1) {
    res->colx_cv_bits[-1] = 0;
  }
  return status;
}

uint32_t always_says_done(colx_cv* res, colx_cv* src, const void* const* args, colx_kctx* kctx) {
  const uint32_t status = call_honest(res, src, args, kctx);
  return status == COLX_NOTHING_FOUND ? uint32_t{COLX_DONE} : status;
}

uint32_t forgets_the_output_flag(colx_cv* res, colx_cv* src, const void* const* args,
                                 colx_kctx* kctx) {
  const uint32_t before = kctx != nullptr ? kctx->colx_kctx_flags_out : 0;
  const uint32_t status = call_honest(res, src, args, kctx);
  if (kctx != nullptr) kctx->colx_kctx_flags_out = before;
  return status;
}

uint32_t changes_the_source(colx_cv* res, colx_cv* src, const void* const* args, colx_kctx* kctx) {
  src->colx_cv_num_set = 0;
  return call_honest(res, src, args, kctx);
}

uint32_t ignores_nulls(colx_cv* res, colx_cv* src, const void* const* args, colx_kctx* kctx) {
  uint64_t* const nulls = src->colx_cv_nulls;
  src->colx_cv_nulls = nullptr;
  const uint32_t status = call_honest(res, src, args, kctx);
  src->colx_cv_nulls = nulls;
  return status;
}

uint32_t reads_behind_the_rows(colx_cv* res, colx_cv* src, const void* const* args,
                               colx_kctx* kctx) {
  const auto* const codes = static_cast<const volatile uint8_t*>(src->colx_cv_data);
  const bool plain =
      (src->colx_cv_encoding_context->colx_enc_ctx_flags & (COLX_RLE | COLX_COMPRESSED)) == 0;
  if (plain && kctx == nullptr) (void)codes[2 * size_t{res->colx_cv_num_of_rows}];
  return call_honest(res, src, args, kctx);
}

std::string sweep_of(colx_scan_fn kernel) {
  const SweepSlot slot = {dict_index({COLX_OPC_GE, 16, false}), honest().name,
                          reinterpret_cast<colx_kernel_fn>(kernel)};
  return first_difference(*sweep_family_of(slot.index), slot, usual_batches);
}

// The count is in the message or a consequence of it; what matters is that there is one, with a
// seed that shows it again.
TEST(SweepHarness, NoticesKernelsWithOneMistake) {
  EXPECT_EQ(sweep_of(call_honest), "");
  for (const colx_scan_fn wrong :
       {counts_one_more, sets_bit_63_in_the_tail, writes_a_word_too_many, always_says_done,
        forgets_the_output_flag, changes_the_source, ignores_nulls}) {
    EXPECT_NE(sweep_of(wrong).find("again: COLX_SWEEP=colx_ge_dict_16bit:0x"), std::string::npos);
  }
}

TEST(SweepHarness, EndsAtTheGuardPageBehindTheRows) {
  EXPECT_DEATH(sweep_of(reads_behind_the_rows), "memory fault in: colx_ge_dict_16bit, rows");
}

TEST(SweepHarness, ASeedMakesTheSameBatchAgain) {
  const SweepSlot slot = {dict_index({COLX_OPC_GE, 16, false}), honest().name,
                          reinterpret_cast<colx_kernel_fn>(&counts_one_more)};
  const SweepFamily& family = *sweep_family_of(slot.index);
  const std::string first = family.difference(slot, 12345);
  EXPECT_NE(first, "");
  EXPECT_EQ(family.difference(slot, 12345), first);
}

}  // namespace
}  // namespace colx::test
