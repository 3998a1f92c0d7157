// groupings.h: sums by columns of dimensions through group keys of wide columns.
//
// Each line's key is translated to its dimension's code, which gives lineorder a column of its own
// for the dimension's; group keys are made of these columns. The plans of star_plan.h come to the
// same groups by adding up shares.
#pragma once

#include "examples/star/star_query.h"
#include "examples/star/star_run.h"
#include "examples/star/star_store.h"
#include "examples/star/tables.h"
#include "host/result.h"

namespace colx::star {

// Answers a query without conditions whose measure is the revenue. Errors: a key space above
// 2^32 - 1; a library that lacks a function or breaks its contract.
host::Result<StarAnswer> answer_by_group_keys(const StarStore& store, const Tables& tables,
                                              const StarQuery& query);

}  // namespace colx::star
