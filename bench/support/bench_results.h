// The figures of the cases that ran: table, CSV and targets.
#pragma once

#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"

namespace colx::bench {

struct Result {
  std::string kernel;
  std::string peer;
  SizeClass size;
  uint64_t rows;
  uint64_t bytes;
  size_t rounds;
  Spread nanoseconds;  // of a pass
  double cycles_per_row;
  std::optional<double> scalar_cycles_per_row;
  std::optional<double> limit_cycles_per_row;
  std::optional<Spread> times_scalar;
  std::optional<Spread> of_limit;
  std::optional<Spread> of_peer;
};

void print_table_head();
void print_table_line(const Result& result);

// Text fields are in quotation marks.
void write_csv(std::FILE* to, const std::vector<Result>& results);
void write_targets(std::FILE* to, std::span<const Target> targets,
                   const std::vector<Result>& results);

// Every target with the worst figure among the results and whether it is met.
void print_targets(std::span<const Target> targets, const std::vector<Result>& results);

}  // namespace colx::bench
