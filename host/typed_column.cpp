#include "host/typed_column.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "host/encode_numbers.h"
#include "host/encode_rows.h"
#include "host/value_forms.h"

namespace colx::host {
namespace {

const char* name_of(StoredForm form) {
  constexpr const char* names[] = {"smallest", "codes", "fixed", "dynp"};
  return names[static_cast<size_t>(form)];
}

Error of_column(const std::string& name, const Error& error) {
  return make_error("column \"%s\": %s", name.c_str(), error.message.c_str());
}

// The values on their way into a column. `present` is null where no row is NULL.
template <class Value>
struct Rows {
  const std::vector<Value>& values;
  const RowBits* present;
  const TypedColumnOptions& options;

  bool is_null(size_t row) const { return present && !present->test(row); }
};

// Bytes of fixed rows of `row_bytes` and their bits, and of a dictionary's value.
struct RowsInstead {
  size_t row_bytes;
  size_t value_bytes;

  uint64_t total(uint64_t rows, bool nullable) const {
    return rows * row_bytes + (nullable ? (rows + 63) / 64 * sizeof(uint64_t) : 0);
  }
};

// Stores codes and tells whether it did: not where they and their dictionary would take more bytes
// than fixed rows, if these are given.
template <class T, class Value>
Result<bool> store_codes_of(const Rows<Value>& rows, TypedColumn& out,
                            const RowsInstead* instead = nullptr) {
  auto dictionary = dictionary_of_column<T>(rows.values, rows.present);
  if (!dictionary) return dictionary.error();
  const uint64_t count = rows.values.size();
  const uint64_t most = instead ? instead->total(count, rows.present) : ~uint64_t{0};
  // Looking codes up is what takes time; there is no need where values and codes alone are more.
  if (instead &&
      dictionary->size() * instead->value_bytes + count * dictionary->narrowest_width_bits() / 8 >
          most)
    return false;
  auto stored =
      store_dictionary_column<T>(std::move(dictionary).value(), rows.values,
                                 {.present = rows.present, .chunk_rows = rows.options.chunk_rows});
  if (!stored) return stored.error();
  if (stored->column.stream_bytes() + stored->column.dictionary->bytes() > most) return false;
  out.column = std::move(stored->column);
  out.dictionary = std::move(stored->dictionary);
  return true;
}

Result<void> without_value(const Result<bool>& stored) {
  if (!stored) return stored.error();
  return {};
}

// The rows as stored, and the bits of the rows to report.
Result<void> take_rows(Result<StoredColumn> stored, const RowBits* present, TypedColumn& out) {
  if (!stored) return stored.error();
  out.column = std::move(stored).value();
  out.dictionary = std::monostate{};
  if (present) return out.column.set_reportable(*present);
  return {};
}

struct Range {
  int64_t low = 0;
  int64_t high = 0;
};

Range range_of(const Rows<int64_t>& rows) {
  Range range;
  bool any = false;
  for (size_t row = 0; row < rows.values.size(); ++row) {
    if (rows.is_null(row)) continue;
    const int64_t value = rows.values[row];
    range.low = any ? std::min(range.low, value) : value;
    range.high = any ? std::max(range.high, value) : value;
    any = true;
  }
  return range;
}

uint64_t distance(int64_t low, int64_t high) {
  return static_cast<uint64_t>(high) - static_cast<uint64_t>(low);
}

Result<void> store_integer_rows(const Rows<int64_t>& rows, int64_t base, TypedColumn& out) {
  std::vector<uint64_t> numbers(rows.values.size());
  for (size_t row = 0; row < numbers.size(); ++row)
    if (!rows.is_null(row)) numbers[row] = distance(base, rows.values[row]);
  out.base = base;
  return take_rows(store_fixed_numbers(numbers, {.chunk_rows = rows.options.chunk_rows}),
                   rows.present, out);
}

Result<void> store_counted_rows(const Rows<int64_t>& rows, TypedColumn& out) {
  std::vector<int64_t> numbers(rows.values.size());
  for (size_t row = 0; row < numbers.size(); ++row)
    if (!rows.is_null(row)) numbers[row] = rows.values[row];
  return take_rows(store_dynp_numbers(numbers, {.chunk_rows = rows.options.chunk_rows}),
                   rows.present, out);
}

Result<void> store_values(const Rows<int64_t>& rows, TypedColumn& out) {
  const StoredForm form = rows.options.form;
  if (form == StoredForm::dynp) return store_counted_rows(rows, out);
  const Range range = range_of(rows);
  if (form == StoredForm::fixed) return store_integer_rows(rows, range.low, out);
  if (form == StoredForm::codes) return without_value(store_codes_of<int64_t>(rows, out));
  const size_t bits = static_cast<size_t>(std::bit_width(distance(range.low, range.high)));
  const RowsInstead instead{std::max<size_t>(1, (bits + 7) / 8),
                            integer_bytes(range.low, range.high)};
  const auto codes = store_codes_of<int64_t>(rows, out, &instead);
  if (codes && *codes) return {};
  return store_integer_rows(rows, range.low, out);
}

template <class Number>
Result<void> store_canonical_rows(const Rows<double>& rows, TypedColumn& out) {
  std::vector<Number> numbers(rows.values.size());
  for (size_t row = 0; row < numbers.size(); ++row) {
    if (rows.is_null(row)) continue;
    const auto number = static_cast<Number>(rows.values[row]);
    numbers[row] = std::isnan(number) ? std::numeric_limits<Number>::quiet_NaN()
                   : number == 0      ? Number{0}
                                      : number;
  }
  if constexpr (sizeof(Number) == 4)
    return take_rows(store_floats(numbers, {rows.options.chunk_rows}), rows.present, out);
  else
    return take_rows(store_doubles(numbers, {rows.options.chunk_rows}), rows.present, out);
}

// The numbers of a column of floats are floats.
Result<void> check_floats(const Rows<double>& rows, bool is_float) {
  constexpr double largest = std::numeric_limits<float>::max();
  for (size_t row = 0; is_float && row < rows.values.size(); ++row) {
    const double value = rows.values[row];
    if (rows.is_null(row) || std::isnan(value) || std::isinf(value)) continue;
    if (std::abs(value) > largest || static_cast<float>(value) != value)
      return make_error("row %zu: %.17g is no floating number of 32 bits", row, value);
  }
  return {};
}

Result<void> store_values(const Rows<double>& rows, TypedColumn& out) {
  const StoredForm form = rows.options.form;
  if (form == StoredForm::dynp) return make_error("floating values have no dynp form");
  const bool is_float = out.type.bits == 32;
  if (auto sound = check_floats(rows, is_float); !sound) return sound;
  size_t nan = 0;
  while (nan < rows.values.size() && (rows.is_null(nan) || !std::isnan(rows.values[nan]))) ++nan;
  const bool has_nan = nan < rows.values.size();
  if (form == StoredForm::codes && has_nan)
    return make_error(
        "row %zu is NaN, which has no place in the order of a dictionary; store "
        "the column as fixed rows",
        nan);
  if (form == StoredForm::codes) return without_value(store_codes_of<double>(rows, out));
  if (form == StoredForm::smallest && !has_nan) {
    const RowsInstead instead{is_float ? size_t{4} : size_t{8}, 8};
    const auto codes = store_codes_of<double>(rows, out, &instead);
    if (codes && *codes) return {};
  }
  return is_float ? store_canonical_rows<float>(rows, out)
                  : store_canonical_rows<double>(rows, out);
}

Result<void> store_values(const Rows<std::string_view>& rows, TypedColumn& out) {
  if (rows.options.form == StoredForm::fixed || rows.options.form == StoredForm::dynp)
    return make_error("text is stored as codes of a dictionary, not as %s rows",
                      name_of(rows.options.form));
  for (size_t row = 0; row < rows.values.size(); ++row) {
    if (rows.is_null(row)) continue;
    if (rows.values[row].empty())
      return make_error(
          "row %zu is an empty text, which decoders cannot tell from NULL; ask for "
          "EmptyText::made_null or give it a value",
          row);
    if (rows.values[row].size() > max_symbol_bytes)
      return make_error("row %zu has %zu bytes; a text has at most %zu", row,
                        rows.values[row].size(), max_symbol_bytes);
  }
  return without_value(store_codes_of<std::string>(rows, out));
}

Result<void> store_values(const RowBits& bits, const RowBits* present,
                          const TypedColumnOptions& options, TypedColumn& out) {
  if (options.form == StoredForm::fixed || options.form == StoredForm::dynp)
    return make_error("booleans are stored as codes of a dictionary, not as %s rows",
                      name_of(options.form));
  std::vector<int64_t> numbers(bits.size());
  for (size_t row = 0; row < numbers.size(); ++row) numbers[row] = bits.test(row);
  return without_value(store_codes_of<int64_t>(Rows<int64_t>{numbers, present, options}, out));
}

template <class Value>
Result<void> store_values(const std::vector<Value>& values, const RowBits* present,
                          const TypedColumnOptions& options, TypedColumn& out) {
  return store_values(Rows<Value>{values, present, options}, out);
}

// The rows that have a value; none where all have.
Result<std::optional<RowBits>> present_rows(const DecodedColumn& decoded, EmptyText empty_text) {
  std::optional<RowBits> present;
  if (decoded.present) {
    if (decoded.present->size() != decoded.rows())
      return make_error("%llu values come with presence bits for %llu rows",
                        static_cast<unsigned long long>(decoded.rows()),
                        static_cast<unsigned long long>(decoded.present->size()));
    present = decoded.present->copy();
  }
  const auto* text = std::get_if<std::vector<std::string_view>>(&decoded.values);
  if (text && empty_text == EmptyText::made_null) {
    if (!present) {
      present.emplace(text->size());
      present->set_all();
    }
    for (size_t row = 0; row < text->size(); ++row)
      if ((*text)[row].empty()) present->clear(row);
  }
  if (present && present->count() == present->size()) present.reset();
  return present;
}

}  // namespace

uint64_t DecodedColumn::rows() const {
  return std::visit([](const auto& held) { return static_cast<uint64_t>(held.size()); }, values);
}

bool DecodedColumn::values_are_of_their_kind() const {
  switch (type.kind) {
    case ValueKind::boolean:
      return std::holds_alternative<RowBits>(values);
    case ValueKind::floating:
      return std::holds_alternative<std::vector<double>>(values);
    case ValueKind::text:
      return std::holds_alternative<std::vector<std::string_view>>(values);
    default:
      return std::holds_alternative<std::vector<int64_t>>(values);
  }
}

DecodedColumn make_decoded_column(std::string name, const ValueType& type, uint64_t rows) {
  DecodedColumn column{std::move(name), type, {}, {}};
  if (type.kind == ValueKind::boolean)
    column.values = RowBits(rows);
  else if (type.kind == ValueKind::floating)
    column.values = std::vector<double>(rows);
  else if (type.kind == ValueKind::text)
    column.values = std::vector<std::string_view>(rows);
  else
    column.values = std::vector<int64_t>(rows);
  return column;
}

Result<TypedColumn> store_typed_column(const DecodedColumn& decoded,
                                       const TypedColumnOptions& options) {
  if (!decoded.values_are_of_their_kind())
    return make_error("column \"%s\": the values are of another kind than the type says",
                      decoded.name.c_str());
  const auto present = present_rows(decoded, options.empty_text);
  if (!present) return of_column(decoded.name, present.error());
  const RowBits* bits = *present ? &**present : nullptr;
  TypedColumn out;
  out.name = decoded.name;
  out.type = decoded.type;
  out.nulls = bits ? bits->size() - bits->count() : 0;
  const auto stored = std::visit(
      [&](const auto& values) { return store_values(values, bits, options, out); }, decoded.values);
  if (!stored) return of_column(decoded.name, stored.error());
  return out;
}

}  // namespace colx::host
