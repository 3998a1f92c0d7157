// Columns in from DuckDB and results out to it, through the Arrow C data interface. DuckDB says
// what is right: it answers the same predicates, and it compares the tables.
//
// usage: duckdb_arrow_check LIBRARY        libduckdb.so, as scripts/check_arrow.sh finds it
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "host/arrow_export.h"
#include "host/arrow_import.h"
#include "host/typed_scan.h"
#include "tests/arrow/duckdb_library.h"

namespace colx::arrow_check {
namespace {

using host::ArrowArrayOwner;
using host::Compare;
using host::DecodedColumn;
using host::RowBits;
using host::StoredForm;
using host::TypedColumn;
using host::TypedConstant;

std::string duckdb_file;

constexpr const char* number_of_rows = "10000";

// Every type that imports take, with NULL rows, as DuckDB makes them up. Scattered values of few
// and of many different ones, extremes, no order.
constexpr const char* made_columns[] = {
    "i as id",
    "(if(i % 7 = 0, null, i % 256 - 128))::tinyint as t",
    "(if(i % 11 = 0, null, i * 7919 % 65536 - 32768))::smallint as s",
    "(if(i % 13 = 0, null, i * 7919 % 1000 * 1000003 - 500000000))::integer as i4",
    "(if(i = 5, -9223372036854775808, if(i = 6, 9223372036854775807, i * 104729)))::bigint as i8",
    "(i * 31 % 256)::utinyint as ut",
    "(if(i % 5 = 0, null, i * 31 % 65536))::usmallint as us",
    "(i * 2654435761 % 4294967296)::uinteger as ui",
    "(if(i % 3 = 0, null, i * 1000000007))::ubigint as ul",
    "if(i % 17 = 0, null, date '1969-06-01' + (i % 700)::integer) as day",
    "(if(i % 19 = 0, null, (i * 37 % 10000 - 5000) / 100))::decimal(6, 2) as d6",
    "((i * 7919 % 1000003 - 500000) / 1000)::decimal(18, 3) as d18",
    "(if(i % 23 = 0, null, i * 1000003))::decimal(30, 1) as d30",
    "(if(i % 29 = 0, null, (i % 501 - 250) / 8))::float as f",
    "if(i % 31 = 0, null, if(i = 8, 'nan'::double, sin(i))) as g",
    "if(i % 6 = 0, null, i % 4 = 1) as b",
    "if(i % 9 = 0, null, 'a word of its own, no. ' || (i * 13 % 777)) as word",
    "if(i % 8 = 0, null, ('c' || (i % 6))::enum('c5', 'c1', 'c0', 'c4', 'c2', 'c3', 'c9')) as kind",
};

// Settings of DuckDB under which it hands out other layouts of the same columns.
struct Layout {
  std::vector<const char*> settings;
  const char* text;     // formats of the columns `word`
  const char* decimal;  // and `d18`
};
const Layout layouts[] = {
    {{}, "u", "d:18,3,128"},
    {{"set arrow_large_buffer_size = true"}, "U", "d:18,3,128"},
    {{"set arrow_output_version = '1.5'", "set produce_arrow_string_view = true"},
     "vu",
     "d:18,3,64"},
};

// A predicate in both languages. DuckDB holds NaN for the largest number, columns for none.
struct Predicate {
  const char* column;
  Compare compare;
  TypedConstant low;
  TypedConstant high;
  const char* sql;
};
constexpr int64_t no_high = 0;
const Predicate predicates[] = {
    {"t", Compare::lt, int64_t{-5}, no_high, "t < -5"},
    {"s", Compare::ge_lt, int64_t{-100}, int64_t{20000}, "s >= -100 and s < 20000"},
    {"i4", Compare::ne, int64_t{-500000000}, no_high, "i4 <> -500000000"},
    {"i4", Compare::gt, int64_t{0}, no_high, "i4 > 0"},
    {"i8", Compare::le, int64_t{-9223372036854775807}, no_high, "i8 <= -9223372036854775807"},
    {"i8", Compare::gt_le, int64_t{1000000}, int64_t{900000000},
     "i8 > 1000000 and i8 <= 900000000"},
    {"ut", Compare::eq, int64_t{31}, no_high, "ut = 31"},
    {"us", Compare::gt, int64_t{60000}, no_high, "us > 60000"},
    {"ui", Compare::ge, int64_t{4000000000}, no_high, "ui >= 4000000000"},
    {"ul", Compare::lt, int64_t{7000000049000}, no_high, "ul < 7000000049000"},
    {"day", Compare::ge_le, int64_t{-10}, int64_t{365},
     "day between date '1969-12-22' and date '1971-01-01'"},
    {"d6", Compare::gt_lt, int64_t{-1250}, int64_t{75}, "d6 > -12.50 and d6 < 0.75"},
    {"d18", Compare::le, int64_t{0}, no_high, "d18 <= 0"},
    {"d30", Compare::gt, int64_t{50000000000}, no_high, "d30 > 5000000000.0"},
    {"f", Compare::ge, -3.125, no_high, "f >= -3.125"},
    {"f", Compare::lt, 0.01, no_high, "f::double < 0.01"},
    {"g", Compare::gt, 0.5, no_high, "g > 0.5 and not isnan(g)"},
    {"g", Compare::ne, 0.5, no_high, "g <> 0.5"},
    {"b", Compare::eq, int64_t{1}, no_high, "b"},
    {"word", Compare::ge_lt, std::string_view("a word of its own, no. 2"),
     std::string_view("a word of its own, no. 55"),
     "word >= 'a word of its own, no. 2' and word < 'a word of its own, no. 55'"},
    {"kind", Compare::gt, std::string_view("c2"), no_high, "kind::varchar > 'c2'"},
};

struct DuckdbArrow : testing::Test {
  Duckdb duckdb = Duckdb::open(duckdb_file).value();
  host::Library library = host::Library::open(COLX_LIBRARY_FILE).value();
  host::HostServices services{library};

  DuckdbArrow() {
    std::string sql = "create table made as select ";
    for (const char* column : made_columns) sql += std::string(column) + ", ";
    duckdb.run(sql + "from range(" + number_of_rows + ") rows(i)");
  }

  std::vector<TypedColumn> import(const std::string& sql, StoredForm form) {
    const Duckdb::Arrow arrow = duckdb.query_arrow(sql);
    EXPECT_GT(arrow.batches.size(), 1u);
    std::vector<host::TypedColumnOptions> options;
    for (int64_t child = 0; child < arrow.schema->n_children; ++child)
      options.push_back(
          {.form = form_for(*arrow.schema->children[child], form), .chunk_rows = 3000});
    auto table = host::import_arrow_table(*arrow.schema, host::records_of(arrow.batches), options);
    EXPECT_TRUE(table) << table.message();
    return table ? std::move(table).value() : std::vector<TypedColumn>{};
  }

  // The form that is asked for where the type has it, else the smallest.
  static StoredForm form_for(const ArrowSchema& schema, StoredForm form) {
    const std::string format = schema.format;
    const bool codes_only =
        schema.dictionary || format.ends_with('u') || format == "U" || format == "b";
    const bool floating = format == "f" || format == "g";
    const std::string name = schema.name;
    if (form == StoredForm::codes) return name == "g" ? StoredForm::fixed : form;  // it has a NaN
    if (codes_only || (form == StoredForm::dynp && (floating || name == "i8")))
      return StoredForm::smallest;
    return form;
  }

  static const TypedColumn& column_of(const std::vector<TypedColumn>& table,
                                      const std::string& name) {
    for (const TypedColumn& column : table)
      if (column.name == name) return column;
    ADD_FAILURE() << "no column " << name;
    return table.front();
  }

  std::vector<RowBits> hits_of(const TypedColumn& column, const Predicate& predicate) {
    auto scan =
        is_range(predicate.compare)
            ? prepare_typed_scan(library, column, predicate.compare, predicate.low, predicate.high)
            : prepare_typed_scan(library, column, predicate.compare, predicate.low);
    std::vector<RowBits> hits;
    EXPECT_TRUE(scan) << scan.message();
    for (size_t chunk = 0; scan && chunk < column.column.chunks.size(); ++chunk) {
      hits.emplace_back(column.column.chunks[chunk].rows);
      const auto count = scan->run(chunk, hits.back(), services);
      EXPECT_TRUE(count) << count.message();
    }
    return hits;
  }

  std::vector<DecodedColumn> read(const std::vector<TypedColumn>& table,
                                  std::span<const RowBits> hits = {}) {
    std::vector<DecodedColumn> columns;
    for (const TypedColumn& column : table) {
      auto values = read_typed_column(library, services, column, hits);
      EXPECT_TRUE(values) << values.message();
      if (values) columns.push_back(std::move(values).value());
    }
    return columns;
  }

  // A table of DuckDB's out of ours.
  void hand_over(const std::string& name, const std::vector<DecodedColumn>& columns) {
    auto batch = host::export_arrow(columns);
    ASSERT_TRUE(batch) << batch.message();
    duckdb.create_table_by_scan(name, *batch->schema.get(), *batch->array.get());
  }

  // Rows of either query that the other has not.
  std::string differing_rows(const std::string& one, const std::string& other) {
    const auto rows = [&](const std::string& from, const std::string& without) {
      return "(select count(*) from (" + from + " except all " + without + "))";
    };
    return *duckdb.cell("select " + rows(one, other) + " + " + rows(other, one));
  }
};

const char* name_of(StoredForm form) {
  constexpr const char* names[] = {"smallest", "codes", "fixed", "dynp"};
  return names[static_cast<size_t>(form)];
}

TEST_F(DuckdbArrow, TablesComeInAndGoOutUnchanged) {
  for (const Layout& layout : layouts) {
    for (const char* setting : layout.settings) duckdb.run(setting);
    const auto formats = duckdb.query_arrow("select word, d18 from made limit 1");
    EXPECT_STREQ(formats.schema->children[0]->format, layout.text);
    EXPECT_STREQ(formats.schema->children[1]->format, layout.decimal);
    for (const StoredForm form :
         {StoredForm::smallest, StoredForm::codes, StoredForm::fixed, StoredForm::dynp}) {
      hand_over("back", read(import("select * from made", form)));
      EXPECT_EQ(duckdb.cell("select count(*) from back"), number_of_rows);
      EXPECT_EQ(differing_rows("select * replace (kind::varchar as kind) from made",
                               "select * from back"),
                "0")
          << layout.text << ", " << name_of(form);
    }
  }
}

TEST_F(DuckdbArrow, TypesKeepTheirNames) {
  hand_over("back", read(import("select * from made", StoredForm::smallest)));
  const auto types = [](const std::string& table) {
    return "select column_name, if(data_type like 'ENUM%', 'VARCHAR', data_type) from "
           "duckdb_columns() where table_name = '" +
           table + "'";
  };
  EXPECT_EQ(duckdb.cell("select count(*) from (" + types("back") + ")"),
            std::to_string(std::size(made_columns)));
  EXPECT_EQ(differing_rows(types("made"), types("back")), "0");
}

TEST_F(DuckdbArrow, ScansFindTheRowsThatDuckdbFinds) {
  for (const StoredForm form :
       {StoredForm::smallest, StoredForm::codes, StoredForm::fixed, StoredForm::dynp}) {
    const auto table = import("select * from made", form);
    for (const Predicate& predicate : predicates) {
      const auto hits = hits_of(column_of(table, predicate.column), predicate);
      const std::string expected =
          std::string("select * replace (kind::varchar as kind) from made where ") + predicate.sql;
      hand_over("found", read(table, hits));
      EXPECT_NE(duckdb.cell("select count(*) from found"), "0") << predicate.sql;
      EXPECT_EQ(differing_rows(expected, "select * from found"), "0")
          << predicate.sql << ", " << name_of(form);
    }
  }
}

TEST_F(DuckdbArrow, EmptyAnswersComeIn) {
  const auto none = duckdb.query_arrow("select * from made where id < 0");
  EXPECT_TRUE(none.batches.empty());
  const auto table = host::import_arrow_table(*none.schema, host::records_of(none.batches));
  ASSERT_TRUE(table) << table.message();
  EXPECT_EQ(column_of(*table, "word").column.rows(), 0u);
  hand_over("nothing", read(*table));
  EXPECT_EQ(duckdb.cell("select count(*) from nothing"), "0");
}

TEST_F(DuckdbArrow, BitVectorsGoOutAsBooleans) {
  const auto table = import("select * from made", StoredForm::smallest);
  const auto hits = hits_of(column_of(table, "i4"), predicates[3]);
  RowBits all(column_of(table, "i4").column.rows());
  uint64_t row = 0;
  for (const RowBits& chunk : hits)
    for (uint64_t bit = 0; bit < chunk.size(); ++bit, ++row)
      if (chunk.test(bit)) all.set(row);
  auto columns = read({});
  columns.push_back(read_typed_column(library, services, column_of(table, "id")).value());
  columns.push_back({"hit", {host::ValueKind::boolean, 1}, std::move(all), {}});
  hand_over("hits", columns);
  EXPECT_EQ(differing_rows("select id, coalesce(i4 > 0, false) from made", "select * from hits"),
            "0");
}

// An exported array whose releases are counted on the way.
struct CountedArray {
  ArrowArray inner;
  int* releases;

  static void release(ArrowArray* array) {
    auto* counted = static_cast<CountedArray*>(array->private_data);
    ++*counted->releases;
    counted->inner.release(&counted->inner);
    delete counted;
    array->release = nullptr;
  }
};

TEST_F(DuckdbArrow, ReleasesWhatItTakesOverOnce) {
  const auto table = import("select * from made", StoredForm::smallest);
  std::vector<RowBits> first_rows;
  for (const auto& chunk : table.front().column.chunks) {
    first_rows.emplace_back(chunk.rows);
    for (uint32_t row = 0; first_rows.size() == 1 && row < 2000; ++row) first_rows[0].set(row);
  }
  duckdb.run("create table taken as select * replace (kind::varchar as kind) from made limit 0");
  auto batch = host::export_arrow(read(table, first_rows)).value();
  int releases = 0;
  auto* counted = new CountedArray{{}, &releases};
  batch.array.move_to(counted->inner);
  ArrowArray array = counted->inner;
  array.private_data = counted;
  array.release = CountedArray::release;
  duckdb.append_by_chunk("taken", *batch.schema.get(), array);
  EXPECT_EQ(array.release, nullptr);
  EXPECT_EQ(releases, 1);
  EXPECT_FALSE(batch.schema.empty());
  EXPECT_EQ(differing_rows("select * replace (kind::varchar as kind) from made where id < 2000",
                           "select * from taken"),
            "0");
}

}  // namespace
}  // namespace colx::arrow_check

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (argc != 2) return std::fprintf(stderr, "usage: duckdb_arrow_check LIBRARY\n"), 2;
  colx::arrow_check::duckdb_file = argv[1];
  const auto duckdb = colx::arrow_check::Duckdb::open(argv[1]);
  if (!duckdb) return std::fprintf(stderr, "duckdb_arrow_check: %s\n", duckdb.message().c_str()), 2;
  std::printf("DuckDB %s\n", duckdb->version().c_str());
  return RUN_ALL_TESTS();
}
