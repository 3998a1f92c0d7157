// One call of group sums or of conversion, with everything it may touch at the edge of an
// unreadable page: rows, groups and elements end with their last one, and what is not read is an
// unreadable address.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/convert_oracle.h"
#include "tests/support/staged_numbers.h"

namespace colx::test {

struct NumberRun {
  uint32_t status;
  std::vector<uint64_t> elements;  // IEEE bits or integers
  std::string damage;  // the first thing that changed and should not have; empty if nothing did
};

struct GroupSumBatch {
  NumberColumn column;
  std::optional<std::vector<uint32_t>> groups;
  std::vector<uint64_t> elements;  // the accumulators before the call
  Place place = Place::middle;
  size_t shift = 0;        // moves accumulators in the middle up by so many bytes
  size_t group_slack = 0;  // readable behind the groups, to try other alignments
};

NumberRun run_group_sum(const GroupSumBatch& batch, colx_gby_sum_call* sum = colx_gby_sum_dydi,
                        oracle::GroupSumOutcome* due = nullptr);

// Empty if the call does what the oracle says and nothing else, else the first difference.
std::string group_sum_difference(const GroupSumBatch& batch,
                                 colx_gby_sum_call* sum = colx_gby_sum_dydi);

struct NumberBatch {
  NumberColumn column;
  bool with_kctx = true;
  uint32_t kctx_flags = 0;
  uint64_t element = 0;  // that sums go to, before the call
  Place place = Place::middle;
  size_t shift = 0;
};

NumberRun run_convert(const NumberBatch& batch, colx_three_call* convert = colx_convert_dydi,
                      oracle::ConversionOutcome* due = nullptr);

// The same for a call that does not assert.
std::string convert_difference(const NumberBatch& batch,
                               colx_three_call* convert = colx_convert_dydi);

}  // namespace colx::test
