#include "examples/star/table_keys.h"

#include <unordered_map>
#include <unordered_set>

namespace colx::star {

std::optional<RepeatedKey> find_repeated_key(const Table& table) {
  std::unordered_map<uint32_t, uint32_t> first_rows;
  first_rows.reserve(table.rows());
  for (uint32_t row = 0; row < table.rows(); ++row) {
    const uint32_t key = table[0].cells[row];
    if (const auto [first, is_new] = first_rows.emplace(key, row); !is_new)
      return RepeatedKey{key, first->second, row};
  }
  return std::nullopt;
}

std::optional<uint32_t> find_missing_key(const Column& column, const Table& table) {
  const std::vector<uint32_t>& keys = table[0].cells;
  const std::unordered_set<uint32_t> known(keys.begin(), keys.end());
  for (uint32_t row = 0; row < column.cells.size(); ++row)
    if (!known.contains(column.cells[row])) return row;
  return std::nullopt;
}

}  // namespace colx::star
