#include "host/arrow_import.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/host/made_arrow.h"
#include "tests/host/typed_values.h"

namespace colx::host {
namespace {

struct ArrowImports : testing::Test, TypedReading {
  template <class Value>
  Optionals<Value> imported(const MadeArrow& made, const TypedColumnOptions& options = {}) {
    const auto column = made.import(options);
    EXPECT_TRUE(column) << made.format << ": " << column.message();
    return column ? read<Value>(*column) : Optionals<Value>{};
  }

  // Least, largest and two more values around a NULL, in every form that integers have.
  template <class Stored>
  void check_integers(const char* format, ValueType type) {
    const Stored least = std::numeric_limits<Stored>::min();
    const auto most = static_cast<Stored>(std::min<uint64_t>(std::numeric_limits<Stored>::max(),
                                                             std::numeric_limits<int64_t>::max()));
    MadeArrow made(format, 5);
    made.with_validity("11011").with_values(std::vector<Stored>{least, most, 99, 0, 1});
    const Integers expected{static_cast<int64_t>(least), static_cast<int64_t>(most), std::nullopt,
                            0, 1};
    for (const StoredForm form : {StoredForm::smallest, StoredForm::codes, StoredForm::fixed})
      EXPECT_EQ(imported<int64_t>(made, {.form = form}), expected) << format;
    EXPECT_EQ(made.import()->type, type) << format;
    EXPECT_EQ(made.import()->nulls, 1u);
    EXPECT_EQ(made.import()->name, "made");
  }
};

TEST_F(ArrowImports, TakeIntegersOfEveryWidth) {
  check_integers<int8_t>("c", {ValueKind::integer, 8});
  check_integers<int16_t>("s", {ValueKind::integer, 16});
  check_integers<int32_t>("i", {ValueKind::integer, 32});
  check_integers<int64_t>("l", {ValueKind::integer, 64});
  check_integers<uint8_t>("C", {ValueKind::unsigned_integer, 8});
  check_integers<uint16_t>("S", {ValueKind::unsigned_integer, 16});
  check_integers<uint32_t>("I", {ValueKind::unsigned_integer, 32});
  check_integers<uint64_t>("L", {ValueKind::unsigned_integer, 64});
}

TEST_F(ArrowImports, RefuseUnsignedIntegersThatNoColumnHolds) {
  MadeArrow made("L", 2);
  made.without_buffer().with_values(std::vector<uint64_t>{1, uint64_t{1} << 63});
  EXPECT_EQ(made.refusal(),
            "column \"made\": row 1: 9223372036854775808 is above 2^63 - 1, the largest integer "
            "that columns hold");
  // Nor is the value of a NULL row looked at.
  MadeArrow hidden("L", 2);
  hidden.with_validity("10").with_values(std::vector<uint64_t>{1, uint64_t{1} << 63});
  EXPECT_EQ(imported<int64_t>(hidden), (Integers{1, std::nullopt}));
}

TEST_F(ArrowImports, TakeDatesAsDays) {
  MadeArrow days("tdD", 3), milliseconds("tdm", 3);
  days.with_validity("101").with_values(std::vector<int32_t>{-1, 7, 18262});
  milliseconds.with_validity("101").with_values(
      std::vector<int64_t>{-86'400'000, 7, int64_t{18262} * 86'400'000});
  const Integers expected{-1, std::nullopt, 18262};
  EXPECT_EQ(imported<int64_t>(days), expected);
  EXPECT_EQ(imported<int64_t>(milliseconds), expected);
  EXPECT_EQ(days.import()->type, (ValueType{ValueKind::date, 32}));
  EXPECT_EQ(milliseconds.import()->type, (ValueType{ValueKind::date, 64}));
  MadeArrow noon("tdm", 1);
  noon.without_buffer().with_values(std::vector<int64_t>{43'200'000});
  EXPECT_EQ(noon.refusal(), "column \"made\": row 0: 43200000 milliseconds are no whole days");
}

TEST_F(ArrowImports, TakeDecimalsThatFit64Bits) {
  const Integers expected{12345, std::nullopt, -1};
  MadeArrow narrow("d:9,2,32", 3), plain("d:18,2,64", 3), wide("d:38,2", 3),
      widest("d:76,2,256", 3);
  narrow.with_validity("101").with_values(std::vector<int32_t>{12345, 0, -1});
  plain.with_validity("101").with_values(std::vector<int64_t>{12345, 0, -1});
  wide.with_validity("101").with_values(std::vector<int64_t>{12345, 0, 0, 9, -1, -1});
  widest.with_validity("101").with_values(
      std::vector<int64_t>{12345, 0, 0, 0, 0, 9, 9, 9, -1, -1, -1, -1});
  for (const MadeArrow* made : {&narrow, &plain, &wide, &widest})
    EXPECT_EQ(imported<int64_t>(*made), expected) << made->format;
  EXPECT_EQ(wide.import()->type, (ValueType{ValueKind::decimal, 128, 38, 2}));
}

TEST_F(ArrowImports, RefuseDecimalsThatDoNot) {
  const auto refusal = [](std::vector<int64_t> words) {
    MadeArrow made("d:38,0", 1);
    return made.without_buffer().with_values(words).refusal();
  };
  const std::string text = "column \"made\": row 0: a decimal of more than 64 bits";
  EXPECT_EQ(refusal({1, 1}), text);
  EXPECT_EQ(refusal({1, -1}), text);
  EXPECT_EQ(refusal({-1, 0}), text);
  EXPECT_EQ(refusal({std::numeric_limits<int64_t>::min(), -1}), "imported");
  EXPECT_EQ(refusal({std::numeric_limits<int64_t>::max(), 0}), "imported");
}

TEST_F(ArrowImports, TakeFloatsAndDoubles) {
  MadeArrow floats("f", 3), doubles("g", 4);
  floats.with_validity("110").with_values(std::vector<float>{0.1f, -INFINITY, 5});
  doubles.with_validity("1101").with_values(std::vector<double>{0.1, -1e300, 5, NAN});
  for (const StoredForm form : {StoredForm::smallest, StoredForm::codes, StoredForm::fixed})
    EXPECT_EQ(imported<double>(floats, {.form = form}), (Doubles{0.1f, -INFINITY, std::nullopt}));
  const auto values = imported<double>(doubles);
  EXPECT_EQ(values[0], 0.1);
  EXPECT_EQ(values[1], -1e300);
  EXPECT_EQ(values[2], std::nullopt);
  EXPECT_TRUE(std::isnan(*values[3]));
}

TEST_F(ArrowImports, TakeBooleans) {
  MadeArrow made("b", 10);
  made.with_validity("1111111110").with(bitmap("0110100111"));
  EXPECT_EQ(imported<bool>(made),
            (Truths{false, true, true, false, true, false, false, true, true, std::nullopt}));
}

TEST_F(ArrowImports, TakeTextWithEitherOffsets) {
  const Texts expected{"pear", std::nullopt, "fig", "pear"};
  const auto [narrow, bytes] = text_buffers<int32_t>({"pear", "x", "fig", "pear"});
  const auto [wide, same] = text_buffers<int64_t>({"pear", "x", "fig", "pear"});
  MadeArrow small("u", 4), large("U", 4);
  small.with_validity("1011").with(narrow).with(bytes);
  large.with_validity("1011").with(wide).with(same);
  EXPECT_EQ(imported<std::string>(small), expected);
  EXPECT_EQ(imported<std::string>(large), expected);
  // Codes keep the order of the values.
  const auto column = small.import().value();
  const auto& dictionary = std::get<Dictionary<std::string>>(column.dictionary);
  EXPECT_EQ(dictionary.size(), 2u);
  EXPECT_EQ(dictionary.value(1), "fig");
  EXPECT_EQ(column.column.format.encoding, Encoding::dict);
}

TEST_F(ArrowImports, TakeTextInViews) {
  const std::string twelve = "twelve bytes", thirteen = "thirteen byte";
  Bytes views(48);
  const int32_t lengths[] = {12, 13, 0};
  for (size_t row = 0; row < 3; ++row) std::memcpy(&views[row * 16], &lengths[row], 4);
  std::memcpy(&views[4], twelve.data(), 12);
  const int32_t place[] = {1, 5};  // buffer and offset
  std::memcpy(&views[16 + 4], thirteen.data(), 4);
  std::memcpy(&views[16 + 8], place, 8);
  MadeArrow made("vu", 3);
  const std::string text = "xxxxx" + thirteen;
  const Bytes data(text.begin(), text.end());
  made.with_validity("110").with(views).with({}).with(data).with_values(
      std::vector<int64_t>{0, static_cast<int64_t>(data.size())});
  EXPECT_EQ(imported<std::string>(made), (Texts{twelve, thirteen, std::nullopt}));
  EXPECT_EQ(made.import()->type, (ValueType{ValueKind::text, 32}));

  const auto refusal = [&](int32_t length, int32_t buffer, int32_t offset) {
    Bytes wrong = views;
    const int32_t view[] = {length, 0, buffer, offset};
    std::memcpy(&wrong[16], view, 16);
    MadeArrow bad("vu", 3);
    bad.with_validity("110").with(wrong).with({}).with(data).with_values(
        std::vector<int64_t>{0, static_cast<int64_t>(data.size())});
    return bad.refusal();
  };
  EXPECT_EQ(refusal(13, 1, 5), "imported");
  EXPECT_EQ(refusal(13, 1, 6),
            "column \"made\": row 1: a view of 13 bytes at byte 6 of buffer 1, which has not got "
            "them");
  EXPECT_NE(refusal(13, 0, 0), "imported");
  EXPECT_NE(refusal(13, 2, 0), "imported");
  EXPECT_NE(refusal(13, -1, 0), "imported");
  EXPECT_NE(refusal(13, 1, -1), "imported");
  EXPECT_EQ(refusal(-1, 1, 0), "column \"made\": row 1: a text of -1 bytes");
}

TEST_F(ArrowImports, StartAtTheOffsetOfASlice) {
  std::vector<int32_t> numbers;
  std::string valid;
  Integers expected;
  for (int32_t row = 0; row < 50; ++row) {
    numbers.push_back(row * 3);
    valid += row % 5 == 2 ? '0' : '1';
    expected.push_back(row % 5 == 2 ? std::nullopt : std::optional<int64_t>(row * 3));
  }
  for (int64_t offset = 0; offset < 20; ++offset)
    for (const int64_t rows : {0, 1, 7, 8, 9, 30}) {
      MadeArrow made("i", rows);
      made.with_validity(valid).with_values(numbers);
      made.array.offset = offset;
      made.array.null_count = -1;
      const auto from = expected.begin() + offset;
      EXPECT_EQ(imported<int64_t>(made), Integers(from, from + rows)) << offset << ' ' << rows;
    }
}

TEST_F(ArrowImports, SlicesOfTextAndBooleansStartThere) {
  const auto [offsets, bytes] = text_buffers<int32_t>({"a", "b", "c", "d"});
  MadeArrow text("u", 2), truths("b", 2);
  text.with_validity("1101").with(offsets).with(bytes);
  truths.with_validity("1101").with(bitmap("0001"));
  text.array.offset = truths.array.offset = 2;
  EXPECT_EQ(imported<std::string>(text), (Texts{std::nullopt, "d"}));
  EXPECT_EQ(imported<bool>(truths), (Truths{std::nullopt, true}));
}

TEST_F(ArrowImports, NullsAreCountedByTheBitmap) {
  const std::vector<int8_t> numbers{1, 2, 3};
  MadeArrow uncounted("c", 3), none("c", 3), ignored("c", 3), missing("c", 3);
  uncounted.with_validity("101").with_values(numbers).array.null_count = -1;
  none.without_buffer().with_values(numbers).array.null_count = -1;
  // A producer that says that there are no NULL rows need not keep the bitmap up.
  ignored.with_validity("000").with_values(numbers).array.null_count = 0;
  missing.without_buffer().with_values(numbers).array.null_count = 1;
  EXPECT_EQ(imported<int64_t>(uncounted), (Integers{1, std::nullopt, 3}));
  EXPECT_EQ(imported<int64_t>(none), (Integers{1, 2, 3}));
  EXPECT_FALSE(none.import({.form = StoredForm::codes})->column.format.zero_is_null);
  EXPECT_EQ(imported<int64_t>(ignored), (Integers{1, 2, 3}));
  EXPECT_EQ(missing.refusal(),
            "column \"made\": 1 rows are NULL, but the array has no validity bitmap");
}

TEST_F(ArrowImports, ArraysOfNoRowsNeedNoBuffers) {
  for (const char* format : {"c", "tdD", "d:9,2", "L"}) {
    MadeArrow made(format, 0);
    EXPECT_EQ(imported<int64_t>(made.without_buffer().without_buffer()), Integers{}) << format;
  }
  MadeArrow text("u", 0), truths("b", 0), doubles("g", 0);
  EXPECT_EQ(imported<std::string>(text.without_buffer().without_buffer().without_buffer()),
            Texts{});
  EXPECT_EQ(imported<bool>(truths.without_buffer().without_buffer()), Truths{});
  EXPECT_EQ(imported<double>(doubles.without_buffer().without_buffer()), Doubles{});
}

TEST_F(ArrowImports, BatchesFollowOneAnother) {
  MadeArrow first("i", 2), none("i", 0), second("i", 3);
  first.without_buffer().with_values(std::vector<int32_t>{5, 6});
  none.without_buffer().without_buffer();
  second.with_validity("0110").with_values(std::vector<int32_t>{0, 7, 8, 9}).array.offset = 1;
  second.array.null_count = -1;
  const ArrowArray* batches[] = {&first.array, &none.array, &second.array};
  const auto column = import_arrow_column(first.schema, batches, {.chunk_rows = 4}).value();
  EXPECT_EQ(read<int64_t>(column), (Integers{5, 6, 7, 8, std::nullopt}));
  EXPECT_EQ(read<int64_t>(import_arrow_column(first.schema, {}).value()), Integers{});
}

TEST_F(ArrowImports, EmptyTextIsRefusedOrMadeNull) {
  const auto [offsets, bytes] = text_buffers<int32_t>({"pear", ""});
  MadeArrow made("u", 2);
  made.without_buffer().with(offsets).with(bytes);
  EXPECT_EQ(made.refusal(),
            "column \"made\": row 1 is an empty text, which decoders cannot tell from NULL; ask "
            "for EmptyText::made_null or give it a value");
  EXPECT_EQ(imported<std::string>(made, {.empty_text = EmptyText::made_null}),
            (Texts{"pear", std::nullopt}));
}

TEST_F(ArrowImports, NeverReleaseWhatTheyBorrow) {
  MadeArrow good("c", 1), bad("w:4", 1), rows("+s", 1);
  good.without_buffer().with_values(std::vector<int8_t>{1});
  bad.without_buffer().with_values(std::vector<int32_t>{1});
  EXPECT_TRUE(good.import());
  EXPECT_FALSE(bad.import());
  rows.without_buffer().with_child(good).with_child(bad);
  const ArrowArray* batch[] = {&rows.array};
  EXPECT_FALSE(import_arrow_table(rows.schema, batch));
  for (const MadeArrow* made : {&good, &bad, &rows})
    EXPECT_EQ(made->array_releases + made->schema_releases, 0);
}

TEST_F(ArrowImports, KeepNothingOfTheArray) {
  auto made = std::make_unique<MadeArrow>("u", 1);
  const auto [offsets, bytes] = text_buffers<int32_t>({"pear"});
  made->without_buffer().with(offsets).with(bytes);
  const auto column = made->import().value();
  made.reset();
  EXPECT_EQ(read<std::string>(column), Texts{"pear"});
}

}  // namespace
}  // namespace colx::host
