// group_sums.h: sums of a numeric column by group, in accumulators sized by the key space.
#pragma once

#include <cstdint>
#include <span>

#include "host/column.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/stream_buffer.h"

namespace colx::host {

// Numbers to add up, back to back at `data`, read exactly. Native numbers are in the machine's byte
// order, others canonical or dsb (encode_numbers.h); dsb numbers are big-endian either way.
struct NumberRows {
  const void* data = nullptr;           // rows * width_bits / 8 bytes
  uint32_t rows = 0;                    // numbers
  uint32_t value_type = COLX_TYPE_DSB;  // COLX_TYPE_...
  uint32_t width_bits = 64;             // float 32, double 64, dsb 8, 16, 32 or 64
  bool native = false;                  // in the machine's byte order
};

// The rows of a chunk that is neither compressed nor run-length coded. Errors: it is, there is no
// such chunk, the column is not numeric.
Result<NumberRows> number_rows(const StoredColumn& column, size_t chunk);

// An accumulator for each group: float for floats, double for doubles, a wrapping 64-bit integer
// for dsb. Rows are added in row order, so floating-point sums depend on the order of the calls.
// One thread at a time; each thread has its own and they are merged in the end, in a fixed order.
class GroupSums {
 public:
  // `groups`: the key space, 1 to 2^32. All sums start at 0. Errors: a type without sums, groups
  // out of range, a library without the function.
  static Result<GroupSums> create(const Library& library, uint32_t value_type, uint64_t groups);

  // Adds row r to the sum of group keys[r]. Errors, with nothing added: another number of keys than
  // rows, a key that is no group (with its row), another type, a width that the type does not have.
  Result<void> add(const NumberRows& numbers, std::span<const uint32_t> keys);
  // Adds all rows to the sum of group 0; floating-point rows are summed among themselves first.
  // Errors, with nothing added: another type, a width that the type does not have.
  Result<void> add_all(const NumberRows& numbers);
  // Adds each of the other's sums to the same group's. Errors: another type or key space.
  Result<void> merge(const GroupSums& other);

  // How many sums there are.
  uint64_t groups() const { return groups_; }
  // COLX_TYPE_... of the sums.
  uint32_t value_type() const { return value_type_; }
  // `group` below groups(); only the one of the sums' type.
  float float_sum(uint64_t group) const { return at<float>(group); }
  // The same of doubles.
  double double_sum(uint64_t group) const { return at<double>(group); }
  // The same of dsb numbers, modulo 2^64.
  int64_t integer_sum(uint64_t group) const { return at<int64_t>(group); }

 private:
  GroupSums() = default;
  Result<void> check(const NumberRows& numbers) const;
  Result<void> call(const NumberRows& numbers, const uint32_t* keys);
  template <class T>
  T at(uint64_t group) const {
    return reinterpret_cast<const T*>(sums_.data())[group];
  }

  colx_gby_sum_call* sum_ = nullptr;
  uint32_t value_type_ = 0;
  uint64_t groups_ = 0;
  StreamBuffer sums_;
};

}  // namespace colx::host
