// column_scan.h: one comparison over one column, all rows.
#pragma once

#include <string>
#include <vector>

#include "examples/star/engine.h"
#include "examples/star/number_filter.h"
#include "host/prepared_scan.h"
#include "host/result.h"

namespace colx::star {

// The comparison bound to the kernel of the column's form. An error is a kernel that the library
// lacks.
host::Result<host::PreparedScan> prepare_scan(const Engine& engine, const EncodedColumn& column,
                                              const NumberFilter& filter);

// The kernel's name, with the kernel that expands its result if the column is in runs; that of its
// walking form for a scan that `walks`.
std::string kernels_of(const EncodedColumn& column, const host::PreparedScan& scan,
                       bool walks = false);

// Scans all rows or, if `among` is not null, walks those rows alone, ascending. The steps are the
// fastest of `runs` runs, at least 1. NULL rows never match. `work` is what the steps are called.
// An error is a kernel that breaks its contract.
host::Result<Answer> run_scan(const Engine& engine, const EncodedColumn& column,
                              const host::PreparedScan& scan, std::string work, unsigned runs,
                              const std::vector<uint32_t>* among = nullptr);

// Prepares the comparison and runs it, called by its SQL.
host::Result<Answer> run_column_scan(const Engine& engine, const EncodedColumn& column,
                                     const NumberFilter& filter, unsigned runs,
                                     const std::vector<uint32_t>* among = nullptr);

}  // namespace colx::star
