// The sweep: every filled slot of the dispatch table runs random batches against an oracle.
//
// A family of kernels joins it with a file of its own in this folder that defines a SweepFamily,
// and with one line in sweep_families.cpp. A filled slot that no family serves fails the sweep.
//
// `difference` makes one batch from the seed alone (rows, patterns, nulls, selection, flags,
// storage, all at the edge of unreadable pages), leaves out what undefined_input names and nothing
// else, calls the slot and compares everything that the call left behind. A batch is small: a few
// hundred rows.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "kernels/frame/colx_x86.h"

namespace colx::test {

struct SweepSlot {
  uint32_t index;
  const char* name;
  colx_kernel_fn kernel;
};

struct SweepFamily {
  const char* name;
  bool (*serves)(uint32_t index);
  // Empty if the call was right, else one line that begins with the kernel's name and says where.
  std::string (*difference)(const SweepSlot& slot, uint64_t seed);
};

std::span<const SweepFamily* const> sweep_families();

// The family that serves a slot; null without one.
const SweepFamily* sweep_family_of(uint32_t index);

}  // namespace colx::test
