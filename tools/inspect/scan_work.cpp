// Columns for scans: random codes and values, constants at the quartiles of the rows.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <string_view>
#include <vector>

#include "host/big_endian.h"
#include "host/code_set.h"
#include "host/encode_codes.h"
#include "host/encode_rows.h"
#include "host/prepared_scan.h"
#include "host/slot_parts.h"
#include "tools/console/figures.h"
#include "tools/inspect/kernel_work.h"

namespace colx::inspect {
namespace {

using namespace colx::host;

struct KernelKey {
  explicit KernelKey(const ExpectedKernel& kernel)
      : opc(parts_of_slot(kernel.index).operation),
        encoding(static_cast<Encoding>(parts_of_slot(kernel.index).encoding)),
        bits(width_bits(kernel)),
        variant(parts_of_slot(kernel.index).variant) {}
  uint32_t opc;
  Encoding encoding;
  uint32_t bits;
  bool variant;
};

// A row as comparisons see it: a code, or the bytes of a value from the top byte down, and its
// length where ties are compared.
struct Comparable {
  uint64_t value = 0;
  uint32_t length = 0;
  auto operator<=>(const Comparable&) const = default;  // NOLINT(modernize-use-nullptr): no pointer
};

bool holds(Compare compare, const Comparable& row, const Comparable& low, const Comparable& high) {
  switch (compare) {
    case Compare::eq:
      return row == low;
    case Compare::ne:
      return row != low;
    case Compare::lt:
      return row < low;
    case Compare::le:
      return row <= low;
    case Compare::gt:
      return row > low;
    case Compare::ge:
      return row >= low;
    case Compare::gt_lt:
      return row > low && row < high;
    case Compare::gt_le:
      return row > low && row <= high;
    case Compare::ge_lt:
      return row >= low && row < high;
    case Compare::ge_le:
      return row >= low && row <= high;
  }
  return false;
}

// The constants of a scan, out of rows: quartiles for a range, else the median.
std::array<Comparable, 2> choose_constants(const std::vector<Comparable>& rows, Compare compare) {
  constexpr size_t most = 4001;
  std::vector<Comparable> sample(rows.begin(), rows.begin() + std::min(rows.size(), most));
  std::ranges::sort(sample);
  const size_t last = sample.size() - 1;
  if (is_range(compare)) return {sample[last / 4], sample[last * 3 / 4]};
  return {sample[last / 2], sample[last / 2]};
}

uint64_t count_hits(const std::vector<Comparable>& rows, Compare compare,
                    const std::array<Comparable, 2>& constants, bool zero_is_null) {
  uint64_t hits = 0;
  for (const Comparable& row : rows)
    hits += !(zero_is_null && row.value == 0) && holds(compare, row, constants[0], constants[1]);
  return hits;
}

struct ScannedColumn {
  StoredColumn column;
  std::vector<Comparable> rows;
};

Result<ScannedColumn> make_codes(const WorkOrder& order, const KernelKey& key) {
  std::mt19937_64 random(order.seed);
  const uint64_t mask = key.bits == 64 ? ~uint64_t{0} : (uint64_t{1} << key.bits) - 1;
  std::vector<uint64_t> codes(order.rows);
  for (uint64_t& code : codes) code = random() & mask;
  auto column = store_codes(codes, {.width_bits = key.bits, .zero_is_null = key.variant});
  if (!column) return column.error();
  std::vector<Comparable> rows(codes.size());
  for (size_t row = 0; row < rows.size(); ++row) rows[row].value = codes[row];
  return ScannedColumn{std::move(*column), std::move(rows)};
}

// Values of 1 to `longest` bytes, the last one not zero; all of the full length for fixed rows
// whose ties are not compared.
Result<ScannedColumn> make_values(const WorkOrder& order, const KernelKey& key) {
  std::mt19937_64 random(order.seed);
  const uint32_t longest = key.bits / 8;
  const bool full = key.encoding == Encoding::fixed && !key.variant;
  std::vector<Comparable> rows(order.rows);
  std::vector<uint64_t> bytes(order.rows);
  std::vector<std::string_view> values(order.rows);
  for (size_t row = 0; row < rows.size(); ++row) {
    const uint64_t drawn = random();
    const uint32_t length = full ? longest : 1 + static_cast<uint32_t>(drawn % longest);
    const uint64_t value =
        (random() | uint64_t{1} << (64 - 8 * length)) >> (64 - 8 * length) << (64 - 8 * length);
    store_big_endian(reinterpret_cast<uint8_t*>(&bytes[row]), value, 8);
    values[row] = {reinterpret_cast<const char*>(&bytes[row]), length};
    rows[row] = {value, key.variant ? length : 0};
  }
  const ValueLengths lengths = key.variant ? ValueLengths::kept : ValueLengths::shortest;
  auto column = key.encoding == Encoding::fixed
                    ? store_fixed(values, {.width_bytes = longest, .lengths = lengths})
                    : store_dynp(values, {.max_bytes = longest, .lengths = lengths});
  if (!column) return column.error();
  return ScannedColumn{std::move(*column), std::move(rows)};
}

StoredConstant constant_of(const Comparable& row) {
  StoredConstant constant;
  store_big_endian(constant.bytes.data(), row.value, 8);
  constant.tie_code = row.length ? static_cast<uint8_t>(row.length - 1) : 0;
  return constant;
}

// The column and what runs over it, in one place that does not move.
struct Scan {
  StoredColumn column;
  std::vector<RowBits> hits;  // one for full chunks, one for the last
};

KernelWork work_over(const std::shared_ptr<Scan>& scan, HostServices& services, auto filter) {
  KernelWork work;
  work.found = "hits";
  work.column_bytes = scan->column.stream_bytes();
  work.batches = scan->column.chunks.size();
  scan->hits.emplace_back(scan->column.chunks.front().rows);
  scan->hits.emplace_back(scan->column.chunks.back().rows);
  work.run = [scan, &services, filter = std::move(filter)](size_t batch) -> Result<uint64_t> {
    const bool is_last = batch + 1 == scan->column.chunks.size();
    const auto found = filter->run(batch, scan->hits[is_last], services);
    if (!found) return found.error();
    return uint64_t{*found};
  };
  return work;
}

std::string described(const KernelKey& key, const Scan& scan) {
  const std::string size = console::bytes_text(scan.column.stream_bytes());
  switch (key.encoding) {
    case Encoding::dict:
      return fmt::format("{} of random codes of {} bit{}{}", size, key.bits,
                         key.bits == 1 ? "" : "s", key.variant ? ", 0 being NULL" : "");
    case Encoding::fixed:
      return fmt::format("{} of random rows of {} byte{}{}", size, key.bits / 8,
                         key.bits == 8 ? "" : "s", key.variant ? " with tie codes" : "");
    case Encoding::dynp:
      break;
  }
  return fmt::format("{} of random rows of 1 to {} bytes with their lengths", size, key.bits / 8);
}

}  // namespace

Result<KernelWork> make_scan_work(const WorkOrder& order) {
  const KernelKey key(order.kernel);
  if (key.encoding == Encoding::fixed && key.bits == 8 && key.variant)
    return make_error(
        "%s does the work of the plain kernel under another name, since a row of one byte has no "
        "ties; time that one instead",
        std::string(order.kernel.name).c_str());
  auto made = key.encoding == Encoding::dict ? make_codes(order, key) : make_values(order, key);
  if (!made) return made.error();
  const auto scan = std::make_shared<Scan>();
  scan->column = std::move(made->column);

  const auto compare = static_cast<Compare>(key.opc);
  const auto constants = choose_constants(made->rows, compare);
  const auto [low, high] = constants;
  auto bound =
      key.encoding == Encoding::dict
          ? PreparedScan::on_codes(order.library, scan->column, {compare, low.value, high.value})
          : PreparedScan::on_values(order.library, scan->column,
                                    {compare, constant_of(low), constant_of(high), key.variant});
  if (!bound) return bound.error();
  KernelWork work = work_over(scan, order.services, std::make_shared<PreparedScan>(*bound));
  work.data = described(key, *scan);
  work.expected =
      count_hits(made->rows, compare, constants, key.encoding == Encoding::dict && key.variant);
  return work;
}

Result<KernelWork> make_set_work(const WorkOrder& order) {
  const KernelKey key(order.kernel);
  const uint64_t codes_used = uint64_t{1} << std::min(key.bits, 16u);
  std::mt19937_64 random(order.seed);
  RowBits wanted(codes_used);
  for (uint64_t& word : wanted.words()) {
    word = random();
    word &= random();  // one code in four
  }
  wanted.set(0);
  if (codes_used < 64) wanted.words()[0] &= (uint64_t{1} << codes_used) - 1;

  std::vector<uint64_t> codes(order.rows);
  uint64_t hits = 0;
  for (uint64_t& code : codes) {
    code = random() % codes_used;
    hits += wanted.test(code);
  }
  auto column = store_codes(codes, {.width_bits = key.bits});
  if (!column) return column.error();
  const auto scan = std::make_shared<Scan>();
  scan->column = std::move(*column);
  const std::vector<std::string_view> symbols(codes_used, "x");
  auto dictionary = DictionaryImage::write(symbols);
  if (!dictionary) return dictionary.error();
  scan->column.dictionary = std::make_shared<const DictionaryImage>(std::move(*dictionary));
  auto set = CodeSet::bind(order.library, scan->column, wanted);
  if (!set) return set.error();
  KernelWork work = work_over(scan, order.services, std::make_shared<CodeSet>(std::move(*set)));
  work.data = fmt::format("{}, {} of {} codes wanted", described(key, *scan),
                          console::grouped(wanted.count()), console::grouped(codes_used));
  work.expected = hits;
  return work;
}

}  // namespace colx::inspect
