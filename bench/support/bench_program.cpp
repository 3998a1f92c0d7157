#include "bench/support/bench_program.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "bench/support/bench_results.h"
#include "bench/support/cycle_clock.h"

namespace colx::bench {
namespace {

struct Options {
  std::string filter = ".";
  std::string csv;
  bool quick = false;
  bool good = true;
};

// How long to measure. A sample of a cached pass is short enough to fall between two interruptions
// as a rule; the median drops the others.
struct Effort {
  int64_t rounds;
  uint64_t sample_ticks;
};
Effort effort_for(const SizeClass& size, bool quick) {
  if (size.windows > 1) return {quick ? 3 : 9, 1};  // a pass is a sample
  return {quick ? 7 : 25, 400'000};
}

// What the program found out, for the reporter and the end.
struct Findings {
  std::vector<Result> results;
  bool wrong_result = false;
};

Result result_of(const Case& chosen, const Contest& contest, const PairedRun& run,
                 const std::vector<int>& place, double cycles_per_tick) {
  enum { kernel, scalar, limit, peer };
  const auto rows = static_cast<double>(chosen.rows);
  const auto cycles = [&](int line) {
    return spread_of(run.samples(static_cast<size_t>(line))).median * cycles_per_tick / rows;
  };
  Result result = {chosen.kernel,
                   contest.peer ? chosen.peer : "",
                   chosen.size,
                   chosen.rows,
                   chosen.bytes,
                   run.samples(0).size(),
                   {},
                   cycles(0),
                   {},
                   {},
                   {},
                   {},
                   {}};
  result.nanoseconds = spread_of(run.samples(0));
  result.nanoseconds.median *= nanoseconds_per_tick();
  result.nanoseconds.best *= nanoseconds_per_tick();
  if (place[scalar] > 0) {
    result.scalar_cycles_per_row = cycles(place[scalar]);
    result.times_scalar = run.ratio(static_cast<size_t>(place[scalar]), 0);
  }
  if (place[limit] > 0) {
    result.limit_cycles_per_row = cycles(place[limit]);
    result.of_limit = run.ratio(static_cast<size_t>(place[limit]), 0);
  }
  if (place[peer] > 0) result.of_peer = run.ratio(0, static_cast<size_t>(place[peer]));
  return result;
}

void run_case(benchmark::State& state, const Case& chosen, bool quick, Findings& findings) {
  const Contest contest = chosen.prepare();
  if (!contest.fault.empty()) {
    findings.wrong_result = true;
    state.SkipWithError(contest.fault.c_str());
    return;
  }
  std::vector<Pass> lines;
  std::vector<int> place;
  for (const Pass& line : {contest.kernel, contest.scalar, contest.limit, contest.peer}) {
    place.push_back(line ? static_cast<int>(lines.size()) : -1);
    if (line) lines.push_back(line);
  }
  PairedRun run(chosen.size, std::move(lines), effort_for(chosen.size, quick).sample_ticks);
  for (auto _ : state) {
    run.round();
    state.SetIterationTime(run.samples(0).back() * nanoseconds_per_tick() / 1e9);
  }
  findings.results.push_back(result_of(chosen, contest, run, place, cycles_per_tick()));
}

class TableReporter : public benchmark::BenchmarkReporter {
 public:
  explicit TableReporter(const Findings& findings) : findings_(findings) {}

  bool ReportContext(const Context&) override {
    std::printf("core at %.2f GHz, counter at %.2f GHz\n",
                cycles_per_tick() / nanoseconds_per_tick(), 1 / nanoseconds_per_tick());
#if defined(__clang__) || defined(__SANITIZE_ADDRESS__) || !defined(__OPTIMIZE__)
    std::printf("WARNING: the scalar lines are defined as what GCC makes of a release build\n");
#endif
    print_table_head();
    return true;
  }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred)
        std::printf("%-52s WRONG: %s\n", run.run_name.function_name.c_str(),
                    run.error_message.c_str());
      else
        print_table_line(findings_.results.back());
    }
  }

 private:
  const Findings& findings_;
};

// Takes this program's own options out of argv.
Options take_options(int& argc, char** argv) {
  Options options;
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    const char* const text = argv[i];
    if (std::strncmp(text, "--filter=", 9) == 0)
      options.filter = text + 9;
    else if (std::strncmp(text, "--csv=", 6) == 0)
      options.csv = text + 6;
    else if (std::strcmp(text, "--quick") == 0)
      options.quick = true;
    else
      argv[kept++] = argv[i];
  }
  argc = kept;
  argv[argc] = nullptr;
  benchmark::Initialize(&argc, argv);
  options.good = !benchmark::ReportUnrecognizedArguments(argc, argv);
  return options;
}

}  // namespace

int run_program(int argc, char** argv, const std::vector<Case>& cases,
                std::span<const Target> targets, Remarks remarks) {
  const Options options = take_options(argc, argv);
  if (!options.good) return 1;
  std::FILE* csv = nullptr;
  if (!options.csv.empty() && (csv = std::fopen(options.csv.c_str(), "w")) == nullptr) {
    std::fprintf(stderr, "%s: cannot write %s\n", argv[0], options.csv.c_str());
    return 1;
  }

  Findings findings;
  for (const Case& chosen : cases)
    benchmark::RegisterBenchmark(
        (chosen.kernel + "/" + chosen.size.name).c_str(),
        [&](benchmark::State& state) { run_case(state, chosen, options.quick, findings); })
        ->UseManualTime()
        ->Iterations(effort_for(chosen.size, options.quick).rounds);
  TableReporter reporter(findings);
  benchmark::RunSpecifiedBenchmarks(&reporter, options.filter);
  benchmark::Shutdown();

  if (remarks != nullptr) remarks(findings.results);
  print_targets(targets, findings.results);
  if (csv != nullptr) {
    write_csv(csv, findings.results);
    std::fclose(csv);
  }
  return findings.wrong_result ? 1 : 0;
}

}  // namespace colx::bench
