#include "examples/star/star_run.h"

#include <algorithm>
#include <deque>
#include <utility>

#include "host/group_sums.h"
#include "host/morsels.h"
#include "host/translation.h"

namespace colx::star {
namespace {

// One thread's way through its chunks.
class Worker {
 public:
  static host::Result<Worker> create(const StarStore& store, const StarPlan& plan) {
    Worker worker(store, plan);
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
    if (rows_.count() == 0) return {};
    for (const GroupShare& share : plan_->shares) {
      const auto codes = share.keys.run(rows_, codes_);
      if (!codes) return codes.error();
      if (auto done = host::add_group_share(rows_.library(), share.numbers, *codes,
                                            share.multiplier, keys_);
          !done)
        return done;
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

  // Starts the group keys of the rows that are left: with the joined dimension's part.
  host::Result<void> join() {
    if (plan_->join) {
      const DimensionJoin& join = *plan_->join;
      if (auto done = join.join.run(rows_, join.keys, scratch_, found_); !done) return done;
    }
    keys_.assign(rows_.count(), 0);
    if (plan_->join)
      for (size_t row = 0; row < keys_.size(); ++row)
        keys_[row] = found_[row] * plan_->join->multiplier;
    return {};
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
  std::vector<uint32_t> keys_;
  std::vector<uint64_t> numbers_;
  std::vector<host::GroupSums> sums_;
  host::RowBits seen_;
  uint64_t lines_ = 0;
};

// The groups' values, out of the dimensions' dictionaries.
std::string value_of(const StarStore& store, const GroupColumn& group, uint32_t key) {
  const EncodedColumn& column = store.column(group.column);
  const uint32_t code = group.codes[group.number(key)];
  if (table_schema(group.column.table).columns[group.column.column].kind == Kind::text)
    return std::string{column.stored.dictionary->symbol(code)};
  return std::to_string(column.numbers().value(code));
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

std::vector<AnswerRow> rows_of(const StarStore& store, const StarQuery& query, const StarPlan& plan,
                               const Worker& all) {
  std::vector<AnswerRow> rows;
  if (query.group_by.empty()) rows.push_back({});
  for (uint32_t key = 0; key < plan.key_space; ++key) {
    if (!all.seen(key)) continue;
    if (!query.group_by.empty()) {
      rows.push_back({});
      for (const GroupColumn& group : plan.groups)
        rows.back().group.push_back(value_of(store, group, key));
    }
    rows.back().sum += measure_of(query, plan, all, key);
  }
  put_in_order(query, rows);
  return rows;
}

}  // namespace

host::Result<StarAnswer> run_plan(const StarStore& store, const StarQuery& query,
                                  const StarPlan& plan, unsigned threads) {
  StarAnswer answer;
  if (plan.empty) {
    if (query.group_by.empty()) answer.rows.push_back({});
    return answer;
  }
  std::vector<Worker> workers;
  for (unsigned thread = 0; thread < threads; ++thread) {
    auto worker = Worker::create(store, plan);
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
  answer.rows = rows_of(store, query, plan, workers[0]);
  answer.lines = workers[0].lines();
  return answer;
}

host::Result<StarAnswer> answer(const StarStore& store, const StarQuery& query, unsigned threads) {
  const auto plan = make_plan(store, query);
  if (!plan) return plan.error();
  return run_plan(store, query, *plan, threads);
}

}  // namespace colx::star
