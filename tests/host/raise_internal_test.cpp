// The default reporter, linked in because this program defines none.
#include <gtest/gtest.h>

#include "kernels/frame/colx_x86.h"

namespace {

TEST(RaiseInternalDeathTest, PrintsTheTextAndAborts) {
  EXPECT_DEATH(
      host_raise_internal(nullptr, nullptr, "colx_eq_dict_8bit: colx_wpak_decode failed", 0),
      "^colx: internal error: colx_eq_dict_8bit: colx_wpak_decode failed\n");
}

}  // namespace
