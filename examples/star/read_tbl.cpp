#include "examples/star/read_tbl.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "examples/star/calendar.h"
#include "examples/star/table_keys.h"
#include "tools/console/progress_line.h"

namespace colx::star {
namespace {

namespace fs = std::filesystem;

constexpr size_t longest_text_bytes = 255;
constexpr size_t longest_quote_bytes = 32;

bool is_control(char letter) {
  return static_cast<unsigned char>(letter) < 0x20 || letter == 0x7F;
}

// A field as a message shows it: in quotes, cut if it is long, control characters as '?'.
std::string quoted(std::string_view field) {
  std::string shown{field.substr(0, longest_quote_bytes)};
  for (char& letter : shown)
    if (is_control(letter)) letter = '?';
  return fmt::format("\"{}\"{}", shown, field.size() > longest_quote_bytes ? "..." : "");
}

// All digits, and the number fits 32 bits.
std::optional<uint32_t> parse_number(std::string_view field) {
  uint32_t number = 0;
  const auto [end, failure] = std::from_chars(field.data(), field.data() + field.size(), number);
  if (failure != std::errc{} || end != field.data() + field.size()) return std::nullopt;
  return number;
}

using Reason = std::optional<std::string>;  // what is wrong; nothing if all is well

Reason add_field(Table& table, size_t column, std::string_view field) {
  const ColumnSchema& schema = table[column].schema;
  const auto wrong = [&](std::string_view expected) {
    return fmt::format("field {} ({}) is {}, expected {}", column + 1, schema.name, quoted(field),
                       expected);
  };
  if (schema.kind == Kind::text) {
    if (field.size() > longest_text_bytes)
      return wrong(fmt::format("a text of at most {} bytes", longest_text_bytes));
    for (const char letter : field)
      if (is_control(letter)) return wrong("a text without control characters");
    table.add(column, field);
    return std::nullopt;
  }
  const std::optional<uint32_t> number = parse_number(field);
  if (schema.kind == Kind::date && (field.size() != 8 || !number || !is_date_key(*number)))
    return wrong("a date as yyyymmdd");
  if (!number) return wrong("a whole number from 0 to 4294967295");
  table.add(column, *number);
  return std::nullopt;
}

Reason add_line(Table& table, std::string_view line) {
  const std::span columns = table.columns();
  if (line.empty()) return "the line is empty";
  const bool is_ended = line.ends_with('|');
  const auto bars = static_cast<size_t>(std::ranges::count(line, '|'));
  const size_t fields = bars + (is_ended ? 0 : 1);
  if (fields != columns.size())
    return fmt::format("the line has {} fields, expected {} ({} to {})", fields, columns.size(),
                       columns.front().schema.name, columns.back().schema.name);
  if (!is_ended)
    return fmt::format("field {} ({}) is not ended by '|'", fields, columns.back().schema.name);
  for (size_t column = 0; column < columns.size(); ++column) {
    const size_t end = line.find('|');
    if (Reason reason = add_field(table, column, line.substr(0, end))) return reason;
    line.remove_prefix(end + 1);
  }
  return std::nullopt;
}

host::Error line_error(const fs::path& file, uint64_t line, std::string_view reason) {
  return {fmt::format("{}, line {}: {}", file.string(), line, reason)};
}

host::Result<void> check_keys(const fs::path& directory, const Tables& tables) {
  const auto file_of = [&](TableId id) {
    return directory / fmt::format("{}.tbl", table_schema(id).name);
  };
  for (const TableId id : table_ids) {
    if (id == TableId::lineorder) continue;
    if (const auto twice = find_repeated_key(tables[id]))
      return line_error(file_of(id), twice->row + 1,
                        fmt::format("{} {} stands in line {} already", tables[id][0].schema.name,
                                    twice->key, twice->first_row + 1));
  }
  const Table& lineorder = tables[TableId::lineorder];
  for (const ForeignKey& reference : foreign_keys)
    if (const auto row = find_missing_key(lineorder[reference.column], tables[reference.table]))
      return line_error(file_of(TableId::lineorder), *row + 1,
                        fmt::format("{} {} is not in {}", lineorder[reference.column].schema.name,
                                    lineorder[reference.column].cells[*row],
                                    file_of(reference.table).filename().string()));
  return {};
}

}  // namespace

host::Result<Table> read_table(const fs::path& file, TableId id) {
  const auto fails = [&](std::string_view reason) {
    return host::Error{fmt::format("cannot read {}: {}", file.string(), reason)};
  };
  std::error_code failure;
  if (fs::is_directory(file, failure)) return fails("it is a directory");
  std::ifstream in(file, std::ios::binary);
  if (!in) return fails(std::strerror(errno));
  const auto bytes = fs::file_size(file, failure);  // for the progress line alone
  console::ProgressLine progress(fmt::format("reading {}", file.filename().string()),
                                 failure ? 0 : bytes);

  Table table{id};
  std::string line;
  uint64_t bytes_read = 0;
  for (uint64_t number = 1; std::getline(in, line); ++number) {
    bytes_read += line.size() + 1;
    if (number % 4096 == 0) progress.at(bytes_read);
    if (line.ends_with('\r')) line.pop_back();
    if (const Reason reason = add_line(table, line)) return line_error(file, number, *reason);
  }
  if (in.bad()) return fails(std::strerror(errno));
  if (table.rows() == 0) return fails("it holds no rows");
  return table;
}

host::Result<Tables> read_tables(const fs::path& directory) {
  std::error_code failure;
  if (!fs::is_directory(directory, failure))
    return host::Error{fmt::format("{} is not a directory", directory.string())};
  Tables tables;
  for (const TableId id : table_ids) {
    auto table = read_table(directory / fmt::format("{}.tbl", table_schema(id).name), id);
    if (!table) return table.error();
    tables[id] = std::move(*table);
  }
  if (const auto checked = check_keys(directory, tables); !checked) return checked.error();
  return tables;
}

}  // namespace colx::star
