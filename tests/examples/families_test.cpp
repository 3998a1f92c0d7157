// What belongs to which family of the library, and what a watch notes of the calls.
#include "examples/star/families.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "examples/star/call_watch.h"
#include "examples/star/column_scan.h"
#include "examples/star/list_usage.h"
#include "tests/examples/star_host.h"
#include "tests/examples/store_host.h"

namespace colx::star {
namespace {

bool is_family(std::string_view name) {
  return std::ranges::find(all_families(), name) != all_families().end();
}

host::Library opened() {
  return host::Library::open(COLX_LIBRARY_FILE).value();
}

TEST(Families, EveryKernelOfTheTableIsOfTheFamilyThatItsNameTells) {
  const host::Library library = opened();
  uint32_t kernels = 0;
  for (uint32_t slot = 0; slot < COLX_DISPATCH_SLOTS; ++slot) {
    if (!library.record().colx_sctx_dispatch[slot]) continue;
    ++kernels;
    const std::string name = library.kernel_name(slot & 31, static_cast<uint8_t>(slot >> 5));
    const std::string_view family = family_of_slot(slot);
    EXPECT_TRUE(is_family(family)) << name << ": " << family;
    const auto tells = [&](std::string_view part, std::string_view told) {
      EXPECT_EQ(name.find(part) != name.npos, family == told) << name << ": " << family;
    };
    tells("_tz", "scans of rows with ties");
    tells("_null", "scans of codes with NULLs");
    tells("colx_set_", "sets of codes");
    tells("colx_burst_", "run expansion of bit vectors");
    tells("colx_decode_dict_", "decoding of packed codes");
    tells("colx_decode_unpack_", "unpacking");
    tells("colx_decode_symbol_", "decoding of unpacked codes");
    tells("colx_xlate_groupkey_", "translation into group keys");
    if (name.starts_with("colx_xlate_") && family != "translation into group keys") {
      EXPECT_EQ(family, "translation of keys") << name;
    }
    if (name.ends_with("_dict_13bit") && name.starts_with("colx_g")) {
      EXPECT_EQ(family, "scans of packed codes") << name;
    }
    if (name.starts_with("colx_sum_") || name.starts_with("colx_distinct_")) {
      EXPECT_EQ(family, "slots of sums and distinct counts") << name;
    }
  }
  EXPECT_EQ(kernels, 800u);
}

TEST(Families, FunctionsThatSetTheLibraryUpBelongToNone) {
  EXPECT_EQ(family_of_function("init_sharedlib"), "");
  EXPECT_EQ(family_of_function("thread_ctx_fini"), "");
  EXPECT_EQ(family_of_function("lbivnot"), "byte bit vectors");
  EXPECT_EQ(family_of_function("lbiwvnot"), "word bit vectors");
  for (const char* name : {"bloom", "spatial_pip", "groupkey", "gby_sum", "convert",
                           "prefix_decode", "hash", "ht_build", "ht_probe", "partition", "gather",
                           "transpose_reference", "transpose_convert", "wpak_decode", "stats_dump"})
    EXPECT_TRUE(is_family(family_of_function(name))) << name;
}

TEST(CallWatch, NotesNothingWhereNothingIsCalled) {
  const host::Library library = opened();
  CallWatch watch(library);
  EXPECT_TRUE(watch.take_families().empty());
}

TEST(CallWatch, NotesTheScanItsWalkAndTheBitsThatListTheRows) {
  StarHost host(small());
  const host::Library library = opened();
  CallWatch watch(library);
  const Table& date = host.tables()[TableId::date];
  host::HostServices services(watch.library());
  const std::vector<EncodedColumn> columns =
      encode_table(host.tables()[TableId::lineorder]).value();
  const Engine watched{watch.library(), services, columns, date};
  const NumberFilter filter{host::Compare::lt, 25};
  const auto answer = run_column_scan(watched, columns[lo_quantity], filter, 1);
  ASSERT_TRUE(answer) << answer.message();
  EXPECT_EQ(answer->rows, run_column_scan(host.engine(), columns[lo_quantity], filter, 1)->rows);
  const std::set<std::string_view> scan = {"scans of packed codes", "word bit vectors"};
  EXPECT_EQ(watch.take_families(), scan);
  EXPECT_TRUE(watch.take_families().empty()) << "they were taken before";

  const Rows among = {0, 2};
  ASSERT_TRUE(run_column_scan(watched, columns[lo_quantity], filter, 1, &among));
  std::set<std::string_view> walk = scan;
  walk.insert(walking_scans);
  EXPECT_EQ(watch.take_families(), walk);
}

TEST(CallWatch, SeesEveryFamilyInTheDemo) {
  Options options;
  options.repeats = 1;
  options.listed_rows = 1;
  const auto usage = watch_usage(opened(), three_chunks().tables(), options);
  ASSERT_TRUE(usage) << usage.message();
  const auto families_of = [&](std::string_view user) {
    return std::ranges::find(*usage, user, &Usage::user)->families;
  };
  EXPECT_TRUE(families_of("Q1.1").contains("run expansion of bit vectors"));
  EXPECT_FALSE(families_of("Q1.1").contains("sets of codes"));
  EXPECT_TRUE(families_of("Q2.1").contains("sets of codes"));
  EXPECT_EQ(families_of("text streams"),
            (std::set<std::string_view>{"packed texts", "prefix streams"}));
  testing::internal::CaptureStdout();
  EXPECT_TRUE(print_usage(*usage));
  EXPECT_EQ(testing::internal::GetCapturedStdout().find("NOT USED"), std::string::npos);

  auto others = *usage;
  std::erase_if(others, [](const Usage& each) { return each.user == "line numbers"; });
  testing::internal::CaptureStdout();
  EXPECT_FALSE(print_usage(others));
  EXPECT_NE(testing::internal::GetCapturedStdout().find("crossing counts                    NOT"),
            std::string::npos);
}

}  // namespace
}  // namespace colx::star
