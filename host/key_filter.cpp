#include "host/key_filter.h"

#include <utility>

namespace colx::host {

Result<KeyFilter> KeyFilter::bind(const Library& library, const StoredColumn& column,
                                  const RowBits& wanted) {
  const uint64_t count = wanted.count();
  if (count == 0) return make_error("no code is wanted: there is nothing to look for");
  const double share = static_cast<double>(count) / static_cast<double>(wanted.size());
  uint64_t first = 0;
  while (!wanted.test(first)) ++first;
  uint64_t last = wanted.size() - 1;
  while (!wanted.test(last)) --last;
  if (last - first + 1 == count) {
    auto scan = PreparedScan::on_codes(library, column, {Compare::ge_le, first, last});
    if (!scan) return scan.error();
    return KeyFilter(*scan, share);
  }
  auto set = CodeSet::bind(library, column, wanted);
  if (!set) return set.error();
  return KeyFilter(std::move(*set), share);
}

Result<void> KeyFilter::apply(ChunkRows& rows) const {
  return std::visit([&](const auto& kernel) { return rows.keep(kernel); }, kernel_);
}

const StoredColumn& KeyFilter::column() const {
  return std::visit([](const auto& kernel) -> const StoredColumn& { return kernel.column(); },
                    kernel_);
}

const char* KeyFilter::kernel_name() const {
  return std::visit([](const auto& kernel) { return kernel.kernel_name(); }, kernel_);
}

uint32_t KeyFilter::slot() const {
  return std::visit([](const auto& kernel) { return kernel.slot(); }, kernel_);
}

}  // namespace colx::host
