// families.h: which parts of the library the queries and commands of the demo use.
#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "examples/star/star_plan.h"
#include "examples/star/star_query.h"

namespace colx::star {

// Every family of kernels and functions of the library that does something.
std::span<const std::string_view> all_families();

struct Usage {
  std::string_view user;  // a query or a command
  std::vector<std::string_view> families;
};

// The families that a plan calls.
Usage usage_of(const StarStore& store, const StarQuery& query, const StarPlan& plan);
// Those of the demo's commands beside the benchmark's queries.
std::vector<Usage> command_usage();

// Prints a line a family with its users. True if each has one.
bool print_usage(const std::vector<Usage>& usage);

}  // namespace colx::star
