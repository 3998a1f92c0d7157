#include "bench/support/bench_program.h"

#include <benchmark/benchmark.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "bench/support/bench_results.h"
#include "bench/support/cycle_clock.h"

namespace colx::bench {
namespace {

struct Options {
  std::string filter = ".";
  std::string csv;
  std::string targets;
  bool quick = false;
  bool kernel_only = false;
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

// The lines of a contest that are there, in the order of its fields, and where each went.
struct LineUp {
  std::vector<Line> lines;
  size_t kernel, scalar, limit, peer;

  static constexpr size_t absent = ~size_t{0};

  explicit LineUp(const Contest& contest)
      : kernel(add({contest.kernel, contest.before_kernel})),
        scalar(add({contest.scalar, contest.before_scalar})),
        limit(add({contest.limit, {}})),
        peer(add({contest.peer, contest.before_peer})) {}

 private:
  size_t add(const Line& line) {
    if (!line.pass) return absent;
    lines.push_back(line);
    return lines.size() - 1;
  }
};

Result result_of(const Case& chosen, const LineUp& lineup, const PairedRun& run) {
  const auto rows = static_cast<double>(chosen.rows);
  Result result = {.kernel = chosen.kernel,
                   .peer = chosen.peer,
                   .size = chosen.size,
                   .rows = chosen.rows,
                   .bytes = chosen.bytes,
                   .rounds = run.samples(lineup.kernel).size(),
                   .nanoseconds = spread_of(run.samples(lineup.kernel)),
                   .cycles_per_row = run.cycles(lineup.kernel) / rows,
                   .scalar_cycles_per_row = {},
                   .limit_cycles_per_row = {},
                   .times_scalar = {},
                   .of_limit = {},
                   .of_peer = {}};
  result.nanoseconds.median *= nanoseconds_per_tick();
  result.nanoseconds.best *= nanoseconds_per_tick();
  if (lineup.scalar != LineUp::absent) {
    result.scalar_cycles_per_row = run.cycles(lineup.scalar) / rows;
    result.times_scalar = run.ratio(lineup.scalar, lineup.kernel);
  }
  if (lineup.limit != LineUp::absent) {
    result.limit_cycles_per_row = run.cycles(lineup.limit) / rows;
    result.of_limit = run.ratio(lineup.limit, lineup.kernel);
  }
  if (lineup.peer != LineUp::absent) result.of_peer = run.ratio(lineup.kernel, lineup.peer);
  return result;
}

void run_case(benchmark::State& state, const Case& chosen, const Options& options,
              Findings& findings) {
  Contest contest = chosen.prepare();
  if (!contest.fault.empty()) {
    findings.wrong_result = true;
    state.SkipWithError(contest.fault.c_str());
    return;
  }
  if (options.kernel_only) contest.scalar = contest.limit = contest.peer = {};
  const LineUp lineup(contest);
  PairedRun run(chosen.size, lineup.lines, effort_for(chosen.size, options.quick).sample_ticks);
  for (auto _ : state) {
    run.round();
    state.SetIterationTime(run.samples(lineup.kernel).back() * nanoseconds_per_tick() / 1e9);
  }
  findings.results.push_back(result_of(chosen, lineup, run));
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
    else if (std::strncmp(text, "--targets=", 10) == 0)
      options.targets = text + 10;
    else if (std::strcmp(text, "--quick") == 0)
      options.quick = true;
    else if (std::strcmp(text, "--kernel-only") == 0)
      options.kernel_only = true;
    else
      argv[kept++] = argv[i];
  }
  argc = kept;
  argv[argc] = nullptr;
  benchmark::Initialize(&argc, argv);
  options.good = !benchmark::ReportUnrecognizedArguments(argc, argv);
  return options;
}

// Opens a file that was asked for; a name that is empty asks for none.
bool open_output(const char* program, const std::string& name, std::FILE*& file) {
  if (name.empty() || (file = std::fopen(name.c_str(), "w")) != nullptr) return true;
  std::fprintf(stderr, "%s: cannot write %s: %s\n", program, name.c_str(), std::strerror(errno));
  return false;
}

// Writes out and closes a file that was asked for.
bool close_output(const char* program, const std::string& name, std::FILE* file) {
  if (file == nullptr) return true;
  const bool written = std::ferror(file) == 0;
  if (std::fclose(file) == 0 && written) return true;
  std::fprintf(stderr, "%s: %s is not written whole: %s\n", program, name.c_str(),
               std::strerror(errno));
  return false;
}

int run_program(int argc, char** argv) {
  const Options options = take_options(argc, argv);
  if (!options.good) return 1;
  std::FILE* csv = nullptr;
  std::FILE* target_csv = nullptr;
  if (!open_output(argv[0], options.csv, csv)) return 1;
  if (!open_output(argv[0], options.targets, target_csv)) return 1;

  const BenchProgram program = bench_program(options.quick);
  Findings findings;
  for (const Case& chosen : program.cases)
    benchmark::RegisterBenchmark(
        (chosen.kernel + "/" + chosen.size.name).c_str(),
        [&](benchmark::State& state) { run_case(state, chosen, options, findings); })
        ->UseManualTime()
        ->Iterations(effort_for(chosen.size, options.quick).rounds);
  TableReporter reporter(findings);
  const bool any_matched = benchmark::RunSpecifiedBenchmarks(&reporter, options.filter) != 0;
  benchmark::Shutdown();

  if (program.remarks != nullptr) program.remarks(findings.results);
  print_targets(program.targets, findings.results);
  if (csv != nullptr) write_csv(csv, findings.results);
  if (target_csv != nullptr) write_targets(target_csv, program.targets, findings.results);
  const bool results_written = close_output(argv[0], options.csv, csv);
  const bool targets_written = close_output(argv[0], options.targets, target_csv);
  const bool written = results_written && targets_written;
  return findings.wrong_result || !any_matched || !written ? 1 : 0;
}

}  // namespace
}  // namespace colx::bench

int main(int argc, char** argv) {
  return colx::bench::run_program(argc, argv);
}
