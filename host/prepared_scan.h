// prepared_scan.h: the checked way to run a predicate over a stored column.
#pragma once

#include <cstdint>

#include "host/column.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/row_bits.h"
#include "host/services.h"
#include "host/stored_constant.h"
#include "host/value_dictionary.h"

namespace colx::host {

// Rows to consider in a scan; `rows` null: all of them.
struct Selection {
  const RowBits* rows = nullptr;  // a bit a row of the chunk
  // Walk the selected rows instead of scanning all; pays below about one row in 64. The result is
  // the same.
  bool walk = false;
};

// A predicate bound to a column's kernel, with constants that are known to fit. The library and the
// column must outlive it. Threads may share it: each call of run() makes its own records.
class PreparedScan {
 public:
  // A predicate on a column of dictionary codes. Errors: the column holds no codes, a constant does
  // not fit the column's width, the library lacks the kernel.
  static Result<PreparedScan> on_codes(const Library& library, const StoredColumn& column,
                                       const CodePredicate& predicate);

  // A predicate on a column of fixed or dynp rows; constants of any length compare as told at
  // fit_to_rows(). Errors: the column holds codes; ties on rows that have none, or that were
  // written without tie codes; the library lacks the kernel.
  static Result<PreparedScan> on_values(const Library& library, const StoredColumn& column,
                                        const ValuePredicate& predicate);

  // Scans one chunk into `hits` and returns how many rows hit. `hits` has a bit a row of the chunk;
  // its old content is replaced, and bits at and above hits.size() mean nothing. The first touch of
  // a compressed chunk is serialised here.
  //
  // Errors of the checks leave `hits` unchanged: no such chunk, `hits` or the selection of another
  // length, a selection on a run-length chunk (there the library would take a bit as a run; combine
  // the result with the selection instead), a one-bit scan that takes every row of 0 rows; and a
  // status that the kernel should not return.
  Result<uint32_t> run(size_t chunk, RowBits& hits, HostServices& services,
                       Selection selection = {}) const;

  // The column that it was bound to.
  const StoredColumn& column() const { return *column_; }
  uint32_t slot() const { return slot_; }  // of the library's table
  // As the library's table spells it.
  const char* kernel_name() const { return kernel_name_; }

 private:
  PreparedScan() = default;
  Result<void> bind(const Library& library, bool variant);
  Result<void> check(size_t chunk, const RowBits& hits, Selection selection) const;

  const StoredColumn* column_ = nullptr;
  Compare compare_ = Compare::eq;
  StoredConstant low_;  // as kernels read them: codes in machine byte order, values as stored
  StoredConstant high_;
  colx_scan_fn scan_ = nullptr;
  colx_range_scan_fn range_scan_ = nullptr;
  const char* kernel_name_ = nullptr;
  uint32_t slot_ = 0;
  bool takes_every_one_bit_row_ = false;
};

}  // namespace colx::host
