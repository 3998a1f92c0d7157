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
  return store;
}

}  // namespace colx::star
