#include "examples/star/star_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <utility>

#include "examples/star/dimension_rows.h"

namespace colx::star {
namespace {

// A dimension that keeps at most this share of its keys may be hash joined, if at most that share
// of the lines is left when its turn comes.
constexpr double joined_keys = 1.0 / 64;
constexpr double joined_lines = 1.0 / 16;
// A dimension that keeps at least this share of its keys is filtered late, if at most that share of
// the lines is left and its key is in runs, which are scanned whole whatever is left.
constexpr double late_keys = 1.0 / 2;
constexpr double late_lines = 1.0 / 64;

// A dimension under all of a query's conditions on it.
struct Dimension {
  TableId table;
  const EncodedColumn* key = nullptr;  // lineorder's
  std::vector<uint32_t> rows;          // of the dimension, that satisfy the conditions
  host::RowBits keys;                  // the codes of lineorder's key that refer to them
  bool restricted = false;             // some key is not among them

  double share() const {
    return static_cast<double>(keys.count()) / static_cast<double>(keys.size());
  }
};

class Planner {
 public:
  Planner(const StarStore& store, const StarQuery& query) : store_(store), query_(query) {}

  host::Result<StarPlan> plan() {
    for (const ForeignKey& key : foreign_keys)
      if (key.column != lo_commitdate && names(key.table))
        if (auto done = add_dimension(key.table); !done) return done.error();
    if (auto done = add_line_filters(); !done) return done.error();
    if (plan_.empty) return std::move(plan_);
    if (auto done = add_dimension_filters(); !done) return done.error();
    if (auto done = add_groups(); !done) return done.error();
    add_measure();
    return std::move(plan_);
  }

 private:
  bool names(TableId table) const {
    return std::ranges::any_of(query_.where,
                               [&](const Condition& c) { return c.column.table == table; }) ||
           std::ranges::any_of(query_.group_by,
                               [&](const TableColumn& column) { return column.table == table; });
  }

  // Scans the dimension's own columns.
  host::Result<void> add_dimension(TableId table) {
    Dimension dimension{table, &store_.column(of(StarStore::key_of(table))), {}, {}};
    auto rows = rows_that_hold(store_, table, query_.where);
    if (!rows) return rows.error();
    dimension.rows = std::move(*rows);
    link_keys(dimension);
    if (dimension.keys.count() == 0) plan_.empty = true;
    dimensions_.push_back(std::move(dimension));
    return {};
  }

  void link_keys(Dimension& dimension) const {
    const KeyLink& link = store_.link(dimension.table);
    dimension.keys = host::RowBits(dimension.key->stored.dictionary->num_symbols());
    for (const uint32_t row : dimension.rows)
      if (link.code_of_row[row] != KeyLink::no_code) dimension.keys.set(link.code_of_row[row]);
    dimension.restricted = dimension.keys.count() != dimension.keys.size();
  }

  host::Result<void> add_line_filters() {
    for (const Condition& condition : query_.where) {
      if (condition.column.table != TableId::lineorder) continue;
      const EncodedColumn& column = store_.column(condition.column);
      const host::RowBits codes = codes_that_hold(column, condition);
      if (codes.count() == 0) return plan_.empty = true, host::Result<void>();
      if (codes.count() == codes.size()) continue;
      if (auto done = add_filter(column, codes); !done) return done;
    }
    return {};
  }

  host::Result<void> add_filter(const EncodedColumn& column, const host::RowBits& codes) {
    auto filter = host::KeyFilter::bind(store_.library(), column.stored, codes);
    if (!filter) return filter.error();
    plan_.filters.push_back(std::move(*filter));
    return {};
  }

  // Part of the lines that all conditions leave.
  double lines_left() const {
    double lines = 1;
    for (const host::KeyFilter& filter : plan_.filters) lines *= filter.share();
    for (const Dimension& dimension : dimensions_) lines *= dimension.share();
    return lines;
  }

  // The dimension to hash join, if there is one: it keeps few keys, and the other filters leave few
  // lines. Null if there is none.
  const Dimension* joined() const {
    const Dimension* best = nullptr;
    const double lines = lines_left();
    for (const Dimension& dimension : dimensions_)
      if (dimension.restricted && dimension.share() <= joined_keys &&
          lines / dimension.share() <= joined_lines && dimension.table != TableId::date)
        best = &dimension;
    return best;
  }

  bool is_late(const Dimension& dimension) const {
    return dimension.share() >= late_keys && lines_left() <= late_lines && dimension.key->runs() &&
           std::ranges::any_of(query_.group_by, [&](const TableColumn& column) {
             return column.table == dimension.table;
           });
  }

  host::Result<void> add_dimension_filters() {
    joined_ = joined();
    Dimension* late = nullptr;
    for (Dimension& dimension : dimensions_)
      if (dimension.restricted && &dimension != joined_ && is_late(dimension)) late = &dimension;
    for (const Dimension& dimension : dimensions_)
      if (dimension.restricted && &dimension != joined_ && &dimension != late)
        if (auto done = add_filter(*dimension.key, dimension.keys); !done) return done;
    if (late) {
      auto unpack = host::CodeUnpack::bind(store_.library(), late->key->stored);
      if (!unpack) return unpack.error();
      plan_.late.emplace(LateFilter{*unpack, std::move(late->keys)});
    }
    std::ranges::stable_sort(plan_.filters, {}, &host::KeyFilter::share);
    return {};
  }

  // The dimension's rows with the numbers of their values in a group column; numbers them.
  host::Result<std::vector<host::KeyCode>> number_values(const Dimension& dimension,
                                                         GroupColumn& group) const {
    const EncodedColumn& column = store_.column(group.column);
    const auto codes = all_codes(store_, column);
    if (!codes) return codes.error();
    constexpr uint32_t unseen = UINT32_MAX;
    std::vector<uint32_t> numbers(column.stored.dictionary->num_symbols(), unseen);
    std::vector<host::KeyCode> pairs;
    pairs.reserve(dimension.rows.size());
    for (const uint32_t row : dimension.rows) {
      const uint32_t key = store_.link(dimension.table).code_of_row[row];
      if (key == KeyLink::no_code) continue;
      uint32_t& number = numbers[(*codes)[row]];
      if (number == unseen) {
        number = static_cast<uint32_t>(group.codes.size());
        group.codes.push_back((*codes)[row]);
      }
      pairs.push_back({key, number});
    }
    return pairs;
  }

  const Dimension& dimension_of(TableId table) const {
    return *std::ranges::find(dimensions_, table, &Dimension::table);
  }

  host::Result<void> add_groups() {
    if (query_.measure == Measure::discounted_price) {
      plan_.weight = &store_.column(of(lo_discount));
      plan_.key_space = plan_.weight->stored.dictionary->num_symbols();
      std::vector<host::KeyCode> same(plan_.key_space);
      for (uint32_t code = 0; code < plan_.key_space; ++code) same[code] = {code, code};
      if (auto done = add_share(*plan_.weight, same, plan_.key_space, 1); !done) return done;
    }
    std::vector<host::KeyCode> joined_pairs;
    uint32_t joined_multiplier = 0;
    for (size_t left = query_.group_by.size(); left-- > 0;) {
      GroupColumn group{query_.group_by[left], {}, plan_.key_space};
      const Dimension& dimension = dimension_of(group.column.table);
      auto pairs = number_values(dimension, group);
      if (!pairs) return pairs.error();
      const uint64_t space = uint64_t{plan_.key_space} * group.codes.size();
      if (space > UINT32_MAX)
        return host::make_error("%llu groups are too many", static_cast<unsigned long long>(space));
      plan_.key_space = static_cast<uint32_t>(space);
      if (&dimension == joined_ && joined_multiplier == 0) {
        joined_pairs = std::move(*pairs);
        joined_multiplier = group.multiplier;
      } else if (auto done =
                     add_share(*dimension.key, *pairs, group.codes.size(), group.multiplier);
                 !done) {
        return done;
      }
      plan_.groups.insert(plan_.groups.begin(), std::move(group));
    }
    return joined_ ? add_join(std::move(joined_pairs), joined_multiplier) : host::Result<void>();
  }

  host::Result<void> add_share(const EncodedColumn& key, const std::vector<host::KeyCode>& pairs,
                               size_t numbers, uint32_t multiplier) {
    auto unpack = host::CodeUnpack::bind(store_.library(), key.stored);
    if (!unpack) return unpack.error();
    const auto element = host::element_width_for(static_cast<uint32_t>(numbers));
    if (!element) return element.error();
    host::TranslationOptions options;
    options.element = std::max(*element, host::ElementWidth::one_byte);
    options.last_key = key.stored.dictionary->num_symbols() - 1;
    auto table = host::TranslationTable::build(pairs, options);
    if (!table) return table.error();
    plan_.shares.push_back({*unpack, std::move(*table), multiplier});
    return {};
  }

  host::Result<void> add_join(std::vector<host::KeyCode> pairs, uint32_t multiplier) {
    if (multiplier == 0)
      for (uint64_t code = 0; code < joined_->keys.size(); ++code)
        if (joined_->keys.test(code)) pairs.push_back({static_cast<uint32_t>(code), 0});
    auto unpack = host::CodeUnpack::bind(store_.library(), joined_->key->stored);
    if (!unpack) return unpack.error();
    auto join = host::CodeJoin::build(store_.library(), pairs);
    if (!join) return join.error();
    plan_.join.emplace(DimensionJoin{*unpack, std::move(*join), multiplier, joined_->table});
    return {};
  }

  void add_measure() {
    const auto line = [&](Lineorder column) { return &store_.column(of(column)); };
    switch (query_.measure) {
      case Measure::revenue:
        plan_.sums = {line(lo_revenue)};
        break;
      case Measure::discounted_price:
        plan_.sums = {line(lo_extendedprice)};
        break;
      case Measure::profit:
        plan_.sums = {line(lo_revenue), line(lo_supplycost)};
        break;
    }
  }

  const StarStore& store_;
  const StarQuery& query_;
  StarPlan plan_;
  std::vector<Dimension> dimensions_;
  const Dimension* joined_ = nullptr;
};

}  // namespace

host::Result<StarPlan> make_plan(const StarStore& store, const StarQuery& query) {
  return Planner(store, query).plan();
}

std::vector<std::string> describe(const StarPlan& plan) {
  std::vector<std::string> steps;
  for (const host::KeyFilter& filter : plan.filters)
    steps.push_back(fmt::format("filter {}", filter.kernel_name()));
  if (plan.join)
    steps.push_back(fmt::format("hash join with {} behind a Bloom filter, {}",
                                table_schema(plan.join->table).name,
                                plan.join->keys.kernel_name()));
  if (plan.late)
    steps.push_back(fmt::format("drop by {}, where few are left", plan.late->keys.kernel_name()));
  for (const GroupShare& share : plan.shares)
    steps.push_back(fmt::format("group by {}, translated", share.keys.kernel_name()));
  return steps;
}

}  // namespace colx::star
