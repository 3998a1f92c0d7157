// list_usage.h: runs all that the demo can do and tells which of the library's families each part
// of it called.
#pragma once

#include <vector>

#include "examples/star/families.h"
#include "examples/star/options.h"
#include "examples/star/tables.h"
#include "host/loader.h"
#include "host/result.h"

namespace colx::star {

// The queries, planning included, then the commands; what they print is dropped. Errors as theirs.
host::Result<std::vector<Usage>> watch_usage(const host::Library& library, const Tables& tables,
                                             const Options& options);

}  // namespace colx::star
