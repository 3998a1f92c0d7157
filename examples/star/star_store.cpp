#include "examples/star/star_store.h"

#include <utility>

namespace colx::star {

Lineorder StarStore::key_of(TableId dimension) {
  for (const ForeignKey& key : foreign_keys)
    if (key.table == dimension) return key.column;  // the order's date comes first
  return lo_orderkey;
}

host::Result<StarStore> StarStore::encode(const Tables& tables, const host::Library& library,
                                          host::HostServices& services) {
  StarStore store;
  store.library_ = &library;
  store.services_ = &services;
  for (const TableId id : table_ids) {
    auto columns = encode_table(tables[id]);
    if (!columns) return columns.error();
    store.columns_[static_cast<size_t>(id)] = std::move(*columns);
  }
  for (const TableId id : table_ids) {
    if (id == TableId::lineorder) continue;
    const host::Dictionary<int64_t>& keys = store.column(of(key_of(id))).numbers();
    std::vector<uint32_t>& codes = store.links_[static_cast<size_t>(id)].code_of_row;
    for (const uint32_t key : tables[id][0].cells) {
      const auto code = keys.code_of(key);
      codes.push_back(code ? static_cast<uint32_t>(*code) : KeyLink::no_code);
    }
  }
  if (auto done = store.store_names(tables); !done) return done.error();
  return store;
}

host::Result<void> StarStore::store_names(const Tables& tables) {
  for (const TableId id : table_ids) {
    std::vector<std::optional<host::RowStore>>& names = names_[static_cast<size_t>(id)];
    names.resize(table(id).size());
    for (size_t column = 0; column < names.size() && id != TableId::lineorder; ++column) {
      if (tables[id][column].schema.kind != Kind::text) continue;
      const host::DictionaryImage& values = *table(id)[column].stored.dictionary;
      std::vector<const char*> starts;
      std::vector<uint16_t> lengths;
      for (uint32_t code = 0; code < values.num_symbols(); ++code) {
        starts.push_back(values.symbol(code).data());
        lengths.push_back(static_cast<uint16_t>(values.symbol(code).size()));
      }
      const auto texts = host::KeyRows::pointers(starts, lengths);
      if (!texts) return texts.error();
      auto rows = host::RowStore::build(*library_, {&*texts, 1});
      if (!rows) return rows.error();
      names[column].emplace(std::move(*rows));
    }
  }
  return {};
}

uint64_t StarStore::stored_bytes() const {
  uint64_t bytes = 0;
  for (const auto& table : columns_)
    for (const EncodedColumn& column : table) bytes += column.stored_bytes();
  return bytes;
}

const host::RowStore* StarStore::names(const TableColumn& which) const {
  const auto& rows = names_[static_cast<size_t>(which.table)][which.column];
  return rows ? &*rows : nullptr;
}

}  // namespace colx::star
