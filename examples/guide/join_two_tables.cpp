// A hash join: hash, filter, build, probe, gather.
#include <cstdio>
#include <span>
#include <string_view>
#include <vector>

#include "host/bloom_filter.h"
#include "host/gathered_rows.h"
#include "host/join_probe.h"
#include "host/join_table.h"
#include "host/key_rows.h"
#include "host/loader.h"
#include "host/row_store.h"

using namespace colx::host;

namespace {

KeyRows keys_of(const std::vector<uint32_t>& numbers) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(numbers.data());
  return KeyRows::fixed({bytes, numbers.size() * 4}, 4).value();
}

void print_names(const Library& library, std::span<const char* const> names,
                 std::span<const uint16_t> name_lengths, const std::vector<Match>& matches) {
  // region: gather
  const KeyRows values = KeyRows::pointers(names, name_lengths).value();
  const RowStore store = RowStore::build(library, {&values, 1}).value();
  GatheredRows gathered =
      GatheredRows::open(library, store, EntryList::build_side(matches)).value();
  size_t match = 0;
  for (;;) {
    const GatheredValues batch = gathered.next().value();
    if (batch.size() == 0) break;
    for (size_t i = 0; i < batch.size(); ++i, ++match)
      std::printf("order %d: %.*s\n", int(matches[match].probe_value), int(batch[i].size()),
                  batch[i].data());
  }
  // end
}

}  // namespace

int main(int argc, char** argv) {
  const Library library = Library::open(argc > 1 ? argv[1] : "libcolx_x86.so").value();

  // region: tables
  const std::vector<uint32_t> customers = {70, 20, 90, 40};  // the build side, and their names
  const char* const names[] = {"Ada", "Ben", "Cleo", "Dan"};
  const uint16_t name_lengths[] = {3, 3, 4, 3};
  const std::vector<uint32_t> orders = {40, 55, 70, 40, 20, 66};  // the probe side
  // end

  // region: hash
  std::vector<uint64_t> build_hashes(customers.size()), probe_hashes(orders.size());
  hash_keys(library, keys_of(customers), build_hashes).value();
  hash_keys(library, keys_of(orders), probe_hashes).value();
  // end

  // region: bloom
  BloomFilter filter = BloomFilter::create(library, {.expected_rows = customers.size()}).value();
  filter.add(HashColumn::of(build_hashes)).value();
  RowBits may_match(orders.size());
  filter.test(HashColumn::of(probe_hashes), may_match).value();
  std::printf("order 0 may match: %s\n", may_match.test(0) ? "yes" : "no");
  // end

  // region: build
  JoinTable table = JoinTable::create(library, {.expected_rows = customers.size()}).value();
  table.build(KeyRows::hashes(build_hashes).value(), RowValues::numbered_from(0)).value();
  // end

  // region: candidates
  std::vector<uint64_t> hashes, rows;  // of the orders that passed
  for (uint64_t row = 0; row < orders.size(); ++row)
    if (may_match.test(row)) hashes.push_back(probe_hashes[row]), rows.push_back(row);
  // end

  // region: probe
  const SameKey same_key = [&](uint64_t order, uint64_t customer) {
    return orders[order] == customers[customer];
  };
  JoinProbe probe = JoinProbe::open(library, table, KeyRows::hashes(hashes).value(),
                                    RowValues::of(rows), same_key)
                        .value();
  std::vector<Match> matches;
  for (;;) {
    const auto found = probe.next().value();
    if (found.empty()) break;
    matches.insert(matches.end(), found.begin(), found.end());
  }
  // end

  print_names(library, names, name_lengths, matches);
}
