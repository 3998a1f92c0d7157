#include "examples/star/schema.h"

#include <cmath>

#include "examples/star/calendar.h"

namespace colx::star {
namespace {

#define COLX_STAR_ROW(name, kind) ColumnSchema{#name, Kind::kind},
constexpr ColumnSchema lineorder[] = {COLX_STAR_LINEORDER(COLX_STAR_ROW)};
constexpr ColumnSchema customer[] = {COLX_STAR_CUSTOMER(COLX_STAR_ROW)};
constexpr ColumnSchema supplier[] = {COLX_STAR_SUPPLIER(COLX_STAR_ROW)};
constexpr ColumnSchema part[] = {COLX_STAR_PART(COLX_STAR_ROW)};
constexpr ColumnSchema date[] = {COLX_STAR_DATE(COLX_STAR_ROW)};
#undef COLX_STAR_ROW

constexpr TableSchema schemas[] = {{"lineorder", lineorder},
                                   {"customer", customer},
                                   {"supplier", supplier},
                                   {"part", part},
                                   {"date", date}};

uint32_t rounded(double rows) {
  return static_cast<uint32_t>(std::llround(rows));
}

}  // namespace

const TableSchema& table_schema(TableId id) {
  return schemas[static_cast<size_t>(id)];
}

uint32_t row_count(TableId id, double scale) {
  switch (id) {
    case TableId::lineorder:
      return rounded(6'000'000 * scale);
    case TableId::customer:
      return rounded(30'000 * scale);
    case TableId::supplier:
      return rounded(2'000 * scale);
    case TableId::part:
      return rounded(scale < 1 ? 200'000 * scale : 200'000 * (1 + std::log2(scale)));
    case TableId::date:
      return calendar_days;
  }
  return 0;
}

}  // namespace colx::star
