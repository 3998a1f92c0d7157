#include "examples/star/star_run.h"

#include <algorithm>
#include <span>
#include <utility>

#include "host/gathered_rows.h"
#include "host/group_sums.h"
#include "host/morsels.h"
#include "host/translation.h"

namespace colx::star {
namespace {

// One thread's way through its chunks.
class Worker {
 public:
  static host::Result<Worker> create(const StarStore& store, const StarPlan& plan,
                                     host::CallMeter* meter) {
    Worker worker(store, plan);
    if (meter) worker.rows_.count_calls(*meter);
    for (size_t sum = 0; sum < plan.sums.size(); ++sum) {
      auto sums = host::GroupSums::create(store.library(), COLX_TYPE_DSB, plan.key_space);
      if (!sums) return sums.error();
      worker.sums_.push_back(std::move(*sums));
    }
    return worker;
  }

  host::Result<void> run(size_t chunk, uint32_t rows) {
    rows_.start(chunk, rows);
    for (const host::KeyFilter& filter : plan_->filters)
      if (auto done = filter.apply(rows_); !done) return done;
    if (auto done = join(); !done) return done;
    if (auto done = drop_late(); !done) return done;
    if (rows_.count() == 0) return {};
    start_keys();
    for (const GroupShare& share : plan_->shares) {
      const auto codes = codes_of(share.keys);
      if (!codes) return codes.error();
      auto done = host::CallMeter::measure(rows_.meter(), share.slot(), keys_.size(), [&] {
        return host::add_group_share(rows_.library(), share.numbers, *codes, share.multiplier,
                                     keys_);
      });
      if (!done) return done;
    }
    return add_up();
  }

  host::Result<void> merge(const Worker& other) {
    for (size_t sum = 0; sum < sums_.size(); ++sum)
      if (auto done = sums_[sum].merge(other.sums_[sum]); !done) return done;
    for (size_t word = 0; word < seen_.word_count(); ++word)
      seen_.data()[word] |= other.seen_.data()[word];
    lines_ += other.lines_;
    return {};
  }

  bool seen(uint32_t key) const { return seen_.test(key); }
  int64_t sum(size_t measure, uint32_t key) const { return sums_[measure].integer_sum(key); }
  uint64_t lines() const { return lines_; }

 private:
  Worker(const StarStore& store, const StarPlan& plan)
      : plan_(&plan), rows_(store.library(), store.services()), seen_(plan.key_space) {}

  host::Result<void> join() {
    if (!plan_->join) return {};
    const DimensionJoin& join = *plan_->join;
    return join.join.run(rows_, join.keys, scratch_, found_);
  }

  // Keeps the codes of the rows that are left: a share wants them again.
  host::Result<void> drop_late() {
    if (!plan_->late) return {};
    const auto codes = plan_->late->keys.run(rows_, late_codes_);
    if (!codes) return codes.error();
    positions_.clear();
    for (uint32_t row = 0; row < codes->size(); ++row) {
      if (!plan_->late->wanted.test((*codes)[row])) continue;
      late_codes_[positions_.size()] = (*codes)[row];
      if (plan_->join) found_[positions_.size()] = found_[row];
      positions_.push_back(row);
    }
    rows_.keep_positions(positions_);
    return {};
  }

  // The group keys of the rows that are left, with the joined dimension's part alone.
  void start_keys() {
    keys_.assign(rows_.count(), 0);
    if (plan_->join)
      for (size_t row = 0; row < keys_.size(); ++row)
        keys_[row] = found_[row] * plan_->join->multiplier;
  }

  host::Result<std::span<const uint32_t>> codes_of(const host::CodeUnpack& keys) {
    if (plan_->late && &plan_->late->keys.column() == &keys.column())
      return std::span<const uint32_t>{late_codes_.data(), rows_.count()};
    return keys.run(rows_, codes_);
  }

  host::Result<void> add_up() {
    for (size_t sum = 0; sum < plan_->sums.size(); ++sum) {
      const auto numbers = host::pick_numbers(rows_, plan_->sums[sum]->stored, numbers_);
      if (!numbers) return numbers.error();
      if (auto done = sums_[sum].add({numbers->data(), rows_.count()}, keys_); !done) return done;
    }
    for (const uint32_t key : keys_) seen_.set(key);
    lines_ += rows_.count();
    return {};
  }

  const StarPlan* plan_;
  host::ChunkRows rows_;
  host::CodeJoin::Scratch scratch_;
  std::vector<uint32_t> found_;
  std::vector<uint32_t> codes_;
  std::vector<uint32_t> late_codes_;
  std::vector<uint32_t> positions_;
  std::vector<uint32_t> keys_;
  std::vector<uint64_t> numbers_;
  std::vector<host::GroupSums> sums_;
  host::RowBits seen_;
  uint64_t lines_ = 0;
};

// The values of a group column in each of the groups: numbers out of the dictionary, texts gathered
// from the row store of the column's values.
host::Result<std::vector<std::string>> values_of(const StarStore& store, const GroupColumn& group,
                                                 const std::vector<uint32_t>& keys) {
  std::vector<uint32_t> codes;
  codes.reserve(keys.size());
  for (const uint32_t key : keys) codes.push_back(group.codes[group.number(key)]);
  std::vector<std::string> values;
  if (const host::RowStore* names = store.names(group.column)) {
    auto gather = host::GatheredRows::open(store.library(), *names,
                                           host::EntryList::of(std::span<const uint32_t>(codes)));
    if (!gather) return gather.error();
    for (;;) {
      const auto batch = gather->next();
      if (!batch) return batch.error();
      if (batch->size() == 0) return values;
      for (size_t i = 0; i < batch->size(); ++i) values.emplace_back((*batch)[i]);
    }
  }
  const host::Dictionary<int64_t>& numbers = store.column(group.column).numbers();
  for (const uint32_t code : codes) values.push_back(std::to_string(numbers.value(code)));
  return values;
}

int64_t measure_of(const StarQuery& query, const StarPlan& plan, const Worker& all, uint32_t key) {
  switch (query.measure) {
    case Measure::revenue:
      return all.sum(0, key);
    case Measure::profit:
      return all.sum(0, key) - all.sum(1, key);
    case Measure::discounted_price:
      return all.sum(0, key) * plan.weight->numbers().value(key % plan.key_space);
  }
  return 0;
}

host::Result<std::vector<AnswerRow>> rows_of(const StarStore& store, const StarQuery& query,
                                             const StarPlan& plan, const Worker& all) {
  std::vector<uint32_t> keys;
  for (uint32_t key = 0; key < plan.key_space; ++key)
    if (all.seen(key)) keys.push_back(key);
  std::vector<AnswerRow> rows(query.group_by.empty() ? 1 : keys.size());
  for (size_t i = 0; i < keys.size(); ++i)
    rows[query.group_by.empty() ? 0 : i].sum += measure_of(query, plan, all, keys[i]);
  for (const GroupColumn& group : plan.groups) {
    auto values = values_of(store, group, keys);
    if (!values) return values.error();
    for (size_t i = 0; i < keys.size(); ++i) rows[i].group.push_back(std::move((*values)[i]));
  }
  put_in_order(query, rows);
  return rows;
}

}  // namespace

host::Result<StarAnswer> run_plan(const StarStore& store, const StarQuery& query,
                                  const StarPlan& plan, unsigned threads, host::CallMeter* meter) {
  StarAnswer answer;
  if (plan.empty) {
    if (query.group_by.empty()) answer.rows.push_back({});
    return answer;
  }
  std::vector<Worker> workers;
  std::vector<host::CallMeter> meters(meter ? threads : 0);
  for (unsigned thread = 0; thread < threads; ++thread) {
    auto worker = Worker::create(store, plan, meter ? &meters[thread] : nullptr);
    if (!worker) return worker.error();
    workers.push_back(std::move(*worker));
  }
  const auto& chunks = store.table(TableId::lineorder)[lo_orderdate].stored.chunks;
  const auto done = host::run_morsels(threads, chunks.size(), [&](unsigned thread, size_t chunk) {
    return workers[thread].run(chunk, chunks[chunk].rows);
  });
  if (!done) return done.error();
  for (unsigned thread = 1; thread < threads; ++thread)
    if (auto merged = workers[0].merge(workers[thread]); !merged) return merged.error();
  for (const host::CallMeter& counts : meters) meter->merge(counts);
  auto rows = rows_of(store, query, plan, workers[0]);
  if (!rows) return rows.error();
  answer.rows = std::move(*rows);
  answer.lines = workers[0].lines();
  return answer;
}

host::Result<StarAnswer> answer(const StarStore& store, const StarQuery& query, unsigned threads,
                                host::CallMeter* meter) {
  const auto plan = make_plan(store, query);
  if (!plan) return plan.error();
  return run_plan(store, query, *plan, threads, meter);
}

}  // namespace colx::star
