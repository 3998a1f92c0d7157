#include "examples/star/line_numbers.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

#include "host/encode_numbers.h"

namespace colx::star {
namespace {

const std::vector<uint32_t>& cells_of(const Tables& tables, Lineorder column) {
  return tables[TableId::lineorder][column].cells;
}

}  // namespace

host::Result<double> discounted_total(const host::Library& library, const Tables& tables) {
  const auto doubles = [&](Lineorder column) {
    const auto& cells = cells_of(tables, column);
    return host::store_doubles(std::vector<double>(cells.begin(), cells.end()));
  };
  const auto prices = doubles(lo_extendedprice);
  const auto discounts = doubles(lo_discount);
  if (!prices) return prices.error();
  if (!discounts) return discounts.error();
  // Double, both operands canonical, summed.
  constexpr uint32_t width_code = 1 | 4 | 8;
  const auto multiply = library.binary_kernel(
      COLX_OPC_MUL, colx_column_key(COLX_ENC_FIXED, width_code, COLX_FORM_VARIANT));
  if (!multiply) return multiply.error();
  double total = 0;
  for (size_t chunk = 0; chunk < prices->chunks.size(); ++chunk) {
    host::ChunkVector left(*prices, chunk), right(*discounts, chunk);
    colx_cv result{};
    result.colx_cv_data = &total;
    (*multiply)(&result, left.cv(), right.cv(), nullptr);
  }
  return total;
}

host::Result<int64_t> revenue_total(const host::Library& library, const Tables& tables) {
  colx_three_call* const convert = library.record().colx_sctx_convert;
  if (!convert) return host::make_error("%s: has no colx_convert_dydi", library.file().c_str());
  const auto& cells = cells_of(tables, lo_revenue);
  const auto revenues = host::store_dsb(std::vector<int64_t>(cells.begin(), cells.end()));
  if (!revenues) return revenues.error();
  int64_t total = 0;
  for (size_t chunk = 0; chunk < revenues->chunks.size(); ++chunk) {
    host::ChunkVector source(*revenues, chunk);
    colx_cv result{};
    result.colx_cv_data = &total;
    colx_kctx kctx{};
    kctx.colx_kctx_flags = COLX_KCTX_SUM;
    if (const uint32_t status = convert(&result, source.cv(), &kctx); status != COLX_DONE)
      return host::make_error("colx_convert_dydi returned status %u", status);
  }
  return total;
}

host::Result<uint64_t> lines_within(const host::Library& library, const Tables& tables,
                                    const Triangle& triangle) {
  colx_spatial_pip_call* const crossings = library.record().colx_sctx_spatial_pip;
  if (!crossings)
    return host::make_error("%s: has no colx_spatial_pip_dydi", library.file().c_str());
  std::map<std::pair<uint32_t, uint32_t>, uint64_t> lines_at;
  const auto& quantities = cells_of(tables, lo_quantity);
  const auto& discounts = cells_of(tables, lo_discount);
  for (size_t line = 0; line < quantities.size(); ++line)
    ++lines_at[{quantities[line], discounts[line]}];
  double corners_x[3], corners_y[3];
  for (size_t corner = 0; corner < triangle.size(); ++corner) {
    corners_x[corner] = triangle[corner].x;
    corners_y[corner] = triangle[corner].y;
  }
  uint64_t within = 0;
  for (const auto& [place, lines] : lines_at) {
    double x = place.first, y = place.second;
    uint32_t count = 0;
    colx_cv result{}, xs{}, ys{}, px{}, py{};
    result.colx_cv_data = &count;
    xs.colx_cv_data = corners_x;
    xs.colx_cv_num_of_rows = static_cast<uint32_t>(triangle.size());
    ys.colx_cv_data = corners_y;
    px.colx_cv_data = &x;
    py.colx_cv_data = &y;
    crossings(&result, &xs, &ys, &px, &py, nullptr);
    if (count % 2 != 0) within += lines;
  }
  return within;
}

host::Result<uint32_t> customers_with_orders(const host::Library& library, const Tables& tables) {
  const colx_specialized_ctx& record = library.record();
  if (!record.colx_sctx_lbivor)
    return host::make_error("%s: has no colx_lbivor_dydi", library.file().c_str());
  constexpr size_t block = size_t{1} << 20;
  const auto& keys = cells_of(tables, lo_custkey);
  const uint64_t bits = uint64_t{keys.empty() ? 0 : std::ranges::max(keys)} + 1;
  std::vector<uint8_t> all((bits + 7) / 8), of_block;
  uint32_t count = 0;
  for (size_t from = 0; from < keys.size(); from += block) {
    of_block.assign(all.size(), 0);
    for (size_t line = from; line < std::min(keys.size(), from + block); ++line)
      of_block[keys[line] / 8] |= static_cast<uint8_t>(1u << keys[line] % 8);
    record.colx_sctx_lbivor(all.data(), &count, all.data(), of_block.data(), bits);
  }
  return count;
}

}  // namespace colx::star
