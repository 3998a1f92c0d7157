// Cases of translation: keys looked up in flat, offset and two-level tables.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

struct XlateForm {
  uint32_t form;  // COLX_XLATE_SIM to COLX_XLATE_IND
  unsigned element_bits;
  bool writes_codes;
};

inline constexpr unsigned xlate_element_bits[] = {1, 4, 8, 16, 32};

// Every key is in the table at random, and `hit_percent` of the elements are no marker. A two-level
// table has pages of 256 elements, one out of `null_pages` of them missing (0: none is).
struct XlateTable {
  uint64_t bytes;
  unsigned hit_percent;
  unsigned null_pages;
};

// "colx_xlate_sim_ub1, 4K table, 50%".
Case xlate_case(const XlateForm& form, const XlateTable& table, const SizeClass& size);

// "colx_xlate_sim_ub1, 4K table, 50%, 1 in 4": that many rows are selected.
Case xlate_selected_case(const XlateForm& form, const XlateTable& table, unsigned one_in,
                         const SizeClass& size);

// "colx_xlate_groupkey_ub1_c2d, 4K table".
Case key_share_case(unsigned element_bits, uint64_t table_bytes, const SizeClass& size);

}  // namespace colx::bench
