// What a probe writes: the walk of a row's chain, the records that count and those that a full
// output leaves uncounted.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/oracle/hash_table_oracle.h"

namespace colx::oracle {

struct RidValue {
  uint64_t rid;    // the probing row's own value
  uint64_t value;  // the slot's
  bool operator==(const RidValue&) const = default;
};

// What a prefetch pass of the probe returns.
bool none_chained(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                  std::span<const TableRow> rows);

struct MatchOutcome {
  std::vector<RidValue> written;  // more than count if the last row did not finish
  uint32_t counted;
  uint32_t stop_row;
};

MatchOutcome match_rows(const TableForm& form, const BucketChoice& choice, void* const* buckets,
                        std::span<const TableRow> rows, uint64_t room, bool skip_chains);

struct ProbeKernel {
  TableForm form;
  KeyLayout layout;
  bool autorid;
};

// The kernel that colx_ht_probe_dydi picks, none if it refuses.
std::optional<ProbeKernel> probe_kernel(uint32_t ht_type, uint32_t src_flags,
                                        uint32_t payload_flags);

struct ProbeOutcome {
  uint32_t status;
  colx_kctx kctx;  // as the call leaves it
  uint32_t counted;
  std::vector<RidValue> written;
};

ProbeOutcome probe(const ProbeKernel& kernel, const colx_cv& res, const colx_cv& src,
                   const colx_cv& payload, const colx_ht& ht, colx_hash_fn fn,
                   const colx_kctx& kctx);

}  // namespace colx::oracle
