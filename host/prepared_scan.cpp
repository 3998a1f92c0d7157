#include "host/prepared_scan.h"

#include <cstring>
#include <optional>

namespace colx::host {
namespace {

// One-bit scans whose constants take in both codes fill the output without reading a row; over 0
// rows the length of that fill is undefined.
bool takes_every_one_bit_row(Compare compare, uint64_t low, uint64_t high) {
  switch (compare) {
    case Compare::le:
      return low != 0;
    case Compare::ge:
      return low == 0;
    case Compare::ge_le:
      return low == 0 && high == 1;
    default:
      return false;
  }
}

Result<void> check_constant(uint64_t constant, uint32_t width_bits) {
  const uint64_t largest = ~uint64_t{0} >> (64 - width_bits);
  if (constant <= largest) return {};
  return make_error("constant %llu does not fit the column's %u-bit codes; the largest is %llu",
                    static_cast<unsigned long long>(constant), width_bits,
                    static_cast<unsigned long long>(largest));
}

}  // namespace

Result<PreparedScan> PreparedScan::on_codes(const Library& library, const StoredColumn& column,
                                            const CodePredicate& predicate) {
  const ColumnFormat& format = column.format;
  if (format.encoding != Encoding::dict)
    return make_error("a predicate on codes needs a column of dictionary codes");
  if (auto served = format.check(); !served) return served.error();
  if (auto fits = check_constant(predicate.low, format.width_bits); !fits) return fits.error();
  if (is_range(predicate.compare))
    if (auto fits = check_constant(predicate.high, format.width_bits); !fits) return fits.error();

  PreparedScan scan;
  scan.column_ = &column;
  scan.compare_ = predicate.compare;
  std::memcpy(scan.low_.bytes.data(), &predicate.low, sizeof predicate.low);
  std::memcpy(scan.high_.bytes.data(), &predicate.high, sizeof predicate.high);
  scan.takes_every_one_bit_row_ =
      format.width_bits == 1 && !format.zero_is_null &&
      takes_every_one_bit_row(predicate.compare, predicate.low, predicate.high);
  if (auto bound = scan.bind(library, format.zero_is_null); !bound) return bound.error();
  return scan;
}

Result<PreparedScan> PreparedScan::on_values(const Library& library, const StoredColumn& column,
                                             const ValuePredicate& predicate) {
  const ColumnFormat& format = column.format;
  if (format.encoding == Encoding::dict)
    return make_error("a predicate on values needs a column of fixed or dynp rows");
  if (auto served = format.check(); !served) return served.error();
  auto fitted = fit_to_rows(format, predicate);
  if (!fitted) return fitted.error();
  for (size_t chunk = 0; predicate.ties && chunk < column.chunks.size(); ++chunk)
    if (column.chunks[chunk].second.size() == 0 && column.chunks[chunk].rows)
      return make_error(
          "chunk %zu was written without tie codes; store the column with "
          "ValueLengths::kept",
          chunk);

  PreparedScan scan;
  scan.column_ = &column;
  scan.compare_ = fitted->compare;
  scan.low_ = fitted->low;
  scan.high_ = fitted->high;
  if (auto bound = scan.bind(library, predicate.ties); !bound) return bound.error();
  return scan;
}

Result<void> PreparedScan::bind(const Library& library, bool variant) {
  const auto opc = static_cast<uint32_t>(compare_);
  const uint8_t key = column_->format.key(variant);
  if (is_range(compare_)) {
    auto kernel = library.range_scan_kernel(opc, key);
    if (!kernel) return kernel.error();
    range_scan_ = *kernel;
  } else {
    auto kernel = library.scan_kernel(opc, key);
    if (!kernel) return kernel.error();
    scan_ = *kernel;
  }
  kernel_name_ = library.kernel_name(opc, key);
  slot_ = colx_column_index(opc, key);
  return {};
}

Result<void> PreparedScan::check(size_t chunk, const RowBits& hits, Selection selection) const {
  if (chunk >= column_->chunks.size())
    return make_error("chunk %zu of a column with %zu chunks", chunk, column_->chunks.size());
  const Chunk& part = column_->chunks[chunk];
  if (hits.size() != part.rows)
    return make_error("chunk %zu has %u rows, the result has room for %llu", chunk, part.rows,
                      static_cast<unsigned long long>(hits.size()));
  if (selection.rows && selection.rows->size() != part.rows)
    return make_error("chunk %zu has %u rows, the selection %llu", chunk, part.rows,
                      static_cast<unsigned long long>(selection.rows->size()));
  if (selection.rows && part.runs)
    return make_error(
        "chunk %zu is run-length coded, where a selection would be taken as one of "
        "runs; scan without it and combine the results",
        chunk);
  if (takes_every_one_bit_row_ && part.entries() == 0)
    return make_error("chunk %zu has no rows; a one-bit scan that takes every row needs one",
                      chunk);
  return {};
}

Result<uint32_t> PreparedScan::run(size_t chunk, RowBits& hits, HostServices& services,
                                   Selection selection) const {
  if (auto sound = check(chunk, hits, selection); !sound) return sound.error();
  ChunkVector source(*column_, chunk);
  colx_cv result{};
  result.colx_cv_bits = hits.data();
  result.colx_cv_num_of_rows = static_cast<uint32_t>(hits.size());
  colx_kctx kctx{};
  kctx.colx_kctx_env = services.env();
  // Kernels only read a selection; the record has no const members.
  if (selection.rows) kctx.colx_kctx_selection = const_cast<uint64_t*>(selection.rows->data());
  if (selection.rows && selection.walk) kctx.colx_kctx_flags = COLX_KCTX_SELECTIVE;

  // Fixed rows: some kernels take the row width from the arguments, others from the column.
  const void* low[4] = {low_.bytes.data(), &low_.tie_code, nullptr, source.encoding()};
  const void* high[4] = {high_.bytes.data(), &high_.tie_code, nullptr, source.encoding()};
  std::optional<DecompressionSlot::Touch> touch;
  if (source.chunk().image_bytes) touch.emplace(*source.chunk().slot);
  const uint32_t status = range_scan_ ? range_scan_(&result, source.cv(), low, high, &kctx)
                                      : scan_(&result, source.cv(), low, &kctx);
  if (status != COLX_DONE && status != COLX_NOTHING_FOUND)
    return make_error("%s returned status %u for chunk %zu", kernel_name_, status, chunk);
  return result.colx_cv_num_set;
}

}  // namespace colx::host
