#include "host/code_join.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "host/join_probe.h"
#include "host/key_rows.h"

namespace colx::host {
namespace {

Result<void> hash_codes(const Library& library, std::span<const uint32_t> codes,
                        std::span<uint64_t> hashes) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>(codes.data());
  auto keys = KeyRows::fixed({bytes, codes.size_bytes()}, sizeof(uint32_t));
  if (!keys) return keys.error();
  return hash_keys(library, *keys, hashes);
}

// A key that occurs twice would be joined with two codes.
Result<void> check_keys(std::span<const KeyCode> pairs) {
  std::vector<size_t> order(pairs.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    return std::pair(pairs[a].key, a) < std::pair(pairs[b].key, b);
  });
  for (size_t k = 1; k < order.size(); ++k)
    if (pairs[order[k]].key == pairs[order[k - 1]].key)
      return make_error("pairs %zu and %zu have one key, %u; a join finds one code for each",
                        order[k - 1], order[k], pairs[order[k]].key);
  return {};
}

}  // namespace

Result<CodeJoin> CodeJoin::build(const Library& library, std::span<const KeyCode> pairs) {
  if (auto sound = check_keys(pairs); !sound) return sound.error();
  std::vector<uint32_t> codes, values;
  for (const KeyCode& pair : pairs) {
    codes.push_back(pair.key);
    values.push_back(pair.code);
  }
  auto table = JoinTable::create(
      library, {.expected_rows = codes.size(), .form = BucketForm::k4v4, .exact_codes = true});
  if (!table) return table.error();
  const auto keys = KeyRows::codes(codes);
  if (!keys) return keys.error();
  if (auto built = table->build(*keys, RowValues::of(std::span<const uint32_t>(values))); !built)
    return built.error();
  auto bloom =
      BloomFilter::create(library, {.expected_rows = codes.size(), .false_positives = 0.02});
  if (!bloom) return bloom.error();
  std::vector<uint64_t> hashes(codes.size());
  if (auto hashed = hash_codes(library, codes, hashes); !hashed) return hashed.error();
  if (auto added = bloom->add(HashColumn::of(hashes)); !added) return added.error();
  return CodeJoin(std::move(*table), std::move(*bloom));
}

Result<void> CodeJoin::run(ChunkRows& rows, const CodeUnpack& unpack, Scratch& scratch,
                           std::vector<uint32_t>& found) const {
  found.clear();
  if (rows.count() == 0) return {};
  const auto codes = unpack.run(rows, scratch.codes);
  if (!codes) return codes.error();
  scratch.hashes.resize(codes->size());
  if (auto hashed = hash_codes(rows.library(), *codes, scratch.hashes); !hashed) return hashed;
  scratch.passed = RowBits(codes->size());
  const auto passed = bloom_.test(HashColumn::of(scratch.hashes), scratch.passed);
  if (!passed) return passed.error();
  scratch.candidates.clear();
  scratch.candidate_positions.clear();
  for (uint32_t position = 0; position < codes->size(); ++position) {
    if (!scratch.passed.test(position)) continue;
    scratch.candidates.push_back((*codes)[position]);
    scratch.candidate_positions.push_back(position);
  }
  const auto keys = KeyRows::codes(scratch.candidates);
  if (!keys) return keys.error();
  auto probe =
      JoinProbe::open(rows.library(), table_, *keys,
                      RowValues::of(std::span<const uint32_t>(scratch.candidate_positions)),
                      nullptr, static_cast<uint32_t>(scratch.candidates.size()) + 1);
  if (!probe) return probe.error();
  scratch.positions.clear();
  for (;;) {
    const auto matches = probe->next();
    if (!matches) return matches.error();
    if (matches->empty()) break;
    for (const Match& match : *matches) {
      scratch.positions.push_back(static_cast<uint32_t>(match.probe_value));
      found.push_back(static_cast<uint32_t>(match.build_value));
    }
  }
  rows.keep_positions(scratch.positions);
  return {};
}

}  // namespace colx::host
