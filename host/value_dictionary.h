// value_dictionary.h: order-preserving dictionaries. Codes rise with the values, so that a
// comparison of values is a comparison of codes and scans never look a value up.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "host/dictionary_image.h"
#include "host/encode_codes.h"
#include "host/result.h"
#include "host/row_bits.h"

namespace colx::host {

// The ten comparisons of the scans. The two-sided ones name their bounds: gt_le is lo < x <= hi.
enum class Compare : uint32_t {
  eq = COLX_OPC_EQ,
  lt = COLX_OPC_LT,
  gt = COLX_OPC_GT,
  le = COLX_OPC_LE,
  ge = COLX_OPC_GE,
  ne = COLX_OPC_NE,
  gt_lt = COLX_OPC_GT_LT,
  gt_le = COLX_OPC_GT_LE,
  ge_lt = COLX_OPC_GE_LT,
  ge_le = COLX_OPC_GE_LE
};
// Whether it takes two constants.
constexpr bool is_range(Compare compare) {
  return compare >= Compare::gt_lt;
}
// "eq", "gt_le" and so on.
const char* name_of(Compare compare);

// A predicate on codes. `low` is the constant of a one-sided comparison; `high` counts only in a
// range. `matches` tells before any scan whether no code, every code or some codes of the
// dictionary satisfy it, so that a host may skip the scan; scanning gives the same answer.
struct CodePredicate {
  // Codes of the dictionary that satisfy it.
  enum class Matches { none, some, all };
  Compare compare = Compare::eq;    // on codes
  uint64_t low = 0;                 // a code
  uint64_t high = 0;                // a code; only in a range
  Matches matches = Matches::some;  // none and all: a scan is not needed
};

// Values of T in ascending order, code by code. T is int64_t, double or std::string.
//
// Order: numbers by value (-0.0 and 0.0 are one value, 0.0), text by unsigned bytes. In a nullable
// dictionary code 0 is NULL and values start at code 1; otherwise they start at code 0.
//
// In a DictionaryImage integers have the least bytes that hold them all and doubles are canonical
// (value_forms.h); text is its bytes, NULL a symbol of length 0.
//
// Read-only once built; free to be shared among threads.
template <class T>
class Dictionary {
 public:
  // What is looked up: T itself, or a view of text.
  using Key = std::conditional_t<std::is_same_v<T, std::string>, std::string_view, T>;

  // From values in any order, with repeats; text is copied. Errors name the entry: a NaN, which
  // has no place in the order; an empty text, which decoders could not tell from NULL; a text above
  // max_symbol_bytes.
  static Result<Dictionary> build(std::span<const Key> values, bool nullable = false);

  // Whether code 0 is NULL.
  bool nullable() const { return nullable_; }
  uint64_t size() const { return values_.size(); }             // values, NULL not counted
  uint64_t first_code() const { return nullable_ ? 1 : 0; }    // of the smallest value
  uint64_t end_code() const { return first_code() + size(); }  // one behind the largest value's
  // The least width with kernels that holds every code.
  uint32_t narrowest_width_bits() const;

  // `code` from first_code() to end_code() - 1.
  const T& value(uint64_t code) const { return values_[code - first_code()]; }
  // Nothing if the value is not in the dictionary.
  std::optional<uint64_t> code_of(Key value) const;
  // First code whose value is not below `value`; end_code() if there is none.
  uint64_t lower_bound(Key value) const;
  // First code whose value is above `value`; end_code() if there is none.
  uint64_t upper_bound(Key value) const;

  // The predicate on codes that selects exactly the rows whose value satisfies the comparison,
  // whether the constants are in the dictionary or not; NULL rows never do. Its constants are
  // codes that fit any width that holds the dictionary. A NaN constant compares false with every
  // value, true under ne. The first form is for one-sided comparisons, the second for ranges; the
  // wrong form selects nothing.
  CodePredicate where(Compare compare, Key value) const;
  CodePredicate where(Compare compare, Key low, Key high) const;

  // The code of each value; rows whose bit in `present` is clear (null: none) get code 0 and their
  // value is not looked at. Errors name the row: a value that is not in the dictionary, a NULL for
  // a dictionary that is not nullable.
  Result<std::vector<uint64_t>> encode(std::span<const Key> values,
                                       const RowBits* present = nullptr) const;

  // What kernels read. Errors: as DictionaryImage::write().
  Result<DictionaryImage> image() const;

 private:
  CodePredicate interval(uint64_t from, uint64_t to) const;

  std::vector<T> values_;
  bool nullable_ = false;
};

extern template class Dictionary<int64_t>;
extern template class Dictionary<double>;
extern template class Dictionary<std::string>;

// How values and their codes are stored.
struct DictionaryColumnOptions {
  uint32_t width_bits = 0;                 // 0: the narrowest that holds every code
  const RowBits* present = nullptr;        // rows that have a value; null: all, not nullable
  uint32_t chunk_rows = max_chunk_rows;    // 1 to 65536
  std::optional<RunLengthOptions> runs{};  // set: the run-length form
};

// A dictionary and the column of its codes; the column holds the dictionary's image.
template <class T>
struct DictionaryColumn {
  Dictionary<T> dictionary;  // for predicates on values
  StoredColumn column;       // its codes
};

// Builds the dictionary of `values` and stores their codes. Errors: those of build(), encode(),
// image() and store_codes(); a width too narrow for the dictionary.
template <class T>
Result<DictionaryColumn<T>> store_dictionary_column(
    std::span<const typename Dictionary<T>::Key> values,
    const DictionaryColumnOptions& options = {});

// The dictionary that store_dictionary_column() builds: of the values of the rows that have one,
// nullable if `present` is given.
template <class T>
Result<Dictionary<T>> dictionary_of_column(std::span<const typename Dictionary<T>::Key> values,
                                           const RowBits* present);

// The same with the dictionary built already; it may hold more values than the column has.
template <class T>
Result<DictionaryColumn<T>> store_dictionary_column(
    Dictionary<T> dictionary, std::span<const typename Dictionary<T>::Key> values,
    const DictionaryColumnOptions& options = {});

// The functions above for one type of values, each declaration or definition behind `prefix`.
#define COLX_DICTIONARY_COLUMNS(prefix, T)                                  \
  prefix template Result<DictionaryColumn<T>> store_dictionary_column<T>(   \
      std::span<const Dictionary<T>::Key>, const DictionaryColumnOptions&); \
  prefix template Result<Dictionary<T>> dictionary_of_column<T>(            \
      std::span<const Dictionary<T>::Key>, const RowBits*);                 \
  prefix template Result<DictionaryColumn<T>> store_dictionary_column<T>(   \
      Dictionary<T>, std::span<const Dictionary<T>::Key>, const DictionaryColumnOptions&);
COLX_DICTIONARY_COLUMNS(extern, int64_t)
COLX_DICTIONARY_COLUMNS(extern, double)
COLX_DICTIONARY_COLUMNS(extern, std::string)

}  // namespace colx::host
