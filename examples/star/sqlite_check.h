// sqlite_check.h: the same tables and queries in SQLite.
#pragma once

#include <memory>
#include <vector>

#include "examples/star/star_query.h"
#include "examples/star/tables.h"
#include "host/result.h"

struct sqlite3;

namespace colx::star {

// An SQLite database in memory that holds all tables, the dimensions by their keys.
class SqliteStar {
 public:
  // Copies every row, with progress. An error is SQLite's own text, or that the program was built
  // without it.
  static host::Result<SqliteStar> load(const Tables& tables);

  // Runs the query's SQL; rows come as SQLite orders them.
  host::Result<std::vector<AnswerRow>> answer(const StarQuery& query) const;

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  SqliteStar() = default;
  std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace colx::star
