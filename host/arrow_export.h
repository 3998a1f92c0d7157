// arrow_export.h: results out, as arrays of the Arrow C data interface.
//
//   auto batch = export_arrow(columns).value();
//   batch.schema.move_to(*out_schema);               the consumer's from here on
//   batch.array.move_to(*out_array);
//
// Exports copy: columns may go at once. Schema and array are released separately, in any order and
// on any thread, and know nothing of colx::host objects. A child that was moved out of its parent
// lives on when the parent is released, and is released by its new owner.
#pragma once

#include <span>

#include "host/arrow_abi.h"
#include "host/arrow_owner.h"
#include "host/result.h"
#include "host/typed_column.h"

namespace colx::host {

// Schema and rows; released with the record unless they were moved on.
struct ArrowBatch {
  ArrowSchemaOwner schema;  // their type
  ArrowArrayOwner array;    // the rows
};

// One column as an array of its type. Buffers start at multiples of 64 bytes. A column without NULL
// rows has no validity bitmap, the value of a NULL row is zero bits or no text, and the schema says
// that rows may be NULL. Booleans are the column's bits, so that the bit vector of a scan leaves as
// it is.
//
// Errors name the column, and the row where there is one: values of another kind than the type
// says; a type without a format; text as views (ask for offsets of 32 or 64 bits); an integer that
// does not fit the type's bits, a decimal with more digits than the type has; a number that a float
// cannot hold; text of 2^31 bytes or more with offsets of 32 bits; presence bits for another number
// of rows.
Result<ArrowBatch> export_arrow_column(const DecodedColumn& column);

// The columns as children of a struct. Error: columns of different lengths; those of a column.
Result<ArrowBatch> export_arrow(std::span<const DecodedColumn> columns);

}  // namespace colx::host
