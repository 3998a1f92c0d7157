// Imports of tables and of dictionaries, what is refused, and who releases.
#include <gtest/gtest.h>

#include "host/arrow_import.h"
#include "host/arrow_owner.h"
#include "tests/host/made_arrow.h"
#include "tests/host/typed_values.h"

namespace colx::host {
namespace {

struct ArrowTables : testing::Test, TypedReading {
  Result<std::vector<TypedColumn>> table(const MadeArrow& rows,
                                         std::vector<TypedColumnOptions> options = {}) {
    const ArrowArray* batch[] = {&rows.array};
    return import_arrow_table(rows.schema, batch, options);
  }
};

TEST_F(ArrowTables, TakeAColumnForEachChild) {
  MadeArrow rows("+s", 2), numbers("i", 2, "n"), doubles("g", 2, "d");
  numbers.with_validity("10").with_values(std::vector<int32_t>{4, 5});
  doubles.without_buffer().with_values(std::vector<double>{0.5, 1.5});
  rows.without_buffer().with_child(numbers).with_child(doubles);
  const auto columns = table(rows, {{.form = StoredForm::dynp}, {.form = StoredForm::codes}});
  ASSERT_TRUE(columns) << columns.message();
  ASSERT_EQ(columns->size(), 2u);
  EXPECT_EQ((*columns)[0].name, "n");
  EXPECT_EQ((*columns)[0].column.format.encoding, Encoding::dynp);
  EXPECT_EQ(read<int64_t>((*columns)[0]), (Integers{4, std::nullopt}));
  EXPECT_EQ((*columns)[1].name, "d");
  EXPECT_EQ((*columns)[1].column.format.encoding, Encoding::dict);
  EXPECT_EQ(read<double>((*columns)[1]), (Doubles{0.5, 1.5}));
  EXPECT_EQ(table(rows, {{}}).message(), "options for 1 columns, but there are 2");
}

TEST_F(ArrowTables, OffsetsOfTheRowsAndOfAColumnAddUp) {
  MadeArrow rows("+s", 2), numbers("i", 4);
  numbers.with_validity("11111011").with_values(std::vector<int32_t>{0, 1, 2, 3, 4, 5, 6, 7});
  numbers.array.offset = 3;
  rows.without_buffer().with_child(numbers).array.offset = 1;
  EXPECT_EQ(read<int64_t>(table(rows)->front()), (Integers{4, std::nullopt}));
  rows.array.length = 4;
  EXPECT_EQ(table(rows).message(),
            "column \"made\": 4 rows from row 1 on are wanted of an array of 4");
}

TEST_F(ArrowTables, ANullRowIsNullInEveryColumn) {
  MadeArrow rows("+s", 3), numbers("i", 5), bits("b", 5);
  numbers.with_validity("11101").with_values(std::vector<int32_t>{1, 2, 3, 4, 5});
  bits.without_buffer().with(bitmap("11111"));
  rows.with_validity("11011").with_child(numbers).with_child(bits).array.offset = 2;
  const auto columns = table(rows).value();
  EXPECT_EQ(read<int64_t>(columns[0]), (Integers{std::nullopt, std::nullopt, 5}));
  EXPECT_EQ(read<bool>(columns[1]), (Truths{std::nullopt, true, true}));
}

TEST_F(ArrowTables, RefuseWhatIsNoTable) {
  MadeArrow number("i", 1), rows("+s", 1), child("i", 1);
  number.without_buffer().with_values(std::vector<int32_t>{1});
  EXPECT_EQ(table(number).message(),
            "the format \"i\" with 0 children is no table; a struct is \"+s\"");
  rows.without_buffer().with_child(child.without_buffer().with_values(std::vector<int32_t>{1}));
  rows.array.n_children = 0;
  EXPECT_EQ(table(rows).message(), "a batch has 0 columns, its schema 1");
  rows.array.n_children = 1;
  rows.array.null_count = 1;
  EXPECT_EQ(table(rows).message(), "a batch has 1 NULL rows, but no validity bitmap");
  rows.array.null_count = 0;
  rows.child_arrays[0] = nullptr;
  EXPECT_EQ(table(rows).message(), "column 0 of a batch is missing");
  rows.child_arrays[0] = &child.array;
  EXPECT_TRUE(table(rows));
  rows.array.length = -1;
  EXPECT_EQ(table(rows).message(), "a batch of -1 rows at offset 0");
  rows.array.release = nullptr;
  EXPECT_EQ(table(rows).message(), "a batch of rows is released");
  rows.schema.release = nullptr;
  EXPECT_EQ(table(rows).message(), "the schema is released");
}

TEST_F(ArrowTables, DictionariesHaveIndicesOfAnyInteger) {
  const auto check = [&]<class Index>(const char* format, Index) {
    MadeArrow made(format, 5), words("u", 3);
    const auto [offsets, bytes] = text_buffers<int32_t>({"pear", "apple", "fig"});
    words.without_buffer().with(offsets).with(bytes);
    made.with_validity("111011").with_values(std::vector<Index>{9, 2, 0, 77, 1, 2});
    made.with_dictionary(words).array.offset = 1;
    const auto column = made.import();
    ASSERT_TRUE(column) << column.message();
    EXPECT_EQ(read<std::string>(*column), (Texts{"fig", "pear", std::nullopt, "apple", "fig"}));
    EXPECT_EQ(column->type, (ValueType{ValueKind::text, 32}));
    // Codes rise with the values, whatever the indices do.
    EXPECT_EQ(std::get<Dictionary<std::string>>(column->dictionary).code_of("apple"), 1u);
  };
  check("c", int8_t{});
  check("s", int16_t{});
  check("i", int32_t{});
  check("l", int64_t{});
  check("C", uint8_t{});
  check("S", uint16_t{});
  check("I", uint32_t{});
  check("L", uint64_t{});
}

TEST_F(ArrowTables, DictionariesHoldAnyValues) {
  MadeArrow numbers("c", 3), values("d:9,1", 2), doubles("C", 2), halves("g", 2), truths("c", 2),
      bits("b", 2);
  values.without_buffer().with_values(std::vector<int64_t>{70, 0, -5, -1});
  numbers.without_buffer().with_values(std::vector<int8_t>{1, 0, 1}).with_dictionary(values);
  halves.without_buffer().with_values(std::vector<double>{0.5, -0.5});
  doubles.without_buffer().with_values(std::vector<uint8_t>{1, 0}).with_dictionary(halves);
  bits.without_buffer().with(bitmap("01"));
  truths.without_buffer().with_values(std::vector<int8_t>{1, 0}).with_dictionary(bits);
  EXPECT_EQ(read<int64_t>(numbers.import().value()), (Integers{-5, 70, -5}));
  EXPECT_EQ(numbers.import()->type, (ValueType{ValueKind::decimal, 128, 9, 1}));
  EXPECT_EQ(read<double>(doubles.import().value()), (Doubles{-0.5, 0.5}));
  EXPECT_EQ(read<bool>(truths.import().value()), (Truths{true, false}));
}

TEST_F(ArrowTables, ANullInTheDictionaryIsANullRow) {
  MadeArrow made("c", 4), words("u", 3);
  const auto [offsets, bytes] = text_buffers<int32_t>({"a", "", "b"});
  words.with_validity("101").with(offsets).with(bytes);
  made.with_validity("1110").with_values(std::vector<int8_t>{2, 1, 0, 0}).with_dictionary(words);
  EXPECT_EQ(read<std::string>(made.import().value()),
            (Texts{"b", std::nullopt, "a", std::nullopt}));
}

TEST_F(ArrowTables, DictionariesOfSeveralBatchesAreMerged) {
  MadeArrow first("c", 2), second("c", 2), early("u", 2), late("u", 2);
  const auto [offsets, bytes] = text_buffers<int32_t>({"pear", "fig"});
  const auto [others, more] = text_buffers<int32_t>({"apple", "pear"});
  early.without_buffer().with(offsets).with(bytes);
  late.without_buffer().with(others).with(more);
  first.without_buffer().with_values(std::vector<int8_t>{0, 1}).with_dictionary(early);
  second.without_buffer().with_values(std::vector<int8_t>{0, 1}).with_dictionary(late);
  const ArrowArray* batches[] = {&first.array, &second.array};
  const auto column = import_arrow_column(first.schema, batches).value();
  EXPECT_EQ(read<std::string>(column), (Texts{"pear", "fig", "apple", "pear"}));
  EXPECT_EQ(std::get<Dictionary<std::string>>(column.dictionary).size(), 3u);
}

TEST_F(ArrowTables, RefuseDictionariesThatDoNotHoldTogether) {
  MadeArrow made("c", 2), words("u", 1), odd("g", 1), twice("c", 1);
  const auto [offsets, bytes] = text_buffers<int32_t>({"a"});
  words.without_buffer().with(offsets).with(bytes);
  made.without_buffer().with_values(std::vector<int8_t>{0, 1}).with_dictionary(words);
  EXPECT_EQ(made.refusal(), "column \"made\": row 1: index 1 into a dictionary of 1 values");
  made.array.dictionary = nullptr;
  EXPECT_EQ(made.refusal(), "column \"made\": an array of a dictionary type has no dictionary");
  odd.without_buffer().with_values(std::vector<double>{0}).with_dictionary(words);
  EXPECT_EQ(odd.refusal(), "column \"made\": a dictionary with indices of format \"g\"");
  twice.without_buffer().with_values(std::vector<int8_t>{0}).with_dictionary(made);
  made.with_dictionary(words);
  EXPECT_EQ(twice.refusal(),
            "column \"made\": a dictionary with indices of format \"c\" and values that are a "
            "dictionary");
  MadeArrow negative("c", 1);
  negative.without_buffer().with_values(std::vector<int8_t>{-1}).with_dictionary(words);
  EXPECT_EQ(negative.refusal(), "column \"made\": row 0: index -1 into a dictionary of 1 values");
  words.format = "z";
  words.schema.format = words.format.c_str();
  EXPECT_NE(negative.refusal().find("column \"made\": the dictionary: the format \"z\""),
            std::string::npos);
}

TEST_F(ArrowTables, RefuseFormatsThatAreNotTaken) {
  for (const char* format :
       {"n",  "e",  "z",  "Z",   "vz",    "w:42",     "tts",    "tsu:",  "tDs", "tiM",
        "+l", "+s", "+r", "d:9", "d:0,0", "d:9,2,16", "d:9,2,", "d:x,2", "",    "ii"}) {
    MadeArrow made(format, 1, "price");
    const std::string refusal =
        made.without_buffer().with_values(std::vector<int64_t>{0}).refusal();
    EXPECT_EQ(refusal, "column \"price\": the format \"" + std::string(format) +
                           "\" is not taken; use integers, dates, decimals, float, double, "
                           "boolean, utf8 or dictionaries of these");
  }
  MadeArrow none("i", 1);
  none.schema.format = nullptr;
  EXPECT_EQ(none.refusal(), "column \"made\": the schema has no format");
}

TEST_F(ArrowTables, RefuseArraysThatLackSomething) {
  MadeArrow made("i", 2), text("u", 2), short_of_one("i", 2), no_list("i", 0);
  made.without_buffer().without_buffer();
  EXPECT_EQ(made.refusal(), "column \"made\": the array has no buffer of values");
  short_of_one.without_buffer();
  EXPECT_EQ(short_of_one.refusal(),
            "column \"made\": an array with 1 buffers, where its type has 2");
  EXPECT_EQ(no_list.refusal(), "column \"made\": an array with 0 buffers, where its type has 2");
  text.without_buffer().with_values(std::vector<int32_t>{0, 0, 1}).without_buffer();
  EXPECT_EQ(text.refusal({.empty_text = EmptyText::made_null}),
            "column \"made\": row 1 has text, but the array has no bytes");
  MadeArrow falling("u", 2);
  falling.without_buffer().with_values(std::vector<int32_t>{0, 2, 1}).with(Bytes(2, 'x'));
  EXPECT_EQ(falling.refusal(), "column \"made\": row 1: its text goes from byte 2 to byte 1");
  MadeArrow negative("u", 1);
  negative.without_buffer().with_values(std::vector<int32_t>{-1, 1}).with(Bytes(2, 'x'));
  EXPECT_EQ(negative.refusal(), "column \"made\": row 0: its text goes from byte -1 to byte 1");
  made.array.length = -1;
  EXPECT_EQ(made.refusal(), "column \"made\": an array of -1 rows at offset 0");
  made.array.length = 1;
  made.array.offset = INT64_MAX;
  EXPECT_EQ(made.refusal(), "column \"made\": an array of 1 rows at offset 9223372036854775807");
  made.array.release = nullptr;
  EXPECT_EQ(made.refusal(), "column \"made\": the array is released");
  made.schema.release = nullptr;
  EXPECT_EQ(made.refusal(), "column \"made\": the schema is released");
}

TEST(ArrowOwners, ReleaseOnceWhoeverHasItLast) {
  MadeArrow made("i", 0);
  {
    ArrowArrayOwner owner(made.array);
    EXPECT_EQ(made.array.release, nullptr);
    ArrowArrayOwner second(std::move(owner));
    EXPECT_TRUE(owner.empty());
    ArrowArrayOwner third;
    third = std::move(second);
    EXPECT_FALSE(third.empty());
    ArrowArrayOwner& same = third;
    third = std::move(same);
    EXPECT_EQ(made.array_releases, 0);
  }
  EXPECT_EQ(made.array_releases, 1);
}

TEST(ArrowOwners, ReleaseWhatTheyHeldBeforeTheyTakeAnother) {
  MadeArrow first("i", 0), second("i", 0), third("i", 0);
  ArrowSchemaOwner owner(first.schema);
  owner = ArrowSchemaOwner(second.schema);
  EXPECT_EQ(first.schema_releases, 1);
  *owner.receive() = third.schema;
  EXPECT_EQ(second.schema_releases, 1);
  owner.reset();
  owner.reset();
  EXPECT_EQ(third.schema_releases, 1);
}

TEST(ArrowOwners, HandOnWithoutReleasing) {
  MadeArrow made("i", 0);
  ArrowArray out;
  {
    ArrowArrayOwner owner(made.array);
    owner.move_to(out);
    EXPECT_TRUE(owner.empty());
  }
  EXPECT_EQ(made.array_releases, 0);
  out.release(&out);
  EXPECT_EQ(made.array_releases, 1);
  EXPECT_EQ(out.release, nullptr);
}

TEST(ArrowOwners, PassTheirRecordsToImports) {
  MadeArrow made("i", 2);
  made.without_buffer().with_values(std::vector<int32_t>{7, 8});
  std::vector<ArrowArrayOwner> owners;
  owners.emplace_back(made.array);
  EXPECT_EQ(import_arrow_column(made.schema, records_of(owners))->column.rows(), 2u);
  EXPECT_EQ(made.array_releases, 0);
}

}  // namespace
}  // namespace colx::host
