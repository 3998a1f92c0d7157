// Prefix groups: streams made of their groups, and what the decoder must make of one, value by
// value.
//
//   group:  p | p bytes of prefix | 16 suffixes of k - p bytes; the last group has 1 to 16
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "kernels/frame/colx_x86.h"

namespace colx::oracle {

struct PrefixGroup {
  std::vector<uint8_t> prefix;
  std::vector<std::vector<uint8_t>> suffixes;
};

std::vector<uint8_t> prefix_stream(const std::vector<PrefixGroup>& groups);

struct PrefixOutcome {
  uint32_t status;
  std::vector<uint8_t> values;  // one behind the other
  // Bytes from the output's start that a step on 16 bytes may have touched; those from the end of
  // the values on hold anything. Not above the values if only the last group was written.
  size_t touchable_bytes;
  // The descriptors that are filled, as offsets of their values in the output.
  std::vector<size_t> described;
};

// Reads the group count, the parameters and the stream of `src`. `with_descriptors` says whether
// the call has an array for them.
PrefixOutcome prefix_outcome(const colx_cv& src, bool with_descriptors);

}  // namespace colx::oracle
