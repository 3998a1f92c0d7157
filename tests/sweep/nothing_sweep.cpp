// sum and distinct: nothing is read, nothing is written, and the status is 0.
#include <array>

#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/seeded_random.h"
#include "tests/sweep/sweep_family.h"

namespace colx::test {
namespace {

bool serves(uint32_t index) {
  return (index & 31) == COLX_OPC_SUM || (index & 31) == COLX_OPC_DISTINCT;
}

// Records that cannot be touched: null or unreadable.
std::string difference(const SweepSlot& slot, uint64_t seed) {
  static GuardedPages nowhere;
  Random random(seed);
  std::array<void*, 4> records;
  for (void*& record : records) record = random.one_in(4) ? nullptr : nowhere.unreadable();
  set_crash_note("%s", slot.name);
  const uint32_t status = reinterpret_cast<colx_binary_fn>(slot.kernel)(
      static_cast<colx_cv*>(records[0]), static_cast<colx_cv*>(records[1]),
      static_cast<colx_cv*>(records[2]), static_cast<colx_kctx*>(records[3]));
  if (status == COLX_DONE) return {};
  return std::string(slot.name) + ": status is " + std::to_string(status);
}

}  // namespace

extern const SweepFamily nothing_sweep;
const SweepFamily nothing_sweep = {"sum and distinct", serves, difference};

}  // namespace colx::test
