#include "tools/inspect/delimited_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>

#include "tools/console/progress_line.h"

namespace colx::inspect {
namespace {

using host::Error;
using host::make_error;
using host::Result;

Result<std::string> read_bytes(const std::string& file) {
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) return make_error("%s: cannot be opened: %s", file.c_str(), std::strerror(errno));
  std::error_code failure;
  if (std::filesystem::is_directory(file, failure))
    return make_error("%s: is a folder, not a file of rows", file.c_str());
  const auto size = std::filesystem::file_size(file, failure);
  console::ProgressLine progress("reading", failure ? 1 : size);
  constexpr size_t block_bytes = 4 << 20;
  std::string bytes;
  for (size_t at = 0; stream;) {
    bytes.resize(at + block_bytes);
    stream.read(bytes.data() + at, block_bytes);
    at += static_cast<size_t>(stream.gcount());
    bytes.resize(at);
    progress.at(at);
  }
  if (stream.bad()) return make_error("%s: cannot be read: %s", file.c_str(), std::strerror(errno));
  return bytes;
}

// What some programs put before the first line of a file in UTF-8.
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

// Walks the fields of a file.
struct FieldReader {
  const std::string& file;
  std::string_view rest;
  char separator;
  bool quotes;
  bool separator_ends_row;
  std::deque<std::string>& unquoted;
  uint64_t line = 1;      // of what comes next
  uint64_t row_line = 1;  // where the last row began

  Error wrong(const std::string& reason) const {
    return make_error("%s, line %llu: %s", file.c_str(), static_cast<unsigned long long>(row_line),
                      reason.c_str());
  }

  // A field in quotes, up to behind the closing one.
  Result<std::string_view> quoted_field() {
    size_t end = 1;
    bool holds_quotes = false;
    for (;; ++end) {
      if (end >= rest.size()) return wrong("a field in quotes has no closing quote");
      line += rest[end] == '\n';
      if (rest[end] != '"') continue;
      if (end + 1 >= rest.size() || rest[end + 1] != '"') break;
      holds_quotes = true;
      ++end;
    }
    std::string_view field = rest.substr(1, end - 1);
    rest.remove_prefix(end + 1);
    if (!holds_quotes) return field;
    std::string& text = unquoted.emplace_back();
    for (size_t at = 0; at < field.size(); ++at) {
      text += field[at];
      at += field[at] == '"';
    }
    return std::string_view(text);
  }

  // The fields of the next row, which exists. A quote closed before the field's end is an error.
  Result<bool> next(std::vector<std::string_view>& fields) {
    fields.clear();
    row_line = line;
    for (;;) {
      std::string_view field;
      if (quotes && rest.starts_with('"')) {
        auto inner = quoted_field();
        if (!inner) return inner.error();
        field = *inner;
        if (!rest.empty() && rest[0] != separator && rest[0] != '\n' && rest[0] != '\r')
          return wrong("text follows a closing quote");
      } else {
        const char ends[] = {separator, '\n'};
        const size_t end = std::min(rest.find_first_of({ends, 2}), rest.size());
        field = rest.substr(0, end);
        rest.remove_prefix(end);
        if (field.ends_with('\r') && !rest.starts_with(separator)) field.remove_suffix(1);
      }
      const bool more = rest.starts_with(separator);
      if (more) rest.remove_prefix(1);
      fields.push_back(field);
      if (!more) break;
      if (separator_ends_row && (rest.empty() || rest[0] == '\n' || rest.starts_with("\r\n")))
        break;
    }
    if (rest.starts_with("\r\n")) rest.remove_prefix(1);
    if (rest.starts_with('\n')) {
      rest.remove_prefix(1);
      ++line;
    }
    return true;
  }
};

std::string column_list(const std::vector<std::string_view>& names, bool has_header) {
  if (!has_header) return fmt::format("numbers 1 to {}", names.size());
  std::string list;
  for (size_t column = 0; column < names.size(); ++column)
    list += fmt::format("{}{} {}", column ? ", " : "", column + 1, names[column]);
  return list;
}

Result<size_t> find_column(const Command& command, const std::vector<std::string_view>& first,
                           bool has_header) {
  const std::string list = column_list(first, has_header);
  if (command.column.empty())
    return make_error("%s: say which column to encode; there are %s", command.file.c_str(),
                      list.c_str());
  if (has_header)
    for (size_t column = 0; column < first.size(); ++column)
      if (first[column] == command.column) return column;
  const std::string& text = command.column;
  size_t number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure == std::errc{} && end == text.data() + text.size() && number >= 1 &&
      number <= first.size())
    return number - 1;
  return make_error("%s: has no column %s; there are %s", command.file.c_str(), text.c_str(),
                    list.c_str());
}

}  // namespace

Result<FileColumn> read_column(const Command& command) {
  auto bytes = read_bytes(command.file);
  if (!bytes) return bytes.error();
  FileColumn column;
  column.bytes = std::make_unique<const std::string>(std::move(*bytes));
  const bool is_tbl = command.file.ends_with(".tbl");
  const bool has_header = command.has_header.value_or(!is_tbl);
  FieldReader reader{command.file, *column.bytes, command.separator.value_or(is_tbl ? '|' : ','),
                     !is_tbl,      is_tbl,        column.unquoted};
  if (reader.rest.starts_with(byte_order_mark)) reader.rest.remove_prefix(byte_order_mark.size());
  if (reader.rest.empty()) return make_error("%s: is empty", command.file.c_str());

  std::vector<std::string_view> fields;
  const auto start = reader.rest;
  if (auto first = reader.next(fields); !first) return first.error();
  const auto at = find_column(command, fields, has_header);
  if (!at) return at.error();
  column.name = has_header ? std::string(fields[*at]) : fmt::format("column {}", *at + 1);
  if (!has_header) {
    reader.rest = start;
    reader.line = 1;
  }
  console::ProgressLine progress("finding fields", column.bytes->size());
  while (!reader.rest.empty()) {
    if (auto row = reader.next(fields); !row) return row.error();
    if (fields.size() <= *at)
      return reader.wrong(
          fmt::format("{} of {} fields, column {} is asked for",
                      fields.size() == 1 && fields[0].empty() ? "an empty line, 1" : "a row",
                      fields.size(), *at + 1));
    column.fields.push_back(fields[*at]);
    if (column.fields.size() % 4096 == 0) progress.at(column.bytes->size() - reader.rest.size());
  }
  if (column.fields.empty())
    return make_error("%s: has a header and no rows", command.file.c_str());
  return column;
}

}  // namespace colx::inspect
