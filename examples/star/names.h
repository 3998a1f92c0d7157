// names.h: texts of a dimension's rows, fetched by gather.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "examples/star/engine.h"
#include "examples/star/star_query.h"
#include "examples/star/star_store.h"
#include "host/result.h"
#include "host/row_store.h"

namespace colx::star {

// A row store of text columns of one dimension, an entry a row of it. Of several columns, in `lp`
// or `cla` form; of one in any. The store's columns hold no NULL. An error is a limit of the form.
host::Result<host::RowStore> store_rows(const StarStore& store,
                                        const std::vector<TableColumn>& columns,
                                        host::StoreForm form);

// The texts of dimension rows that lines, numbered in the whole table and ascending, refer to:
// joined on codes, then gathered. For each line as many texts as the row store has columns.
host::Result<std::vector<std::vector<std::string>>> texts_of_lines(
    const Engine& engine, const StarStore& store, std::span<const uint32_t> lines,
    TableId dimension, const host::RowStore& rows, size_t columns);

}  // namespace colx::star
