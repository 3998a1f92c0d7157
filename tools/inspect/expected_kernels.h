// expected_kernels.h: the kernels that a library of this version has, family by family.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace colx::inspect {

struct ExpectedKernel {
  std::string_view name;
  uint32_t index;              // of its slot
  std::string_view arguments;  // what it is called with
};

// Bits of a code or of the word for values; for kernels that are told by a width.
uint32_t width_bits(const ExpectedKernel& kernel);

struct KernelFamily {
  std::string_view title;
  std::span<const ExpectedKernel> kernels;
};

std::span<const KernelFamily> kernel_families();

// Null if no kernel has that name.
const ExpectedKernel* find_kernel(std::string_view name);
// The name that differs least from `name`.
std::string_view nearest_kernel_name(std::string_view name);

}  // namespace colx::inspect
