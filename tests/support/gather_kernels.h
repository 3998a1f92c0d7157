// The 132 gather kernels by name, each with the form that its name tells.
#pragma once

#include <span>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/gather_oracle.h"

namespace colx::test {

struct GatherKernel {
  const char* name;
  colx_gather_call* kernel;
  oracle::GatherForm form;
};

std::span<const GatherKernel> gather_kernels();

const GatherKernel& gather_kernel(const oracle::GatherForm& form);

}  // namespace colx::test
