// Inputs that the contract leaves undefined: which kernels, under what condition, what may come of
// it, and what the host layer does so that nobody meets it, with the test that shows this. The one
// place for them: a sweep that makes random inputs asks undefined_input before it calls a kernel,
// and leaves out nothing else.
//
// To add a row: write it into the table in undefined_inputs.cpp; if its condition needs a fact that
// InputFacts lacks, add the field and fill it in the sweeps that know it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace colx::test {

// What conditions look at. A sweep leaves alone what does not exist in its family.
struct InputFacts {
  uint32_t slot = 0;  // dispatch index
  uint64_t rows = 0;  // that the kernel will work on
  bool has_kctx = true;
  bool compressed = false;
  bool run_length = false;
  uint64_t lo = 0;  // constants as numbers
  uint64_t hi = 0;
};

struct UndefinedInput {
  const char* kernels;
  const char* condition;
  const char* danger;      // what may come of it
  const char* host_layer;  // what it does about it
  const char* check;       // its function that refuses such input, if the caller could ask for it
  const char* shown_by;    // program:Suite.Test
  bool (*applies)(const InputFacts& facts);  // null: not an input that a sweep could make
};

std::span<const UndefinedInput> undefined_inputs();

// The first row that applies, or null: then the kernel has to give the oracle's answer.
const UndefinedInput* undefined_input(const InputFacts& facts);

// How often undefined_input has given that row so far.
uint64_t times_met(const UndefinedInput& row);

}  // namespace colx::test
