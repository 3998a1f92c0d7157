#include "bench/support/bench_results.h"

#include <algorithm>
#include <cstring>
#include <regex>

namespace colx::bench {
namespace {

std::string figure_text(const std::optional<Spread>& figure) {
  if (!figure) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", figure->median);
  return text;
}

std::string cycles_text(const std::optional<double>& cycles) {
  if (!cycles) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", *cycles);
  return text;
}

const Result* find(const std::vector<Result>& results, const std::string& kernel,
                   const SizeClass& size) {
  for (const Result& result : results)
    if (result.kernel == kernel && std::strcmp(result.size.name, size.name) == 0) return &result;
  return nullptr;
}

// Cycles are those of one core at one clock, so a row's cost compares across cases.
std::optional<double> out_of_cache(const Result& in_memory_result,
                                   const std::vector<Result>& results) {
  const Result* const cached = find(results, in_memory_result.kernel, in_l2);
  if (cached == nullptr || !in_memory_result.limit_cycles_per_row) return {};
  return std::max(*in_memory_result.limit_cycles_per_row, cached->cycles_per_row) /
         in_memory_result.cycles_per_row;
}

std::optional<double> figure_of(const Target& target, const Result& result,
                                const std::vector<Result>& results) {
  const auto median = [](const std::optional<Spread>& spread) {
    return spread ? std::optional<double>(spread->median) : std::nullopt;
  };
  switch (target.figure) {
    case Figure::times_scalar:
      return median(result.times_scalar);
    case Figure::of_limit:
      return median(result.of_limit);
    case Figure::of_peer:
      return median(result.of_peer);
    case Figure::out_of_cache:
      return out_of_cache(result, results);
  }
  return {};
}

bool is_at_most(const Target& target) {
  return target.figure == Figure::of_peer;
}

const char* figure_name(Figure figure) {
  switch (figure) {
    case Figure::times_scalar:
      return "times scalar";
    case Figure::of_limit:
      return "of limit";
    case Figure::of_peer:
      return "cost of peer";
    case Figure::out_of_cache:
      return "out of cache";
  }
  return "";
}

// How the results stand to a target.
struct Standing {
  std::optional<double> worst;  // none: not measured
  std::string worst_kernel;
  size_t cases = 0;
  size_t met = 0;
};

Standing standing_of(const Target& target, const std::vector<Result>& results) {
  const bool at_most = is_at_most(target);
  const std::regex kernels(target.kernels);
  Standing standing;
  for (const Result& result : results) {
    if (std::strcmp(result.size.name, target.size->name) != 0) continue;
    if (!std::regex_match(result.kernel, kernels)) continue;
    const auto figure = figure_of(target, result, results);
    if (!figure) continue;
    ++standing.cases;
    standing.met += at_most ? *figure <= target.bound : *figure >= target.bound;
    const std::optional<double>& worst = standing.worst;
    if (worst && (at_most ? *figure <= *worst : *figure >= *worst)) continue;
    standing.worst = figure;
    standing.worst_kernel = result.kernel;
  }
  return standing;
}

void print_target(const Target& target, const std::vector<Result>& results) {
  const Standing standing = standing_of(target, results);
  std::printf("%-58s %-6s %s %5.2f  ", target.what, target.size->name,
              is_at_most(target) ? "<=" : ">=", target.bound);
  if (!standing.worst) {
    std::printf("%8s  not measured\n", "-");
    return;
  }
  std::printf("%8.2f  %-8s %3zu of %-3zu %s\n", *standing.worst,
              standing.met == standing.cases ? "met" : "NOT MET", standing.met, standing.cases,
              standing.worst_kernel.c_str());
}

}  // namespace

void print_table_head() {
  std::printf("%-44s %-7s %10s %9s %7s %9s %9s %9s %8s %8s %8s\n", "kernel", "size", "rows",
              "median us", "spread", "cyc/row", "scalar", "limit", "x scalar", "of limit",
              "of peer");
}

void print_table_line(const Result& result) {
  std::printf("%-44s %-7s %10llu %9.1f %6.1f%% %9.3f %9s %9s %8s %8s %8s %s\n",
              result.kernel.c_str(), result.size.name, static_cast<unsigned long long>(result.rows),
              result.nanoseconds.median / 1000, 100 * result.nanoseconds.spread,
              result.cycles_per_row, cycles_text(result.scalar_cycles_per_row).c_str(),
              cycles_text(result.limit_cycles_per_row).c_str(),
              figure_text(result.times_scalar).c_str(), figure_text(result.of_limit).c_str(),
              figure_text(result.of_peer).c_str(), result.peer.c_str());
  std::fflush(stdout);
}

void write_csv(std::FILE* to, const std::vector<Result>& results) {
  const auto cycles = [&](const std::optional<double>& figure) {
    figure ? std::fprintf(to, ",%.5f", *figure) : std::fprintf(to, ",");
  };
  const auto ratio = [&](const std::optional<Spread>& figure) {
    figure ? std::fprintf(to, ",%.4f,%.4f", figure->median, figure->spread)
           : std::fprintf(to, ",,");
  };
  std::fprintf(to,
               "kernel,size,rows,bytes,rounds,median_ns,best_ns,spread,cycles_per_row,"
               "scalar_cycles_per_row,limit_cycles_per_row,ratio_to_scalar,ratio_to_scalar_spread,"
               "ratio_to_limit,ratio_to_limit_spread,peer,cost_to_peer,cost_to_peer_spread\n");
  for (const Result& r : results) {
    std::fprintf(to, "\"%s\",\"%s\",%llu,%llu,%zu,%.1f,%.1f,%.4f,%.5f", r.kernel.c_str(),
                 r.size.name, static_cast<unsigned long long>(r.rows),
                 static_cast<unsigned long long>(r.bytes), r.rounds, r.nanoseconds.median,
                 r.nanoseconds.best, r.nanoseconds.spread, r.cycles_per_row);
    cycles(r.scalar_cycles_per_row);
    cycles(r.limit_cycles_per_row);
    ratio(r.times_scalar);
    ratio(r.of_limit);
    std::fprintf(to, ",\"%s\"", r.peer.c_str());
    ratio(r.of_peer);
    std::fprintf(to, "\n");
  }
}

void write_targets(std::FILE* to, std::span<const Target> targets,
                   const std::vector<Result>& results) {
  std::fprintf(to, "target,size,figure,asked,bound,worst,met,cases,worst_kernel\n");
  for (const Target& target : targets) {
    const Standing standing = standing_of(target, results);
    std::fprintf(to, "\"%s\",\"%s\",\"%s\",\"%s\",%g,", target.what, target.size->name,
                 figure_name(target.figure), is_at_most(target) ? "<=" : ">=", target.bound);
    if (standing.worst) std::fprintf(to, "%.4f", *standing.worst);
    std::fprintf(to, ",%zu,%zu,\"%s\"\n", standing.met, standing.cases,
                 standing.worst_kernel.c_str());
  }
}

void print_targets(std::span<const Target> targets, const std::vector<Result>& results) {
  std::printf("\n%-58s %-6s %8s  %8s  %-8s %s\n", "target", "size", "asked", "worst", "",
              "cases, the worst of them");
  for (const Target& target : targets) print_target(target, results);
}

}  // namespace colx::bench
