// star_store.h: all tables as stored columns, with lineorder's keys linked to the dimensions' rows.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "examples/star/encode.h"
#include "examples/star/star_query.h"
#include "host/loader.h"
#include "host/result.h"
#include "host/row_store.h"
#include "host/services.h"

namespace colx::star {

// Which code a dimension's row has in lineorder's key column.
struct KeyLink {
  static constexpr uint32_t no_code = UINT32_MAX;  // no line refers to the row
  std::vector<uint32_t> code_of_row;
};

class StarStore {
 public:
  // Stores every column of every table, with progress. Library and services must outlive it. An
  // error is a limit of the stored forms.
  static host::Result<StarStore> encode(const Tables& tables, const host::Library& library,
                                        host::HostServices& services);

  const std::vector<EncodedColumn>& table(TableId id) const {
    return columns_[static_cast<size_t>(id)];
  }
  const EncodedColumn& column(const TableColumn& which) const {
    return table(which.table)[which.column];
  }
  // Of the key that lines are joined with the dimension on: of the two dates the order's.
  const KeyLink& link(TableId dimension) const { return links_[static_cast<size_t>(dimension)]; }
  static Lineorder key_of(TableId dimension);
  // The texts of a dimension's column by their codes, for gather; null for a column of numbers.
  const host::RowStore* names(const TableColumn& which) const;

  // Bytes of all columns, dictionaries included.
  uint64_t stored_bytes() const;

  const host::Library& library() const { return *library_; }
  host::HostServices& services() const { return *services_; }

 private:
  StarStore() = default;
  const host::Library* library_ = nullptr;
  host::HostServices* services_ = nullptr;
  std::array<std::vector<EncodedColumn>, table_ids.size()> columns_;
  host::Result<void> store_names(const Tables& tables);
  std::array<KeyLink, table_ids.size()> links_;
  std::array<std::vector<std::optional<host::RowStore>>, table_ids.size()> names_;
};

}  // namespace colx::star
