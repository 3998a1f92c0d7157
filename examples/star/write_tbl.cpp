#include "examples/star/write_tbl.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <system_error>

#include "tools/console/progress_line.h"

namespace colx::star {
namespace {

constexpr uint32_t rows_per_block = 4096;

host::Error not_written(const std::filesystem::path& file) {
  return host::make_error("%s cannot be written: %s", file.c_str(), std::strerror(errno));
}

void append_row(std::string& text, const Table& table, uint32_t row) {
  for (const Column& column : table.columns()) {
    if (column.schema.kind == Kind::text)
      text += column.text(row);
    else
      fmt::format_to(std::back_inserter(text), "{}", column.cells[row]);
    text += '|';
  }
  text += '\n';
}

std::string json_text(std::string_view text) {
  std::string json = "\"";
  for (const char letter : text) {
    if (letter == '"' || letter == '\\') json += '\\';
    json += letter;
  }
  return json + '"';
}

std::string json_of(const AnswerRow& row) {
  std::string cells;
  for (const std::string& value : row.group) cells += json_text(value) + ", ";
  return fmt::format("[{}\"{}\"]", cells, row.sum);
}

}  // namespace

host::Result<void> check_writable(const std::filesystem::path& file) {
  if (!std::ofstream(file, std::ios::binary | std::ios::app)) return not_written(file);
  return {};
}

host::Result<void> make_folder(const std::filesystem::path& folder) {
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);
  if (failure)
    return host::make_error("%s cannot be made a folder: %s", folder.c_str(),
                            failure.message().c_str());
  return {};
}

host::Result<void> write_tables(const Tables& tables, const std::filesystem::path& folder) {
  for (const TableId id : table_ids) {
    const Table& table = tables[id];
    const std::filesystem::path file = folder / fmt::format("{}.tbl", table.name());
    std::ofstream out(file, std::ios::binary);
    if (!out) return not_written(file);
    console::ProgressLine progress(fmt::format("writing {}", table.name()), table.rows());
    std::string text;
    for (uint32_t row = 0; row < table.rows() && out; ++row) {
      append_row(text, table, row);
      if (row % rows_per_block != 0 && row + 1 != table.rows()) continue;
      out << text;
      text.clear();
      progress.at(row);
    }
    if (!out.flush()) return not_written(file);
  }
  return {};
}

host::Result<void> write_answers(const std::vector<QueryRecord>& records,
                                 const std::filesystem::path& file) {
  std::ofstream out(file, std::ios::binary);
  out << "[";
  for (const QueryRecord& record : records) {
    if (&record != &records.front()) out << ",\n";
    out << fmt::format("{{\"name\": {}, \"sql\": {}, \"milliseconds\": {:.3f}, \"rows\": [",
                       json_text(record.query.name), json_text(record.query.sql()),
                       record.milliseconds);
    for (size_t row = 0; row < record.rows.size(); ++row)
      out << (row ? ", " : "") << json_of(record.rows[row]);
    out << "]}";
  }
  out << "]\n";
  if (!out.flush()) return not_written(file);
  return {};
}

}  // namespace colx::star
