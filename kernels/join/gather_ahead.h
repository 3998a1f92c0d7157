// Looking ahead in a gather. A row costs two loads that depend on each other, of an entry and of a
// value's bytes; where entries or values lie out of cache the processor alone has too few rows
// under way. So entries are asked for two groups of rows ahead, and values one group ahead, when
// their entries have arrived. Of later rows only indexes and entries are read, never values.
#pragma once

#include <algorithm>

#include "kernels/frame/vectors.h"
#include "kernels/join/address_span.h"

namespace colx {

// In groups of rows, where the memory that the next rows refer to is found to be far apart.
template <bool reads_values>
struct LookAhead {
  static constexpr uint64_t group_rows = 32;
  static constexpr uint64_t decision_rows = 4096;
  static constexpr uint64_t sampled_rows = 16;

  uint64_t decided_end;  // first row for which it is not known whether to look ahead
  uint64_t entries;      // first row whose entry was not asked for
  uint64_t values;       // the same of its value
  bool far = false;

  COLX_INLINE explicit LookAhead(uint64_t row) : decided_end(row), entries(row), values(row) {}

  // The end of the group of rows to write next, from `row` on and up to `end` at most. What the
  // groups behind it refer to has been asked for.
  template <class From>
  COLX_INLINE uint64_t group_end(const From& from, uint64_t row, uint64_t end) {
    if (row == decided_end) {
      decided_end = std::min(end, row + decision_rows);
      far = far_apart(from, row, decided_end);
    }
    if (!far) return decided_end;
    ask(from, row, end);
    return std::min(decided_end, row + group_rows);
  }

  // The first rows stand for all up to `end`: what is read for them is needed at once.
  template <class From>
  COLX_INLINE static bool far_apart(const From& from, uint64_t row, uint64_t end) {
    if (end - row < 4 * sampled_rows) return false;
    AddressSpan of_entries, of_values;
    for (const uint64_t sampled_end = row + sampled_rows; row < sampled_end; ++row) {
      of_entries.add(from.entry_address(row));
      if constexpr (reads_values) of_values.add(from.value(row).bytes);
    }
    return of_entries.is_wide() || of_values.is_wide();
  }

  template <class From>
  COLX_INLINE void ask(const From& from, uint64_t row, uint64_t end) {
    const uint64_t entries_end = std::min(end, row + 3 * group_rows);
    for (entries = std::max(entries, row); entries < entries_end; ++entries)
      prefetch(from.entry_address(entries));
    if constexpr (!reads_values) return;
    const uint64_t values_end = std::min(end, row + 2 * group_rows);
    for (values = std::max(values, row); values < values_end; ++values)
      prefetch(from.value(values).bytes);
  }
};

}  // namespace colx
