// star_host.h: the demo host's engine for tests.
#pragma once

#include <gtest/gtest.h>

#include <string_view>
#include <utility>
#include <vector>

#include "examples/star/engine.h"
#include "examples/star/read_tbl.h"
#include "tests/examples/tbl_folder.h"

namespace colx::star {

using Rows = std::vector<uint32_t>;

// The library, the tables and an engine over them.
class StarHost {
 public:
  // `dates` is the form of lo_orderdate, the other columns have their usual one.
  explicit StarHost(Tables tables, Form dates = Form::runs)
      : tables_(std::move(tables)),
        library_(open()),
        services_(library_),
        lineorder_(encode(tables_[TableId::lineorder], dates)) {}

  const Tables& tables() const { return tables_; }
  const EncodedColumn& column(Lineorder which) const { return lineorder_[which]; }
  Engine engine() { return {library_, services_, lineorder_, tables_[TableId::date]}; }

 private:
  static host::Library open() {
    auto library = host::Library::open(COLX_LIBRARY_FILE);
    EXPECT_TRUE(library) << library.message();
    return library.value();
  }
  static std::vector<EncodedColumn> encode(const Table& table, Form dates) {
    auto columns = encode_table(table);
    EXPECT_TRUE(columns) << columns.message();
    auto date_column = encode_column(table[lo_orderdate], dates);
    EXPECT_TRUE(date_column) << date_column.message();
    (*columns)[lo_orderdate] = std::move(*date_column);
    return std::move(*columns);
  }

  Tables tables_;
  host::Library library_;
  host::HostServices services_;
  std::vector<EncodedColumn> lineorder_;
};

// The tables in tbl/.
inline Tables small() {
  auto tables = read_tables(small_tables);
  EXPECT_TRUE(tables) << tables.message();
  return std::move(tables.value());
}

// A step of the answer ran a kernel whose name ends so.
inline bool ran(const Answer& answer, std::string_view kernel_end) {
  for (const Step& step : answer.steps)
    if (step.kernel.ends_with(kernel_end)) return true;
  return false;
}

}  // namespace colx::star
