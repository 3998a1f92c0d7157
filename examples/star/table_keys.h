// table_keys.h: do the tables' keys fit together?
#pragma once

#include <cstdint>
#include <optional>

#include "examples/star/tables.h"

namespace colx::star {

struct RepeatedKey {
  uint32_t key;
  uint32_t first_row;
  uint32_t row;  // the first row whose key an earlier row has
};

// Looks at a table's first column.
std::optional<RepeatedKey> find_repeated_key(const Table& table);

// The first row of `column` whose value is not in the first column of `table`.
std::optional<uint32_t> find_missing_key(const Column& column, const Table& table);

}  // namespace colx::star
