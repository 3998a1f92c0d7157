// The three array passes of group keys.
#include <gtest/gtest.h>

#include <cstring>

#include "kernels/aggregate/group_keys.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using Numbers = std::vector<uint32_t>;

Numbers random_numbers(size_t count, Random& random) {
  Numbers numbers(count);
  for (uint32_t& number : numbers) number = static_cast<uint32_t>(random.next());
  return numbers;
}

constexpr Place places[] = {Place::begin, Place::end, Place::middle};

// Runs `pass` over the numbers at a guard page; compares with `expected`.
template <class Pass>
void expect_pass(const Numbers& before, const Numbers& expected, Place place, Pass pass) {
  static GuardedOutput output;
  const size_t bytes = 4 * before.size();
  uint8_t* const at = output.bytes(bytes, place, 4);
  if (bytes != 0) std::memcpy(at, before.data(), bytes);
  pass(reinterpret_cast<uint32_t*>(at), before.size());
  Numbers after(before.size());
  if (bytes != 0) std::memcpy(after.data(), at, bytes);
  EXPECT_EQ(after, expected) << before.size() << " numbers";
  EXPECT_EQ(output.damage(), "");
}

// Every count around the steps of vector code, at both edges of a page.
template <class Expected, class Pass>
void expect_for_all_counts(Expected expected, Pass pass) {
  Random random(1);
  for (size_t count = 0; count <= 70; ++count) {
    const Numbers numbers = random_numbers(count, random);
    for (const Place place : places) expect_pass(numbers, expected(numbers), place, pass);
  }
}

TEST(GroupkeyArrays, MultipliesByTheLowest32BitsOfTheFactor) {
  for (const uint64_t factor :
       {uint64_t{0}, uint64_t{1}, uint64_t{3}, uint64_t{65537}, uint64_t{0xFFFFFFFF},
        uint64_t{0x100000000}, uint64_t{0xABCDEF0100000007}}) {
    expect_for_all_counts(
        [=](Numbers numbers) {
          for (uint32_t& number : numbers) number *= static_cast<uint32_t>(factor);
          return numbers;
        },
        [=](uint32_t* at, size_t count) { colx_mul_ub4_const(at, factor, count); });
  }
}

TEST(GroupkeyArrays, ShiftsLeftModulo32) {
  for (const uint64_t shift : {0, 1, 7, 16, 31, 32, 33, 63, 64, 0x120}) {
    expect_for_all_counts(
        [=](Numbers numbers) {
          for (uint32_t& number : numbers) number <<= shift & 31;
          return numbers;
        },
        [=](uint32_t* at, size_t count) { colx_shl_ub4_const(at, shift, count); });
  }
}

TEST(GroupkeyArrays, AddsElementByElementAndWraps) {
  static GuardedPages pages;
  Random random(2);
  for (size_t count = 0; count <= 70; ++count) {
    const Numbers others = random_numbers(count, random);
    const Numbers keys = random_numbers(count, random);
    Numbers sums = keys;
    for (size_t i = 0; i < count; ++i) sums[i] += others[i];
    for (const Edge edge : {Edge::begin, Edge::end}) {
      const auto* const bytes = reinterpret_cast<const uint8_t*>(others.data());
      const auto* const at =
          reinterpret_cast<const uint32_t*>(pages.place({bytes, 4 * others.size()}, 0, edge));
      for (const Place place : places) {
        expect_pass(keys, sums, place, [=](uint32_t* to, size_t n) { colx_add_ub4(to, at, n); });
      }
    }
  }
}

TEST(GroupkeyArrays, NoNumbersAreNotTouched) {
  static GuardedPages pages;
  auto* const nowhere = reinterpret_cast<uint32_t*>(pages.unreadable());
  colx_mul_ub4_const(nowhere, 3, 0);
  colx_shl_ub4_const(nowhere, 3, 0);
  colx_add_ub4(nowhere, nowhere, 0);
  SUCCEED();
}

}  // namespace
}  // namespace colx::test
