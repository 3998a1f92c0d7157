#include "host/slot_parts.h"

#include <gtest/gtest.h>

#include "kernels/frame/colx_x86.h"

namespace colx::host {
namespace {

TEST(SlotParts, OfEverySlotGiveItsIndexAgain) {
  for (uint32_t index = 0; index < COLX_DISPATCH_SLOTS; ++index) {
    const SlotParts parts = parts_of_slot(index);
    ASSERT_EQ(colx_slot_index(parts.operation, parts.encoding, parts.width_code, parts.variant),
              index);
    ASSERT_EQ(colx_column_index(parts.operation, key_of_slot(index)), index);
    ASSERT_EQ(colx_column_key(parts.encoding, parts.width_code, parts.variant), key_of_slot(index));
  }
}

TEST(SlotParts, OfARangeScanOfNullableCodes) {
  const SlotParts parts = parts_of_slot(5673);  // colx_ge_le_dict_13bit_null
  EXPECT_EQ(parts.operation, uint32_t{COLX_OPC_GE_LE});
  EXPECT_EQ(parts.encoding, uint32_t{COLX_ENC_DICT});
  EXPECT_EQ(parts.width_code, colx_width_code(13));
  EXPECT_TRUE(parts.variant);
}

}  // namespace
}  // namespace colx::host
