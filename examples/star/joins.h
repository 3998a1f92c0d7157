// joins.h: lineorder joined with a dimension in every way that the library offers.
#pragma once

#include <array>
#include <cstdint>

#include "examples/star/star_query.h"
#include "examples/star/star_store.h"
#include "examples/star/tables.h"
#include "host/result.h"

namespace colx::star {

enum class JoinMethod : uint8_t {
  codes,           // table of exact key codes
  filtered_codes,  // the same behind a Bloom filter
  keys,            // table of hash tags, keys compared
  filtered_keys,   // the same behind a Bloom filter
  partitions       // both sides scattered by hash bits, then partition by partition
};
inline constexpr std::array join_methods = {JoinMethod::codes, JoinMethod::filtered_codes,
                                            JoinMethod::keys, JoinMethod::filtered_keys,
                                            JoinMethod::partitions};
const char* name_of(JoinMethod method);

// The pairs that a join finds, in a form that does not depend on their order.
struct JoinTally {
  uint64_t pairs = 0;
  uint64_t sum = 0;  // of a mix of the pairs' row numbers, modulo 2^64

  void add(uint64_t line, uint64_t row) {
    ++pairs;
    sum += (line + 1) * 0x9E3779B97F4A7C15 ^ (row + 1) * 0xC2B2AE3D27D4EB4F;
  }
  void add(const JoinTally& other) {
    pairs += other.pairs;
    sum += other.sum;
  }
  bool operator==(const JoinTally&) const = default;
};

// All lines with the dimension's rows that satisfy the condition on it, on `threads` threads. An
// error is a library that lacks a function or breaks its contract.
host::Result<JoinTally> join_lines(const StarStore& store, const Condition& condition,
                                   JoinMethod method, unsigned threads);

// The same from the plain tables.
JoinTally plain_join(const Tables& tables, const Condition& condition);

}  // namespace colx::star
