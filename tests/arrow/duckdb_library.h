// duckdb_library.h: DuckDB's C interface out of its shared library, as much of it as the check of
// the Arrow data interface needs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/arrow_abi.h"
#include "host/arrow_owner.h"
#include "host/result.h"

namespace colx::arrow_check {

// What DuckDB hands out; only it knows what they point at.
using Handle = void*;

// The result of a query without Arrow; the first four fields and the text are not used.
struct QueryResult {
  uint64_t deprecated_columns = 0;
  uint64_t deprecated_rows = 0;
  uint64_t deprecated_changes = 0;
  Handle deprecated_data = nullptr;
  char* deprecated_text = nullptr;
  Handle content = nullptr;
};

using State = int;  // 0: done

// The functions that are called, under the names that the library exports them by.
struct DuckdbFunctions {
  const char* (*duckdb_library_version)();
  State (*duckdb_open)(const char* path, Handle* database);
  void (*duckdb_close)(Handle* database);
  State (*duckdb_connect)(Handle database, Handle* connection);
  void (*duckdb_disconnect)(Handle* connection);
  void (*duckdb_free)(void* memory);

  State (*duckdb_query)(Handle connection, const char* sql, QueryResult* result);
  const char* (*duckdb_result_error)(QueryResult* result);
  char* (*duckdb_value_varchar)(QueryResult* result, uint64_t column, uint64_t row);
  void (*duckdb_destroy_result)(QueryResult* result);

  // Arrow out: the address of a record to fill is passed by its address.
  State (*duckdb_query_arrow)(Handle connection, const char* sql, Handle* result);
  const char* (*duckdb_query_arrow_error)(Handle result);
  State (*duckdb_query_arrow_schema)(Handle result, ArrowSchema** schema);
  State (*duckdb_query_arrow_array)(Handle result, ArrowArray** array);
  void (*duckdb_destroy_arrow)(Handle* result);

  // Arrow in, as a view that can be scanned once: the records stay their owner's.
  State (*duckdb_arrow_array_scan)(Handle connection, const char* view, ArrowSchema* schema,
                                   ArrowArray* array, Handle* stream);
  void (*duckdb_destroy_arrow_stream)(Handle* stream);

  // Arrow in, as a chunk that takes the array over. A null error: done.
  Handle (*duckdb_schema_from_arrow)(Handle connection, ArrowSchema* schema, Handle* converted);
  Handle (*duckdb_data_chunk_from_arrow)(Handle connection, ArrowArray* array, Handle converted,
                                         Handle* chunk);
  void (*duckdb_destroy_arrow_converted_schema)(Handle* converted);
  void (*duckdb_destroy_data_chunk)(Handle* chunk);
  State (*duckdb_appender_create)(Handle connection, const char* schema, const char* table,
                                  Handle* appender);
  State (*duckdb_append_data_chunk)(Handle appender, Handle chunk);
  State (*duckdb_appender_destroy)(Handle* appender);
};

// A database in memory and a connection to it.
class Duckdb {
 public:
  // Errors: the library cannot be opened or lacks a function.
  static host::Result<Duckdb> open(const std::string& file);
  Duckdb(Duckdb&& other) noexcept;
  Duckdb& operator=(Duckdb&&) = delete;
  ~Duckdb();

  std::string version() const { return call_.duckdb_library_version(); }

  // Runs a statement, or fails the test.
  void run(const std::string& sql);
  // The first cell of the answer as text; none for NULL.
  std::optional<std::string> cell(const std::string& sql);

  struct Arrow {
    host::ArrowSchemaOwner schema;
    std::vector<host::ArrowArrayOwner> batches;
  };
  Arrow query_arrow(const std::string& sql);

  // Makes a table of a struct's rows by scanning it; both records stay the caller's.
  void create_table_by_scan(const std::string& table, ArrowSchema& schema, ArrowArray& array);
  // Appends a struct's rows to a table as one chunk, which takes over `array`.
  void append_by_chunk(const std::string& table, ArrowSchema& schema, ArrowArray& array);

 private:
  Duckdb() = default;
  DuckdbFunctions call_{};
  Handle database_ = nullptr;
  Handle connection_ = nullptr;
};

}  // namespace colx::arrow_check
