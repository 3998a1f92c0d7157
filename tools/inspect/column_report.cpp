#include "tools/inspect/column_report.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/console/figures.h"
#include "tools/console/progress_line.h"
#include "tools/inspect/column_values.h"
#include "tools/inspect/delimited_file.h"
#include "tools/inspect/stored_sizes.h"

namespace colx::inspect {
namespace {

void print_size(const StoredSize& size, const ColumnValues& values) {
  const auto bytes = static_cast<double>(size.bytes());
  fmt::print("{:<42} {:>14} {:>14} {:>14} {:>9.2f} {:>8.1f} %\n", size.form,
             console::grouped(size.data_bytes), console::grouped(size.dictionary_bytes),
             console::grouped(size.bytes()), bytes / static_cast<double>(values.rows()),
             values.text_bytes ? 100 * bytes / static_cast<double>(values.text_bytes) : 0.0);
}

// A form that does not fit does not fit as a wpak stream either: said once.
void print_misfits(const std::vector<StoredSize>& sizes) {
  std::string told;
  for (const StoredSize& size : sizes) {
    if (size.misfit.empty() || size.misfit == told) continue;
    if (told.empty()) fmt::print("\ndoes not fit:\n");
    told = size.misfit;
    fmt::print("  {:<40} {}\n", size.form, size.misfit);
  }
}

std::vector<StoredSize> sizes_with_progress(const ColumnValues& values) {
  console::ProgressLine progress("encoding", 100);
  return stored_sizes(values,
                      [&progress](size_t done, size_t of) { progress.at(done * 100 / of); });
}

}  // namespace

host::Result<void> print_encodings(const Command& command) {
  const auto column = read_column(command);
  if (!column) return column.error();
  const ColumnValues values = parse_values(column->fields);
  fmt::print("{}, {}: {} rows, {} NULL; {}\n", command.file, column->name,
             console::grouped(values.rows()), console::grouped(values.nulls), values.description());
  fmt::print("text in the file: {} bytes, {:.2f} a row\n\n", console::grouped(values.text_bytes),
             static_cast<double>(values.text_bytes) / static_cast<double>(values.rows()));

  const std::vector<StoredSize> sizes = sizes_with_progress(values);
  fmt::print("{:<42} {:>14} {:>14} {:>14} {:>9} {:>10}\n", "form", "data bytes", "dictionary",
             "together", "a row", "of text");
  const StoredSize* smallest = nullptr;
  for (const StoredSize& size : sizes) {
    if (!size.misfit.empty()) continue;
    print_size(size, values);
    if (!smallest || size.bytes() < smallest->bytes()) smallest = &size;
  }
  if (smallest) fmt::print("\nsmallest: {}\n", smallest->form);
  print_misfits(sizes);
  return {};
}

}  // namespace colx::inspect
