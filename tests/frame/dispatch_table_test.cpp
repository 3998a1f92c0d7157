// All 8192 slots against the naming rule, which is worked out here once more and by other means:
// from the index to the name. The library is opened as a host opens it.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "tests/frame/operation_texts.h"
#include "tests/support/kernel_library.h"

namespace colx::test {
namespace {

// Slots that have a kernel.
constexpr int filled_slots = 800;

const KernelLibrary& library() {
  static const KernelLibrary opened(COLX_LIBRARY_FILE);
  return opened;
}

// Bits of a code by width code; 0 where there is no such width.
unsigned bits_of(uint32_t width_code) {
  if (width_code < 20) return width_code + 1;
  return width_code == 20 ? 24 : width_code == 21 ? 32 : width_code == 22 ? 64 : 0;
}

bool one_of(unsigned value, std::initializer_list<unsigned> values) {
  for (unsigned v : values) {
    if (v == value) return true;
  }
  return false;
}

std::string width_name(uint32_t width_code) {
  return std::to_string(bits_of(width_code)) + "bit";
}

std::string predicate_name(uint32_t opc, uint32_t enc, uint32_t width, uint32_t flag) {
  const unsigned bits = bits_of(width);
  const std::string op = std::string("colx_") + operation_texts[opc];
  if (enc == 1 && bits != 0) return op + "_dict_" + width_name(width) + (flag ? "_null" : "");
  if (enc == 0 && one_of(bits, {8, 16, 32, 64})) {
    return op + "_fixed_" + width_name(width) + (flag ? "_tz" : "");
  }
  if (enc == 2 && one_of(bits, {16, 32, 64})) {
    return op + "_dynp_" + width_name(width) + (flag ? "_tz" : "");
  }
  return "";
}

std::string decoder_name(uint32_t opc, uint32_t enc, uint32_t width, uint32_t flag) {
  const unsigned bits = bits_of(width);
  const std::string op = operation_texts[opc];
  if (flag != 0) return "";
  if (op == "burst") {
    if (enc != 3 || !one_of(width, {6, 7, 14, 15})) return "";
    return std::string("colx_burst_rle_") + (width < 10 ? "8bit" : "16bit") +
           (width % 2 == 1 ? "_cla" : "");
  }
  if (op == "sum" && enc == 0) {
    return one_of(bits, {8, 16, 32, 64}) ? "colx_sum_fixed_" + width_name(width) : "";
  }
  if (enc != 1 || bits == 0 || bits == 64) return "";
  if (op == "decode_symbol" && !one_of(bits, {8, 16, 32})) return "";
  return "colx_" + op + "_dict_" + width_name(width);
}

std::string xlate_name(uint32_t enc, uint32_t width, uint32_t flag) {
  const char* const forms[] = {"sim", "off", "ind", "groupkey"};
  const char* const entries[] = {"bit", "nib", "ub1", "ub2", "ub4"};
  if (width > 4) return "";
  if (flag == 0 ? enc == 3 : width == 0) return "";
  return std::string("colx_xlate_") + forms[enc] + "_" + entries[width] + (flag ? "_c2d" : "");
}

std::string arithmetic_name(uint32_t opc, uint32_t enc, uint32_t width, uint32_t flag) {
  if (enc != 0 || (width & ~13u) != 0) return "";
  return std::string("colx_") + operation_texts[opc] + (width & 1 ? "_double" : "_float") +
         (width & 4 ? "_c" : "_n") + (width & 8 ? "_c" : "_n") + (flag ? "_sum" : "");
}

// The kernel that belongs into a slot; empty for a slot that stays empty.
std::string rule(uint32_t index) {
  const uint32_t opc = index % 32;
  const uint32_t enc = index / 32 % 4;
  const uint32_t width = index / 128 % 32;
  const uint32_t flag = index / 4096;
  if (opc <= 9) return predicate_name(opc, enc, width, flag);
  if (opc <= 16) return decoder_name(opc, enc, width, flag);
  if (opc == 17) return xlate_name(enc, width, flag);
  if (opc >= 19 && opc <= 21) return arithmetic_name(opc, enc, width, flag);
  return "";
}

TEST(NamingRule, FillsEightHundredSlotsByOperation) {
  std::map<std::string, int> count;
  int all = 0;
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    if (rule(i).empty()) continue;
    ++all;
    ++count[operation_texts[i % 32]];
  }
  EXPECT_EQ(all, 800);
  for (int opc = 0; opc < 10; ++opc)
    EXPECT_EQ(count[operation_texts[opc]], 60) << operation_texts[opc];
  EXPECT_EQ(count["decode"], 22);
  EXPECT_EQ(count["decode_unpack"], 22);
  EXPECT_EQ(count["decode_symbol"], 3);
  EXPECT_EQ(count["set"], 22);
  EXPECT_EQ(count["burst"], 4);
  EXPECT_EQ(count["sum"], 26);
  EXPECT_EQ(count["distinct"], 22);
  EXPECT_EQ(count["xlate"], 31);
  EXPECT_EQ(count["bloom"], 0);
  EXPECT_EQ(count["add"] + count["sub"] + count["mul"], 48);
}

TEST(DispatchTable, FilledSlotsBearTheNameOfTheRule) {
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    if (library().kernel(i) != nullptr) {
      EXPECT_EQ(library().name(i), rule(i)) << "slot " << i;
    }
  }
}

TEST(DispatchTable, EmptySlotsAreNamedInvalid) {
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    if (library().kernel(i) == nullptr) {
      EXPECT_STREQ(library().name(i), "colx_invalid_dispatch") << "slot " << i;
    }
  }
}

TEST(DispatchTable, FilledCount) {
  int filled = 0;
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) filled += library().kernel(i) != nullptr;
  EXPECT_EQ(filled, filled_slots);
}

TEST(DispatchTable, KernelsAreDistinctFunctions) {
  std::map<colx_kernel_fn, uint32_t> slot_of;
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    if (library().kernel(i) == nullptr) continue;
    const auto [place, fresh] = slot_of.emplace(library().kernel(i), i);
    EXPECT_TRUE(fresh) << library().name(i) << " is " << library().name(place->second);
  }
}

TEST(DispatchTable, OperationsOfALandedFamilyAreWhole) {
  std::map<std::string, std::pair<int, int>> filled_and_due;  // by operation and encoding
  for (uint32_t i = 0; i < COLX_DISPATCH_SLOTS; ++i) {
    if (rule(i).empty()) continue;
    auto& [filled, due] =
        filled_and_due[operation_texts[i % 32] + std::string(" enc ") + std::to_string(i / 32 % 4)];
    filled += library().kernel(i) != nullptr;
    ++due;
  }
  for (const auto& [what, counts] : filled_and_due) {
    EXPECT_TRUE(counts.first == 0 || counts.first == counts.second) << what;
  }
}

TEST(DispatchTable, HasTheSizeThatItsFunctionTells) {
  const auto size = reinterpret_cast<uint32_t (*)()>(library().symbol("colx_dispatch_table_size"));
  ASSERT_NE(size, nullptr);
  EXPECT_EQ(size(), 8192u);
}

TEST(DispatchIndex, OfEqDict8bitIs928) {
  EXPECT_EQ(colx_slot_index(COLX_OPC_EQ, COLX_ENC_DICT, colx_width_code(8), COLX_FORM_PLAIN), 928u);
  EXPECT_STREQ(library().name(928), "colx_eq_dict_8bit");
}

TEST(DispatchIndex, OfEqDict8bitNullIs5024) {
  EXPECT_EQ(colx_slot_index(COLX_OPC_EQ, COLX_ENC_DICT, colx_width_code(8), COLX_FORM_VARIANT),
            5024u);
  EXPECT_STREQ(library().name(5024), "colx_eq_dict_8bit_null");
}

TEST(DispatchIndex, OfEqDict1bitIs32) {
  EXPECT_EQ(colx_slot_index(COLX_OPC_EQ, COLX_ENC_DICT, colx_width_code(1), COLX_FORM_PLAIN), 32u);
  EXPECT_STREQ(library().name(32), "colx_eq_dict_1bit");
}

TEST(DispatchIndex, NoKernelFor21To23Bits) {
  for (uint32_t bits : {0, 21, 22, 23, 25, 31, 33, 63, 65}) {
    const uint32_t slot =
        colx_slot_index(COLX_OPC_EQ, COLX_ENC_DICT, colx_width_code(bits), COLX_FORM_PLAIN);
    EXPECT_EQ(library().kernel(slot), nullptr) << bits;
  }
}

TEST(DispatchIndex, ColumnKeyIsTheIndexAboveTheOperation) {
  const uint8_t key = colx_column_key(COLX_ENC_DICT, colx_width_code(8), COLX_FORM_VARIANT);
  EXPECT_EQ(key, 5024 >> 5);
  EXPECT_EQ(colx_column_index(COLX_OPC_EQ, key), 5024u);
}

TEST(DispatchTable, DecodeSymbolOfDictAtWidthCode8IsEmpty) {
  const uint32_t slot = 12 | 1 << 5 | 8 << 7;
  EXPECT_EQ(library().kernel(slot), nullptr);
  EXPECT_STREQ(library().name(slot), "colx_invalid_dispatch");
}

TEST(DispatchTable, BloomSlotsAreEmpty) {
  for (uint32_t i = COLX_OPC_BLOOM; i < COLX_DISPATCH_SLOTS; i += 32) {
    EXPECT_EQ(library().kernel(i), nullptr);
  }
}

}  // namespace
}  // namespace colx::test
