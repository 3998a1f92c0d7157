#include "examples/star/generate.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>

#include "examples/star/calendar.h"
#include "examples/star/domains.h"
#include "examples/star/random.h"
#include "tools/console/progress_line.h"

namespace colx::star {
namespace {

constexpr uint32_t rows_per_progress = 1024;

// A table's numbers do not depend on how many another table drew.
Random random_for(TableId id) {
  return Random{0x5353'4231'0000 + static_cast<uint64_t>(id)};
}

std::string random_address(Random& random) {
  static constexpr std::string_view letters =
      "0123456789abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ,";
  std::string address(random.between(10, 25), ' ');
  for (char& letter : address) letter = letters[random.below(letters.size())];
  return address;
}

// Where a customer or a supplier is: the nation's name cut or padded to 9 letters and a digit are
// the city, the nation gives region and country code.
struct Place {
  std::string city;
  std::string_view nation;
  std::string_view region;
  std::string phone;
};

Place random_place(Random& random) {
  const uint32_t nation = random.below(domains::nations.size());
  const auto& [name, region] = domains::nations[nation];
  const uint32_t digit = random.below(domains::cities_per_nation);
  // One statement a draw: the order in which arguments are made differs between compilers.
  const uint32_t area = random.between(100, 999);
  const uint32_t exchange = random.between(100, 999);
  const uint32_t line = random.between(1000, 9999);
  return {fmt::format("{:<9.9}{}", name, digit), name, domains::regions[region],
          fmt::format("{}-{}-{}-{}", nation + 10, area, exchange, line)};
}

void generate_customers(Table& table, uint32_t rows) {
  Random random = random_for(table.id());
  console::ProgressLine progress(fmt::format("generating {}", table.name()), rows);
  table.reserve(rows);
  for (uint32_t key = 1; key <= rows; ++key) {
    if (key % rows_per_progress == 1) progress.at(key);
    table.add(c_custkey, key);
    table.add(c_name, fmt::format("Customer#{:09}", key));
    table.add(c_address, random_address(random));
    const Place place = random_place(random);
    table.add(c_city, place.city);
    table.add(c_nation, place.nation);
    table.add(c_region, place.region);
    table.add(c_phone, place.phone);
    table.add(c_mktsegment, random.one_of(domains::market_segments));
  }
}

void generate_suppliers(Table& table, uint32_t rows) {
  Random random = random_for(table.id());
  console::ProgressLine progress(fmt::format("generating {}", table.name()), rows);
  table.reserve(rows);
  for (uint32_t key = 1; key <= rows; ++key) {
    if (key % rows_per_progress == 1) progress.at(key);
    table.add(s_suppkey, key);
    table.add(s_name, fmt::format("Supplier#{:09}", key));
    table.add(s_address, random_address(random));
    const Place place = random_place(random);
    table.add(s_city, place.city);
    table.add(s_nation, place.nation);
    table.add(s_region, place.region);
    table.add(s_phone, place.phone);
  }
}

void generate_parts(Table& table, uint32_t rows) {
  Random random = random_for(table.id());
  console::ProgressLine progress(fmt::format("generating {}", table.name()), rows);
  table.reserve(rows);
  for (uint32_t key = 1; key <= rows; ++key) {
    if (key % rows_per_progress == 1) progress.at(key);
    const std::string_view first_word = random.one_of(domains::colors);
    const std::string_view second_word = random.one_of(domains::colors);
    const uint32_t mfgr = random.between(1, 5);
    const uint32_t category = random.between(1, 5);
    const uint32_t brand = random.between(1, 40);
    table.add(p_partkey, key);
    table.add(p_name, fmt::format("{} {}", first_word, second_word));
    table.add(p_mfgr, fmt::format("MFGR#{}", mfgr));
    table.add(p_category, fmt::format("MFGR#{}{}", mfgr, category));
    table.add(p_brand1, fmt::format("MFGR#{}{}{}", mfgr, category, brand));
    table.add(p_color, random.one_of(domains::colors));
    const std::string_view finish = random.one_of(domains::type_finishes);
    const std::string_view treatment = random.one_of(domains::type_treatments);
    const std::string_view metal = random.one_of(domains::type_metals);
    table.add(p_type, fmt::format("{} {} {}", finish, treatment, metal));
    table.add(p_size, random.between(1, 50));
    const std::string_view size = random.one_of(domains::container_sizes);
    const std::string_view kind = random.one_of(domains::container_kinds);
    table.add(p_container, fmt::format("{} {}", size, kind));
  }
}

uint32_t part_price(uint32_t key) {
  return 90000 + key / 10 % 20001 + 100 * (key % 1000);
}

// Draws orders until the table has all its lines; the last order is cut short if need be.
class OrderGenerator {
 public:
  OrderGenerator(Table& table, double scale)
      : table_(table),
        random_(random_for(table.id())),
        customers_(row_count(TableId::customer, scale)),
        suppliers_(row_count(TableId::supplier, scale)),
        parts_(row_count(TableId::part, scale)) {
    for (uint32_t day = 0; day < calendar_days; ++day)
      date_keys_[day] = date_key(calendar_day(day));
    // The text domains are numbered up front, so that a line only stores the number.
    for (const auto text : domains::order_priorities)
      table_[lo_orderpriority].texts.number_of(text);
    for (const auto text : domains::ship_modes) table_[lo_shipmode].texts.number_of(text);
    table_[lo_shippriority].texts.number_of("0");
  }

  void add_order(uint32_t order, uint32_t lines) {
    const uint32_t key = order / 8 * 32 + order % 8 + 1;
    const uint32_t customer = random_customer();
    // The last orders leave room for their commit dates, and five months were not yet shipped when
    // the data was taken: no order after 2 August 1998.
    const uint32_t day = random_.below(last_order_day + 1);
    const uint32_t priority = random_.below(std::size(domains::order_priorities));
    uint64_t total = 0;
    for (uint32_t line = 1; line <= lines; ++line) {
      table_.add(lo_orderkey, key);
      table_.add(lo_linenumber, line);
      table_.add(lo_custkey, customer);
      table_.add(lo_orderdate, date_keys_[day]);
      table_.add(lo_orderpriority, priority);
      table_.add(lo_shippriority, uint32_t{0});
      total += add_line(day);
    }
    table_[lo_ordtotalprice].cells.resize(table_.rows(), static_cast<uint32_t>(total));
  }

  uint32_t random_lines() { return random_.between(1, 7); }

 private:
  // Day of 2 August 1998, counted from the first day.
  static constexpr uint32_t last_order_day = 2405;

  uint32_t random_customer() {
    for (;;)
      if (const uint32_t key = random_.between(1, customers_); key % 3 != 0) return key;
  }

  // The columns in which an order's lines differ; returns the line's revenue with tax.
  uint64_t add_line(uint32_t order_day) {
    const uint32_t part = random_.between(1, parts_);
    const uint32_t quantity = random_.between(1, 50);
    const uint32_t discount = random_.between(0, 10);
    const uint32_t tax = random_.between(0, 8);
    const uint32_t price = quantity * part_price(part);
    const uint32_t revenue = static_cast<uint32_t>(uint64_t{price} * (100 - discount) / 100);
    table_.add(lo_partkey, part);
    table_.add(lo_suppkey, random_.between(1, suppliers_));
    table_.add(lo_quantity, quantity);
    table_.add(lo_extendedprice, price);
    table_.add(lo_discount, discount);
    table_.add(lo_revenue, revenue);
    table_.add(lo_supplycost, part_price(part) * 6 / 10);
    table_.add(lo_tax, tax);
    table_.add(lo_commitdate, date_keys_[order_day + random_.between(30, 90)]);
    table_.add(lo_shipmode, random_.below(std::size(domains::ship_modes)));
    return uint64_t{revenue} * (100 + tax) / 100;
  }

  Table& table_;
  Random random_;
  uint32_t customers_;
  uint32_t suppliers_;
  uint32_t parts_;
  std::array<uint32_t, calendar_days> date_keys_{};
};

void generate_orders(Table& table, double scale) {
  const uint32_t rows = row_count(TableId::lineorder, scale);
  console::ProgressLine progress("generating lineorder", rows);
  table.reserve(rows);
  OrderGenerator orders(table, scale);
  for (uint32_t order = 0; table.rows() < rows; ++order) {
    orders.add_order(order, std::min(orders.random_lines(), rows - table.rows()));
    if (order % rows_per_progress == 0) progress.at(table.rows());
  }
}

}  // namespace

Tables generate_tables(double scale) {
  Tables tables;
  tables[TableId::date] = generate_dates();
  generate_customers(tables[TableId::customer], row_count(TableId::customer, scale));
  generate_suppliers(tables[TableId::supplier], row_count(TableId::supplier, scale));
  generate_parts(tables[TableId::part], row_count(TableId::part, scale));
  generate_orders(tables[TableId::lineorder], scale);
  return tables;
}

}  // namespace colx::star
