#include "examples/star/joins.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "examples/star/dimension_rows.h"
#include "host/bloom_filter.h"
#include "host/chunk_rows.h"
#include "host/join_probe.h"
#include "host/join_table.h"
#include "host/morsels.h"
#include "host/partition_set.h"

namespace colx::star {
namespace {

constexpr uint32_t partition_bits = 4;

bool uses_codes(JoinMethod method) {
  return method == JoinMethod::codes || method == JoinMethod::filtered_codes;
}
bool uses_filter(JoinMethod method) {
  return method == JoinMethod::filtered_codes || method == JoinMethod::filtered_keys;
}

host::Result<host::KeyRows> as_keys(std::span<const uint32_t> numbers) {
  return host::KeyRows::fixed(
      {reinterpret_cast<const uint8_t*>(numbers.data()), numbers.size_bytes()}, sizeof(uint32_t));
}

// The dimension's side: keys (numbers or codes) and rows.
struct BuildSide {
  std::vector<uint32_t> keys;
  std::vector<uint64_t> rows;
};

// One join: its table, its filter, and the lines' keys.
class Join {
 public:
  Join(const StarStore& store, const Condition& condition, JoinMethod method)
      : store_(store), condition_(condition), method_(method) {}

  host::Result<JoinTally> run(unsigned threads) {
    if (auto done = read_dimension(); !done) return done.error();
    if (auto done = make_table(); !done) return done.error();
    if (auto done = build(); !done) return done.error();
    tallies_.resize(threads);
    const auto& chunks = line_key().stored.chunks;
    if (method_ == JoinMethod::partitions) line_keys_.resize(line_key().stored.rows());
    const auto done = host::run_morsels(threads, chunks.size(), [&](unsigned thread, size_t chunk) {
      return run_chunk(thread, chunk, chunks[chunk].rows);
    });
    if (!done) return done.error();
    if (auto all = run_partitions(threads); !all) return all.error();
    JoinTally sum;
    for (const JoinTally& tally : tallies_) sum.add(tally);
    return sum;
  }

 private:
  TableId table() const { return condition_.column.table; }
  const EncodedColumn& line_key() const { return store_.column(of(StarStore::key_of(table()))); }

  host::Result<void> read_dimension() {
    const auto rows = rows_that_hold(store_, table(), {condition_});
    if (!rows) return rows.error();
    const EncodedColumn& key = store_.table(table())[0];
    const auto codes = all_codes(store_, key);
    if (!codes) return codes.error();
    for (const uint32_t row : *rows) {
      const uint32_t code = store_.link(table()).code_of_row[row];
      if (uses_codes(method_) && code == KeyLink::no_code) continue;
      side_.keys.push_back(
          uses_codes(method_) ? code : static_cast<uint32_t>(key.numbers().value((*codes)[row])));
      side_.rows.push_back(row);
    }
    keys_by_row_.resize(codes->size());
    for (size_t i = 0; i < side_.rows.size(); ++i) keys_by_row_[side_.rows[i]] = side_.keys[i];
    return {};
  }

  host::Result<void> make_table() {
    auto table = host::JoinTable::create(
        store_.library(),
        {.expected_rows = side_.keys.size(),
         .exact_codes = uses_codes(method_),
         .partition_bits = method_ == JoinMethod::partitions ? partition_bits : 0});
    if (!table) return table.error();
    table_.emplace(std::move(*table));
    return {};
  }

  // All of the table, or of partitions only the scattering.
  host::Result<void> build() {
    const auto numbers = as_keys(side_.keys);
    if (!numbers) return numbers.error();
    const auto rows = host::RowValues::of(std::span<const uint64_t>(side_.rows));
    if (method_ == JoinMethod::partitions) {
      auto set = new_set();
      if (!set) return set.error();
      build_set_.emplace(std::move(*set));
      return build_set_->add(*numbers, rows);
    }
    const auto keys = uses_codes(method_) ? host::KeyRows::codes(side_.keys) : numbers;
    if (!keys) return keys.error();
    if (auto done = table_->build(*keys, rows); !done || !uses_filter(method_)) return done;
    auto filter = host::BloomFilter::create(store_.library(), {.expected_rows = side_.keys.size()});
    if (!filter) return filter.error();
    filter_.emplace(std::move(*filter));
    std::vector<uint64_t> hashes(side_.keys.size());
    if (auto hashed = host::hash_keys(store_.library(), *numbers, hashes); !hashed) return hashed;
    return filter_->add(host::HashColumn::of(hashes));
  }

  host::Result<host::PartitionSet> new_set() const {
    return host::PartitionSet::create(store_.library(), {.highest_bit = table_->partition_hi(),
                                                         .shift = table_->partition_shift()});
  }

  // A chunk's lines: keys, their hash values where something needs them, and line numbers.
  struct Lines {
    uint64_t first = 0;  // line of the chunk's first row
    std::vector<uint32_t> keys;
    std::vector<uint64_t> hashes;
    std::vector<uint64_t> numbers;
  };

  host::Result<Lines> read_lines(size_t chunk, uint32_t rows) const {
    auto unpack = host::CodeUnpack::bind(store_.library(), line_key().stored);
    if (!unpack) return unpack.error();
    host::ChunkRows all(store_.library(), store_.services());
    all.start(chunk, rows);
    Lines lines;
    lines.first = chunk * host::max_chunk_rows;
    const auto codes = unpack->run(all, lines.keys);
    if (!codes) return codes.error();
    lines.keys.resize(rows);
    if (!uses_codes(method_))
      for (uint32_t& key : lines.keys) key = static_cast<uint32_t>(line_key().numbers().value(key));
    for (uint32_t row = 0; row < rows; ++row) lines.numbers.push_back(lines.first + row);
    return lines;
  }

  // Drops the lines that the filter stops.
  host::Result<void> filter_lines(Lines& lines) const {
    lines.hashes.resize(lines.keys.size());
    const auto keys = as_keys(lines.keys);
    if (!keys) return keys.error();
    if (auto hashed = host::hash_keys(store_.library(), *keys, lines.hashes); !hashed)
      return hashed;
    host::RowBits passed(lines.keys.size());
    const auto count = filter_->test(host::HashColumn::of(lines.hashes), passed);
    if (!count) return count.error();
    size_t left = 0;
    for (size_t row = 0; row < lines.keys.size(); ++row) {
      if (!passed.test(row)) continue;
      lines.keys[left] = lines.keys[row];
      lines.hashes[left] = lines.hashes[row];
      lines.numbers[left++] = lines.numbers[row];
    }
    lines.keys.resize(left);
    lines.hashes.resize(left);
    lines.numbers.resize(left);
    return {};
  }

  host::Result<void> run_chunk(unsigned thread, size_t chunk, uint32_t rows) {
    auto lines = read_lines(chunk, rows);
    if (!lines) return lines.error();
    if (method_ == JoinMethod::partitions) return scatter(*lines);
    const std::vector<uint32_t> chunk_keys = lines->keys;
    if (filter_)
      if (auto done = filter_lines(*lines); !done) return done;
    const auto keys = uses_codes(method_) ? host::KeyRows::codes(lines->keys)
                      : filter_           ? host::KeyRows::hashes(lines->hashes)
                                          : as_keys(lines->keys);
    if (!keys) return keys.error();
    auto probe =
        host::JoinProbe::open(store_.library(), *table_, *keys,
                              host::RowValues::of(std::span<const uint64_t>(lines->numbers)),
                              [&](uint64_t line, uint64_t row) {
                                return chunk_keys[line - lines->first] == keys_by_row_[row];
                              });
    if (!probe) return probe.error();
    return count_matches(*probe, tallies_[thread]);
  }

  static host::Result<void> count_matches(host::JoinProbe& probe, JoinTally& tally) {
    for (;;) {
      const auto matches = probe.next();
      if (!matches) return matches.error();
      if (matches->empty()) return {};
      for (const host::Match& match : *matches) tally.add(match.probe_value, match.build_value);
    }
  }

  host::Result<void> scatter(const Lines& lines) {
    std::ranges::copy(lines.keys, line_keys_.begin() + static_cast<ptrdiff_t>(lines.first));
    auto set = new_set();
    if (!set) return set.error();
    const auto keys = as_keys(lines.keys);
    if (!keys) return keys.error();
    if (auto done = set->add(*keys, host::RowValues::numbered_from(lines.first)); !done)
      return done;
    const std::lock_guard guard(line_sets_lock_);
    line_sets_.push_back(std::move(*set));
    return {};
  }

  // Builds and probes partition by partition: partitions share nothing, so threads take one each.
  host::Result<void> run_partitions(unsigned threads) {
    if (method_ != JoinMethod::partitions) return {};
    return host::run_morsels(threads, table_->partitions(), [&](unsigned thread, size_t number) {
      const auto partition = static_cast<uint32_t>(number);
      for (size_t region = 0; region < build_set_->regions(partition); ++region) {
        const auto keys = build_set_->keys(partition, region);
        if (!keys) return host::Result<void>(keys.error());
        if (auto done =
                table_->build_partition(partition, *keys, host::RowValues::numbered_from(0));
            !done)
          return done;
      }
      std::vector<uint64_t> hashes, lines;
      for (const host::PartitionSet& set : line_sets_)
        if (auto done = set.split(partition, hashes, lines); !done) return done;
      const auto keys = host::KeyRows::hashes(hashes);
      if (!keys) return host::Result<void>(keys.error());
      auto probe = host::JoinProbe::open_partition(
          store_.library(), *table_, partition, *keys,
          host::RowValues::of(std::span<const uint64_t>(lines)),
          [&](uint64_t line, uint64_t row) { return line_keys_[line] == keys_by_row_[row]; });
      if (!probe) return host::Result<void>(probe.error());
      return count_matches(*probe, tallies_[thread]);
    });
  }

  const StarStore& store_;
  const Condition& condition_;
  JoinMethod method_;
  BuildSide side_;
  std::vector<uint32_t> keys_by_row_;  // of the dimension
  std::optional<host::JoinTable> table_;
  std::optional<host::BloomFilter> filter_;
  std::vector<JoinTally> tallies_;  // by thread
  // Of partitions: the dimension's rows, each chunk's lines (in no order), the keys of all lines.
  std::optional<host::PartitionSet> build_set_;
  std::mutex line_sets_lock_;
  std::vector<host::PartitionSet> line_sets_;
  std::vector<uint32_t> line_keys_;
};

}  // namespace

const char* name_of(JoinMethod method) {
  switch (method) {
    case JoinMethod::codes:
      return "exact codes";
    case JoinMethod::filtered_codes:
      return "exact codes behind a Bloom filter";
    case JoinMethod::keys:
      return "hashed keys";
    case JoinMethod::filtered_keys:
      return "hashed keys behind a Bloom filter";
    case JoinMethod::partitions:
      return "hashed keys, both sides in 16 partitions";
  }
  return "";
}

host::Result<JoinTally> join_lines(const StarStore& store, const Condition& condition,
                                   JoinMethod method, unsigned threads) {
  return Join(store, condition, method).run(threads);
}

JoinTally plain_join(const Tables& tables, const Condition& condition) {
  const Table& dimension = tables[condition.column.table];
  const Column& column = dimension[condition.column.column];
  std::unordered_map<uint32_t, uint32_t> rows;
  for (uint32_t row = 0; row < dimension.rows(); ++row)
    if (condition.of_texts() ? condition.holds(column.text(row))
                             : condition.holds(column.cells[row]))
      rows.emplace(dimension[0].cells[row], row);
  JoinTally tally;
  const auto& keys = tables[TableId::lineorder][StarStore::key_of(dimension.id())].cells;
  for (size_t line = 0; line < keys.size(); ++line)
    if (const auto row = rows.find(keys[line]); row != rows.end()) tally.add(line, row->second);
  return tally;
}

}  // namespace colx::star
