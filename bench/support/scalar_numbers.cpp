#include "bench/support/scalar_numbers.h"

#include <array>
#include <bit>
#include <cstring>
#include <type_traits>
#include <utility>

#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

template <class T>
inline T loaded(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

template <class T>
inline void stored(uint8_t* at, T value) {
  std::memcpy(at, &value, sizeof value);
}

inline uint16_t swapped(uint16_t word) {
  return __builtin_bswap16(word);
}
inline uint32_t swapped(uint32_t word) {
  return __builtin_bswap32(word);
}
inline uint64_t swapped(uint64_t word) {
  return __builtin_bswap64(word);
}

template <class T>
struct NativeRows {
  using Value = T;
  static constexpr uint64_t bytes = sizeof(T);
  static T at(const uint8_t* rows, uint64_t row) { return loaded<T>(rows + row * bytes); }
};

template <class T, class Word>
struct CanonicalRows {
  using Value = T;
  static constexpr uint64_t bytes = sizeof(T);
  static T at(const uint8_t* rows, uint64_t row) {
    constexpr Word sign = Word{1} << (8 * bytes - 1);
    const Word word = swapped(loaded<Word>(rows + row * bytes));
    return std::bit_cast<T>((word & sign) != 0 ? word & ~sign : ~word);
  }
};

template <class Word, class Signed>
struct DsbRows {
  using Value = int64_t;
  static constexpr uint64_t bytes = sizeof(Word);
  static int64_t at(const uint8_t* rows, uint64_t row) {
    const auto word = loaded<Word>(rows + row * bytes);
    if constexpr (bytes == 1)
      return static_cast<Signed>(word);
    else
      return static_cast<Signed>(swapped(word));
  }
};

template <unsigned operation, class T>
inline T computed(T left, T right) {
  if constexpr (operation == COLX_OPC_ADD) return left + right;
  if constexpr (operation == COLX_OPC_SUB) return left - right;
  return left * right;
}

template <unsigned operation, class Left, class Right>
void store_results(const uint8_t* left, const uint8_t* right, uint64_t rows, uint8_t* out) {
  for (uint64_t row = 0; row < rows; ++row)
    stored(out + row * Left::bytes,
           computed<operation>(Left::at(left, row), Right::at(right, row)));
}

template <unsigned operation, class Left, class Right>
void sum_results(const uint8_t* left, const uint8_t* right, uint64_t rows, uint8_t* out) {
  using Value = typename Left::Value;
  Value sum = 0;
  for (uint64_t row = 0; row < rows; ++row)
    sum += computed<operation>(Left::at(left, row), Right::at(right, row));
  stored(out, loaded<Value>(out) + sum);
}

template <class T, bool canonical>
using Rows =
    std::conditional_t<canonical,
                       CanonicalRows<T, std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>>,
                       NativeRows<T>>;

// Type and form bits of the width code, the sum bit above them.
template <unsigned operation, unsigned code>
constexpr ScalarArithmetic arithmetic_of() {
  using T = std::conditional_t<(code & COLX_WIDTH_DOUBLE) != 0, double, float>;
  using Left = Rows<T, (code & COLX_WIDTH_LEFT_CANONICAL) != 0>;
  using Right = Rows<T, (code & COLX_WIDTH_RIGHT_CANONICAL) != 0>;
  if constexpr ((code & 16) != 0)
    return sum_results<operation, Left, Right>;
  else
    return store_results<operation, Left, Right>;
}

template <unsigned operation, size_t... code>
constexpr std::array<ScalarArithmetic, 32> arithmetic_table(std::index_sequence<code...>) {
  return {arithmetic_of<operation, code>()...};
}

constexpr std::array arithmetic_tables = {
    arithmetic_table<COLX_OPC_ADD>(std::make_index_sequence<32>{}),
    arithmetic_table<COLX_OPC_SUB>(std::make_index_sequence<32>{}),
    arithmetic_table<COLX_OPC_MUL>(std::make_index_sequence<32>{})};

template <class Form>
void group_sum_of(const uint8_t* rows, const uint32_t* groups, uint64_t count,
                  uint8_t* accumulators) {
  auto* const sums = reinterpret_cast<typename Form::Value*>(accumulators);
  for (uint64_t row = 0; row < count; ++row) sums[groups[row]] += Form::at(rows, row);
}

template <class Form>
void sum_of(const uint8_t* rows, uint64_t count, uint8_t* out) {
  typename Form::Value sum = 0;
  for (uint64_t row = 0; row < count; ++row) sum += Form::at(rows, row);
  stored(out, loaded<typename Form::Value>(out) + sum);
}

template <class Form>
void convert(const uint8_t* rows, uint64_t count, uint8_t* out) {
  for (uint64_t row = 0; row < count; ++row) stored(out + row * Form::bytes, Form::at(rows, row));
}

template <template <class> class Line>
constexpr auto line_per_form() {
  return std::array{Line<Rows<float, false>>::run,         Line<Rows<float, true>>::run,
                    Line<Rows<double, false>>::run,        Line<Rows<double, true>>::run,
                    Line<DsbRows<uint8_t, int8_t>>::run,   Line<DsbRows<uint16_t, int16_t>>::run,
                    Line<DsbRows<uint32_t, int32_t>>::run, Line<DsbRows<uint64_t, int64_t>>::run};
}

template <class Form>
struct GroupSumLine {
  static constexpr ScalarGroupSum run = group_sum_of<Form>;
};

template <class Form>
struct SumLine {
  static constexpr ScalarSum run = sum_of<Form>;
};

}  // namespace

ScalarArithmetic scalar_arithmetic(uint32_t slot) {
  const uint32_t code = slot >> 7 & 15;
  return arithmetic_tables[(slot & 31) - COLX_OPC_ADD][code | (slot >> 12 != 0 ? 16 : 0)];
}

ScalarGroupSum scalar_group_sum(RowForm form) {
  return line_per_form<GroupSumLine>()[static_cast<size_t>(form)];
}

ScalarSum scalar_sum(RowForm form) {
  return line_per_form<SumLine>()[static_cast<size_t>(form)];
}

ScalarSum scalar_conversion(bool doubles) {
  return doubles ? convert<Rows<double, true>> : convert<Rows<float, true>>;
}

}  // namespace colx::bench
