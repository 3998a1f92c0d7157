#include "tests/support/gather_kernels.h"

#include <cstdio>
#include <cstdlib>

#define EACH_WIDTH(X, ...) \
  X(__VA_ARGS__, fixed_8)  \
  X(__VA_ARGS__, fixed_4)  \
  X(__VA_ARGS__, fixed_2)  \
  X(__VA_ARGS__, fixed_1)  \
  X(__VA_ARGS__, fixed)
#define EACH_INDEX(X, ...)   \
  EACH_WIDTH(X, __VA_ARGS__) \
  X(__VA_ARGS__, ridvalue)   \
  X(__VA_ARGS__, ridvalue_rid)
#define EACH_RESULT(X, store)  \
  EACH_INDEX(X, store, fixed)  \
  EACH_INDEX(X, store, lv_sep) \
  EACH_INDEX(X, store, lv)     \
  EACH_INDEX(X, store, lp_sep) \
  EACH_INDEX(X, store, lp)     \
  EACH_INDEX(X, store, dlp)
#define EACH_STORE(X) EACH_RESULT(X, lp) EACH_RESULT(X, dlp) EACH_RESULT(X, cla)
#define EACH_DIRECT(X) \
  X(lv_sep, lp_sep) X(lv_sep, lp) X(lv_sep, dlp) X(lv, lp_sep) X(lv, lp) X(lv, dlp)

extern "C" {
#define DECLARE_OF_STORE(store, result, index) \
  colx_gather_call colx_gather_##store##_##result##_##index;
#define DECLARE_DIRECT(result, index) colx_gather_call colx_gather_##result##_##index;
EACH_STORE(DECLARE_OF_STORE)
EACH_DIRECT(DECLARE_DIRECT)
}

namespace colx::test {
namespace {

using oracle::GatherIndex;
using oracle::GatherResult;
using oracle::GatherStore;

#define ROW_OF_STORE(store, result, index)       \
  {"colx_gather_" #store "_" #result "_" #index, \
   colx_gather_##store##_##result##_##index,     \
   {GatherStore::store, GatherResult::result, GatherIndex::index}},
#define ROW_DIRECT(result, index)     \
  {"colx_gather_" #result "_" #index, \
   colx_gather_##result##_##index,    \
   {GatherStore::none, GatherResult::result, GatherIndex::index}},

constexpr GatherKernel kernels[] = {EACH_STORE(ROW_OF_STORE) EACH_DIRECT(ROW_DIRECT)};
static_assert(std::size(kernels) == 132);

}  // namespace

std::span<const GatherKernel> gather_kernels() {
  return kernels;
}

const GatherKernel& gather_kernel(const oracle::GatherForm& form) {
  for (const GatherKernel& kernel : kernels) {
    if (kernel.form == form) return kernel;
  }
  std::fprintf(stderr, "no kernel %s\n", oracle::gather_name(form).c_str());
  std::abort();
}

}  // namespace colx::test
