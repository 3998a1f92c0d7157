#include "host/typed_column.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/compressed_column.h"
#include "tests/host/typed_values.h"

namespace colx::host {
namespace {

constexpr int64_t least = std::numeric_limits<int64_t>::min();
constexpr int64_t most = std::numeric_limits<int64_t>::max();

struct TypedColumns : testing::Test, TypedReading {
  template <class Value>
  TypedColumn store(const Optionals<Value>& values, TypedColumnOptions options = {},
                    ValueType type = type_for(Value{})) {
    auto column = store_typed_column(decoded(values, type), options);
    EXPECT_TRUE(column) << column.message();
    return std::move(column).value();
  }
  template <class Value>
  std::string refusal(const Optionals<Value>& values, TypedColumnOptions options = {},
                      ValueType type = type_for(Value{})) {
    const auto column = store_typed_column(decoded(values, type), options);
    return column ? "stored" : column.message();
  }
};

TEST_F(TypedColumns, IntegersComeBackFromEveryForm) {
  Integers values;
  for (int64_t row = 0; row < 1000; ++row)
    values.push_back(row % 7 == 3 ? std::nullopt : std::optional(row * row % 977 - 400));
  for (const StoredForm form :
       {StoredForm::smallest, StoredForm::codes, StoredForm::fixed, StoredForm::dynp}) {
    const auto column = store(values, {.form = form, .chunk_rows = 128});
    EXPECT_EQ(read<int64_t>(column), values) << static_cast<int>(form);
    EXPECT_EQ(column.nulls, 143u);
    EXPECT_EQ(column.name, "made");
    EXPECT_EQ(column.column.chunks.size(), 8u);
  }
}

TEST_F(TypedColumns, HoldTheWholeRangeOfIntegers) {
  const Integers values{least, -1, std::nullopt, 0, most};
  for (const StoredForm form : {StoredForm::codes, StoredForm::fixed}) {
    const auto column = store(values, {.form = form});
    EXPECT_EQ(read<int64_t>(column), values);
  }
  EXPECT_EQ(store(values, {.form = StoredForm::fixed}).column.format.width_bits, 64u);
}

TEST_F(TypedColumns, FixedRowsAreAsWideAsTheRangeNeeds) {
  const auto column = store(Integers{1000000, 1000255}, {.form = StoredForm::fixed});
  EXPECT_EQ(column.column.format.width_bits, 8u);
  EXPECT_EQ(column.base, 1000000);
  EXPECT_EQ(store(Integers{-1, 255}, {.form = StoredForm::fixed}).column.format.width_bits, 16u);
}

TEST_F(TypedColumns, NullRowsAreCodeZeroOrLeftOutOfTheRowsToReport) {
  const Integers values{5, std::nullopt, 6};
  const auto codes = store(values, {.form = StoredForm::codes});
  EXPECT_TRUE(codes.column.format.zero_is_null);
  EXPECT_FALSE(codes.column.chunks[0].reportable);
  for (const StoredForm form : {StoredForm::fixed, StoredForm::dynp}) {
    const auto rows = store(values, {.form = form});
    ASSERT_TRUE(rows.column.chunks[0].reportable);
    EXPECT_EQ(rows.column.chunks[0].reportable->words()[0], 0b101u);
  }
  const auto none = store(Integers{5, 6}, {.form = StoredForm::codes});
  EXPECT_FALSE(none.column.format.zero_is_null);
  EXPECT_FALSE(store(Integers{5, 6}, {.form = StoredForm::fixed}).column.chunks[0].reportable);
}

TEST_F(TypedColumns, TheSmallestFormIsCodesWhileTheyTakeNoMoreBytes) {
  Integers few, many;
  for (int64_t row = 0; row < 1000; ++row) {
    few.push_back(row % 4 * 1'000'000'007);
    many.push_back(row * 1'000'003);
  }
  EXPECT_EQ(store(few).column.format.encoding, Encoding::dict);
  const auto rows = store(many);
  EXPECT_EQ(rows.column.format.encoding, Encoding::fixed);
  EXPECT_TRUE(std::holds_alternative<std::monostate>(rows.dictionary));
  EXPECT_EQ(rows.column.dictionary, nullptr);
  EXPECT_EQ(read<int64_t>(rows), many);
}

TEST_F(TypedColumns, CodesWinATie) {
  // Eight rows of a byte against 3 bytes of codes and a byte for each value.
  EXPECT_EQ(store(Integers{0, 1, 2, 3, 4, 0, 0, 0}).column.format.encoding, Encoding::dict);
  EXPECT_EQ(store(Integers{0, 1, 2, 3, 4, 5, 0, 0}).column.format.encoding, Encoding::fixed);
}

TEST_F(TypedColumns, FloatingValuesComeBackFromBothForms) {
  const Doubles values{1.5, std::nullopt, -0.25, 3e38, -INFINITY, INFINITY};
  for (const StoredForm form : {StoredForm::smallest, StoredForm::codes, StoredForm::fixed})
    EXPECT_EQ(read<double>(store(values, {.form = form})), values);
  const Doubles floats{1.5, std::nullopt, -0.25, 0.1f};
  for (const StoredForm form : {StoredForm::codes, StoredForm::fixed})
    EXPECT_EQ(read<double>(store(floats, {.form = form}, {ValueKind::floating, 32})), floats);
  EXPECT_EQ(store(floats, {.form = StoredForm::fixed}, {ValueKind::floating, 32})
                .column.format.width_bits,
            32u);
}

TEST_F(TypedColumns, ANanIsStoredInFixedRowsOnly) {
  const Doubles values{1.0, NAN, std::nullopt, -NAN};
  const auto column = store(values);
  EXPECT_EQ(column.column.format.encoding, Encoding::fixed);
  const auto read_back = read<double>(column);
  EXPECT_TRUE(std::isnan(*read_back[1]) && std::isnan(*read_back[3]));
  EXPECT_FALSE(std::signbit(*read_back[3]));
  EXPECT_EQ(refusal(values, {.form = StoredForm::codes}),
            "column \"made\": row 1 is NaN, which has no place in the order of a dictionary; store "
            "the column as fixed rows");
  // The value of a NULL row is not looked at.
  auto hidden = decoded(Doubles{1.0, std::nullopt});
  std::get<std::vector<double>>(hidden.values)[1] = NAN;
  EXPECT_EQ(store_typed_column(hidden, {.form = StoredForm::codes})->nulls, 1u);
}

TEST_F(TypedColumns, NegativeZeroIsZero) {
  for (const StoredForm form : {StoredForm::codes, StoredForm::fixed}) {
    const auto values = read<double>(store(Doubles{-0.0, 1.0}, {.form = form}));
    EXPECT_FALSE(std::signbit(*values[0]));
  }
}

TEST_F(TypedColumns, TextAndBooleansComeBack) {
  const Texts words{"pear", std::nullopt, "fig", "pear", std::string("a\0b", 3)};
  EXPECT_EQ(read<std::string>(store(words)), words);
  const Truths truths{true, std::nullopt, false, true};
  const auto column = store(truths);
  EXPECT_EQ(read<bool>(column), truths);
  EXPECT_EQ(column.column.format.width_bits, 2u);
}

TEST_F(TypedColumns, AnEmptyTextIsRefusedOrMadeNull) {
  const Texts words{"pear", ""};
  EXPECT_EQ(refusal(words),
            "column \"made\": row 1 is an empty text, which decoders cannot tell from NULL; ask "
            "for EmptyText::made_null or give it a value");
  const auto column = store(words, {.empty_text = EmptyText::made_null});
  EXPECT_EQ(read<std::string>(column), (Texts{"pear", std::nullopt}));
  EXPECT_EQ(column.nulls, 1u);
  const Texts whole{"pear", "fig"};
  auto present = decoded(whole);
  present.present.reset();
  EXPECT_EQ(store_typed_column(present, {.empty_text = EmptyText::made_null})->nulls, 0u);
}

TEST_F(TypedColumns, RefuseFormsThatAKindHasNot) {
  EXPECT_EQ(refusal(Texts{"a"}, {.form = StoredForm::fixed}),
            "column \"made\": text is stored as codes of a dictionary, not as fixed rows");
  EXPECT_EQ(refusal(Truths{true}, {.form = StoredForm::dynp}),
            "column \"made\": booleans are stored as codes of a dictionary, not as dynp rows");
  EXPECT_EQ(refusal(Doubles{1.0}, {.form = StoredForm::dynp}),
            "column \"made\": floating values have no dynp form");
  EXPECT_EQ(refusal(Integers{0, most}, {.form = StoredForm::dynp}),
            "column \"made\": row 1: 9223372036854775807 is outside -2^56 to 2^56 - 1, what 8 "
            "bytes count");
}

TEST_F(TypedColumns, RefuseWhatDoesNotFitTheType) {
  EXPECT_EQ(refusal(Doubles{0.5, 0.1}, {}, {ValueKind::floating, 32}),
            "column \"made\": row 1: 0.10000000000000001 is no floating number of 32 bits");
  EXPECT_EQ(refusal(Doubles{1e300}, {}, {ValueKind::floating, 32}),
            "column \"made\": row 0: 1.0000000000000001e+300 is no floating number of 32 bits");
  EXPECT_EQ(refusal(Texts{std::string(65536, 'x')}),
            "column \"made\": row 0 has 65536 bytes; a text has at most 65535");
  EXPECT_EQ(refusal(Integers{1}, {.chunk_rows = 0}),
            "column \"made\": chunks of 0 rows: use 1 to 65536");
  auto column = decoded(Integers{1});
  column.type = {ValueKind::text, 32};
  EXPECT_EQ(store_typed_column(column).message(),
            "column \"made\": the values are of another kind than the type says");
  auto bits = decoded(Integers{1});
  bits.present.emplace(2);
  EXPECT_EQ(store_typed_column(bits).message(),
            "column \"made\": 1 values come with presence bits for 2 rows");
}

TEST_F(TypedColumns, HitRowsAreReadInRowOrder) {
  Integers values;
  for (int64_t row = 0; row < 300; ++row)
    values.push_back(row % 11 == 5 ? std::nullopt : std::optional(row * 1000));
  for (const StoredForm form : {StoredForm::codes, StoredForm::fixed, StoredForm::dynp}) {
    const auto column = store(values, {.form = form, .chunk_rows = 150});
    for (const size_t every : {1u, 2u, 149u}) {
      std::vector<RowBits> hits;
      Integers expected;
      for (size_t chunk = 0; chunk < 2; ++chunk) {
        hits.emplace_back(150);
        for (size_t row = 1; row < 150; row += every) {
          hits[chunk].set(row);
          expected.push_back(values[chunk * 150 + row]);
        }
      }
      EXPECT_EQ(read<int64_t>(column, hits), expected) << static_cast<int>(form) << ' ' << every;
      hits[0].clear_all();
      expected.erase(expected.begin(), expected.begin() + static_cast<ptrdiff_t>(hits[1].count()));
      EXPECT_EQ(read<int64_t>(column, hits), expected);
    }
  }
}

TEST_F(TypedColumns, RefuseBitVectorsOfOtherChunks) {
  const auto column = store(Integers{1, 2, 3});
  const auto refused = [&](std::vector<uint64_t> sizes) {
    std::vector<RowBits> hits;
    for (const uint64_t size : sizes) hits.emplace_back(size);
    return read_typed_column(library, services, column, hits).message();
  };
  EXPECT_EQ(refused({3, 1}), "column \"made\": 2 bit vectors for 1 chunks");
  EXPECT_EQ(refused({4}), "column \"made\": chunk 0 has 3 rows, its bit vector 4");
}

TEST_F(TypedColumns, CompressedCodesAreReadAndCompressedRowsRefused) {
  const Integers values(5000, 77);
  auto codes = store(values, {.form = StoredForm::codes});
  auto rows = store(values, {.form = StoredForm::fixed});
  ASSERT_GT(compress_column(codes.column), 0u);
  ASSERT_GT(compress_column(rows.column), 0u);
  EXPECT_EQ(read<int64_t>(codes), values);
  EXPECT_EQ(read_typed_column(library, services, rows).message(),
            "column \"made\": chunk 0 rests compressed; only codes are read out of such chunks");
}

TEST_F(TypedColumns, NoRowsAndNothingButNulls) {
  for (const StoredForm form : {StoredForm::smallest, StoredForm::codes, StoredForm::fixed}) {
    EXPECT_EQ(read<int64_t>(store(Integers{}, {.form = form})), Integers{});
    EXPECT_EQ(read<int64_t>(store(Integers(3), {.form = form})), Integers(3));
    EXPECT_EQ(read<double>(store(Doubles(3), {.form = form})), Doubles(3));
  }
  EXPECT_EQ(read<std::string>(store(Texts(2))), Texts(2));
  EXPECT_EQ(read<bool>(store(Truths{})), Truths{});
}

}  // namespace
}  // namespace colx::host
