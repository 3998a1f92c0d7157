#include "host/typed_scan.h"

#include <cmath>
#include <limits>
#include <optional>

#include "host/canonical_keys.h"
#include "host/stored_constant.h"

namespace colx::host {
namespace {

// The comparison with its constants, the second one only in a range.
template <class Constant>
struct Comparison {
  Compare compare;
  Constant low;
  Constant high;

  // The values that satisfy it lie between two bounds; an absent bound has all values inside.
  bool has_lower() const { return compare != Compare::lt && compare != Compare::le; }
  bool has_upper() const { return compare != Compare::gt && compare != Compare::ge; }
  bool lower_is_open() const {
    return compare == Compare::gt || compare == Compare::gt_lt || compare == Compare::gt_le;
  }
  bool upper_is_open() const {
    return compare == Compare::lt || compare == Compare::gt_lt || compare == Compare::ge_lt;
  }
  Constant upper() const { return is_range(compare) ? high : low; }
};

// Stored numbers from `first` to `last`.
struct Stored {
  uint64_t first;
  uint64_t last;
};

uint64_t largest_stored(const ColumnFormat& format) {
  return ~uint64_t{0} >> (64 - format.width_bits);
}

// The cheapest predicate that is true of the rows in `rows`, or of all others.
ValuePredicate rows_within(const ColumnFormat& format, std::optional<Stored> rows, bool negated) {
  const auto constant = [&](uint64_t number) { return fixed_number_constant(format, number); };
  // No row is below 0, and none is not.
  if (!rows) return {negated ? Compare::ge : Compare::lt, constant(0), {}, false};
  if (negated) return {Compare::ne, constant(rows->first), {}, false};
  if (rows->first == rows->last) return {Compare::eq, constant(rows->first), {}, false};
  if (rows->first == 0) return {Compare::le, constant(rows->last), {}, false};
  if (rows->last == largest_stored(format)) return {Compare::ge, constant(rows->first), {}, false};
  return {Compare::ge_le, constant(rows->first), constant(rows->last), false};
}

// The stored numbers, value - base, of the values that satisfy the comparison (those that do not,
// if it is `ne`).
std::optional<Stored> stored_integers(const TypedColumn& column,
                                      const Comparison<int64_t>& comparison) {
  int64_t from = std::numeric_limits<int64_t>::min();
  int64_t to = std::numeric_limits<int64_t>::max();
  if (comparison.has_lower()) {
    if (comparison.lower_is_open() && comparison.low == to) return {};
    from = comparison.low + comparison.lower_is_open();
  }
  if (comparison.has_upper()) {
    if (comparison.upper_is_open() && comparison.upper() == std::numeric_limits<int64_t>::min())
      return {};
    to = comparison.upper() - comparison.upper_is_open();
  }
  if (from < column.base) from = column.base;
  if (from > to) return {};
  const auto base = static_cast<uint64_t>(column.base);
  const uint64_t largest = largest_stored(column.column.format);
  const uint64_t first = static_cast<uint64_t>(from) - base;
  const uint64_t last = static_cast<uint64_t>(to) - base;
  if (first > largest) return {};
  return Stored{first, last < largest ? last : largest};
}

// The least Number not below `bound`, or above it if `open`; none if there is none.
template <class Number>
std::optional<Number> least_number(double bound, bool open) {
  constexpr Number infinity = std::numeric_limits<Number>::infinity();
  constexpr double largest = std::numeric_limits<Number>::max();
  auto number = bound > largest    ? infinity
                : bound < -largest ? -infinity
                                   : static_cast<Number>(bound);
  const double found = number;
  if (found < bound || (open && found == bound)) {
    if (number == infinity) return {};
    number = std::nextafter(number, infinity);
  }
  return number;
}

// Zero has one stored form; negating and searching may give the other.
template <class Number>
uint64_t stored_key(Number number) {
  return canonical_key(number == 0 ? Number{0} : number);
}

// As stored_integers(); no NaN lies within.
template <class Number>
std::optional<Stored> stored_numbers(const Comparison<double>& comparison) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  if (std::isnan(comparison.low) || std::isnan(comparison.upper())) return {};
  const double low = comparison.has_lower() ? comparison.low : -infinity;
  const double high = comparison.has_upper() ? comparison.upper() : infinity;
  const auto from = least_number<Number>(low, comparison.has_lower() && comparison.lower_is_open());
  const auto to = least_number<Number>(-high, comparison.has_upper() && comparison.upper_is_open());
  if (!from || !to || *from > -*to) return {};
  return Stored{stored_key(*from), stored_key(-*to)};
}

Result<PreparedScan> scan_rows(const Library& library, const TypedColumn& column,
                               const Comparison<int64_t>& comparison) {
  const ColumnFormat& format = column.column.format;
  if (format.encoding == Encoding::dynp)
    return PreparedScan::on_values(library, column.column,
                                   {comparison.compare, counted_constant(comparison.low),
                                    counted_constant(comparison.upper()), false});
  return PreparedScan::on_values(
      library, column.column,
      rows_within(format, stored_integers(column, comparison), comparison.compare == Compare::ne));
}

Result<PreparedScan> scan_rows(const Library& library, const TypedColumn& column,
                               const Comparison<double>& comparison) {
  const ColumnFormat& format = column.column.format;
  const auto rows = format.width_bits == 32 ? stored_numbers<float>(comparison)
                                            : stored_numbers<double>(comparison);
  return PreparedScan::on_values(library, column.column,
                                 rows_within(format, rows, comparison.compare == Compare::ne));
}

Result<PreparedScan> scan_rows(const Library&, const TypedColumn&,
                               const Comparison<std::string_view>&) {
  return make_error("text is stored as codes only");
}

template <class T, class Constant>
Result<PreparedScan> scan_with(const Library& library, const TypedColumn& column,
                               const Comparison<Constant>& comparison) {
  if (column.column.format.encoding != Encoding::dict)
    return scan_rows(library, column, comparison);
  const auto* dictionary = std::get_if<Dictionary<T>>(&column.dictionary);
  if (!dictionary) return make_error("its codes have no dictionary of its kind of values");
  return PreparedScan::on_codes(
      library, column.column,
      is_range(comparison.compare)
          ? dictionary->where(comparison.compare, comparison.low, comparison.high)
          : dictionary->where(comparison.compare, comparison.low));
}

template <class T, class Constant>
Result<PreparedScan> scan_if_of(const Library& library, const TypedColumn& column, Compare compare,
                                const TypedConstant& low, const TypedConstant& high,
                                const char* wanted) {
  const auto* from = std::get_if<Constant>(&low);
  const auto* to = std::get_if<Constant>(&high);
  if (!from || !to) return make_error("its values are compared with %s", wanted);
  return scan_with<T>(library, column, Comparison<Constant>{compare, *from, *to});
}

Result<PreparedScan> prepare(const Library& library, const TypedColumn& column, Compare compare,
                             const TypedConstant& low, const TypedConstant& high) {
  auto scan = column.type.kind == ValueKind::text ? scan_if_of<std::string, std::string_view>(
                                                        library, column, compare, low, high, "text")
              : column.type.kind == ValueKind::floating
                  ? scan_if_of<double, double>(library, column, compare, low, high, "doubles")
                  : scan_if_of<int64_t, int64_t>(library, column, compare, low, high, "integers");
  if (scan) return scan;
  return make_error("column \"%s\": %s", column.name.c_str(), scan.message().c_str());
}

}  // namespace

Result<PreparedScan> prepare_typed_scan(const Library& library, const TypedColumn& column,
                                        Compare compare, TypedConstant constant) {
  if (is_range(compare))
    return make_error("column \"%s\": %s compares with two constants", column.name.c_str(),
                      name_of(compare));
  return prepare(library, column, compare, constant, constant);
}

Result<PreparedScan> prepare_typed_scan(const Library& library, const TypedColumn& column,
                                        Compare compare, TypedConstant low, TypedConstant high) {
  if (!is_range(compare))
    return make_error("column \"%s\": %s compares with one constant", column.name.c_str(),
                      name_of(compare));
  return prepare(library, column, compare, low, high);
}

}  // namespace colx::host
