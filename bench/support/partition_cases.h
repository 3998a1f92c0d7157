// Cases of partitioning: 16-byte records from given hash values.
#pragma once

#include "bench/support/bench_program.h"

namespace colx::bench {

enum class RecordSource { values, row_ids, records };

// "colx_partition_rid_hash_values_payload into 256", against the plain scatter loop. Each partition
// has room for its records and no more.
Case partition_case(RecordSource source, unsigned partitions, const SizeClass& size);

}  // namespace colx::bench
