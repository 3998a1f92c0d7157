#include "examples/star/demo.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "examples/star/check.h"
#include "examples/star/column_scan.h"
#include "examples/star/flight1.h"
#include "examples/star/generate.h"
#include "examples/star/read_tbl.h"
#include "examples/star/report.h"
#include "examples/star/text_streams.h"

namespace colx::star {
namespace {

class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

host::Result<Tables> load(const Options& options) {
  const Stopwatch watch;
  auto tables = options.data ? read_tables(*options.data)
                             : host::Result<Tables>(generate_tables(options.scale));
  if (!tables) return tables;
  if (options.sort) (*tables)[TableId::lineorder].sort_by(lo_orderdate);
  fmt::print("{}{} in {:.1f} s\n",
             options.data ? fmt::format("read {}", options.data->string())
                          : fmt::format("generated scale {}", options.scale),
             options.sort ? ", sorted by date" : "", watch.seconds());
  return tables;
}

// Every table's columns; lineorder's are kept for the queries.
host::Result<std::vector<EncodedColumn>> encode_and_print(const Tables& tables) {
  const Stopwatch watch;
  std::vector<EncodedColumn> lineorder;
  std::vector<std::vector<EncodedColumn>> encoded;
  for (const TableId id : table_ids) {
    auto columns = encode_table(tables[id]);
    if (!columns) return columns.error();
    encoded.push_back(std::move(*columns));
  }
  fmt::print("encoded in {:.1f} s\n\n", watch.seconds());
  for (const TableId id : table_ids) print_columns(tables[id], encoded[static_cast<size_t>(id)]);
  return std::move(encoded[static_cast<size_t>(TableId::lineorder)]);
}

host::Result<bool> flight1(const Engine& engine, const Tables& tables, const Options& options) {
  bool right = true;
  for (const Flight1Query& query : flight1_queries) {
    const auto answer = run_flight1(engine, query, options.repeats);
    if (!answer) return answer.error();
    const auto wrong = difference(answer->count, answer->rows, plain_flight1(tables, query));
    print_answer(query.name, query.where(), *answer, wrong);
    print_rows(tables[TableId::lineorder], answer->rows, options.listed_rows);
    right = right && !wrong;
  }
  return right;
}

// No discount given is NULL instead of 0: rows without one satisfy no comparison.
host::Result<bool> nullable_scan(const Engine& engine, const Tables& tables,
                                 const Options& options) {
  const Column& plain = tables[TableId::lineorder][lo_discount];
  const auto nullable = encode_nullable(plain, 0, "discount_given");
  if (!nullable) return nullable.error();
  const auto answer = run_column_scan(engine, *nullable, {host::Compare::lt, 4}, options.repeats);
  if (!answer) return answer.error();
  const auto wrong =
      difference(answer->count, answer->rows, plain_scan(plain, {host::Compare::ge_le, 1, 3}));
  print_answer("nullable", "discount_given < 4, NULL where lo_discount is 0", *answer, wrong);
  fmt::print("\n");
  return !wrong;
}

}  // namespace

host::Result<bool> run_demo(const Options& options) {
  auto library = host::Library::open(options.library.string());
  if (!library) return library.error();
  fmt::print("library {}, version {}\n", library->file(), library->record().colx_sctx_version);
  host::HostServices services(*library);
  auto tables = load(options);
  if (!tables) return tables.error();
  const auto texts = run_text_streams(*tables, *library, services);
  if (!texts) return texts.error();
  auto lineorder = encode_and_print(*tables);
  if (!lineorder) return lineorder.error();
  const Engine engine{*library, services, *lineorder, (*tables)[TableId::date]};

  bool right = true;
  for (const auto queries : {flight1, nullable_scan}) {
    const auto result = queries(engine, *tables, options);
    if (!result) return result;
    right = right && *result;
  }
  return right && *texts;
}

}  // namespace colx::star
