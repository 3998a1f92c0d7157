// star_run.h: runs a plan over all chunks of lineorder.
#pragma once

#include <cstdint>
#include <vector>

#include "examples/star/star_plan.h"
#include "examples/star/star_query.h"
#include "examples/star/star_store.h"
#include "host/call_meter.h"
#include "host/result.h"

namespace colx::star {

struct StarAnswer {
  std::vector<AnswerRow> rows;  // in the query's order
  uint64_t lines = 0;           // of lineorder that satisfy the conditions
};

// On `threads` threads, a chunk at a time; the answer does not depend on how many. `meter`, unless
// null, counts the kernels that were called. An error is a library that breaks its contract.
host::Result<StarAnswer> run_plan(const StarStore& store, const StarQuery& query,
                                  const StarPlan& plan, unsigned threads,
                                  host::CallMeter* meter = nullptr);

// Plans and runs.
host::Result<StarAnswer> answer(const StarStore& store, const StarQuery& query, unsigned threads,
                                host::CallMeter* meter = nullptr);

}  // namespace colx::star
