// demo_queries.h: what the demo asks the library, and how it checks the answers.
#pragma once

#include <array>
#include <string_view>

#include "examples/star/engine.h"
#include "examples/star/options.h"
#include "examples/star/sqlite_check.h"
#include "examples/star/star_store.h"
#include "host/result.h"

namespace colx::star {

struct Session {
  const Engine& engine;
  const StarStore& store;
  const Tables& tables;  // plain, for the checks
  const Options& options;
  const SqliteStar* sqlite;  // null: not compared with
};

// Each runs its queries and prints them with their check. True if every answer was right; an error
// is a library that lacks a kernel or breaks its contract.
using DemoQueries = host::Result<bool> (*)(const Session&);

// The scans of query flight 1 with the revenue of the matching rows.
host::Result<bool> flight1(const Session& session);
// Scans of a column with NULLs.
host::Result<bool> nullable_scans(const Session& session);
// Scans of columns that store numbers and days without a dictionary.
host::Result<bool> stored_value_scans(const Session& session);
// All thirteen queries of the benchmark.
host::Result<bool> benchmark(const Session& session);

// Joins of lineorder with each dimension, in every way.
host::Result<bool> joins(const Session& session);
// Names of the customers and suppliers of some lines, gathered from row stores.
host::Result<bool> names(const Session& session);
// Sums grouped by two and three columns, by group keys and by translated codes.
host::Result<bool> groupings(const Session& session);
// Arithmetic, conversion, crossing counts and byte bit vectors on lineorder's numbers.
host::Result<bool> line_numbers(const Session& session);

// Scans of byte strings whose ties their lengths decide.
host::Result<bool> terms_scans(const Session& session);
// Distinct values and sums of a column of each form.
host::Result<bool> column_surveys(const Session& session);

struct DemoCommand {
  std::string_view name;  // as families.h tells what it uses
  DemoQueries run;
};
inline constexpr std::array demo_commands = {DemoCommand{"flight 1 scans", flight1},
                                             DemoCommand{"nullable scans", nullable_scans},
                                             DemoCommand{"stored values", stored_value_scans},
                                             DemoCommand{"ties", terms_scans},
                                             DemoCommand{"survey", column_surveys},
                                             DemoCommand{"joins", joins},
                                             DemoCommand{"names", names},
                                             DemoCommand{"groupings", groupings},
                                             DemoCommand{"line numbers", line_numbers}};

}  // namespace colx::star
