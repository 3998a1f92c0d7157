// Random calls of every exported function that takes rows, against its oracle, at guard pages.
//
// A failure prints one line; this runs that call again, alone:
//   COLX_FUNCTION_SWEEP=probe:0x1234567890abcdef ./function_sweep_test
// COLX_SWEEP_BATCHES=1000 runs more calls a family than the usual number, COLX_SWEEP_SEED=7 others.
#include "tests/sweep/function_sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

constexpr uint64_t usual_batches = 400;

uint64_t number_in(const char* variable, uint64_t otherwise) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? std::strtoull(text, nullptr, 0) : otherwise;
}

std::string with_seed(const FunctionSweep& family, const std::string& difference, uint64_t seed) {
  if (difference.empty()) return {};
  char again[120];
  std::snprintf(again, sizeof again, "  again: COLX_FUNCTION_SWEEP=%s:0x%llx", family.name,
                static_cast<unsigned long long>(seed));
  return difference + again;
}

std::string first_difference(const FunctionSweep& family) {
  const uint64_t batches = number_in("COLX_SWEEP_BATCHES", usual_batches);
  const uint64_t base = number_in("COLX_SWEEP_SEED", 0);
  for (uint64_t b = 0; b < batches; ++b) {
    const uint64_t seed = mixed_seed(base, b);
    const std::string text = with_seed(family, family.difference(seed), seed);
    if (!text.empty()) return text;
  }
  return {};
}

TEST(FunctionSweep, EveryFamilyAgreesWithItsOracle) {
  const char* const one = std::getenv("COLX_FUNCTION_SWEEP");
  const char* const colon = one != nullptr ? std::strchr(one, ':') : nullptr;
  for (const FunctionSweep* family : function_sweeps()) {
    if (colon == nullptr) {
      EXPECT_EQ(first_difference(*family), "");
    } else if (std::string(one, colon) == family->name) {
      const uint64_t seed = std::strtoull(colon + 1, nullptr, 0);
      EXPECT_EQ(with_seed(*family, family->difference(seed), seed), "");
    }
  }
}

TEST(FunctionSweep, EveryExportedFunctionIsCalledBySomeTest) {
  std::string named;
  for (const FunctionSweep* family : function_sweeps())
    named += std::string(family->functions) + " ";
  for (const FixedFunction& function : fixed_functions()) named += std::string(function.name) + " ";
  std::istringstream words(named);
  std::vector<std::string> covered{std::istream_iterator<std::string>(words), {}};
  std::sort(covered.begin(), covered.end());
  EXPECT_EQ(std::adjacent_find(covered.begin(), covered.end()), covered.end()) << "named twice";

  std::ifstream map(COLX_SOURCE_DIR "/cmake/colx_x86.map");
  std::vector<std::string> exported;
  for (std::string line; std::getline(map, line);) {
    const size_t begin = line.find("colx_"), end = line.find(';');
    if (line.find('#') != std::string::npos || begin == std::string::npos) continue;
    exported.push_back(line.substr(begin, end - begin));
  }
  std::sort(exported.begin(), exported.end());
  for (const char* data :
       {"colx_dispatch_func_names", "colx_dispatch_table", "colx_global_specialized_ctx"}) {
    exported.erase(std::find(exported.begin(), exported.end(), data));
  }
  EXPECT_EQ(exported.size(), 61u);
  EXPECT_EQ(covered, exported);
}

TEST(FunctionSweep, ASeedMakesTheSameCallAgain) {
  for (const FunctionSweep* family : function_sweeps()) {
    EXPECT_EQ(family->difference(99), family->difference(99)) << family->name;
  }
}

}  // namespace
}  // namespace colx::test
