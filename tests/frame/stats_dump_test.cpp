// The statistics dump, on captured standard output.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/support/guarded_pages.h"

namespace colx::test {
namespace {

struct Statistics {
  std::vector<uint32_t> calls = std::vector<uint32_t>(COLX_DISPATCH_SLOTS, 0);
  std::vector<double> mrows = std::vector<double>(COLX_DISPATCH_SLOTS, 0.0);

  std::string dump(int32_t only_called) const {
    colx_stats_ctx ctx = {};
    for (uint64_t& word : ctx.colx_stats_opaque) word = ~uint64_t{0};
    ctx.colx_stats_calls = calls.data();
    ctx.colx_stats_mrows = mrows.data();
    testing::internal::CaptureStdout();
    colx_stats_dump(&ctx, only_called);
    return testing::internal::GetCapturedStdout();
  }
};

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> all;
  for (size_t at = 0; at < text.size();) {
    const size_t end = text.find('\n', at);
    all.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return all;
}

uint32_t slot(const char* name) {
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    if (colx_dispatch_func_names[i] == std::string(name)) return i;
  }
  ADD_FAILURE() << name;
  return 0;
}

const std::string padded_invalid = std::string("colx_invalid_dispatch") + std::string(9, ' ');

TEST(StatsDump, EverySlotHasALine) {
  const std::vector<std::string> all = lines(Statistics().dump(0));
  EXPECT_EQ(all.size(), 8192u);
}

TEST(StatsDump, FirstLineIsTheEmptySlotZeroPaddedTo30Columns) {
  // Slot 0 is eq on fixed rows of one bit, which has no kernel.
  const std::string first = lines(Statistics().dump(0))[0];
  EXPECT_EQ(first, padded_invalid + "Call Freq: 0\tMrowsPerSec: 0");
}

TEST(StatsDump, NothingIsPrintedIfNothingWasCalled) {
  EXPECT_EQ(Statistics().dump(1), "");
}

TEST(StatsDump, AnyNonzeroFlagLeavesUncalledSlotsOut) {
  EXPECT_EQ(Statistics().dump(-1), "");
  EXPECT_EQ(Statistics().dump(2), "");
}

TEST(StatsDump, OneBitComesBeforeEightBits) {
  Statistics statistics;
  statistics.calls[slot("colx_eq_dict_8bit")] = 7;
  statistics.calls[slot("colx_eq_dict_1bit")] = 3;
  statistics.mrows[slot("colx_eq_dict_8bit")] = 1500.0;
  EXPECT_EQ(statistics.dump(1),
            "colx_eq_dict_1bit             Call Freq: 3\tMrowsPerSec: 0\n"
            "colx_eq_dict_8bit             Call Freq: 7\tMrowsPerSec: 1500\n");
}

// Flag outermost, then encoding, operation and width code: not the order of the index.
TEST(StatsDump, WalksFlagEncodingOperationWidthCode) {
  Statistics statistics;
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) statistics.mrows[i] = i;
  const std::vector<std::string> all = lines(statistics.dump(0));
  ASSERT_EQ(all.size(), 8192u);
  size_t line = 0;
  for (uint32_t flag = 0; flag < 2; ++flag) {
    for (uint32_t enc = 0; enc < 4; ++enc) {
      for (uint32_t opc = 0; opc < 32; ++opc) {
        for (uint32_t width = 0; width < 32; ++width, ++line) {
          const uint32_t index = opc | enc << 5 | width << 7 | flag << 12;
          std::string name = colx_dispatch_func_names[index];
          if (name.size() < 30) name.resize(30, ' ');
          ASSERT_EQ(all[line], name + "Call Freq: 0\tMrowsPerSec: " + std::to_string(index));
        }
      }
    }
  }
}

TEST(StatsDump, ASlotWithACountAndNoKernelPrintsAsInvalid) {
  Statistics statistics;
  statistics.calls[0] = 5;
  EXPECT_EQ(statistics.dump(1), padded_invalid + "Call Freq: 5\tMrowsPerSec: 0\n");
}

TEST(StatsDump, RatesAreRoundedToNoDecimals) {
  Statistics statistics;
  const uint32_t at = slot("colx_eq_dict_8bit");
  statistics.calls[at] = 1;
  statistics.mrows[at] = 1234.5678;
  EXPECT_EQ(statistics.dump(1), "colx_eq_dict_8bit             Call Freq: 1\tMrowsPerSec: 1235\n");
  statistics.mrows[at] = 0.4;
  EXPECT_EQ(statistics.dump(1), "colx_eq_dict_8bit             Call Freq: 1\tMrowsPerSec: 0\n");
}

TEST(StatsDump, CountsAboveTwoToThe31PrintAsSigned) {
  Statistics statistics;
  statistics.calls[slot("colx_eq_dict_8bit")] = 0xFFFFFFFF;
  EXPECT_EQ(statistics.dump(1), "colx_eq_dict_8bit             Call Freq: -1\tMrowsPerSec: 0\n");
}

TEST(StatsDump, LongestNameOfADictScanFillsItsColumn) {
  Statistics statistics;
  statistics.calls[slot("colx_ge_le_dict_20bit_null")] = 2;
  EXPECT_EQ(statistics.dump(1), "colx_ge_le_dict_20bit_null    Call Freq: 2\tMrowsPerSec: 0\n");
}

TEST(StatsDump, ReadsExactlyTheTwoArrays) {
  GuardedPages calls, mrows;
  const std::vector<uint8_t> zero_calls(4 * COLX_DISPATCH_SLOTS);
  const std::vector<uint8_t> zero_rates(8 * COLX_DISPATCH_SLOTS);
  colx_stats_ctx ctx = {};
  ctx.colx_stats_calls = reinterpret_cast<const uint32_t*>(calls.place(zero_calls, 0, Edge::end));
  ctx.colx_stats_mrows = reinterpret_cast<const double*>(mrows.place(zero_rates, 0, Edge::end));
  testing::internal::CaptureStdout();
  colx_stats_dump(&ctx, 0);
  EXPECT_EQ(lines(testing::internal::GetCapturedStdout()).size(), 8192u);
}

}  // namespace
}  // namespace colx::test
