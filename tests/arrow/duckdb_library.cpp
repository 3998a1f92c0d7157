#include "tests/arrow/duckdb_library.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <utility>

namespace colx::arrow_check {
namespace {

// Finds a function by the name of the field that holds it.
template <class Function>
bool find(void* library, const char* name, Function& function, std::string& missing) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  if (!function) missing += std::string(missing.empty() ? "" : ", ") + name;
  return function != nullptr;
}

// clang-format off
#define FUNCTIONS(X)                                                                   \
  X(duckdb_library_version) X(duckdb_open) X(duckdb_close) X(duckdb_connect)           \
  X(duckdb_disconnect) X(duckdb_free) X(duckdb_query) X(duckdb_result_error)           \
  X(duckdb_value_varchar) X(duckdb_destroy_result) X(duckdb_query_arrow)               \
  X(duckdb_query_arrow_error) X(duckdb_query_arrow_schema) X(duckdb_query_arrow_array) \
  X(duckdb_destroy_arrow) X(duckdb_arrow_array_scan) X(duckdb_destroy_arrow_stream)    \
  X(duckdb_schema_from_arrow) X(duckdb_data_chunk_from_arrow)                          \
  X(duckdb_destroy_arrow_converted_schema) X(duckdb_destroy_data_chunk)                \
  X(duckdb_appender_create) X(duckdb_append_data_chunk) X(duckdb_appender_destroy)
// clang-format on

}  // namespace

host::Result<Duckdb> Duckdb::open(const std::string& file) {
  // Never closed: its threads may still be ending when a test does.
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) return host::make_error("%s", dlerror());
  Duckdb duckdb;
  std::string missing;
#define FIND(name) find(library, #name, duckdb.call_.name, missing);
  FUNCTIONS(FIND)
#undef FIND
  if (!missing.empty()) return host::make_error("%s lacks %s", file.c_str(), missing.c_str());
  if (duckdb.call_.duckdb_open(nullptr, &duckdb.database_) != 0 ||
      duckdb.call_.duckdb_connect(duckdb.database_, &duckdb.connection_) != 0)
    return host::make_error("%s opens no database", file.c_str());
  return duckdb;
}

Duckdb::Duckdb(Duckdb&& other) noexcept
    : call_(other.call_),
      database_(std::exchange(other.database_, nullptr)),
      connection_(std::exchange(other.connection_, nullptr)) {}

Duckdb::~Duckdb() {
  if (connection_) call_.duckdb_disconnect(&connection_);
  if (database_) call_.duckdb_close(&database_);
}

void Duckdb::run(const std::string& sql) {
  QueryResult result;
  if (call_.duckdb_query(connection_, sql.c_str(), &result) != 0)
    ADD_FAILURE() << sql << ": " << call_.duckdb_result_error(&result);
  call_.duckdb_destroy_result(&result);
}

std::optional<std::string> Duckdb::cell(const std::string& sql) {
  QueryResult result;
  std::optional<std::string> text;
  if (call_.duckdb_query(connection_, sql.c_str(), &result) != 0) {
    ADD_FAILURE() << sql << ": " << call_.duckdb_result_error(&result);
  } else if (char* cell = call_.duckdb_value_varchar(&result, 0, 0)) {
    text = cell;
    call_.duckdb_free(cell);
  }
  call_.duckdb_destroy_result(&result);
  return text;
}

Duckdb::Arrow Duckdb::query_arrow(const std::string& sql) {
  Arrow arrow;
  Handle result = nullptr;
  if (call_.duckdb_query_arrow(connection_, sql.c_str(), &result) != 0) {
    ADD_FAILURE() << sql << ": " << call_.duckdb_query_arrow_error(result);
  } else {
    ArrowSchema* schema = arrow.schema.receive();
    EXPECT_EQ(call_.duckdb_query_arrow_schema(result, &schema), 0);
    for (;;) {
      host::ArrowArrayOwner batch;
      ArrowArray* array = batch.receive();
      EXPECT_EQ(call_.duckdb_query_arrow_array(result, &array), 0);
      if (batch.empty()) break;
      arrow.batches.push_back(std::move(batch));
    }
  }
  call_.duckdb_destroy_arrow(&result);
  return arrow;
}

void Duckdb::create_table_by_scan(const std::string& table, ArrowSchema& schema,
                                  ArrowArray& array) {
  Handle stream = nullptr;
  const std::string view = table + "_scan";
  EXPECT_EQ(call_.duckdb_arrow_array_scan(connection_, view.c_str(), &schema, &array, &stream), 0);
  run("create or replace table " + table + " as select * from " + view);
  run("drop view " + view);
  call_.duckdb_destroy_arrow_stream(&stream);
}

void Duckdb::append_by_chunk(const std::string& table, ArrowSchema& schema, ArrowArray& array) {
  Handle converted = nullptr, chunk = nullptr, appender = nullptr;
  ASSERT_EQ(call_.duckdb_schema_from_arrow(connection_, &schema, &converted), nullptr);
  ASSERT_EQ(call_.duckdb_data_chunk_from_arrow(connection_, &array, converted, &chunk), nullptr);
  ASSERT_EQ(call_.duckdb_appender_create(connection_, nullptr, table.c_str(), &appender), 0);
  EXPECT_EQ(call_.duckdb_append_data_chunk(appender, chunk), 0);
  EXPECT_EQ(call_.duckdb_appender_destroy(&appender), 0);
  call_.duckdb_destroy_data_chunk(&chunk);
  call_.duckdb_destroy_arrow_converted_schema(&converted);
}

}  // namespace colx::arrow_check
