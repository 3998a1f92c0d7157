// schema.h: the five tables of the Star Schema Benchmark: their columns, in the order of the
// benchmark's files, and how many rows a scale factor asks for.
//
// The schema is that of P. O'Neil, B. O'Neil, X. Chen, "Star Schema Benchmark" (revision 3).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace colx::star {

// What a cell may hold: an unsigned 32-bit number, a date as the number yyyymmdd, or text.
enum class Kind : uint8_t { number, date, text };

// Each list names a table's columns once, X(name, kind).
#define COLX_STAR_LINEORDER(X) \
  X(lo_orderkey, number)       \
  X(lo_linenumber, number)     \
  X(lo_custkey, number)        \
  X(lo_partkey, number)        \
  X(lo_suppkey, number)        \
  X(lo_orderdate, date)        \
  X(lo_orderpriority, text)    \
  X(lo_shippriority, text)     \
  X(lo_quantity, number)       \
  X(lo_extendedprice, number)  \
  X(lo_ordtotalprice, number)  \
  X(lo_discount, number)       \
  X(lo_revenue, number)        \
  X(lo_supplycost, number) X(lo_tax, number) X(lo_commitdate, date) X(lo_shipmode, text)
#define COLX_STAR_CUSTOMER(X) \
  X(c_custkey, number)        \
  X(c_name, text)             \
  X(c_address, text)          \
  X(c_city, text) X(c_nation, text) X(c_region, text) X(c_phone, text) X(c_mktsegment, text)
#define COLX_STAR_SUPPLIER(X) \
  X(s_suppkey, number)        \
  X(s_name, text)             \
  X(s_address, text) X(s_city, text) X(s_nation, text) X(s_region, text) X(s_phone, text)
#define COLX_STAR_PART(X) \
  X(p_partkey, number)    \
  X(p_name, text)         \
  X(p_mfgr, text)         \
  X(p_category, text)     \
  X(p_brand1, text) X(p_color, text) X(p_type, text) X(p_size, number) X(p_container, text)
#define COLX_STAR_DATE(X)      \
  X(d_datekey, date)           \
  X(d_date, text)              \
  X(d_dayofweek, text)         \
  X(d_month, text)             \
  X(d_year, number)            \
  X(d_yearmonthnum, number)    \
  X(d_yearmonth, text)         \
  X(d_daynuminweek, number)    \
  X(d_daynuminmonth, number)   \
  X(d_daynuminyear, number)    \
  X(d_monthnuminyear, number)  \
  X(d_weeknuminyear, number)   \
  X(d_sellingseason, text)     \
  X(d_lastdayinweekfl, number) \
  X(d_lastdayinmonthfl, number) X(d_holidayfl, number) X(d_weekdayfl, number)

// Positions of the columns in their table.
#define COLX_STAR_POSITION(name, kind) name,
enum Lineorder : size_t { COLX_STAR_LINEORDER(COLX_STAR_POSITION) lineorder_columns };
enum Customer : size_t { COLX_STAR_CUSTOMER(COLX_STAR_POSITION) customer_columns };
enum Supplier : size_t { COLX_STAR_SUPPLIER(COLX_STAR_POSITION) supplier_columns };
enum Part : size_t { COLX_STAR_PART(COLX_STAR_POSITION) part_columns };
enum Date : size_t { COLX_STAR_DATE(COLX_STAR_POSITION) date_columns };
#undef COLX_STAR_POSITION

static_assert(lineorder_columns == 17 && customer_columns == 8 && supplier_columns == 7);
static_assert(part_columns == 9 && date_columns == 17);

enum class TableId : uint8_t { lineorder, customer, supplier, part, date };
inline constexpr std::array table_ids = {TableId::lineorder, TableId::customer, TableId::supplier,
                                         TableId::part, TableId::date};

struct ColumnSchema {
  std::string_view name;
  Kind kind;
};

struct TableSchema {
  std::string_view name;  // "lineorder": the file is lineorder.tbl
  std::span<const ColumnSchema> columns;
};

const TableSchema& table_schema(TableId id);

// A column of lineorder whose values are keys (the first column) of another table.
struct ForeignKey {
  Lineorder column;
  TableId table;
};
inline constexpr std::array foreign_keys = {
    ForeignKey{lo_custkey, TableId::customer}, ForeignKey{lo_partkey, TableId::part},
    ForeignKey{lo_suppkey, TableId::supplier}, ForeignKey{lo_orderdate, TableId::date},
    ForeignKey{lo_commitdate, TableId::date}};

inline constexpr double smallest_scale = 0.01;
inline constexpr double largest_scale = 100;  // order keys and row numbers stay 32-bit numbers

// Rows of a table at a scale factor: 6,000,000 * SF lineorder, 30,000 * SF customer, 2,000 * SF
// supplier, 200,000 * (1 + log2 SF) part (below scale 1, where that would fall under zero,
// 200,000 * SF), 2556 days. Rounded to whole rows.
uint32_t row_count(TableId id, double scale);

}  // namespace colx::star
