#include "tests/sweep/sweep_family.h"

namespace colx::test {

// Each family stands in its own file and here.
extern const SweepFamily dict_predicate_sweep;

std::span<const SweepFamily* const> sweep_families() {
  static constexpr const SweepFamily* families[] = {
      &dict_predicate_sweep,
  };
  return families;
}

const SweepFamily* sweep_family_of(uint32_t index) {
  for (const SweepFamily* family : sweep_families()) {
    if (family->serves(index)) return family;
  }
  return nullptr;
}

}  // namespace colx::test
