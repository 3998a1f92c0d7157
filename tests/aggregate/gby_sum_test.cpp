// Group sums: the worker that a column's type and form pick, sums per group and into one element,
// in row order and in the element's precision.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <cstring>

#include "kernels/aggregate/group_sums.h"
#include "tests/oracle/addition_orders.h"
#include "tests/support/number_patterns.h"
#include "tests/support/number_sum_stage.h"
#include "tests/support/row_counts.h"

namespace colx::test {
namespace {

using oracle::bits_of;
using oracle::ComputedBits;
using oracle::NumberForm;

struct Worker {
  uint32_t type;
  uint32_t flags;
  uint32_t width_bits;

  unsigned row_bytes() const { return type == 1 ? 4 : type == 2 ? 8 : width_bits / 8; }
  bool floating() const { return type != 8; }
  NumberForm form() const { return flags != 0 ? NumberForm::native : NumberForm::canonical; }
};

constexpr Worker float_native = {1, COLX_NATIVE, 32};
constexpr Worker float_canonical = {1, 0, 32};
constexpr Worker double_native = {2, COLX_NATIVE, 64};
constexpr Worker double_canonical = {2, 0, 64};
constexpr Worker floating_workers[] = {float_native, float_canonical, double_native,
                                       double_canonical};
constexpr Worker dsb_workers[] = {
    {8, 0, 8},           {8, 0, 16},           {8, 0, 32},           {8, 0, 64},
    {8, COLX_NATIVE, 8}, {8, COLX_NATIVE, 16}, {8, COLX_NATIVE, 32}, {8, COLX_NATIVE, 64}};

std::vector<Worker> all_workers() {
  std::vector<Worker> all(std::begin(floating_workers), std::end(floating_workers));
  all.insert(all.end(), std::begin(dsb_workers), std::end(dsb_workers));
  return all;
}

// Numbers are IEEE bits, or integers of which the width's lowest bits count.
GroupSumBatch batch_of(const Worker& worker, const std::vector<uint64_t>& numbers,
                       std::vector<uint64_t> elements) {
  GroupSumBatch batch;
  batch.column.rows = static_cast<uint32_t>(numbers.size());
  batch.column.type = worker.type;
  batch.column.flags = worker.flags;
  batch.column.width_bits = worker.width_bits;
  if (worker.floating()) {
    batch.column.stored = oracle::stored_rows(numbers, worker.row_bytes(), worker.form());
  } else {
    for (const uint64_t number : numbers) {
      for (unsigned i = worker.row_bytes(); i-- > 0;) {
        batch.column.stored.push_back(static_cast<uint8_t>(number >> 8 * i));
      }
    }
  }
  batch.elements = std::move(elements);
  return batch;
}

GroupSumBatch random_batch(const Worker& worker, NumberMix mix, uint32_t rows, uint32_t groups,
                           Random& random) {
  const NumberMix numbers = worker.floating() ? mix : NumberMix::any_bits;
  const unsigned element_bytes = worker.type == 1 ? 4 : 8;
  GroupSumBatch batch =
      batch_of(worker, random_numbers(numbers, worker.type == 1 ? 4 : 8, rows, random),
               random_numbers(numbers, element_bytes, groups == 0 ? 1 : groups, random));
  if (groups == 0) return batch;
  batch.groups.emplace();
  for (uint32_t row = 0; row < rows; ++row) {
    batch.groups->push_back(static_cast<uint32_t>(random.below(groups)));
  }
  return batch;
}

std::vector<uint64_t> float_bits(const std::vector<float>& numbers) {
  std::vector<uint64_t> bits;
  for (const float number : numbers) bits.push_back(bits_of(number));
  return bits;
}

TEST(GroupSums, EveryWorkerAtEveryRowCountWithAndWithoutGroups) {
  for (const Worker& worker : all_workers()) {
    Random random(worker.type * 100 + worker.width_bits + worker.flags);
    std::vector<uint32_t> counts = row_counts(4);
    for (uint32_t rows = 3; rows <= 40; ++rows) counts.push_back(rows);
    for (const uint32_t rows : counts) {
      for (const uint32_t groups : {0u, 1u, 2u, 7u, 1000u}) {
        GroupSumBatch batch = random_batch(worker, NumberMix::ordinary, rows, groups, random);
        for (const Place place : {Place::end, Place::begin, Place::middle}) {
          batch.place = place;
          batch.column.edge = place == Place::begin ? Edge::begin : Edge::end;
          ASSERT_EQ(group_sum_difference(batch), "");
        }
      }
    }
  }
}

TEST(GroupSums, TheFiveWorkersDoByThemselvesWhatTheEntryPicksThemFor) {
  const std::pair<Worker, colx_gby_sum_call*> named[] = {
      {float_native, colx_gby_sum_float_native},
      {float_canonical, colx_gby_sum_float_canonical},
      {double_native, colx_gby_sum_double_native},
      {double_canonical, colx_gby_sum_double_canonical},
      {dsb_workers[2], colx_gby_sum_dsb}};
  Random random(12);
  for (const auto& [worker, call] : named) {
    for (const uint32_t groups : {0u, 3u}) {
      const GroupSumBatch batch = random_batch(worker, NumberMix::ordinary, 21, groups, random);
      EXPECT_EQ(group_sum_difference(batch, call), "");
    }
  }
}

TEST(GroupSums, NumbersOfEverySortInEveryWorker) {
  for (const Worker& worker : floating_workers) {
    Random random(worker.type + worker.flags);
    for (const NumberMix mix : all_mixes) {
      for (int attempt = 0; attempt < 60; ++attempt) {
        const auto rows = static_cast<uint32_t>(random.below(40));
        const auto groups = static_cast<uint32_t>(random.below(20));
        ASSERT_EQ(group_sum_difference(random_batch(worker, mix, rows, groups, random)), "");
      }
    }
  }
}

TEST(GroupSums, EverySpecialNumberInEveryRowOfABlock) {
  for (const Worker& worker : floating_workers) {
    const std::vector<uint64_t> specials = special_numbers(worker.row_bytes());
    for (size_t first = 0; first < specials.size(); ++first) {
      std::vector<uint64_t> rotated = specials;
      std::rotate(rotated.begin(), rotated.begin() + static_cast<long>(first), rotated.end());
      GroupSumBatch batch = batch_of(worker, rotated, std::vector<uint64_t>(specials.size(), 0));
      batch.groups.emplace();
      for (uint32_t row = 0; row < specials.size(); ++row) batch.groups->push_back(row);
      EXPECT_EQ(group_sum_difference(batch), "");
    }
  }
}

// Which of the four orders gives the sum, on rows on which all four differ.
template <class Number>
void expect_order(const Worker& worker, bool with_groups,
                  ComputedBits (*own)(std::span<const ComputedBits>, ComputedBits)) {
  Random random(worker.type + worker.flags);
  int telling = 0;
  for (int attempt = 0; attempt < 200; ++attempt) {
    const auto numbers = random_numbers(NumberMix::ordinary, sizeof(Number), 43, random);
    const uint64_t element = random_number(NumberMix::ordinary, sizeof(Number), random);
    GroupSumBatch batch = batch_of(worker, numbers, {element});
    if (with_groups) batch.groups = std::vector<uint32_t>(numbers.size(), 0);
    const uint64_t sum = run_group_sum(batch).elements.at(0);
    std::vector<ComputedBits> rows;
    for (const uint64_t number : numbers) rows.push_back({number});
    ASSERT_EQ(sum, own(rows, {element}).bits) << attempt;
    bool others_differ = true;
    for (const auto order :
         {oracle::lanes_then_rest<Number>, oracle::lanes_and_rest<Number>,
          oracle::rows_then_element<Number>, oracle::rows_into_element<Number>}) {
      others_differ = others_differ && (order == own || order(rows, {element}).bits != sum);
    }
    telling += others_differ ? 1 : 0;
  }
  EXPECT_GT(telling, 20) << "batches in which every other order gives another sum";
}

TEST(GroupSums, WithoutGroupsOneSumInRowOrderIsAddedToTheElementLast) {
  for (const Worker& worker : {float_native, float_canonical}) {
    expect_order<float>(worker, false, oracle::rows_then_element<float>);
  }
  for (const Worker& worker : {double_native, double_canonical}) {
    expect_order<double>(worker, false, oracle::rows_then_element<double>);
  }
}

TEST(GroupSums, WithGroupsEveryRowIsAddedStraightToItsElement) {
  for (const Worker& worker : {float_native, float_canonical}) {
    expect_order<float>(worker, true, oracle::rows_into_element<float>);
  }
  for (const Worker& worker : {double_native, double_canonical}) {
    expect_order<double>(worker, true, oracle::rows_into_element<double>);
  }
}

// 2^24 + 1 rounds to 2^24 in a float.
constexpr float large = 16777216.0f;

TEST(GroupSums, WithoutGroupsTheRowsMeetBeforeTheElement) {
  for (const Worker& worker : {float_native, float_canonical}) {
    const GroupSumBatch batch = batch_of(worker, float_bits({1, 1}), float_bits({large}));
    EXPECT_EQ(run_group_sum(batch).elements, float_bits({16777218.0f}));
  }
}

TEST(GroupSums, WithGroupsTheElementMeetsEveryRow) {
  for (const Worker& worker : {float_native, float_canonical}) {
    GroupSumBatch batch =
        batch_of(worker, float_bits({1, 1, 1, 1, 1, 1, 1}), float_bits({large, 0}));
    batch.groups = {{0, 0, 0, 0, 0, 1, 1}};
    EXPECT_EQ(run_group_sum(batch).elements, float_bits({large, 2}));
  }
}

TEST(GroupSums, TheRows1e8And1AndMinus1e8RoundFromLeftToRight) {
  for (const Worker& worker : {float_native, float_canonical}) {
    const GroupSumBatch batch = batch_of(worker, float_bits({1e8f, 1.0f, -1e8f}), float_bits({0}));
    EXPECT_EQ(run_group_sum(batch).elements, float_bits({0.0f}));
    const GroupSumBatch again = batch_of(worker, float_bits({1e8f, -1e8f, 1.0f}), float_bits({0}));
    EXPECT_EQ(run_group_sum(again).elements, float_bits({1.0f}));
  }
}

TEST(GroupSums, NoRowsWithoutGroupsAddPlusZero) {
  for (const Worker& worker : floating_workers) {
    const bool doubles = worker.type == 2;
    GroupSumBatch batch = batch_of(worker, {}, {doubles ? bits_of(-0.0) : bits_of(-0.0f)});
    EXPECT_EQ(run_group_sum(batch).elements, std::vector<uint64_t>{0});
    batch.elements = {doubles ? bits_of(2.5) : bits_of(2.5f)};
    EXPECT_EQ(run_group_sum(batch).elements, batch.elements);
  }
  for (const Worker& worker : dsb_workers) {
    const GroupSumBatch batch = batch_of(worker, {}, {0x123456789});
    EXPECT_EQ(run_group_sum(batch).elements, batch.elements);
  }
}

// The stage makes the accumulators unreadable when none may be touched.
TEST(GroupSums, NoRowsWithGroupsTouchNothing) {
  for (const Worker& worker : all_workers()) {
    GroupSumBatch batch = batch_of(worker, {}, {5});
    batch.groups.emplace();
    EXPECT_EQ(group_sum_difference(batch), "");
  }
}

TEST(GroupSums, ThreeCanonicalFloatRowsSumAsTheyDoInABlock) {
  GroupSumBatch three =
      batch_of(float_canonical, float_bits({1.5f, -2.25f, 1e-40f}), float_bits({1, 2, 3, 4}));
  three.groups = {{2, 0, 1}};
  GroupSumBatch four = batch_of(float_canonical, float_bits({1.5f, -2.25f, 1e-40f, -0.0f}),
                                float_bits({1, 2, 3, 4}));
  four.groups = {{2, 0, 1, 3}};
  EXPECT_EQ(run_group_sum(three).elements, run_group_sum(four).elements);
  EXPECT_EQ(run_group_sum(three).elements, float_bits({-1.25f, 2, 4.5f, 4}));
}

TEST(GroupSums, TwoCallsWithoutGroupsAddUp) {
  for (const Worker& worker : {float_native, float_canonical}) {
    GroupSumBatch batch = batch_of(worker, float_bits({1, 2, 3, 4, 5}), float_bits({100}));
    batch.elements = run_group_sum(batch).elements;
    EXPECT_EQ(batch.elements, float_bits({115}));
    EXPECT_EQ(run_group_sum(batch).elements, float_bits({130}));
  }
  GroupSumBatch integers = batch_of(dsb_workers[1], {300, 1}, {1});
  integers.elements = run_group_sum(integers).elements;
  EXPECT_EQ(run_group_sum(integers).elements, std::vector<uint64_t>{603});
}

TEST(GroupSums, DsbBytesFFFEAt16BitsAddMinus2) {
  GroupSumBatch batch;
  batch.column = {.stored = {0xFF, 0xFE}, .rows = 1, .type = 8, .width_bits = 16};
  batch.elements = {10};
  EXPECT_EQ(run_group_sum(batch).elements, std::vector<uint64_t>{8});
  batch.groups = {{0}};
  EXPECT_EQ(run_group_sum(batch).elements, std::vector<uint64_t>{8});
}

TEST(GroupSums, DsbIsBigEndianWhateverTheNativeFlagSays) {
  for (const uint32_t flags : {0, int{COLX_NATIVE}}) {
    for (const unsigned bytes : {2u, 4u, 8u}) {
      GroupSumBatch batch;
      batch.column.stored = Bytes(bytes, 0);
      batch.column.stored[bytes - 2] = 0x01;
      batch.column.stored[bytes - 1] = 0x02;
      batch.column.rows = 1;
      batch.column.flags = flags;
      batch.column.type = 8;
      batch.column.width_bits = 8 * bytes;
      batch.elements = {0};
      EXPECT_EQ(run_group_sum(batch).elements, std::vector<uint64_t>{0x0102});
    }
  }
}

TEST(GroupSums, DsbRowsExtendTheirSignAtEveryWidth) {
  for (const Worker& worker : dsb_workers) {
    const uint64_t least = ~uint64_t{0} << (worker.width_bits - 1);
    for (const uint64_t number : {~uint64_t{0}, least, ~least, uint64_t{1}}) {
      EXPECT_EQ(run_group_sum(batch_of(worker, {number}, {0})).elements,
                std::vector<uint64_t>{number});
      GroupSumBatch batch = batch_of(worker, {number, number, number}, {0, 7});
      batch.groups = {{1, 0, 1}};
      EXPECT_EQ(run_group_sum(batch).elements, (std::vector<uint64_t>{number, 7 + 2 * number}));
    }
  }
}

TEST(GroupSums, DsbSumsWrapModulo2ToThe64) {
  const Worker wide = {8, 0, 64};
  const uint64_t top = 0x7FFFFFFFFFFFFFFF;
  EXPECT_EQ(run_group_sum(batch_of(wide, {top, top, top}, {5})).elements,
            std::vector<uint64_t>{3 * top + 5});
  GroupSumBatch batch = batch_of(wide, {top, 1}, {top});
  batch.groups = {{0, 0}};
  EXPECT_EQ(run_group_sum(batch).elements, std::vector<uint64_t>{2 * top + 1});
}

TEST(GroupSums, DsbAt24BitsChangesNothingAndReturns0) {
  for (const uint32_t width_bits : {0u, 1u, 7u, 9u, 15u, 24u, 31u, 33u, 40u, 48u, 63u, 65u, 128u}) {
    GroupSumBatch batch;
    batch.column = {.rows = 3, .type = 8, .width_bits = width_bits};
    batch.elements = {1};
    EXPECT_EQ(group_sum_difference(batch), "");
    EXPECT_EQ(run_group_sum(batch).status, COLX_DONE);
    batch.groups = {{0, 0, 0}};
    EXPECT_EQ(group_sum_difference(batch), "");
    EXPECT_EQ(run_group_sum(batch).status, COLX_DONE);
  }
}

TEST(GroupSums, TheTypeByteIsComparedExactly) {
  for (uint32_t type = 0; type < 256; ++type) {
    const bool served = type == 1 || type == 2 || type == 8;
    for (const uint32_t noise : {0u, 0x100u, 0xABCDEF00u}) {
      for (const uint32_t flags : {0, int{COLX_NATIVE}}) {
        GroupSumBatch batch;
        batch.column = {.stored = Bytes(24, 0x80),
                        .rows = 3,
                        .flags = flags,
                        .type = type | noise,
                        .width_bits = 64};
        batch.elements = {0};
        EXPECT_EQ(run_group_sum(batch).status, served ? COLX_DONE : COLX_BAD_INPUT) << type;
        if (type == 1) batch.column.stored.resize(12);
        EXPECT_EQ(group_sum_difference(batch), "") << type;
      }
    }
  }
}

TEST(GroupSums, Type3IsRefusedAndNothingIsTouched) {
  GroupSumBatch batch;
  batch.column = {.rows = 3, .type = 3, .width_bits = 32};
  batch.elements = {1};
  EXPECT_EQ(run_group_sum(batch).status, COLX_BAD_INPUT);
  EXPECT_EQ(group_sum_difference(batch), "");
  batch.groups = {{0, 0, 0}};
  EXPECT_EQ(run_group_sum(batch).status, COLX_BAD_INPUT);
  EXPECT_EQ(group_sum_difference(batch), "");
}

TEST(GroupSums, AllOtherFlagsHaveNoEffect) {
  Random random(4);
  for (const Worker& worker : all_workers()) {
    GroupSumBatch batch = random_batch(worker, NumberMix::ordinary, 13, 3, random);
    batch.column.flags |= ~uint32_t{COLX_NATIVE};
    EXPECT_EQ(group_sum_difference(batch), "");
  }
}

TEST(GroupSums, EverythingMayLieAtAnyAddress) {
  for (const Worker& worker : all_workers()) {
    Random random(worker.type);
    for (size_t shift = 0; shift < 16; ++shift) {
      for (const uint32_t groups : {0u, 5u}) {
        GroupSumBatch batch = random_batch(worker, NumberMix::ordinary, 21, groups, random);
        batch.column.slack_bytes = shift;
        batch.group_slack = (shift + 5) % 16;
        batch.shift = 15 - shift;
        EXPECT_EQ(group_sum_difference(batch), "") << shift;
      }
    }
  }
}

// Neighbours of one group in one block: each row sees what the one before it left.
TEST(GroupSums, RowsOfOneGroupInOneBlockFollowEachOther) {
  for (const Worker& worker : all_workers()) {
    Random random(worker.type + worker.width_bits);
    for (uint32_t pattern = 0; pattern < 256; ++pattern) {
      GroupSumBatch batch = random_batch(worker, NumberMix::ordinary, 8, 2, random);
      for (uint32_t row = 0; row < 8; ++row) (*batch.groups)[row] = pattern >> row & 1;
      ASSERT_EQ(group_sum_difference(batch), "") << pattern;
    }
  }
}

// Keys of 2^31 and above, in a span of addresses of which one page exists.
TEST(GroupSums, KeysAreUnsigned) {
  const uint32_t key = 0xFFFFFF80;
  for (const Worker& worker :
       {float_native, float_canonical, double_native, double_canonical, Worker{8, 0, 8},
        Worker{8, 0, 16}, Worker{8, 0, 32}, Worker{8, 0, 64}}) {
    const size_t element_bytes = worker.type == 1 ? 4 : 8;
    const size_t span = (size_t{1} << 32) * element_bytes;
    void* const base =
        mmap(nullptr, span, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(base, MAP_FAILED);
    uint8_t* const element = static_cast<uint8_t*>(base) + key * element_bytes;
    const uintptr_t page = reinterpret_cast<uintptr_t>(element) & ~uintptr_t{4095};
    ASSERT_EQ(mprotect(reinterpret_cast<void*>(page), 4096, PROT_READ | PROT_WRITE), 0);

    const uint64_t three = worker.type == 1   ? bits_of(3.0f)
                           : worker.type == 2 ? bits_of(3.0)
                                              : uint64_t{3};
    const uint64_t fifteen = worker.type == 1   ? bits_of(15.0f)
                             : worker.type == 2 ? bits_of(15.0)
                                                : uint64_t{15};
    GroupSumBatch rows = batch_of(worker, std::vector<uint64_t>(5, three), {});
    std::vector<uint32_t> keys(5, key);
    StagedNumbers stage;
    colx_cv* const src = stage.place(rows.column);
    colx_cv res = {}, groups = {};
    res.colx_cv_data = base;
    groups.colx_cv_data = keys.data();
    EXPECT_EQ(colx_gby_sum_dydi(&res, src, &groups, nullptr), COLX_DONE);
    EXPECT_EQ(words_at(element, 1, static_cast<unsigned>(element_bytes)),
              std::vector<uint64_t>{fifteen});
    munmap(base, span);
  }
}

}  // namespace
}  // namespace colx::test
