// Columns to rows: the records that a reference writes into a matrix, and the row store that a
// conversion makes of one.
#pragma once

#include <cstdint>
#include <optional>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_layout_oracle.h"
#include "tests/oracle/patches.h"

namespace colx::oracle {

// Bytes of an lp record: a 16-bit length at byte 0, a pointer at byte 8.
inline constexpr uint64_t record_bytes = 16;

// The layout whose kernel serves the column, or none: status 2.
std::optional<KeyLayout> reference_layout(const colx_row_store& store, const colx_cv& src);

// What the kernel writes into the matrix.
Patches reference_patches(KeyLayout layout, const colx_row_store& store, const colx_cv& src,
                          uint32_t col);

enum class ConvertForm { row_cla, col_cla, row_lp, col_lp };
inline constexpr ConvertForm convert_forms[] = {ConvertForm::row_cla, ConvertForm::col_cla,
                                                ConvertForm::row_lp, ConvertForm::col_lp};

constexpr bool is_row_form(ConvertForm form) {
  return form == ConvertForm::row_cla || form == ConvertForm::row_lp;
}
constexpr bool is_cla_form(ConvertForm form) {
  return form == ConvertForm::row_cla || form == ConvertForm::col_cla;
}

// None: status 2.
std::optional<ConvertForm> convert_form(const colx_row_store* out, const colx_row_store& in);

struct ConvertOutcome {
  uint32_t status;
  uint32_t position;
  Patches data;          // in bytes from the data cursor at the call
  Patches entries;       // in bytes from the position of offsets or records at the call
  uint64_t data_bytes;   // that the cursor has moved on
  uint64_t entry_bytes;  // that the position of offsets or records has
};

ConvertOutcome convert_outcome(ConvertForm form, const colx_row_store& out,
                               const colx_row_store& in, int32_t part, int32_t block, uint32_t from,
                               uint32_t to);

}  // namespace colx::oracle
