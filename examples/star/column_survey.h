// column_survey.h: what a column holds: its distinct values, the sum of its numbers, the rows in
// the upper half of its values.
//
// The library has slots for distinct counts and sums of a column, and promises that they do
// nothing: a host that asks them learns from the untouched result that the work is its own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "examples/star/engine.h"
#include "examples/star/star_query.h"
#include "examples/star/star_store.h"
#include "host/result.h"

namespace colx::star {

struct ColumnFacts {
  std::optional<uint64_t> distinct;    // of a column of codes
  std::optional<uint64_t> upper_half;  // its rows from the middle value on
  std::optional<int64_t> sum;          // of a column of numbers
  bool operator==(const ColumnFacts&) const = default;
};

struct Survey {
  ColumnFacts facts;
  std::vector<Step> steps;            // of the scan
  std::vector<std::string> unserved;  // the slots that were asked and did nothing
};

// Of a column of codes, or one of whole numbers in rows of one width. An error is a library that
// breaks its contract, as by touching what an unserved slot has to leave alone.
host::Result<Survey> survey(const Engine& engine, const StarStore& store, const TableColumn& which);

// The same from the plain table.
ColumnFacts plain_facts(const Tables& tables, const StarStore& store, const TableColumn& which);

// For each form in which columns are stored and surveyed the first column, lineorder's before the
// dimensions'.
std::vector<TableColumn> one_column_a_form(const StarStore& store);

}  // namespace colx::star
