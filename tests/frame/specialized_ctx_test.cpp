// The exported record: its fixed values, and each entry point against the exported function that
// belongs there.
#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <set>
#include <string>

#include "tests/support/kernel_library.h"

namespace colx::test {
namespace {

const KernelLibrary& library() {
  static const KernelLibrary opened(COLX_LIBRARY_FILE);
  return opened;
}

// In the order of the record, without the suffix _dydi that all of them have.
const char* const entry_points[] = {"init_sharedlib",
                                    "set_trace_level",
                                    "lbivpopcnt",
                                    "lbivnot",
                                    "lbivand",
                                    "lbivor",
                                    "lbivxor",
                                    "lbivandnot",
                                    "lbivand3",
                                    "lbivor3",
                                    "lbivxor3",
                                    "lbivset_range",
                                    "lbivclr_range",
                                    "lbiv_ictx_ini2",
                                    "lbiviter",
                                    "lbiviter_clr",
                                    "lbivones",
                                    "lbivrun",
                                    "lbivruns",
                                    "lbiwvpopcnt",
                                    "lbiwvnot",
                                    "lbiwvand",
                                    "lbiwvor",
                                    "lbiwvxor",
                                    "lbiwvandnot",
                                    "lbiwvand3",
                                    "lbiwvor3",
                                    "lbiwvxor3",
                                    "lbiwvset_range",
                                    "lbiwvclr_range",
                                    "lbiwv_ictx_ini2",
                                    "lbiwviter",
                                    "lbiwviter_clr",
                                    "lbiwvones",
                                    "lbiwvrun",
                                    "lbiwvruns",
                                    "bloom",
                                    "spatial_pip",
                                    "groupkey",
                                    "gby_sum",
                                    "convert",
                                    "prefix_decode",
                                    "hash",
                                    "ht_build",
                                    "ht_probe",
                                    "partition",
                                    "gather",
                                    "transpose_reference",
                                    "transpose_convert",
                                    "wpak_decode",
                                    "thread_ctx_init",
                                    "thread_ctx_fini"};
static_assert(std::size(entry_points) == 52);

void* entry(size_t number) {
  const size_t at = offsetof(colx_specialized_ctx, colx_sctx_init_sharedlib) + 8 * number;
  void* address = nullptr;
  std::memcpy(&address, reinterpret_cast<const char*>(&library().record()) + at, sizeof address);
  return address;
}

TEST(SpecializedCtx, Magic) {
  EXPECT_EQ(library().record().colx_sctx_magic, 0xB9018218u);
  EXPECT_EQ(library().record().colx_sctx_magic, 3103883800u);
}

TEST(SpecializedCtx, Version) {
  EXPECT_STREQ(library().record().colx_sctx_version, "19.1-1");
}

TEST(SpecializedCtx, Revision) {
  EXPECT_EQ(library().record().colx_sctx_rev, 3u);
}

TEST(SpecializedCtx, Name) {
  EXPECT_STREQ(library().record().colx_sctx_name, "tvlpsse4219");
}

TEST(SpecializedCtx, Sizes) {
  const uint64_t sizes[] = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16};
  for (size_t i = 0; i < 10; ++i) EXPECT_EQ(library().record().colx_sctx_sizes[i], sizes[i]) << i;
}

TEST(SpecializedCtx, DispatchIsTheExportedTable) {
  EXPECT_EQ(static_cast<const void*>(library().record().colx_sctx_dispatch),
            library().symbol("colx_dispatch_table"));
}

TEST(SpecializedCtx, RecordIs67Words) {
  EXPECT_EQ(sizeof(colx_specialized_ctx), 67u * 8);
}

TEST(SpecializedCtx, EntriesAreTheExportedFunctionsInOrder) {
  for (size_t i = 0; i < std::size(entry_points); ++i) {
    const std::string name = std::string("colx_") + entry_points[i] + "_dydi";
    EXPECT_EQ(entry(i), library().symbol(name.c_str())) << name;
  }
}

TEST(SpecializedCtx, EveryEntryIsFilled) {
  for (size_t i = 0; i < std::size(entry_points); ++i)
    EXPECT_NE(entry(i), nullptr) << entry_points[i];
}

TEST(SpecializedCtx, FilledEntriesAreDistinctFunctions) {
  std::set<void*> seen;
  for (size_t i = 0; i < std::size(entry_points); ++i) {
    if (entry(i) == nullptr) continue;
    EXPECT_TRUE(seen.insert(entry(i)).second) << entry_points[i];
  }
}

}  // namespace
}  // namespace colx::test
