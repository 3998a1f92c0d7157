// The expansion of run values, in place and from elsewhere, and the fills it uses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>

#include "kernels/decode/inner_forms.h"
#include "tests/oracle/run_length_oracle.h"
#include "tests/oracle/stored_numbers.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/scan_stage.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

struct Expander {
  const char* name;
  void (*expand)(const colx_cv* res, const colx_cv* src, const void* lengths, uint32_t first_len,
                 uint32_t last_cut);
  unsigned length_bits;
  unsigned element_bytes;
};

#define COLX_EXPANDER(L, E) \
  { "colx_rle" #L "_expand_ub" #E, colx_rle##L##_expand_ub##E, L, E }
constexpr Expander expanders[] = {COLX_EXPANDER(8, 1),  COLX_EXPANDER(8, 2),  COLX_EXPANDER(8, 4),
                                  COLX_EXPANDER(16, 1), COLX_EXPANDER(16, 2), COLX_EXPANDER(16, 4)};
#undef COLX_EXPANDER

Bytes native_array(std::span<const uint32_t> values, unsigned bytes) {
  Bytes all;
  for (const uint32_t value : values) {
    const Bytes one = native_bytes(value, bytes);
    all.insert(all.end(), one.begin(), one.end());
  }
  return all;
}

struct Expansion {
  std::vector<uint32_t> values;
  std::vector<uint32_t> lengths;  // as stored, the first one too
  uint32_t first_len;
  uint32_t last_cut;
};

// Where the values lie before the call: apart, or in the last slots of the output itself.
enum class Values { apart, in_place };

// What the call leaves in exactly as many elements as are due; empty if something else changed.
Bytes expanded(const Expander& expander, const Expansion& e, uint32_t elements, Values where,
               Place place, size_t shift = 0) {
  static GuardedPages values_pages, lengths_pages, nowhere;
  static GuardedOutput output;
  const size_t bytes = size_t{elements} * expander.element_bytes;
  uint8_t* const out = output.bytes(bytes, place, shift);
  const Bytes values = native_array(e.values, expander.element_bytes);
  uint8_t* const apart = values_pages.place(values, 0, Edge::end);
  uint8_t* const at = where == Values::apart ? apart : out + bytes - values.size();
  std::memcpy(at, values.data(), values.size());

  colx_cv res = {};
  res.colx_cv_data = out;
  res.colx_cv_num_set = 0x5EED;
  colx_cv src = {};
  src.colx_cv_data = at;
  src.colx_cv_num_of_rows = static_cast<uint32_t>(e.values.size());
  const colx_cv res_before = res;
  const colx_cv src_before = src;
  const Bytes lengths = oracle::big_endian_array(e.lengths, expander.length_bits / 8);
  set_crash_note("%s, %zu runs to %u elements", expander.name, e.values.size(), elements);
  expander.expand(&res, &src, lengths_pages.place(lengths, 0, Edge::end), e.first_len, e.last_cut);

  const bool records_kept = std::memcmp(&res, &res_before, sizeof res) == 0 &&
                            std::memcmp(&src, &src_before, sizeof src) == 0;
  const bool values_kept = std::memcmp(apart, values.data(), values.size()) == 0;
  if (!records_kept || !values_kept || !output.damage().empty()) return {};
  return Bytes(out, out + bytes);
}

void expect_right(const Expander& expander, const Expansion& e, Place place, size_t shift = 0) {
  const Bytes lengths = oracle::big_endian_array(e.lengths, expander.length_bits / 8);
  const std::vector<uint32_t> expected = oracle::expanded_runs(
      e.values, lengths.data(), expander.length_bits, e.first_len, e.last_cut);
  const auto elements = static_cast<uint32_t>(expected.size());
  const Bytes stored = native_array(expected, expander.element_bytes);
  for (const Values where : {Values::apart, Values::in_place}) {
    if (where == Values::in_place && e.values.size() > elements) continue;
    EXPECT_EQ(expanded(expander, e, elements, where, place, shift), stored)
        << expander.name << ", " << e.values.size() << " runs, first " << e.first_len << ", cut "
        << e.last_cut << (where == Values::in_place ? ", in place" : "");
  }
}

TEST(RunExpand, OneRunOfFiveCutByOneGivesFourElements) {
  for (const Expander& expander : expanders) {
    const Expansion e = {{0x41424344}, {9}, 5, 1};
    const std::vector<uint32_t> four(4, 0x41424344);
    EXPECT_EQ(expanded(expander, e, 4, Values::apart, Place::end),
              native_array(four, expander.element_bytes));
  }
}

TEST(RunExpand, TheFirstLengthIsTheArgumentAndNotTheEntry) {
  for (const Expander& expander : expanders) {
    expect_right(expander, {{1, 2, 3}, {200, 2, 4}, 7, 0}, Place::end);
  }
}

TEST(RunExpand, TheLastRunIsCut) {
  for (const Expander& expander : expanders) {
    expect_right(expander, {{1, 2, 3}, {5, 2, 40}, 5, 39}, Place::end);
    expect_right(expander, {{1, 2, 3}, {5, 2, 40}, 5, 1}, Place::end);
  }
}

TEST(RunExpand, AnEntryOf0100Is256Elements) {
  for (const Expander& expander : expanders) {
    if (expander.length_bits == 16) {
      expect_right(expander, {{1, 2, 3}, {1, 256, 3}, 1, 0}, Place::end);
    }
  }
}

// All lengths around the widths of vector stores, at an output that ends at an unreadable page and
// at one that begins there, with all alignments between.
TEST(RunExpand, FillsEveryLengthWithoutAByteTooMany) {
  for (const Expander& expander : expanders) {
    for (uint32_t length = 1; length <= 70; ++length) {
      for (const Place place : {Place::end, Place::begin}) {
        expect_right(expander, {{0x11223344}, {1}, length, 0}, place);
        expect_right(expander, {{0x91929394, 0x11223344}, {1, length}, 1, 0}, place);
        expect_right(expander, {{0x91929394, 0x11223344, 5}, {1, length, 2}, length, 1}, place);
      }
      expect_right(expander, {{0x91929394, 0x11223344, 5}, {1, length, 9}, 3, 4}, Place::middle,
                   length % 16 * expander.element_bytes);
    }
  }
}

TEST(RunExpand, FillsTheLongestRuns) {
  for (const Expander& expander : expanders) {
    const uint32_t longest = expander.length_bits == 8 ? 255 : 65535;
    expect_right(expander, {{1, 2, 3, 4}, {longest, longest, longest, longest}, longest, 0},
                 Place::end);
    expect_right(expander, {{1}, {1}, 1000000, 0}, Place::end);
  }
}

// Runs of one row each are already where they belong.
TEST(RunExpand, InPlaceOverwritesNoValueThatIsStillToBeRead) {
  for (const Expander& expander : expanders) {
    for (const uint32_t runs : {1u, 2u, 15u, 16u, 17u, 64u, 100u}) {
      std::vector<uint32_t> values(runs);
      std::iota(values.begin(), values.end(), 0xABCDEF01);
      std::vector<uint32_t> lengths(runs, 1);
      expect_right(expander, {values, lengths, 1, 0}, Place::end);
      for (const uint32_t long_run : {0u, runs / 2, runs - 1}) {
        std::vector<uint32_t> longer = lengths;
        longer[long_run] = 50;
        expect_right(expander, {values, longer, longer[0], 0}, Place::end);
      }
    }
  }
}

TEST(RunExpand, AgreesWithTheOracleOnRandomRuns) {
  for (const Expander& expander : expanders) {
    for (uint64_t seed = 0; seed < 400; ++seed) {
      Random random(mixed_seed(seed, expander.length_bits + expander.element_bytes));
      const uint64_t longest = 1 + random.below(random.one_in(3) ? 200 : 6);
      Expansion e = {};
      for (uint64_t runs = 1 + random.below(100); runs > 0; --runs) {
        e.values.push_back(static_cast<uint32_t>(random.next()));
        e.lengths.push_back(static_cast<uint32_t>(1 + random.below(longest)));
      }
      e.first_len = static_cast<uint32_t>(1 + random.below(e.lengths.front()));
      const uint32_t last = e.values.size() == 1 ? e.first_len : e.lengths.back();
      e.last_cut = static_cast<uint32_t>(random.below(last));
      expect_right(expander, e, random.one_in(2) ? Place::end : Place::begin);
    }
  }
}

// Runs of no rows write nothing; their values may lie apart only.
TEST(RunExpand, SkipsRunsOfNoRows) {
  for (const Expander& expander : expanders) {
    const Expansion e = {{1, 2, 3, 4, 5}, {0, 0, 3, 0, 2}, 0, 2};
    EXPECT_EQ(expanded(expander, e, 3, Values::apart, Place::end),
              native_array(std::vector<uint32_t>{3, 3, 3}, expander.element_bytes));
  }
}

template <class T>
void expect_fills(void (*fill)(void* dst, T value, uint64_t count), T value) {
  static GuardedOutput output;
  for (uint64_t count = 0; count <= 80; ++count) {
    const std::vector<T> expected(count, value);
    for (const Place place : {Place::end, Place::begin, Place::middle}) {
      for (size_t shift = 0; shift < (place == Place::middle ? 16 : 1); ++shift) {
        uint8_t* const out = output.bytes(count * sizeof(T), place, shift);
        fill(out, value, count);
        EXPECT_EQ(output.damage(), "") << count;
        EXPECT_TRUE(count == 0 || std::memcmp(out, expected.data(), count * sizeof(T)) == 0)
            << count << " elements of " << sizeof(T) << " bytes, shift " << shift;
      }
    }
  }
}

TEST(Fill, StoresBytes) {
  expect_fills<uint8_t>(colx_memset_ub1, 0xC3);
}

TEST(Fill, StoresTwoByteElements) {
  expect_fills<uint16_t>(colx_memset_ub2, 0xC3D4);
}

TEST(Fill, StoresFourByteElements) {
  expect_fills<uint32_t>(colx_memset_ub4, 0xC3D4E5F6);
}

TEST(Fill, ACountOfZeroWritesNothing) {
  static GuardedPages nowhere;
  colx_memset_ub1(nowhere.unreadable(), 1, 0);
  colx_memset_ub2(nowhere.unreadable(), 1, 0);
  colx_memset_ub4(nowhere.unreadable(), 1, 0);
}

}  // namespace
}  // namespace colx::test
