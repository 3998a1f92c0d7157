#include "host/stored_constant.h"

#include <algorithm>
#include <cstring>

#include "host/big_endian.h"
#include "host/value_forms.h"

namespace colx::host {
namespace {

StoredConstant above_every_row() {
  StoredConstant constant;
  constant.bytes.fill(0xFF);
  constant.tie_code = 0xFF;
  return constant;
}

// One side of a comparison: rows above or below a constant, with or without the constant itself.
struct Bound {
  StoredConstant constant;
  bool inclusive;  // rows equal to the constant, ties included, are taken
};

// Cuts a constant to the rows, so that exactly the same rows lie on the wanted side of it.
Bound fit_bound(Bound bound, bool upper, uint32_t row_bytes, uint8_t top_code) {
  auto& bytes = bound.constant.bytes;
  const auto rest = bytes.begin() + row_bytes;
  const bool cut = std::any_of(rest, bytes.end(), [](uint8_t byte) { return byte != 0; });
  if (cut) {
    // Every row equal to the cut constant, whatever its length, lies below the whole one.
    std::fill(rest, bytes.end(), uint8_t{0});
    return {{bytes, top_code}, upper};
  }
  if (bound.constant.tie_code > top_code) {
    bound.constant.tie_code = top_code;
    bound.inclusive = upper;
  }
  return bound;
}

Compare range_of(bool low_inclusive, bool high_inclusive) {
  if (low_inclusive) return high_inclusive ? Compare::ge_le : Compare::ge_lt;
  return high_inclusive ? Compare::gt_le : Compare::gt_lt;
}

}  // namespace

Result<StoredConstant> stored_constant(std::string_view value) {
  if (value.empty()) return make_error("an empty constant has no stored form");
  if (value.size() > 8)
    return make_error("a constant of %zu bytes; rows have at most 8", value.size());
  StoredConstant constant;
  std::memcpy(constant.bytes.data(), value.data(), value.size());
  constant.tie_code = static_cast<uint8_t>(value.size() - 1);
  return constant;
}

StoredConstant fixed_number_constant(const ColumnFormat& format, uint64_t number) {
  const uint32_t width_bytes = format.width_bits / 8;
  if (width_bytes < 8 && number >> format.width_bits) return above_every_row();
  StoredConstant constant;
  store_big_endian(constant.bytes.data(), number, width_bytes);
  constant.tie_code = static_cast<uint8_t>(width_bytes - 1);
  return constant;
}

StoredConstant counted_constant(int64_t number) {
  if (number > max_counted) return above_every_row();
  if (number < min_counted) return {};  // no counted form starts with a byte of 0
  StoredConstant constant;
  constant.tie_code = static_cast<uint8_t>(store_counted(constant.bytes.data(), number) - 1);
  return constant;
}

Result<ValuePredicate> fit_to_rows(const ColumnFormat& format, const ValuePredicate& predicate) {
  const uint32_t code_bits = format.length_code_bits();
  if (predicate.ties && !code_bits)
    return make_error("rows of %u bits have no tie codes to compare", format.width_bits);
  // Lengths of dynp rows end at the word, so the longest code of a nibble is not used up.
  const uint32_t row_bytes = format.width_bits / 8;
  const auto top_code = static_cast<uint8_t>(
      format.encoding == Encoding::dynp ? row_bytes - 1 : (1u << code_bits) - 1);

  ValuePredicate fitted = predicate;
  if (!predicate.ties) fitted.low.tie_code = fitted.high.tie_code = 0;
  const Bound low{fitted.low, predicate.compare == Compare::ge ||
                                  predicate.compare == Compare::ge_lt ||
                                  predicate.compare == Compare::ge_le};
  const Bound high{is_range(predicate.compare) ? fitted.high : fitted.low,
                   predicate.compare == Compare::le || predicate.compare == Compare::gt_le ||
                       predicate.compare == Compare::ge_le};
  const Bound lower = fit_bound(low, false, row_bytes, top_code);
  const Bound upper = fit_bound(high, true, row_bytes, top_code);
  switch (predicate.compare) {
    case Compare::eq:
    case Compare::ne: {
      const bool reachable =
          lower.constant.bytes == low.constant.bytes && low.constant.tie_code <= top_code;
      if (reachable) return fitted;
      // No row equals the constant: no row is below zero, every row is at or above it.
      const Compare decided = predicate.compare == Compare::eq ? Compare::lt : Compare::ge;
      return ValuePredicate{decided, {}, {}, predicate.ties};
    }
    case Compare::lt:
    case Compare::le:
      fitted.compare = upper.inclusive ? Compare::le : Compare::lt;
      fitted.low = upper.constant;
      return fitted;
    case Compare::gt:
    case Compare::ge:
      fitted.compare = lower.inclusive ? Compare::ge : Compare::gt;
      fitted.low = lower.constant;
      return fitted;
    default:
      fitted.compare = range_of(lower.inclusive, upper.inclusive);
      fitted.low = lower.constant;
      fitted.high = upper.constant;
      return fitted;
  }
}

}  // namespace colx::host
