#include "tests/sweep/sweep_family.h"

namespace colx::test {

// Each family stands in its own file and here.
extern const SweepFamily arithmetic_sweep;
extern const SweepFamily burst_sweep;
extern const SweepFamily decode_sweep;
extern const SweepFamily dict_predicate_sweep;
extern const SweepFamily nothing_sweep;
extern const SweepFamily set_sweep;
extern const SweepFamily symbol_decode_sweep;
extern const SweepFamily unpack_sweep;
extern const SweepFamily value_predicate_sweep;
extern const SweepFamily xlate_share_sweep;
extern const SweepFamily xlate_sweep;

std::span<const SweepFamily* const> sweep_families() {
  static constexpr const SweepFamily* families[] = {
      &arithmetic_sweep,      &burst_sweep,       &decode_sweep,        &dict_predicate_sweep,
      &nothing_sweep,         &set_sweep,         &symbol_decode_sweep, &unpack_sweep,
      &value_predicate_sweep, &xlate_share_sweep, &xlate_sweep,
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
