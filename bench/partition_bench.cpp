// Partitioning 16-byte records from given hash values, by source and number of partitions.

#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/partition_cases.h"

namespace colx::bench {
namespace {

#define PARTITION "colx_partition_rid_hash.* into "
constexpr Target targets[] = {
    {"partitioning into 16 and 64, times scalar", PARTITION "(16|64)", &in_l2, Figure::times_scalar,
     1},
    {"partitioning into 16 and 64, times scalar", PARTITION "(16|64)", &in_memory,
     Figure::times_scalar, 1},
    {"partitioning into 256 and 1024, times scalar", PARTITION "(256|1024)", &in_l2,
     Figure::times_scalar, 1.2},
    {"partitioning into 256 and 1024, times scalar", PARTITION "(256|1024)", &in_memory,
     Figure::times_scalar, 1.2},
};
#undef PARTITION

std::vector<Case> all_cases() {
  std::vector<Case> cases;
  for (const SizeClass* const size : {&in_l2, &in_memory})
    for (const RecordSource source :
         {RecordSource::values, RecordSource::row_ids, RecordSource::records})
      for (const unsigned partitions : {16, 64, 256, 1024})
        cases.push_back(partition_case(source, partitions, *size));
  // The other powers of two from 2 to 4096.
  for (const SizeClass* const size : {&in_l2, &in_memory})
    for (const unsigned partitions : {2, 4, 8, 32, 128, 512, 2048, 4096})
      cases.push_back(partition_case(RecordSource::values, partitions, *size));
  return cases;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  return {all_cases(), targets};
}

}  // namespace colx::bench
