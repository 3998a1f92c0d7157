// tables.h: the tables as plain rows, before anything is encoded. The generator and the file reader
// fill them; queries are checked against them, row by row.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "examples/star/schema.h"

namespace colx::star {

// The distinct texts of a column, numbered in the order of their first use.
class TextPool {
 public:
  TextPool() = default;
  TextPool(TextPool&&) = default;  // not copied: the index points into the texts
  TextPool& operator=(TextPool&&) = default;

  uint32_t number_of(std::string_view text);  // enters it if it is new
  const std::string& at(uint32_t number) const { return texts_[number]; }
  uint32_t size() const { return static_cast<uint32_t>(texts_.size()); }

 private:
  std::deque<std::string> texts_;  // elements stay where they are as it grows
  std::unordered_map<std::string_view, uint32_t> numbers_;
};

struct Column {
  ColumnSchema schema;
  std::vector<uint32_t> cells;  // numbers, dates as yyyymmdd, or numbers of `texts`
  TextPool texts;

  const std::string& text(size_t row) const { return texts.at(cells[row]); }
};

class Table {
 public:
  explicit Table(TableId id);

  TableId id() const { return id_; }
  std::string_view name() const { return table_schema(id_).name; }
  uint32_t rows() const { return static_cast<uint32_t>(columns_.front().cells.size()); }
  void reserve(uint32_t rows);
  // Appends a cell to one column: a number or date, or a text that is entered into its pool.
  void add(size_t column, uint32_t number) { columns_[column].cells.push_back(number); }
  void add(size_t column, std::string_view text);

  // Brings the rows into the order of a column's numbers; equal ones keep their order.
  void sort_by(size_t column);

  Column& operator[](size_t column) { return columns_[column]; }
  const Column& operator[](size_t column) const { return columns_[column]; }
  std::span<Column> columns() { return columns_; }
  std::span<const Column> columns() const { return columns_; }

  // Cell as the benchmark's files spell it.
  std::string cell(size_t column, size_t row) const;

 private:
  TableId id_;
  std::vector<Column> columns_;
};

class Tables {
 public:
  Tables();

  Table& operator[](TableId id) { return tables_[static_cast<size_t>(id)]; }
  const Table& operator[](TableId id) const { return tables_[static_cast<size_t>(id)]; }

 private:
  std::vector<Table> tables_;
};

}  // namespace colx::star
