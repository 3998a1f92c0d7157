#include "tools/inspect/expected_kernels.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "host/slot_parts.h"
#include "kernels/frame/registry.h"

namespace colx::inspect {
namespace {

constexpr std::string_view one_sided = "res, src, constant, kctx";
constexpr std::string_view range = "res, src, low, high, kctx";
constexpr std::string_view decode = "res, src, kctx";
constexpr std::string_view binary = "res, src, other, kctx";

#define COLX_EXPECTED(form, name, op, enc, code, flag) \
  {#name, slot_index(Op::op, Enc::enc, code, flag), form},
constexpr ExpectedKernel dict_aligned[] = {COLX_DICT_ALIGNED(COLX_EXPECTED)};
constexpr ExpectedKernel dict_packed[] = {COLX_DICT_PACKED(COLX_EXPECTED)};
constexpr ExpectedKernel dict_one_bit[] = {COLX_DICT_ONE_BIT(COLX_EXPECTED)};
constexpr ExpectedKernel fixed_rows[] = {COLX_FIXED(COLX_EXPECTED)};
constexpr ExpectedKernel dynp_rows[] = {COLX_DYNP(COLX_EXPECTED)};
constexpr ExpectedKernel unpack[] = {COLX_DECODE_UNPACK(COLX_EXPECTED)};
constexpr ExpectedKernel dict_decode[] = {COLX_DECODE(COLX_EXPECTED)};
constexpr ExpectedKernel symbols[] = {COLX_DECODE_SYMBOL(COLX_EXPECTED)};
constexpr ExpectedKernel sets[] = {COLX_SET(COLX_EXPECTED)};
constexpr ExpectedKernel bursts[] = {COLX_BURST(COLX_EXPECTED)};
constexpr ExpectedKernel sums[] = {COLX_SUM_DISTINCT(COLX_EXPECTED)};
constexpr ExpectedKernel translation[] = {COLX_XLATE(COLX_EXPECTED)};
constexpr ExpectedKernel group_keys[] = {COLX_GROUPKEY(COLX_EXPECTED)};
constexpr ExpectedKernel arithmetic[] = {COLX_ARITHMETIC(COLX_EXPECTED)};
#undef COLX_EXPECTED

constexpr KernelFamily families[] = {{"dictionary predicates on byte-aligned codes", dict_aligned},
                                     {"dictionary predicates on packed codes", dict_packed},
                                     {"dictionary predicates on one-bit codes", dict_one_bit},
                                     {"predicates on fixed rows", fixed_rows},
                                     {"predicates on dynp rows", dynp_rows},
                                     {"unpacking of codes", unpack},
                                     {"decoding of codes", dict_decode},
                                     {"decoding of unpacked codes", symbols},
                                     {"membership in a set", sets},
                                     {"run expansion", bursts},
                                     {"sum and distinct", sums},
                                     {"translation of keys", translation},
                                     {"translation into group keys", group_keys},
                                     {"arithmetic", arithmetic}};

#define COLX_COUNT(form, name, op, enc, code, flag) +1
constexpr size_t table_kernels = COLX_TABLE_KERNELS(COLX_COUNT);
#undef COLX_COUNT
constexpr size_t family_kernels = [] {
  size_t count = 0;
  for (const KernelFamily& family : families) count += family.kernels.size();
  return count;
}();
static_assert(family_kernels == table_kernels, "every kernel is of a family");

// Letters to insert, drop or change to make one of the other.
size_t edit_distance(std::string_view one, std::string_view other) {
  std::vector<size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < one.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 0; j < other.size(); ++j) {
      const size_t changed = diagonal + (one[i] != other[j]);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
    }
  }
  return row.back();
}

}  // namespace

uint32_t width_bits(const ExpectedKernel& kernel) {
  return code_width(host::parts_of_slot(kernel.index).width_code);
}

std::span<const KernelFamily> kernel_families() {
  return families;
}

const ExpectedKernel* find_kernel(std::string_view name) {
  for (const KernelFamily& family : families)
    for (const ExpectedKernel& kernel : family.kernels)
      if (kernel.name == name) return &kernel;
  return nullptr;
}

std::string_view nearest_kernel_name(std::string_view name) {
  std::string_view nearest;
  size_t least = SIZE_MAX;
  for (const KernelFamily& family : families)
    for (const ExpectedKernel& kernel : family.kernels)
      if (const size_t distance = edit_distance(name, kernel.name); distance < least) {
        least = distance;
        nearest = kernel.name;
      }
  return nearest;
}

}  // namespace colx::inspect
