// The benchmark's queries as the demo runs, prints and checks them.

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "examples/star/demo_queries.h"
#include "examples/star/plain_query.h"
#include "examples/star/report.h"
#include "examples/star/star_run.h"
#include "examples/star/write_tbl.h"
#include "tools/console/figures.h"

namespace colx::star {
namespace {

struct TimedAnswer {
  StarAnswer answer;
  double seconds = 0;  // of the fastest run, planning included
};

host::Result<TimedAnswer> run_timed(const Session& session, const StarQuery& query) {
  TimedAnswer best;
  for (unsigned run = 0; run < session.options.repeats; ++run) {
    const auto start = std::chrono::steady_clock::now();
    auto found = answer(session.store, query, session.options.threads);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    if (!found) return found.error();
    if (run == 0 || time.count() < best.seconds) best.seconds = time.count();
    best.answer = std::move(*found);
  }
  return best;
}

void print_rows_of(const StarAnswer& answer, size_t listed) {
  for (size_t row = 0; row < std::min(listed, answer.rows.size()); ++row)
    fmt::print("    {}\n", text_of(answer.rows[row]));
  if (answer.rows.size() > listed)
    fmt::print("    and {} more\n", console::grouped(answer.rows.size() - listed));
}

// True if SQLite finds the same rows; adds its time to `seconds`.
host::Result<bool> compare_with_sqlite(const SqliteStar& sqlite, const StarQuery& query,
                                       const TimedAnswer& run, double& seconds) {
  const auto start = std::chrono::steady_clock::now();
  const auto rows = sqlite.answer(query);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
  if (!rows) return rows.error();
  const auto wrong = difference(run.answer.rows, *rows);
  fmt::print("  SQLite: {:.1f} ms, {:.0f} times as long; {}\n", time.count() * 1e3,
             time.count() / run.seconds,
             wrong ? fmt::format("WRONG: {}", *wrong) : "finds the same rows");
  seconds += time.count();
  return !wrong;
}

}  // namespace

host::Result<bool> benchmark(const Session& session) {
  const PlainStar plain(session.tables);
  const double lines = session.tables[TableId::lineorder].rows();
  bool right = true;
  double all_seconds = 0;
  double sqlite_seconds = 0;
  host::CallMeter meter;
  std::vector<QueryRecord> records;
  for (const StarQuery& query : benchmark_queries()) {
    const auto plan = make_plan(session.store, query);
    if (!plan) return plan.error();
    const auto run = run_timed(session, query);
    if (!run) return run.error();
    print_heading(fmt::format("{}  {}", query.name, query.sql()));
    for (const std::string& step : describe(*plan)) fmt::print("  {}\n", step);
    print_rows_of(run->answer, session.options.listed_rows);
    const auto wrong = difference(run->answer, plain.answer(query));
    const size_t rows = run->answer.rows.size();
    fmt::print(
        "  {} row{} of {} lines, {:.2f} ms, {:.0f} M lines/s; {}\n", console::grouped(rows),
        rows == 1 ? "" : "s", console::grouped(run->answer.lines), run->seconds * 1e3,
        lines / run->seconds / 1e6,
        wrong ? fmt::format("WRONG: {}", *wrong) : "the row-by-row evaluation finds the same");
    right &= !wrong;
    all_seconds += run->seconds;
    records.push_back({query, run->seconds * 1e3, run->answer.rows});
    if (session.sqlite) {
      auto agrees = compare_with_sqlite(*session.sqlite, query, *run, sqlite_seconds);
      if (!agrees) return agrees;
      right &= *agrees;
    }
    if (session.options.stats)
      if (auto counted = answer(session.store, query, session.options.threads, &meter); !counted)
        return counted.error();
  }
  if (session.options.answers)
    if (auto done = write_answers(records, *session.options.answers); !done) return done.error();
  if (session.options.stats) {
    print_heading("Kernels of the thirteen queries, planning left out");
    std::fflush(stdout);
    if (auto done = meter.dump(session.engine.library, true); !done) return done.error();
  }
  fmt::print("\n13 queries in {:.2f} ms on {} thread{}, {:.0f} M lines/s{}\n", all_seconds * 1e3,
             session.options.threads, session.options.threads == 1 ? "" : "s",
             13 * lines / all_seconds / 1e6,
             session.sqlite ? fmt::format("; SQLite {:.0f} ms, {:.0f} times as long",
                                          sqlite_seconds * 1e3, sqlite_seconds / all_seconds)
                            : "");
  return right;
}

}  // namespace colx::star
