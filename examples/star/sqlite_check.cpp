#include "examples/star/sqlite_check.h"

#ifdef COLX_STAR_SQLITE

#include <fmt/format.h>
#include <sqlite3.h>

#include <string>

#include "tools/console/progress_line.h"

namespace colx::star {
namespace {

constexpr uint32_t rows_per_progress = 4096;

host::Error failed(sqlite3* database) {
  return host::make_error("SQLite: %s", sqlite3_errmsg(database));
}

host::Result<void> execute(sqlite3* database, const std::string& sql) {
  if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) return {};
  return failed(database);
}

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

host::Result<Statement> prepare(sqlite3* database, const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
    return failed(database);
  return Statement(statement);
}

host::Result<void> insert_rows(sqlite3* database, const Table& table) {
  std::string columns, marks;
  for (const Column& column : table.columns()) {
    const bool is_key = columns.empty() && table.id() != TableId::lineorder;
    columns += fmt::format("{}{} {}", columns.empty() ? "" : ", ", column.schema.name,
                           is_key                             ? "integer primary key"
                           : column.schema.kind == Kind::text ? "text"
                                                              : "integer");
    marks += marks.empty() ? "?" : ", ?";
  }
  if (auto done = execute(database, fmt::format("create table {} ({})", table.name(), columns));
      !done)
    return done;
  auto insert = prepare(database, fmt::format("insert into {} values ({})", table.name(), marks));
  if (!insert) return insert.error();
  console::ProgressLine progress(fmt::format("loading {} into SQLite", table.name()), table.rows());
  for (uint32_t row = 0; row < table.rows(); ++row) {
    if (row % rows_per_progress == 0) progress.at(row);
    int place = 0;
    for (const Column& column : table.columns()) {
      ++place;
      if (column.schema.kind == Kind::text) {
        const std::string& text = column.text(row);
        sqlite3_bind_text(insert->get(), place, text.data(), static_cast<int>(text.size()),
                          SQLITE_STATIC);
      } else {
        sqlite3_bind_int64(insert->get(), place, column.cells[row]);
      }
    }
    if (sqlite3_step(insert->get()) != SQLITE_DONE) return failed(database);
    sqlite3_reset(insert->get());
  }
  return {};
}

}  // namespace

void SqliteStar::Close::operator()(sqlite3* database) const {
  sqlite3_close_v2(database);
}

host::Result<SqliteStar> SqliteStar::load(const Tables& tables) {
  sqlite3* opened = nullptr;
  const int status = sqlite3_open(":memory:", &opened);
  SqliteStar star;
  star.database_.reset(opened);
  if (status != SQLITE_OK) return failed(opened);
  if (auto done = execute(opened, "begin"); !done) return done.error();
  for (const TableId id : table_ids)
    if (auto done = insert_rows(opened, tables[id]); !done) return done.error();
  if (auto done = execute(opened, "commit; analyze"); !done) return done.error();
  return star;
}

host::Result<std::vector<AnswerRow>> SqliteStar::answer(const StarQuery& query) const {
  auto select = prepare(database_.get(), query.sql());
  if (!select) return select.error();
  const int groups = sqlite3_column_count(select->get()) - 1;
  std::vector<AnswerRow> rows;
  int status;
  while ((status = sqlite3_step(select->get())) == SQLITE_ROW) {
    AnswerRow& row = rows.emplace_back();
    for (int column = 0; column < groups; ++column)
      row.group.emplace_back(
          reinterpret_cast<const char*>(sqlite3_column_text(select->get(), column)));
    row.sum = sqlite3_column_int64(select->get(), groups);  // NULL, the sum of nothing, is 0
  }
  if (status != SQLITE_DONE) return failed(database_.get());
  return rows;
}

}  // namespace colx::star

#else

namespace colx::star {

void SqliteStar::Close::operator()(sqlite3*) const {}

host::Result<SqliteStar> SqliteStar::load(const Tables&) {
  return host::make_error("--check sqlite: built without SQLite; install libsqlite3-dev and build");
}

host::Result<std::vector<AnswerRow>> SqliteStar::answer(const StarQuery&) const {
  return host::make_error("built without SQLite");
}

}  // namespace colx::star

#endif
