// star_plan.h: how the engine answers a query, decided before the first line is read.
//
// A dimension's conditions are evaluated on the dimension; what is left of them for lineorder is a
// set of key codes, filtered on the packed codes of the foreign key:
//
//   1 filters   conditions and dimensions, the most selective first; each sees what is left
//   2 join      a dimension that keeps few of its keys, where few lines are left for it: through a
//               hash table of its keys behind a Bloom filter instead of a filter over all lines
//   3 late      a dimension that drops few lines, if few are left when its turn comes and its codes
//               are unpacked for a group key anyway: by those codes
//   4 shares    group keys: each group column's codes are translated from the foreign key's codes
//               and added at their place, the last column lowest; or come out of the join
//   5 sums      the measures of the lines that are left, by group
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "examples/star/star_query.h"
#include "examples/star/star_store.h"
#include "host/chunk_rows.h"
#include "host/code_join.h"
#include "host/key_filter.h"
#include "host/result.h"
#include "host/translation_table.h"

namespace colx::star {

// A group column's values: those that occur, numbered from 0.
struct GroupColumn {
  TableColumn column;
  std::vector<uint32_t> codes;  // of the dimension's column, by number
  uint32_t multiplier = 1;      // of the number in a group's key

  uint32_t number(uint32_t key) const {
    return key / multiplier % static_cast<uint32_t>(codes.size());
  }
};

// A group column's numbers by the codes of lineorder's key.
struct GroupShare {
  host::CodeUnpack keys;
  host::TranslationTable numbers;
  uint32_t multiplier;

  // Of the kernel that translates.
  uint32_t slot() const {
    return colx_column_index(
        COLX_OPC_XLATE,
        colx_column_key(COLX_XLATE_GROUPKEY, static_cast<uint32_t>(numbers.element()),
                        COLX_FORM_VARIANT));
  }
};

// The one dimension that is hash joined; it finds the number of its group column, if it has one.
struct DimensionJoin {
  host::CodeUnpack keys;
  host::CodeJoin join;
  uint32_t multiplier;  // 0: no group column
  TableId table;
};

// Drops the lines whose unpacked code is not wanted.
struct LateFilter {
  host::CodeUnpack keys;
  host::RowBits wanted;
};

struct StarPlan {
  bool empty = false;  // some condition holds for no row of its table
  std::vector<host::KeyFilter> filters;
  std::optional<DimensionJoin> join;
  std::optional<LateFilter> late;
  std::vector<GroupShare> shares;
  std::vector<GroupColumn> groups;  // as the query has them
  // One sum for each of these columns of lineorder.
  std::vector<const EncodedColumn*> sums;
  // Sums are weighed by it: it is the lowest part of the group key, by its column's codes.
  const EncodedColumn* weight = nullptr;
  uint32_t key_space = 1;
};

// Errors: a kernel that the library lacks, a key space above 2^32 - 1.
host::Result<StarPlan> make_plan(const StarStore& store, const StarQuery& query);

// What a plan uses, as one line a step: operator, kernel.
std::vector<std::string> describe(const StarPlan& plan);

}  // namespace colx::star
