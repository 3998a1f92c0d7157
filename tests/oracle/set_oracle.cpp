#include "tests/oracle/set_oracle.h"

#include "tests/oracle/packed_codes_oracle.h"

namespace colx::oracle {

ScanFamily set_family() {
  ScanFamily family;
  family.reads_nulls = false;
  family.selected_flag = COLX_OUT_SET;
  return family;
}

ScanOutcome set_outcome(unsigned width_bits, std::span<const uint8_t> stream, const uint64_t* table,
                        const colx_cv& res, const colx_cv& src, const colx_kctx* kctx) {
  // With both one-bit codes wanted nobody looks at the rows; whole words are filled, by the twin
  // with the words of the selection. With code 0 alone whole words are complemented.
  const bool zero_wanted = bit_at(table, 0);
  const bool both_of_two = width_bits == 1 && zero_wanted && bit_at(table, 1);
  ScanRows rows;
  rows.ones_above = width_bits == 1 && zero_wanted;
  rows.hit = [&](uint32_t row) {
    return both_of_two || bit_at(table, packed_code(stream, width_bits, row));
  };
  ScanOutcome outcome = scan_outcome(res, src, kctx, set_family(), rows);
  if (both_of_two && outcome.by_twin) {
    const uint64_t* const selection = kctx->colx_kctx_selection;
    outcome.words.assign(selection, selection + outcome.words.size());
  }
  return outcome;
}

}  // namespace colx::oracle
