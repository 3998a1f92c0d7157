#include "examples/star/flight1.h"

#include <fmt/format.h>

#include <functional>
#include <numeric>
#include <optional>
#include <unordered_set>
#include <utility>

#include "examples/star/column_scan.h"
#include "examples/star/row_list.h"
#include "examples/star/row_values.h"

namespace colx::star {
namespace {

// Below this part of a chunk's rows walking the selected rows beats scanning all of them.
constexpr uint32_t rows_per_walked_row = 64;

enum StepNumber : size_t {
  scan_days,
  or_days,
  scan_discount,
  scan_quantity,
  and_all,
  walk_quantity,
  walk_discount,
  step_count
};

// One query, bound to its kernels.
struct Plan {
  std::vector<host::PreparedScan> days;  // a scan for each range of day codes; none: no row matches
  std::optional<host::PreparedScan> discount;
  std::optional<host::PreparedScan> quantity;
  std::vector<Step> steps{step_count};  // texts only
};

const EncodedColumn& column(const Engine& engine, Lineorder which) {
  return engine.lineorder[which];
}

host::Result<Plan> make_plan(const Engine& engine, const Flight1Query& query) {
  Plan plan;
  const EncodedColumn& orderdate = column(engine, lo_orderdate);
  for (const CodeRange& range : codes_of_days(orderdate.numbers(), engine.date, query.day)) {
    auto scan = host::PreparedScan::on_codes(engine.library, orderdate.stored,
                                             {host::Compare::ge_le, range.first, range.last});
    if (!scan) return scan.error();
    plan.days.push_back(*scan);
  }
  auto discount = prepare_scan(engine, column(engine, lo_discount), query.discount);
  if (!discount) return discount.error();
  auto quantity = prepare_scan(engine, column(engine, lo_quantity), query.quantity);
  if (!quantity) return quantity.error();
  plan.discount = *discount;
  plan.quantity = *quantity;

  const std::string discount_text = query.discount.text("lo_discount");
  const std::string quantity_text = query.quantity.text("lo_quantity");
  if (!plan.days.empty())
    plan.steps[scan_days] = {std::string{query.days}, kernels_of(orderdate, plan.days.front())};
  plan.steps[or_days] = {"combine the ranges of days", "colx_lbiwvor_dydi"};
  plan.steps[scan_discount] = {discount_text, discount->kernel_name()};
  plan.steps[scan_quantity] = {quantity_text, quantity->kernel_name()};
  plan.steps[and_all] = {"combine the three", "colx_lbiwvand3_dydi"};
  plan.steps[walk_discount] = {discount_text + ", selected rows",
                               kernels_of(column(engine, lo_discount), *discount, true)};
  plan.steps[walk_quantity] = {quantity_text + ", selected rows",
                               kernels_of(column(engine, lo_quantity), *quantity, true)};
  return plan;
}

// Sum of extendedprice * discount.
host::Result<uint64_t> revenue_of(const Engine& engine, const std::vector<uint32_t>& rows) {
  const auto prices = values_at(engine, column(engine, lo_extendedprice), rows);
  if (!prices) return prices.error();
  const auto discounts = values_at(engine, column(engine, lo_discount), rows);
  if (!discounts) return discounts.error();
  return std::inner_product(prices->begin(), prices->end(), discounts->begin(), uint64_t{0},
                            std::plus{},
                            [](uint64_t price, uint32_t discount) { return price * discount; });
}

// A query's way through one chunk after the other.
class ChunkRun {
 public:
  ChunkRun(const Engine& engine, const Plan& plan)
      : engine_(engine), plan_(plan), steps_(plan.steps) {}

  host::Result<void> run(size_t chunk, uint32_t rows) {
    days_ = host::RowBits(rows);
    left_ = host::RowBits(rows);
    right_ = host::RowBits(rows);
    auto day_rows = find_days(chunk);
    if (!day_rows) return day_rows.error();
    if (*day_rows == 0) return {};
    const bool few = uint64_t{*day_rows} * rows_per_walked_row < rows;
    auto matches = few ? walk(chunk) : scan(chunk);
    if (!matches) return matches.error();
    count_ += *matches;
    if (*matches) append_rows(engine_.library, few ? left_ : days_, first_row_of(chunk), rows_);
    return {};
  }

  uint64_t count() const { return count_; }
  std::vector<uint32_t> take_rows() { return std::move(rows_); }
  std::vector<Step> take_steps() { return std::move(steps_); }

 private:
  using Count = host::Result<uint32_t>;

  static uint32_t first_row_of(size_t chunk) {
    return static_cast<uint32_t>(chunk * host::max_chunk_rows);
  }

  Count apply(StepNumber number, const host::PreparedScan& scan, size_t chunk, host::RowBits& hits,
              host::Selection selection = {}) {
    Step& step = steps_[number];
    auto count = timed(step, hits.size(),
                       [&] { return scan.run(chunk, hits, engine_.services, selection); });
    if (count) step.hits += *count;
    return count;
  }

  // The chunk's rows of matching days, into days_.
  Count find_days(size_t chunk) {
    Count first = apply(scan_days, plan_.days.front(), chunk, days_);
    if (!first) return first;
    uint32_t count = *first;
    for (size_t range = 1; range < plan_.days.size(); ++range) {
      if (auto more = apply(scan_days, plan_.days[range], chunk, left_); !more) return more;
      Step& step = steps_[or_days];
      count = timed(step, days_.size(), [&] {
        uint32_t both = 0;
        engine_.library.record().colx_sctx_lbiwvor(days_.data(), &both, days_.data(), left_.data(),
                                                   days_.size());
        return both;
      });
      step.hits += count;
    }
    return count;
  }

  // Discount and quantity over all rows; the matches are in days_.
  Count scan(size_t chunk) {
    if (auto done = apply(scan_discount, *plan_.discount, chunk, left_); !done) return done;
    if (auto done = apply(scan_quantity, *plan_.quantity, chunk, right_); !done) return done;
    Step& step = steps_[and_all];
    const uint32_t count = timed(step, days_.size(), [&] {
      uint32_t all = 0;
      engine_.library.record().colx_sctx_lbiwvand3(days_.data(), &all, days_.data(), left_.data(),
                                                   right_.data(), days_.size());
      return all;
    });
    step.hits += count;
    return count;
  }

  // Quantity and discount over the rows that are left; the matches are in left_.
  Count walk(size_t chunk) {
    auto left = apply(walk_quantity, *plan_.quantity, chunk, right_, {&days_, true});
    if (!left || *left == 0) return left;
    return apply(walk_discount, *plan_.discount, chunk, left_, {&right_, true});
  }

  const Engine& engine_;
  const Plan& plan_;
  std::vector<Step> steps_;
  uint64_t count_ = 0;
  std::vector<uint32_t> rows_;
  host::RowBits days_;
  host::RowBits left_;
  host::RowBits right_;
};

}  // namespace

bool DayFilter::holds(const Table& date, size_t row) const {
  const auto passes = [&](uint32_t wanted, Date which) {
    return wanted == 0 || date[which].cells[row] == wanted;
  };
  return passes(year, d_year) && passes(year_month, d_yearmonthnum) &&
         passes(week_in_year, d_weeknuminyear);
}

std::string Flight1Query::where() const {
  return fmt::format("{} and {} and {}", days, discount.text("lo_discount"),
                     quantity.text("lo_quantity"));
}

std::vector<CodeRange> codes_of_days(const host::Dictionary<int64_t>& days, const Table& date,
                                     const DayFilter& filter) {
  std::unordered_set<int64_t> wanted;
  for (uint32_t row = 0; row < date.rows(); ++row)
    if (filter.holds(date, row)) wanted.insert(date[d_datekey].cells[row]);
  std::vector<CodeRange> ranges;
  for (uint64_t code = days.first_code(); code < days.end_code(); ++code) {
    if (!wanted.contains(days.value(code))) continue;
    if (!ranges.empty() && ranges.back().last + 1 == code)
      ranges.back().last = code;
    else
      ranges.push_back({code, code});
  }
  return ranges;
}

host::Result<Answer> run_flight1(const Engine& engine, const Flight1Query& query, unsigned runs) {
  auto plan = make_plan(engine, query);
  if (!plan) return plan.error();
  Answer answer;
  answer.revenue = 0;
  if (plan->days.empty()) return answer;
  const std::vector<host::Chunk>& chunks = column(engine, lo_orderdate).stored.chunks;
  for (unsigned run = 0; run < runs; ++run) {
    ChunkRun chunk_run(engine, *plan);
    for (size_t chunk = 0; chunk < chunks.size(); ++chunk)
      if (auto done = chunk_run.run(chunk, chunks[chunk].rows); !done) return done.error();
    answer.count = chunk_run.count();
    answer.rows = chunk_run.take_rows();
    keep_fastest(answer.steps, chunk_run.take_steps());
  }
  const auto revenue = revenue_of(engine, answer.rows);
  if (!revenue) return revenue.error();
  answer.revenue = *revenue;
  std::erase_if(answer.steps, [](const Step& step) { return step.rows == 0; });
  return answer;
}

}  // namespace colx::star
