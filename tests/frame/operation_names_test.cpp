#include "kernels/frame/operation_names.h"

#include <gtest/gtest.h>

#include "tests/frame/operation_texts.h"

namespace colx::test {
namespace {

TEST(OperationName, EveryOperationOnEveryEncodingButRle) {
  for (uint32_t enc : {0u, 1u, 2u, 4u, 0xFFFFFFFFu}) {
    for (uint32_t opc = 0; opc < 22; ++opc) {
      EXPECT_STREQ(colx_overload_opc_name(opc, enc), operation_texts[opc]) << enc;
    }
  }
}

TEST(OperationName, BurstOnAnyEncoding) {
  EXPECT_STREQ(colx_overload_opc_name(14, 0), "burst");
  EXPECT_STREQ(colx_overload_opc_name(14, 1), "burst");
  EXPECT_STREQ(colx_overload_opc_name(14, 2), "burst");
  EXPECT_STREQ(colx_overload_opc_name(14, 3), "burst");
}

TEST(OperationName, EverythingButBurstIsRefusedOnRle) {
  EXPECT_STREQ(colx_overload_opc_name(13, 3), "E^R^R^O^R");
  for (uint32_t opc = 0; opc < 40; ++opc) {
    if (opc == COLX_OPC_BURST) continue;
    EXPECT_STREQ(colx_overload_opc_name(opc, 3), "E^R^R^O^R") << opc;
  }
}

TEST(OperationName, OperationsAbove21AreRefused) {
  EXPECT_STREQ(colx_overload_opc_name(22, 0), "E^R^R^O^R");
  EXPECT_STREQ(colx_overload_opc_name(31, 1), "E^R^R^O^R");
  EXPECT_STREQ(colx_overload_opc_name(0xFFFFFFFF, 2), "E^R^R^O^R");
}

TEST(OperationName, BloomHasANameThoughNoSlot) {
  EXPECT_STREQ(colx_overload_opc_name(18, 1), "bloom");
}

TEST(FlagName, PlainAndVariant) {
  EXPECT_STREQ(colx_flag_name(0), "Yo");
  EXPECT_STREQ(colx_flag_name(1), "flag1");
}

TEST(FlagName, NullForAnythingElse) {
  EXPECT_EQ(colx_flag_name(2), nullptr);
  EXPECT_EQ(colx_flag_name(0xFFFFFFFF), nullptr);
}

TEST(EncodingName, FourEncodings) {
  EXPECT_STREQ(colx_enc_name(0), "fixed");
  EXPECT_STREQ(colx_enc_name(1), "dict");
  EXPECT_STREQ(colx_enc_name(2), "dynp");
  EXPECT_STREQ(colx_enc_name(3), "rle");
}

TEST(EncodingName, NullForAnythingElse) {
  EXPECT_EQ(colx_enc_name(4), nullptr);
  EXPECT_EQ(colx_enc_name(0xFFFFFFFF), nullptr);
}

}  // namespace
}  // namespace colx::test
