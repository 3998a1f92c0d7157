// code_set.h: rows whose code is one of a set, found without unpacking the codes.
#pragma once

#include <cstdint>

#include "host/column.h"
#include "host/loader.h"
#include "host/prepared_scan.h"
#include "host/result.h"
#include "host/row_bits.h"
#include "host/services.h"

namespace colx::host {

// A set of codes bound to the set kernel of a column. Library and column must outlive it; threads
// may share it.
class CodeSet {
 public:
  // `codes`: a bit a code of the column's dictionary. Errors: a column without a dictionary,
  // another number of bits than it has codes, a width without a kernel.
  static Result<CodeSet> bind(const Library& library, const StoredColumn& column,
                              const RowBits& codes);

  // As PreparedScan::run(): the chunk's rows with a code of the set, all or among the selected
  // ones, into `hits`; returns how many. Errors leave `hits` unchanged: no such chunk, `hits` or
  // the selection of another length, a selection on a run-length chunk; and a status that the
  // kernel should not return.
  Result<uint32_t> run(size_t chunk, RowBits& hits, HostServices& services,
                       Selection selection = {}) const;

  // The column that it was bound to.
  const StoredColumn& column() const { return *column_; }
  uint32_t slot() const { return slot_; }  // of the library's table
  // As the library's table spells it.
  const char* kernel_name() const { return kernel_name_; }

 private:
  CodeSet() = default;
  const StoredColumn* column_ = nullptr;
  colx_binary_fn kernel_ = nullptr;
  const char* kernel_name_ = nullptr;
  uint32_t slot_ = 0;
  RowBits codes_;
};

}  // namespace colx::host
