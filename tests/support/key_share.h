// One call of a kernel that adds a column's share to running group keys, at guard pages: codes,
// keys and table end with their last element.
#pragma once

#include <string>

#include "tests/support/xlate_stage.h"

namespace colx::test {

struct KeyShareKernel {
  const char* name;
  colx_binary_fn kernel;
  unsigned element_bits;
};

inline constexpr unsigned share_element_bits[] = {4, 8, 16, 32};

KeyShareKernel key_share_kernel(unsigned element_bits);

struct KeyShareBatch {
  Numbers keys;      // before the call, one a row
  Numbers codes;     // one a row
  Numbers elements;  // the table
  uint32_t multiplier = 1;
  bool third_is_null = true;  // else it cannot be read
  Edge edge = Edge::end;
  Place place = Place::end;
};

// Random keys and codes into a random table, markers among its elements.
KeyShareBatch random_key_share(unsigned element_bits, uint32_t rows, Random& random);

struct KeyShareRun {
  uint32_t status;
  Numbers keys;
  std::string damage;  // what changed beside the keys; empty if nothing did
};

KeyShareRun run_key_share(const KeyShareKernel& kernel, const KeyShareBatch& batch);

// Empty if the call does what the oracle says and nothing else, else one line.
std::string key_share_difference(const KeyShareKernel& kernel, const KeyShareBatch& batch);

}  // namespace colx::test
