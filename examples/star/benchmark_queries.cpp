// The thirteen queries of the Star Schema Benchmark (P. O'Neil, B. O'Neil, X. Chen, revision 3).

#include "examples/star/star_query.h"

namespace colx::star {
namespace {

using host::Compare;

Condition is(TableColumn column, std::string_view text) {
  return {.column = column, .texts = {text}};
}
Condition is(TableColumn column, uint32_t number) {
  return {.column = column, .numbers = {Compare::eq, number}};
}
Condition either(TableColumn column, std::string_view one, std::string_view other) {
  return {.column = column, .texts = {one, other}};
}
Condition between(TableColumn column, std::string_view low, std::string_view high) {
  return {.column = column, .low = low, .high = high};
}
Condition between(TableColumn column, uint32_t low, uint32_t high) {
  return {.column = column, .numbers = {Compare::ge_le, low, high}};
}
Condition below(TableColumn column, uint32_t bound) {
  return {.column = column, .numbers = {Compare::lt, bound}};
}

// Flight 1: what the revenue would have been without discounts of a band, on orders of a time.
StarQuery q1_1() {
  return {
      .name = "Q1.1",
      .measure = Measure::discounted_price,
      .where = {is(of(d_year), 1993), between(of(lo_discount), 1, 3), below(of(lo_quantity), 25)}};
}
StarQuery q1_2() {
  return {.name = "Q1.2",
          .measure = Measure::discounted_price,
          .where = {is(of(d_yearmonthnum), 199401), between(of(lo_discount), 4, 6),
                    between(of(lo_quantity), 26, 35)}};
}
StarQuery q1_3() {
  return {.name = "Q1.3",
          .measure = Measure::discounted_price,
          .where = {is(of(d_weeknuminyear), 6), is(of(d_year), 1994),
                    between(of(lo_discount), 5, 7), between(of(lo_quantity), 26, 35)}};
}

// Flight 2: revenue of some brands by year and brand, bought from suppliers of a region.
StarQuery revenue_by_brand(std::string_view name, Condition brands, std::string_view region) {
  return {.name = name,
          .where = {brands, is(of(s_region), region)},
          .group_by = {of(d_year), of(p_brand1)},
          .order_by = {of(d_year), of(p_brand1)}};
}
StarQuery q2_1() {
  return revenue_by_brand("Q2.1", is(of(p_category), "MFGR#12"), "AMERICA");
}
StarQuery q2_2() {
  return revenue_by_brand("Q2.2", between(of(p_brand1), "MFGR#2221", "MFGR#2228"), "ASIA");
}
StarQuery q2_3() {
  return revenue_by_brand("Q2.3", is(of(p_brand1), "MFGR#2221"), "EUROPE");
}

// Flight 3: revenue by the places of customer and supplier and by year, the largest first.
StarQuery revenue_by_place(std::string_view name, Condition customers, Condition suppliers,
                           Condition time, TableColumn customer_place, TableColumn supplier_place) {
  return {.name = name,
          .where = {customers, suppliers, time},
          .group_by = {customer_place, supplier_place, of(d_year)},
          .order_by = {of(d_year)},
          .largest_sum_first = true};
}
StarQuery q3_1() {
  return revenue_by_place("Q3.1", is(of(c_region), "ASIA"), is(of(s_region), "ASIA"),
                          between(of(d_year), 1992, 1997), of(c_nation), of(s_nation));
}
StarQuery q3_2() {
  return revenue_by_place("Q3.2", is(of(c_nation), "UNITED STATES"),
                          is(of(s_nation), "UNITED STATES"), between(of(d_year), 1992, 1997),
                          of(c_city), of(s_city));
}
StarQuery q3_3() {
  return revenue_by_place("Q3.3", either(of(c_city), "UNITED KI1", "UNITED KI5"),
                          either(of(s_city), "UNITED KI1", "UNITED KI5"),
                          between(of(d_year), 1992, 1997), of(c_city), of(s_city));
}
StarQuery q3_4() {
  return revenue_by_place("Q3.4", either(of(c_city), "UNITED KI1", "UNITED KI5"),
                          either(of(s_city), "UNITED KI1", "UNITED KI5"),
                          is(of(d_yearmonth), "Dec1997"), of(c_city), of(s_city));
}

// Flight 4: profit, drilled down from nations to brands.
StarQuery q4_1() {
  return {.name = "Q4.1",
          .measure = Measure::profit,
          .where = {is(of(c_region), "AMERICA"), is(of(s_region), "AMERICA"),
                    either(of(p_mfgr), "MFGR#1", "MFGR#2")},
          .group_by = {of(d_year), of(c_nation)},
          .order_by = {of(d_year), of(c_nation)}};
}
StarQuery q4_2() {
  return {.name = "Q4.2",
          .measure = Measure::profit,
          .where = {is(of(c_region), "AMERICA"), is(of(s_region), "AMERICA"),
                    between(of(d_year), 1997, 1998), either(of(p_mfgr), "MFGR#1", "MFGR#2")},
          .group_by = {of(d_year), of(s_nation), of(p_category)},
          .order_by = {of(d_year), of(s_nation), of(p_category)}};
}
StarQuery q4_3() {
  return {.name = "Q4.3",
          .measure = Measure::profit,
          .where = {is(of(c_region), "AMERICA"), is(of(s_nation), "UNITED STATES"),
                    between(of(d_year), 1997, 1998), is(of(p_category), "MFGR#14")},
          .group_by = {of(d_year), of(s_city), of(p_brand1)},
          .order_by = {of(d_year), of(s_city), of(p_brand1)}};
}

}  // namespace

std::vector<StarQuery> benchmark_queries() {
  return {q1_1(), q1_2(), q1_3(), q2_1(), q2_2(), q2_3(), q3_1(),
          q3_2(), q3_3(), q3_4(), q4_1(), q4_2(), q4_3()};
}

}  // namespace colx::star
