#include "host/join_probe.h"

#include <algorithm>

#include "host/key_hash.h"

namespace colx::host {

Result<JoinProbe> JoinProbe::open(const Library& library, const JoinTable& table,
                                  const KeyRows& keys, const RowValues& values, SameKey same_key,
                                  uint32_t room) {
  if (auto sound = table.check(keys, values); !sound) return sound.error();
  if (keys.brings_values())
    return make_error(
        "records are no probe keys; take their hashes and values by "
        "PartitionSet::split()");
  if (!table.exact() && !same_key)
    return make_error("a table of hash tags finds other keys, too; pass a comparison of keys");
  if (room == 0) return make_error("room for no match: use 1 or more");
  JoinProbe probe(keys, values);
  probe.probe_ = library.record().colx_sctx_ht_probe;
  if (!probe.probe_) return make_error("%s: has no colx_ht_probe_dydi", library.file().c_str());
  probe.table_ = table.descriptor();
  if (!table.exact()) probe.same_key_ = std::move(same_key);
  probe.matches_.resize(room);
  return probe;
}

Result<JoinProbe> JoinProbe::open_partition(const Library& library, const JoinTable& table,
                                            uint32_t partition, const KeyRows& keys,
                                            const RowValues& values, SameKey same_key,
                                            uint32_t room) {
  if (partition >= table.partitions())
    return make_error("partition %u of a table with %u", partition, table.partitions());
  auto probe = open(library, table, keys, values, std::move(same_key), room);
  if (probe) probe->table_ = table.descriptor_of(partition);
  return probe;
}

Result<std::span<const Match>> JoinProbe::next() {
  colx_cv source, payload, result{};
  colx_enc_ctx source_encoding, payload_encoding;
  keys_.describe(source, source_encoding);
  values_.describe(payload, payload_encoding);
  while (!done_) {
    result.colx_cv_data = matches_.data();
    result.colx_cv_num_of_rows = static_cast<uint32_t>(matches_.size());
    const uint32_t status = probe_(&result, &source, &payload, &table_, hash_key, &kctx_);
    if (status != COLX_DONE && status != COLX_PROBE_FULL)
      return make_error("colx_ht_probe_dydi returned status %u", status);
    done_ = status == COLX_DONE;
    const uint32_t found = result.colx_cv_num_of_rows;
    if (found == 0 && !done_) {
      matches_.resize(2 * matches_.size());  // one row has more matches than there is room
      continue;
    }
    const auto end = same_key_
                         ? std::remove_if(matches_.begin(), matches_.begin() + found,
                                          [&](const Match& match) {
                                            return !same_key_(match.probe_value, match.build_value);
                                          })
                         : matches_.begin() + found;
    if (end != matches_.begin())
      return std::span<const Match>(matches_.data(), static_cast<size_t>(end - matches_.begin()));
  }
  return std::span<const Match>();
}

}  // namespace colx::host
