// key_filter.h: rows whose code is wanted, by the kernel that suits the wanted codes.
#pragma once

#include <cstdint>
#include <variant>

#include "host/chunk_rows.h"
#include "host/code_set.h"
#include "host/column.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/result.h"
#include "host/row_bits.h"

namespace colx::host {

// Codes that follow each other are scanned between two bounds, others looked up in a set. Library
// and column must outlive it; threads may share it.
class KeyFilter {
 public:
  // `wanted`: a bit a code of the column's dictionary, at least one of them set. Errors: none is
  // set, and those of the kernels' bind().
  static Result<KeyFilter> bind(const Library& library, const StoredColumn& column,
                                const RowBits& wanted);

  // Drops the rows whose code is not wanted. Errors as ChunkRows::keep().
  Result<void> apply(ChunkRows& rows) const;

  // Share of the dictionary's codes that are wanted.
  double share() const { return share_; }
  // Whether codes are looked up in a set; else they are scanned.
  bool is_set() const { return std::holds_alternative<CodeSet>(kernel_); }
  // The column that it filters by.
  const StoredColumn& column() const;
  // As the library's table spells it.
  const char* kernel_name() const;
  // The kernel's, of the library's table.
  uint32_t slot() const;

 private:
  using Kernel = std::variant<PreparedScan, CodeSet>;
  KeyFilter(Kernel kernel, double share) : kernel_(std::move(kernel)), share_(share) {}
  Kernel kernel_;
  double share_;
};

}  // namespace colx::host
