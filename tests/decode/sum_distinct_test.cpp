// sum and distinct: the slots are filled, and the kernels do nothing.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/guarded_pages.h"
#include "tests/support/scan_stage.h"
#include "tests/support/unpack_stage.h"

namespace colx::test {
namespace {

struct Slot {
  uint32_t opc;
  uint32_t enc;
  unsigned width_bits;
  const char* operation;
};

std::vector<Slot> all_slots() {
  std::vector<Slot> slots;
  for (const unsigned width : unpack_widths) {
    slots.push_back({COLX_OPC_SUM, COLX_ENC_DICT, width, "sum_dict"});
    slots.push_back({COLX_OPC_DISTINCT, COLX_ENC_DICT, width, "distinct_dict"});
  }
  for (const unsigned width : {8u, 16u, 32u, 64u}) {
    slots.push_back({COLX_OPC_SUM, COLX_ENC_FIXED, width, "sum_fixed"});
  }
  return slots;
}

ScanKernel kernel_of(const Slot& slot) {
  return kernel_at(
      colx_slot_index(slot.opc, slot.enc, colx_width_code(slot.width_bits), COLX_FORM_PLAIN));
}

TEST(SumDistinct, All48SlotsAreFilledUnderTheirNames) {
  EXPECT_EQ(all_slots().size(), 48u);
  for (const Slot& slot : all_slots()) {
    EXPECT_EQ(kernel_of(slot).name, "colx_" + std::string(slot.operation) + "_" +
                                        std::to_string(slot.width_bits) + "bit");
  }
}

TEST(SumDistinct, NothingIsReadOrWrittenAndTheStatusIsZero) {
  static GuardedPages nowhere;
  auto* const vector = reinterpret_cast<colx_cv*>(nowhere.unreadable());
  auto* const kctx = reinterpret_cast<colx_kctx*>(nowhere.unreadable());
  for (const Slot& slot : all_slots()) {
    const auto kernel = reinterpret_cast<colx_binary_fn>(kernel_of(slot).kernel);
    EXPECT_EQ(kernel(vector, vector, vector, kctx), COLX_DONE) << kernel_of(slot).name;
    EXPECT_EQ(kernel(nullptr, nullptr, nullptr, nullptr), COLX_DONE) << kernel_of(slot).name;
  }
}

TEST(SumDistinct, EveryRecordStaysAsItWasTheCountIncluded) {
  for (const Slot& slot : all_slots()) {
    colx_cv vectors[3];
    colx_kctx kctx;
    std::memset(vectors, 0xA5, sizeof vectors);
    std::memset(&kctx, 0x5A, sizeof kctx);
    const auto kernel = reinterpret_cast<colx_binary_fn>(kernel_of(slot).kernel);
    EXPECT_EQ(kernel(&vectors[0], &vectors[1], &vectors[2], &kctx), COLX_DONE);
    const auto* const bytes = reinterpret_cast<const uint8_t*>(vectors);
    EXPECT_EQ(Bytes(bytes, bytes + sizeof vectors), Bytes(sizeof vectors, 0xA5));
    const auto* const kctx_bytes = reinterpret_cast<const uint8_t*>(&kctx);
    EXPECT_EQ(Bytes(kctx_bytes, kctx_bytes + sizeof kctx), Bytes(sizeof kctx, 0x5A));
  }
}

}  // namespace
}  // namespace colx::test
