// The exported table and its names, placed from the registry's rows while compiling: a slot and
// its name cannot disagree, two kernels in one slot or a wrong argument list do not compile.
#include <array>
#include <iterator>

#include "kernels/frame/kernels.h"

namespace colx {
namespace {

// Families differ in their argument lists; a slot keeps the address alone, without a cast.
union Slot {
  colx_kernel_fn empty;
  colx_scan_fn one_sided;
  colx_range_scan_fn range;
  colx_decode_fn decode;
  colx_binary_fn binary;
  constexpr Slot() : empty(nullptr) {}
  constexpr Slot(colx_scan_fn kernel) : one_sided(kernel) {}
  constexpr Slot(colx_range_scan_fn kernel) : range(kernel) {}
  constexpr Slot(colx_decode_fn kernel) : decode(kernel) {}
  constexpr Slot(colx_binary_fn kernel) : binary(kernel) {}
};
static_assert(sizeof(Slot) == sizeof(colx_kernel_fn));

struct Row {
  uint32_t index;
  Slot kernel;
  const char* name;
};

#define COLX_ROW(form, name, op, enc, code, flag) \
  Row{slot_index(Op::op, Enc::enc, code, flag), name, #name},
constexpr Row rows[] = {COLX_TABLE_KERNELS(COLX_ROW)};
#undef COLX_ROW

constexpr bool indexes_distinct() {
  std::array<bool, COLX_DISPATCH_SLOTS> taken{};
  for (const Row& row : rows) {
    if (taken[row.index]) return false;
    taken[row.index] = true;
  }
  return true;
}
static_assert(indexes_distinct());

// A list that lost or gained a row by mistake does not compile.
static_assert(std::size(rows) == 800);

struct SlotTable {
  Slot slots[COLX_DISPATCH_SLOTS];
};

struct NameTable {
  const char* names[COLX_DISPATCH_SLOTS];
};

constexpr SlotTable place_kernels() {
  SlotTable table{};
  for (const Row& row : rows) table.slots[row.index] = row.kernel;
  return table;
}

constexpr const char invalid_name[] = "colx_invalid_dispatch";

constexpr NameTable place_names() {
  NameTable table{};
  for (const char*& name : table.names) name = invalid_name;
  for (const Row& row : rows) table.names[row.index] = row.name;
  return table;
}

}  // namespace
}  // namespace colx

#pragma GCC visibility push(hidden)
extern "C" {

// The arrays of the public header are these tables under their exported type.
extern constinit const colx::SlotTable colx_dispatch_slots = colx::place_kernels();
extern constinit const colx::NameTable colx_dispatch_name_table = colx::place_names();

}  // extern "C"
#pragma GCC visibility pop

extern "C" {

extern COLX_API const colx_kernel_fn colx_dispatch_table[COLX_DISPATCH_SLOTS]
    __attribute__((alias("colx_dispatch_slots")));
extern COLX_API const char* const colx_dispatch_func_names[COLX_DISPATCH_SLOTS]
    __attribute__((alias("colx_dispatch_name_table")));

uint32_t colx_dispatch_table_size(void) {
  return COLX_DISPATCH_SLOTS;
}

}  // extern "C"
