// arrow_import.h: columns in, from arrays of the Arrow C data interface.
//
//   ArrowSchemaOwner schema;                         released when they go
//   std::vector<ArrowArrayOwner> batches;
//   producer_fills(schema.receive()) ...
//   auto columns = import_arrow_table(*schema, records_of(batches));
//
// Imports borrow: they read schemas and arrays, copy what columns keep, and neither move nor
// release anything, whether they succeed or not. Releasing stays with the owner, who may do it as
// soon as the call is back. Schemas and arrays may be shared by threads that import at once.
#pragma once

#include <span>
#include <vector>

#include "host/arrow_abi.h"
#include "host/arrow_owner.h"
#include "host/result.h"
#include "host/typed_column.h"

namespace colx::host {

// One column out of arrays of one type, batch behind batch; none are a column of no rows. Taken are
// the types of arrow_format.h and dictionaries of them with indices of any integer type; a
// dictionary's values are merged, in their own order, whatever the arrays' dictionaries are. NULL
// rows become NULL rows (typed_column.h); a column without any has no NULL code and no bits.
//
// The type of the result is the values', offsets of 32 bits for text that came as views. Errors
// name the column: those of read_arrow() and store_typed_column().
Result<TypedColumn> import_arrow_column(const ArrowSchema& schema,
                                        std::span<const ArrowArray* const> batches,
                                        const TypedColumnOptions& options = {});

// The columns of a struct type ("+s"), one for each child, out of batches of rows. A NULL row of
// the struct is a NULL row in every column. `options`: for each column, or none for defaults.
// Errors: another type; children that are missing; another number of options; those of a column.
Result<std::vector<TypedColumn>> import_arrow_table(
    const ArrowSchema& schema, std::span<const ArrowArray* const> batches,
    std::span<const TypedColumnOptions> options = {});

// What the owners hold, to be passed to an import; they keep it.
std::vector<const ArrowArray*> records_of(std::span<const ArrowArrayOwner> owners);

}  // namespace colx::host
