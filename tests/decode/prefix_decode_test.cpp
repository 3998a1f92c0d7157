// The prefix decoder on groups of all shapes, its descriptors, and what it refuses.
#include <gtest/gtest.h>

#include <string_view>

#include "tests/decode/prefix_checks.h"
#include "tests/support/kernel_library.h"

namespace colx::test {
namespace {

using oracle::PrefixGroup;

Bytes text(std::string_view t) {
  return {t.begin(), t.end()};
}

constexpr Descriptors all_descriptors[] = {Descriptors::none, Descriptors::no_kctx,
                                           Descriptors::filled};

// "101", "102" and "107" with the prefix "10".
PrefixCase three_values() {
  return {{{text("10"), {text("1"), text("2"), text("7")}}}, 3, 3};
}

// Values A000 to A016 of four bytes: the first group shares "A", the last has one value.
PrefixCase seventeen_values() {
  PrefixCase c = {{{text("A"), {}}, {text("A01"), {text("6")}}}, 17, 4};
  for (char tens = '0'; tens <= '1'; ++tens) {
    for (char ones = '0'; ones <= (tens == '0' ? '9' : '5'); ++ones) {
      c.groups[0].suffixes.push_back({'0', uint8_t(tens), uint8_t(ones)});
    }
  }
  return c;
}

TEST(PrefixDecode, AValueIsItsGroupsPrefixAndItsSuffix) {
  const PrefixRun run = run_prefix(three_values(), Descriptors::none);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.out, text("101102107"));
  EXPECT_EQ(run.damage, "");
}

TEST(PrefixDecode, AGroupOf16AndALastOne) {
  const PrefixRun run = run_prefix(seventeen_values(), Descriptors::none);
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(Bytes(run.out.begin(), run.out.begin() + 68),
            text("A000A001A002A003A004A005A006A007A008A009A010A011A012A013A014A015A016"));
  EXPECT_EQ(prefix_difference(seventeen_values(), Descriptors::filled), "");
}

TEST(PrefixDecode, OneGroupReadsAndWritesNoByteTooMany) {
  for (unsigned k = 1; k <= 8; ++k) {
    for (unsigned p = 0; p <= k; ++p) {
      for (uint32_t last = 1; last <= 16; ++last) {
        for (const Place place : {Place::end, Place::begin, Place::middle}) {
          ASSERT_EQ(prefix_difference(prefix_case(k, p, 1, last, last), Descriptors::none, place),
                    "")
              << "k " << k << ", p " << p << ", " << last << " values";
        }
      }
    }
  }
}

TEST(PrefixDecode, EveryLengthEveryPrefixEveryLastGroup) {
  for (unsigned k = 1; k <= 8; ++k) {
    for (unsigned p = 0; p <= k; ++p) {
      for (const uint32_t groups : {1u, 2u, 3u, 4u, 9u}) {
        for (uint32_t last = 1; last <= 16; ++last) {
          for (const Descriptors descriptors : all_descriptors) {
            const PrefixCase c = prefix_case(k, p, groups, last, 100 * groups + last);
            ASSERT_EQ(prefix_difference(c, descriptors), "")
                << "k " << k << ", p " << p << ", " << groups << " groups, last of " << last;
          }
        }
      }
    }
  }
}

// Behind a group's end the next one begins at any byte, with any prefix length.
TEST(PrefixDecode, NeighboursWithDifferentPrefixes) {
  for (unsigned k = 1; k <= 8; ++k) {
    for (unsigned first = 0; first <= k; ++first) {
      for (unsigned second = 0; second <= k; ++second) {
        for (const uint32_t last : {1u, 5u, 16u}) {
          PrefixCase c = prefix_case(k, first, 2, 16, k);
          const PrefixCase next = prefix_case(k, second, 2, last, second);
          c.groups.insert(c.groups.end(), next.groups.begin(), next.groups.end());
          c.values = 48 + last;
          ASSERT_EQ(prefix_difference(c, Descriptors::filled), "")
              << "k " << k << ", p " << first << " then " << second << ", last of " << last;
        }
      }
    }
  }
}

TEST(PrefixDecode, AWholePrefixMakesAllValuesEqual) {
  const PrefixCase c = {
      {{text("abcde"), std::vector<Bytes>(16)}, {text("fghij"), {{}, {}}}}, 18, 5};
  EXPECT_EQ(oracle::prefix_stream(c.groups), text("\x05"
                                                  "abcde\x05"
                                                  "fghij"));
  const PrefixRun run = run_prefix(c, Descriptors::none);
  for (size_t i = 0; i < 18; ++i) {
    EXPECT_EQ(Bytes(run.out.begin() + ptrdiff_t(5 * i), run.out.begin() + ptrdiff_t(5 * i + 5)),
              text(i < 16 ? "abcde" : "fghij"));
  }
}

TEST(PrefixDecode, WithoutAPrefixAGroupIsItsSuffixes) {
  const PrefixCase c = prefix_case(7, 0, 3, 16, 12);
  Bytes due;
  for (const PrefixGroup& group : c.groups) {
    for (const Bytes& suffix : group.suffixes) due.insert(due.end(), suffix.begin(), suffix.end());
  }
  const PrefixRun run = run_prefix(c, Descriptors::none);
  EXPECT_EQ(Bytes(run.out.begin(), run.out.begin() + 3 * 16 * 7), due);
}

// The count of values ends the last group: what follows in it is neither read nor written.
TEST(PrefixDecode, OfALastGroupOnlyTheFirstValueIsTaken) {
  PrefixCase c = three_values();
  c.groups[0].suffixes.resize(1);
  c.values = 1;
  const PrefixRun run = run_prefix(c, Descriptors::filled);
  EXPECT_EQ(run.out, text("101"));
  EXPECT_EQ(run.damage, "");
  c.groups[0].suffixes = {text("1"), text("2"), text("7")};
  EXPECT_EQ(prefix_difference(c, Descriptors::filled), "");
}

// A count of values beyond the groups is no error: the last group has 16 at most. Descriptors are
// written for the count.
TEST(PrefixDecode, ALastGroupHasAtMost16Values) {
  for (const uint32_t groups : {1u, 2u, 3u}) {
    PrefixCase c = prefix_case(5, 2, groups, 16, groups);
    c.values += 24;
    for (const Descriptors descriptors : all_descriptors) {
      EXPECT_EQ(prefix_difference(c, descriptors), "") << groups;
    }
  }
}

TEST(PrefixDecode, LongStreams) {
  for (unsigned k = 1; k <= 8; ++k) {
    Random random(k);
    PrefixCase c = {{}, 16 * 2000 + 9, static_cast<int16_t>(k)};
    for (uint32_t g = 0; g <= 2000; ++g) {
      const auto p = static_cast<unsigned>(random.below(k + 1));
      c.groups.push_back(prefix_case(k, p, 1, g < 2000 ? 16 : 9, g).groups[0]);
    }
    EXPECT_EQ(prefix_difference(c, Descriptors::filled), "") << "k " << k;
  }
}

TEST(PrefixDecode, AgreesWithTheOracleOnRandomStreams) {
  for (uint64_t seed = 0; seed < 2000; ++seed) {
    Random random(mixed_seed(seed, 0x9F1));
    const auto k = static_cast<unsigned>(1 + random.below(8));
    const uint64_t groups = 1 + random.below(12);
    const auto last = static_cast<uint32_t>(1 + random.below(16));
    PrefixCase c = {{}, static_cast<uint32_t>(16 * (groups - 1) + last), static_cast<int16_t>(k)};
    for (uint64_t g = 1; g <= groups; ++g) {
      const auto p = static_cast<unsigned>(random.below(k + 1));
      c.groups.push_back(prefix_case(k, p, 1, g < groups ? 16 : last, random.next()).groups[0]);
    }
    const Descriptors descriptors = all_descriptors[random.below(3)];
    const Place place = random.one_in(2) ? Place::end : Place::begin;
    ASSERT_EQ(prefix_difference(c, descriptors, place), "") << "seed " << seed;
  }
}

// ------------------------------------------------------------------------------ descriptors

TEST(PrefixDecode, DescriptorsHoldPlaceLengthAndZeros) {
  const PrefixRun run = run_prefix(three_values(), Descriptors::filled);
  ASSERT_EQ(run.descriptors.size(), 48u);
  for (size_t i = 0; i < 3; ++i) {
    colx_prefix_ptr record;
    std::memcpy(&record, run.descriptors.data() + 16 * i, sizeof record);
    EXPECT_EQ(record.colx_prefix_ptr_value, run.out_start + 3 * i);
    EXPECT_EQ(record.colx_prefix_ptr_length, 3);
    for (const uint8_t zero : record.colx_prefix_ptr_zero) EXPECT_EQ(zero, 0);
  }
  EXPECT_EQ(run.damage, "");
}

// Around the four that are filled at a time; to the page's end, and with canaries behind the last.
TEST(PrefixDecode, AsManyDescriptorsAsValues) {
  for (uint32_t values = 1; values <= 70; ++values) {
    const uint32_t groups = (values + 15) / 16;
    for (const unsigned k : {1u, 4u, 5u, 8u}) {
      for (const Place place : {Place::end, Place::begin, Place::middle}) {
        const PrefixCase c = prefix_case(k, k / 2, groups, values - 16 * (groups - 1), values);
        ASSERT_EQ(prefix_difference(c, Descriptors::filled, place), "") << values << ", k " << k;
      }
    }
  }
}

TEST(PrefixDecode, WithoutACallContextTheOutputIsTheSame) {
  const PrefixRun with = run_prefix(seventeen_values(), Descriptors::filled);
  const PrefixRun without = run_prefix(seventeen_values(), Descriptors::no_kctx);
  EXPECT_EQ(without.status, 0u);
  EXPECT_TRUE(std::equal(with.out.begin(), with.out.begin() + 68, without.out.begin()));
  EXPECT_EQ(without.damage, "");
}

// ------------------------------------------------------------------------------ refusals

void expect_refused(const PrefixCase& c) {
  for (const Descriptors descriptors : all_descriptors) {
    const PrefixRun run = run_prefix(c, descriptors);
    EXPECT_EQ(run.status, 10u);
    for (size_t i = 0; i < run.out.size(); ++i) {
      ASSERT_EQ(run.out[i], GuardedOutput::dirty_byte(i)) << "output";
    }
    for (size_t i = 0; i < run.descriptors.size(); ++i) {
      ASSERT_EQ(run.descriptors[i], GuardedOutput::dirty_byte(i)) << "descriptors";
    }
    EXPECT_EQ(run.damage, "");
  }
}

TEST(PrefixDecode, RefusesAStrideOf8) {
  PrefixCase c = seventeen_values();
  c.stride = 8;
  expect_refused(c);
}

// All 16 bits of it count.
TEST(PrefixDecode, RefusesEveryStrideBut16) {
  for (const uint16_t stride : {0, 1, 15, 17, 32, 0x0110, 0x1000, 0x1010, 0x8010, 0xFF10, 0xFFFF}) {
    PrefixCase c = seventeen_values();
    c.stride = stride;
    SCOPED_TRACE(stride);
    expect_refused(c);
  }
}

TEST(PrefixDecode, RefusesValuesOfNoByteOfMoreThan8AndOfNegativeLength) {
  for (const int length :
       {0, 9, 10, 16, 255, 256, 257, 260, 0x0108, 32767, -1, -4, -8, -248, -252, -255, -32768}) {
    PrefixCase c = seventeen_values();
    c.value_bytes = static_cast<int16_t>(length);
    SCOPED_TRACE(length);
    expect_refused(c);
  }
}

TEST(PrefixDecode, IsTheDecoderOfTheExportedRecord) {
  const KernelLibrary library(COLX_LIBRARY_FILE);
  ASSERT_NE(library.record().colx_sctx_prefix_decode, nullptr);
  EXPECT_EQ(reinterpret_cast<void*>(library.record().colx_sctx_prefix_decode),
            library.symbol("colx_prefix_decode_dydi"));
  EXPECT_EQ(prefix_difference(seventeen_values(), Descriptors::filled, Place::end,
                              library.record().colx_sctx_prefix_decode),
            "");
}

}  // namespace
}  // namespace colx::test
