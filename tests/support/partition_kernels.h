// The 52 partition kernels by name, each with the form that its name tells.
#pragma once

#include <span>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/partition_oracle.h"

namespace colx::test {

struct PartitionKernel {
  const char* name;
  colx_partition_call* kernel;
  oracle::PartitionForm form;
};

std::span<const PartitionKernel> partition_kernels();

const PartitionKernel& partition_kernel(const oracle::PartitionForm& form);

}  // namespace colx::test
