// Choice of a hash table kernel: a table over form, key layout and values, null where nothing is
// served.
#pragma once

#include "kernels/join/hash_table.h"

namespace colx {

template <class Kernel>
struct TableKernels {
  Kernel* of[ordinal(TableForm::none) + 1][ordinal(Layout::none) + 1]
            [ordinal(RowValue::record) + 1];

  // Apart from `of`: whether the address of a function is null is no constant to sanitizers.
  bool placed[ordinal(TableForm::none) + 1][ordinal(Layout::none) + 1]
             [ordinal(RowValue::record) + 1];

  constexpr void place(TableForm form, Layout layout, RowValue value, Kernel* kernel) {
    of[ordinal(form)][ordinal(layout)][ordinal(value)] = kernel;
    placed[ordinal(form)][ordinal(layout)][ordinal(value)] = true;
  }

  constexpr unsigned count() const {
    unsigned kernels = 0;
    for (const auto& by_layout : placed)
      for (const auto& by_value : by_layout)
        for (const bool is_placed : by_value) kernels += is_placed;
    return kernels;
  }

  // `payload` is looked at only where its form makes a difference.
  COLX_INLINE Kernel* find(TableForm form, Layout layout, const colx_cv* payload) const {
    const auto& by_value = of[ordinal(form)][ordinal(layout)];
    if (by_value[ordinal(RowValue::payload)] == nullptr) return by_value[ordinal(RowValue::record)];
    const bool numbered = flags_of(payload) & COLX_AUTORID;
    return by_value[ordinal(numbered ? RowValue::autorid : RowValue::payload)];
  }
};

// The form of a table of hash tags by its exact code; none for any other value.
COLX_INLINE TableForm tag_form(uint32_t type) {
  if (type == 0 || type > COLX_HT_K4V4 || (type & (type - 1)) != 0) return TableForm::none;
  return static_cast<TableForm>(std::countr_zero(type));
}

// The form of a table of exact codes. Its bits are tested one by one, that of the wider values
// first; none for tables of hash tags too.
COLX_INLINE TableForm code_form(uint32_t type) {
  if (!(type & COLX_HT_GD)) return TableForm::none;
  if (type & COLX_HT_K4V8) return TableForm::k4v8;
  return type & COLX_HT_K4V4 ? TableForm::k4v4 : TableForm::none;
}

}  // namespace colx
