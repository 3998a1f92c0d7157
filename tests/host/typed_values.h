// Values as tests write them down, and what a typed column says they are.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/loader.h"
#include "host/services.h"
#include "host/typed_column.h"

namespace colx::host {

template <class Value>
using Optionals = std::vector<std::optional<Value>>;
using Integers = Optionals<int64_t>;
using Doubles = Optionals<double>;
using Texts = Optionals<std::string>;
using Truths = Optionals<bool>;

inline ValueType type_for(int64_t) {
  return {ValueKind::integer, 64};
}
inline ValueType type_for(double) {
  return {ValueKind::floating, 64};
}
inline ValueType type_for(const std::string&) {
  return {ValueKind::text, 32};
}
inline ValueType type_for(bool) {
  return {ValueKind::boolean, 1};
}

// `values` must outlive the column if they are text.
template <class Value>
DecodedColumn decoded(const Optionals<Value>& values, ValueType type = type_for(Value{})) {
  DecodedColumn column = make_decoded_column("made", type, values.size());
  column.present.emplace(values.size());
  for (size_t row = 0; row < values.size(); ++row) {
    if (!values[row]) continue;
    column.present->set(row);
    if constexpr (std::is_same_v<Value, bool>) {
      if (*values[row]) std::get<RowBits>(column.values).set(row);
    } else if constexpr (std::is_same_v<Value, std::string>) {
      std::get<std::vector<std::string_view>>(column.values)[row] = *values[row];
    } else {
      std::get<std::vector<Value>>(column.values)[row] = *values[row];
    }
  }
  return column;
}

// What `column` holds; nothing if it holds another kind.
template <class Value>
Optionals<Value> values_of(const DecodedColumn& column) {
  using Held = std::conditional_t<std::is_same_v<Value, std::string>, std::string_view, Value>;
  Optionals<Value> values;
  const auto append = [&](const auto& held) {
    for (uint64_t row = 0; row < column.rows(); ++row)
      values.push_back(column.is_null(row) ? std::nullopt : std::optional<Value>(Value(held(row))));
  };
  if constexpr (std::is_same_v<Value, bool>) {
    if (const auto* bits = std::get_if<RowBits>(&column.values))
      append([&](uint64_t row) { return bits->test(row); });
  } else {
    if (const auto* held = std::get_if<std::vector<Held>>(&column.values))
      append([&](uint64_t row) { return (*held)[row]; });
  }
  return values;
}

// The built library with services over it.
struct TypedReading {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};

  template <class Value>
  Optionals<Value> read(const TypedColumn& column, std::span<const RowBits> hits = {}) {
    const auto values = read_typed_column(library, services, column, hits);
    EXPECT_TRUE(values) << values.message();
    return values ? values_of<Value>(*values) : Optionals<Value>{};
  }
};

}  // namespace colx::host
