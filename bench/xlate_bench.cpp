// Translation of keys to codes, by table form, element, hit rate, table size and selection.

#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/xlate_cases.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

// Tables of 4 KiB are in the first level cache, beside the keys that stream by.
constexpr uint64_t l1_table = 4 << 10;
constexpr uint64_t l2_table = 256 << 10;

constexpr Target targets[] = {
    {"flat tables of ub1 in L1, times scalar", "colx_xlate_(sim|off)_ub1, 4K table, \\d+%", &in_l2,
     Figure::times_scalar, 2},
    {"flat tables of ub2 in L1, times scalar", "colx_xlate_(sim|off)_ub2, 4K table, \\d+%", &in_l2,
     Figure::times_scalar, 2},
    {"two-level tables of ub1 in L1, times scalar", "colx_xlate_ind_ub1, 4K table, \\d+%", &in_l2,
     Figure::times_scalar, 2},
    {"two-level tables of ub2 in L1, times scalar", "colx_xlate_ind_ub2, 4K table, \\d+%", &in_l2,
     Figure::times_scalar, 2},
    {"bit tables in L1, times scalar", "colx_xlate_\\w+_bit, 4K table, \\d+%", &in_l2,
     Figure::times_scalar, 1},
    {"nibble tables in L1, times scalar", "colx_xlate_\\w+_nib, 4K table, \\d+%", &in_l2,
     Figure::times_scalar, 1},
    {"ub4 tables in L1, times scalar", "colx_xlate_\\w+_ub4, 4K table, \\d+%", &in_l2,
     Figure::times_scalar, 1},
    {"codes written, tables in L1, times scalar", "colx_xlate_\\w+_c2d, 4K table, \\d+%", &in_l2,
     Figure::times_scalar, 1},
    {"missing pages, times scalar", "colx_xlate_.* null", &in_l2, Figure::times_scalar, 1},
    {"tables in L2, times scalar", "colx_xlate_.*, 256K table, \\d+%", &in_l2, Figure::times_scalar,
     1},
    {"keys in memory, times scalar", "colx_xlate_.*", &in_memory, Figure::times_scalar, 1},
    {"selected rows, times scalar", "colx_xlate_.*, 1 in \\d+", &in_l2, Figure::times_scalar, 1},
};

std::vector<XlateForm> all_forms() {
  std::vector<XlateForm> forms;
  for (const bool writes_codes : {false, true})
    for (const uint32_t form : {COLX_XLATE_SIM, COLX_XLATE_OFF, COLX_XLATE_IND})
      for (const unsigned bits : xlate_element_bits)
        if (!writes_codes || bits != 1) forms.push_back({form, bits, writes_codes});
  return forms;
}

std::vector<Case> all_cases() {
  std::vector<Case> cases;
  for (const XlateForm& form : all_forms()) {
    for (const unsigned hit_percent : {1, 50, 99})
      cases.push_back(xlate_case(form, {l1_table, hit_percent, 0}, in_l2));
    if (form.form == COLX_XLATE_IND) cases.push_back(xlate_case(form, {l1_table, 50, 4}, in_l2));
    cases.push_back(xlate_case(form, {l2_table, 50, 0}, in_l2));
    for (const unsigned one_in : {2, 20})
      cases.push_back(xlate_selected_case(form, {l1_table, 50, 0}, one_in, in_l2));
  }
  for (const XlateForm& form : all_forms())
    cases.push_back(xlate_case(form, {l1_table, 50, 0}, in_memory));
  return cases;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  return {all_cases(), targets};
}

}  // namespace colx::bench
