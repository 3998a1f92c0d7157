// join_probe.h: matches of probe rows in a join table.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "host/join_table.h"
#include "host/key_rows.h"
#include "host/loader.h"
#include "host/result.h"

namespace colx::host {

// The record that probes write (the ridvalue layout), as gather reads it.
struct Match {
  uint64_t probe_value;  // of the probe row
  uint64_t build_value;  // of the build row
};
static_assert(sizeof(Match) == 16);

// Whether the key of a probe row is that of a build row, told by their values.
using SameKey = std::function<bool(uint64_t probe_value, uint64_t build_value)>;

// Probes with one batch of keys, match by match list. One thread at a time; several probes of one
// table may run at once. Table, keys, values' arrays and library must outlive it.
//
//   JoinProbe probe = JoinProbe::open(library, table, keys, values, same_key).value();
//   for (;;) {
//     const auto matches = probe.next();
//     if (!matches || matches->empty()) break;
//     ...
//   }
class JoinProbe {
 public:
  // A table of hash tags finds keys that only share bucket and tag, so `same_key` has to tell them
  // apart; one of exact codes needs none. `room`: matches of a list, 1 or more; a row with more
  // matches than that makes it grow. Errors: as JoinTable::check(), a table of tags without
  // `same_key`, room 0, a library without the function.
  static Result<JoinProbe> open(const Library& library, const JoinTable& table, const KeyRows& keys,
                                const RowValues& values, SameKey same_key = nullptr,
                                uint32_t room = 4096);
  // The same in one partition, whatever the keys' hashes say. Error: no such partition.
  static Result<JoinProbe> open_partition(const Library& library, const JoinTable& table,
                                          uint32_t partition, const KeyRows& keys,
                                          const RowValues& values, SameKey same_key = nullptr,
                                          uint32_t room = 4096);

  // The next matches, in the order of the probe rows; none at the end. They hold until the next
  // call. Error: a status that the kernel should not return.
  Result<std::span<const Match>> next();

 private:
  JoinProbe(const KeyRows& keys, const RowValues& values) : keys_(keys), values_(values) {}

  colx_ht_probe_call* probe_ = nullptr;
  colx_ht table_{};
  KeyRows keys_;
  RowValues values_;
  SameKey same_key_;
  colx_kctx kctx_{};
  bool done_ = false;
  std::vector<Match> matches_;
};

}  // namespace colx::host
