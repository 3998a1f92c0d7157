// slot_parts.h: what the index of a slot of the dispatch table is made of.
#pragma once

#include <cstdint>

namespace colx::host {

// The arguments of colx_slot_index(), taken apart.
struct SlotParts {
  uint32_t operation;   // COLX_OPC_...
  uint32_t encoding;    // COLX_ENC_..., or COLX_XLATE_... of a translation
  uint32_t width_code;  // colx_width_code() of the width, or COLX_WIDTH_... by operation
  bool variant;         // COLX_FORM_VARIANT
};

// Of a slot below COLX_DISPATCH_SLOTS.
constexpr SlotParts parts_of_slot(uint32_t index) {
  return {index & 31, index >> 5 & 3, index >> 7 & 31, (index >> 12 & 1) != 0};
}

// The key of the columns that a slot is for; colx_column_index() gives the slot again.
constexpr uint8_t key_of_slot(uint32_t index) {
  return static_cast<uint8_t>(index >> 5);
}

}  // namespace colx::host
