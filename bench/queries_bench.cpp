// The thirteen queries of the Star Schema Benchmark as the demo host answers them, planning
// included: each alone, all of them against SQLite, on two threads, and on twice the rows.
//
// A row is a line of lineorder, counted once a query. Bytes are those of the plain cells, 4 each,
// that a query names in lineorder. Without --quick the doublings up to scale 4 are loaded, which
// takes some 12 GiB of memory and a minute.

#include <sched.h>

#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/bench_results.h"
#include "examples/star/generate.h"
#include "examples/star/plain_query.h"
#include "examples/star/sqlite_check.h"
#include "examples/star/star_run.h"
#include "host/loader.h"
#include "host/services.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

using namespace colx::star;

// The name of a size is its scale; passes are samples, so a size has two windows.
constexpr SizeClass sizes[] = {{"SF 0.1", 0, 2}, {"SF 0.2", 0, 2}, {"SF 0.4", 0, 2},
                               {"SF 0.8", 0, 2}, {"SF 1", 0, 2},   {"SF 1.6", 0, 2},
                               {"SF 2", 0, 2},   {"SF 3.2", 0, 2}, {"SF 4", 0, 2}};
constexpr const SizeClass& at_1 = sizes[4];

struct Doubling {
  const SizeClass& size;
  double scale;  // compared with half of it
};
constexpr Doubling doublings[] = {{sizes[1], 0.2}, {sizes[2], 0.4}, {sizes[3], 0.8},
                                  {sizes[5], 1.6}, {sizes[6], 2},   {sizes[7], 3.2},
                                  {sizes[8], 4}};

constexpr char doubled[] = "queries on twice the rows";
#define COLX_DOUBLING(size) \
  { "twice the rows, cost of half of them", doubled, &size, Figure::of_peer, 2.1 }
constexpr Target targets[] = {
    {"13 queries, times SQLite", "13 queries", &at_1, Figure::times_scalar, 50},
    {"13 queries on 2 threads, times 1 thread", "13 queries on 2 threads", &at_1,
     Figure::times_scalar, 1.8},
    COLX_DOUBLING(sizes[1]),
    COLX_DOUBLING(sizes[2]),
    COLX_DOUBLING(sizes[3]),
    COLX_DOUBLING(sizes[5]),
    COLX_DOUBLING(sizes[6]),
    COLX_DOUBLING(sizes[7]),
    COLX_DOUBLING(sizes[8])};
#undef COLX_DOUBLING

[[noreturn]] void give_up(const std::string& message) {
  std::fprintf(stderr, "queries_bench: %s\n", message.c_str());
  std::exit(1);
}

template <class T>
T wanted(host::Result<T> result) {
  if (!result) give_up(result.message());
  return std::move(*result);
}

const host::Library& library() {
  static const host::Library linked = wanted(host::Library::attach(
      colx_global_specialized_ctx, colx_dispatch_func_names, "the linked library"));
  return linked;
}

host::HostServices& services() {
  static host::HostServices shared(library());
  return shared;
}

const std::vector<StarQuery>& queries() {
  static const std::vector<StarQuery> all = benchmark_queries();
  return all;
}

// One scale, stored, with its right answers.
struct Star {
  StarStore store;
  std::vector<StarAnswer> right;

  static Star load(const Tables& tables) {
    const PlainStar plain(tables);
    Star star{wanted(StarStore::encode(tables, library(), services())), {}};
    for (const StarQuery& query : queries()) star.right.push_back(plain.answer(query));
    return star;
  }

  void run(size_t query, unsigned threads) const {
    const auto found = answer(store, queries()[query], threads);
    asm volatile("" : : "r"(&found) : "memory");
  }
  void run_all(unsigned threads) const {
    for (size_t query = 0; query < queries().size(); ++query) run(query, threads);
  }
  void run_each(const std::vector<size_t>& numbers) const {
    for (const size_t query : numbers) run(query, 1);
  }
  std::string fault(unsigned threads) const {
    std::string faults;
    for (size_t query = 0; query < queries().size(); ++query) {
      const auto found = wanted(answer(store, queries()[query], threads));
      if (const auto wrong = difference(found, right[query]))
        faults += std::string{queries()[query].name} + ": " + *wrong + "; ";
    }
    return faults;
  }
};

// Scale 1 stays, with its SQLite database once that is asked for.
const Star& star_at_1() {
  static const Star star = Star::load(generate_tables(1));
  return star;
}

const SqliteStar& sqlite_at_1() {
  static const SqliteStar sqlite = wanted(SqliteStar::load(generate_tables(1)));
  return sqlite;
}

// The other scales: of them only the two that were asked for last.
std::shared_ptr<const Star> star_at(double scale) {
  static std::map<double, std::shared_ptr<const Star>> kept;
  if (const auto found = kept.find(scale); found != kept.end()) return found->second;
  std::erase_if(kept, [&](const auto& each) { return each.first < scale / 2; });
  auto star = std::make_shared<const Star>(Star::load(generate_tables(scale)));
  kept.emplace(scale, star);
  return star;
}

uint64_t lines(double scale) {
  return row_count(TableId::lineorder, scale);
}

// Plain cells of lineorder that a query names, keys of its joins included.
uint64_t plain_bytes(const StarQuery& query, double scale) {
  std::set<size_t> columns;
  const auto add = [&](const TableColumn& column) {
    columns.insert(column.table == TableId::lineorder ? column.column
                                                      : StarStore::key_of(column.table));
  };
  for (const Condition& condition : query.where) add(condition.column);
  for (const TableColumn& column : query.group_by) add(column);
  const size_t measures = query.measure == Measure::profit ? 2 : 1;
  return 4 * lines(scale) * (columns.size() + measures);
}

uint64_t plain_bytes_of_all(double scale) {
  uint64_t bytes = 0;
  for (const StarQuery& query : queries()) bytes += plain_bytes(query, scale);
  return bytes;
}

Case query_case(size_t number) {
  const StarQuery& query = queries()[number];
  const auto prepare = [=] {
    const Star& star = star_at_1();
    Contest contest;
    const auto found = wanted(answer(star.store, queries()[number], 1));
    contest.fault = difference(found, star.right[number]).value_or("");
    contest.kernel = [&star, number](unsigned) { star.run(number, 1); };
    return contest;
  };
  return {std::string{query.name}, "", at_1, lines(1), plain_bytes(query, 1), prepare};
}

Case all_queries(std::string name, double scale, const SizeClass& size, std::string peer,
                 std::function<Contest()> prepare) {
  return {std::move(name),           std::move(peer),   size, queries().size() * lines(scale),
          plain_bytes_of_all(scale), std::move(prepare)};
}

Case sqlite_case() {
  return all_queries("13 queries", 1, at_1, "", [] {
    const Star& star = star_at_1();
    const SqliteStar& sqlite = sqlite_at_1();
    Contest contest;
    contest.fault = star.fault(1);
    for (size_t query = 0; query < queries().size(); ++query)
      if (const auto wrong =
              difference(star.right[query].rows, wanted(sqlite.answer(queries()[query]))))
        contest.fault += "SQLite differs: " + *wrong;
    contest.kernel = [&star](unsigned) { star.run_all(1); };
    contest.scalar = [&sqlite](unsigned) {
      for (const StarQuery& query : queries()) (void)sqlite.answer(query);
    };
    return contest;
  });
}

Case two_threads_case() {
  return all_queries("13 queries on 2 threads", 1, at_1, "", [] {
    const Star& star = star_at_1();
    Contest contest;
    contest.fault = star.fault(2);
    contest.kernel = [&star](unsigned) { star.run_all(2); };
    contest.scalar = [&star](unsigned) { star.run_all(1); };
    return contest;
  });
}

// Cost is compared for a pass, not for a row: twice the rows are to cost twice as much. Queries
// that find no line in the half are left out: of a small scale's few suppliers none may live in the
// city that is asked for, and then the plan ends before the first line.
Case doubling_case(const Doubling& doubling) {
  const double scale = doubling.scale;
  return all_queries(doubled, scale, doubling.size, "half the rows", [scale] {
    const auto half = star_at(scale / 2), whole = star_at(scale);
    Contest contest;
    contest.fault = whole->fault(1);
    std::vector<size_t> compared;
    for (size_t query = 0; query < queries().size(); ++query)
      if (half->right[query].lines != 0) compared.push_back(query);
    contest.kernel = [whole, compared](unsigned) { whole->run_each(compared); };
    contest.peer = [half, compared](unsigned) { half->run_each(compared); };
    return contest;
  });
}

bool has_two_cores() {
  cpu_set_t cores;
  return sched_getaffinity(0, sizeof cores, &cores) == 0 && CPU_COUNT(&cores) >= 2;
}

std::vector<Case> all_cases(bool quick) {
  std::vector<Case> cases;
  for (size_t query = 0; query < queries().size(); ++query) cases.push_back(query_case(query));
  if (has_two_cores()) cases.push_back(two_threads_case());
  cases.push_back(sqlite_case());
  if (!quick)
    for (const Doubling& doubling : doublings) cases.push_back(doubling_case(doubling));
  return cases;
}

// Million lines a second, which the table of cycles leaves to the reader.
void print_speeds(const std::vector<Result>& results) {
  std::printf("\n%-44s %-7s %10s %12s\n", "", "size", "ms", "M lines/s");
  for (const Result& result : results)
    if (result.peer.empty())
      std::printf("%-44s %-7s %10.3f %12.0f\n", result.kernel.c_str(), result.size.name,
                  result.nanoseconds.median / 1e6,
                  static_cast<double>(result.rows) * 1e3 / result.nanoseconds.median);
}

}  // namespace

BenchProgram bench_program(bool quick) {
  return {all_cases(quick), targets, print_speeds};
}

}  // namespace colx::bench
