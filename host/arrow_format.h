// arrow_format.h: types as the format strings of the Arrow C data interface spell them.
//
//   c s i l   integers of 8 to 64 bits     f g      float, double
//   C S I L   the same, unsigned           u U vu   utf8: offsets of 32 and of 64 bits, views
//   tdD tdm   days, milliseconds           d:P,S    decimal of 128 bits, P digits, S of them behind
//   b         boolean                      d:P,S,B  the point; of B bits
#pragma once

#include <string>

#include "host/result.h"
#include "host/typed_column.h"

namespace colx::host {

// The type of a format. Null is an error, and so is any other format: its text shows it.
Result<ValueType> type_of_arrow_format(const char* format);

// The format of a type. Errors: bits that no such type has; decimals of no digits.
Result<std::string> arrow_format_of(const ValueType& type);

}  // namespace colx::host
