// The sweep of the exported functions that are no kernels of the dispatch table: random calls
// against their oracles, each made from its seed alone.
//
// A family joins it with a FunctionSweep in a file of this folder and a line in
// function_sweeps.cpp. `functions` names what it calls, by blanks; an exported function that no
// family names has a place in `fixed_functions`, with the test that covers it, or fails the sweep.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace colx::test {

struct FunctionSweep {
  const char* name;
  const char* functions;
  // Empty if the call was right, else one line.
  std::string (*difference)(uint64_t seed);
};

std::span<const FunctionSweep* const> function_sweeps();

// Functions whose answer depends on no rows, and the test that asks them everything.
struct FixedFunction {
  const char* name;
  const char* test;
};
std::span<const FixedFunction> fixed_functions();

}  // namespace colx::test
