#include "host/call_meter.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace colx::host {
namespace {

using std::chrono::nanoseconds;

uint32_t eq_slot(uint32_t width) {
  return colx_column_index(COLX_OPC_EQ, colx_column_key(COLX_ENC_DICT, colx_width_code(width), 0));
}

TEST(CallMeter, CountsCallsAndRates) {
  CallMeter one, other;
  one.add(eq_slot(8), 1000, nanoseconds(500));
  one.add(eq_slot(8), 3000, nanoseconds(1500));
  other.add(eq_slot(8), 4000, nanoseconds(6000));
  other.add(eq_slot(3), 10, nanoseconds(1));
  EXPECT_EQ(one.calls(eq_slot(8)), 2u);
  EXPECT_EQ(one.million_rows(eq_slot(8)), 2000.0);
  one.merge(other);
  EXPECT_EQ(one.calls(eq_slot(8)), 3u);
  EXPECT_EQ(one.million_rows(eq_slot(8)), 1000.0);
  EXPECT_EQ(one.calls(eq_slot(3)), 1u);
  EXPECT_EQ(one.million_rows(eq_slot(5)), 0.0);
}

TEST(CallMeter, MeasuresWhatItCallsAndOnlyCallsWithoutAMeter) {
  CallMeter meter;
  EXPECT_EQ(CallMeter::measure(&meter, 7, 100, [] { return 42; }), 42);
  EXPECT_EQ(CallMeter::measure(nullptr, 7, 100, [] { return 43; }), 43);
  EXPECT_EQ(meter.calls(7), 1u);
}

TEST(CallMeter, PrintsThroughTheLibrary) {
  const Library library = Library::open(COLX_LIBRARY_FILE).value();
  CallMeter meter;
  meter.add(eq_slot(8), 4000, nanoseconds(2000));
  testing::internal::CaptureStdout();
  ASSERT_TRUE(meter.dump(library, true));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "colx_eq_dict_8bit             Call Freq: 1\tMrowsPerSec: 2000\n");
}

}  // namespace
}  // namespace colx::host
