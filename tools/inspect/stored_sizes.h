// stored_sizes.h: a column in each form that stores it, for its size alone.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/result.h"
#include "tools/inspect/column_values.h"

namespace colx::inspect {

struct StoredSize {
  std::string form;         // "dict, 12 bits"
  uint64_t data_bytes = 0;  // streams of the rows, and the vector of NULLs where codes hold none
  uint64_t dictionary_bytes = 0;
  std::string misfit;  // why the values cannot be stored so; sizes mean nothing then

  uint64_t bytes() const { return data_bytes + dictionary_bytes; }
};

// Calls `step` before each form with its number from 0 and how many there are.
std::vector<StoredSize> stored_sizes(const ColumnValues& values,
                                     const std::function<void(size_t, size_t)>& step);

}  // namespace colx::inspect
