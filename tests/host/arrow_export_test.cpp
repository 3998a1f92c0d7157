#include "host/arrow_export.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/typed_scan.h"
#include "tests/host/made_arrow.h"
#include "tests/host/typed_values.h"

namespace colx::host {
namespace {

// The first `count` elements of a buffer.
template <class T>
std::vector<T> elements(const ArrowArray& array, int64_t buffer, size_t count) {
  std::vector<T> values(count);
  if (count) std::memcpy(values.data(), array.buffers[buffer], count * sizeof(T));
  return values;
}

ArrowBatch exported(const DecodedColumn& column) {
  auto batch = export_arrow_column(column);
  EXPECT_TRUE(batch) << batch.message();
  return std::move(batch).value();
}

std::string refused(const DecodedColumn& column) {
  const auto batch = export_arrow_column(column);
  return batch ? "exported" : batch.message();
}

template <class Stored>
void check_integers(const char* format, ValueType type, const Integers& values,
                    const std::vector<Stored>& stored) {
  const ArrowBatch batch = exported(decoded(values, type));
  EXPECT_STREQ(batch.schema->format, format);
  EXPECT_EQ(batch.array->n_buffers, 2);
  EXPECT_EQ(elements<Stored>(*batch.array, 1, stored.size()), stored) << format;
}

TEST(ArrowExports, WriteIntegersOfEveryWidth) {
  using Kind = ValueKind;
  check_integers<int8_t>("c", {Kind::integer, 8}, {-128, 127, {}}, {-128, 127, 0});
  check_integers<int16_t>("s", {Kind::integer, 16}, {-32768, {}, 32767}, {-32768, 0, 32767});
  check_integers<int32_t>("i", {Kind::integer, 32}, {INT32_MIN, INT32_MAX}, {INT32_MIN, INT32_MAX});
  check_integers<int64_t>("l", {Kind::integer, 64}, {INT64_MIN, INT64_MAX}, {INT64_MIN, INT64_MAX});
  check_integers<uint8_t>("C", {Kind::unsigned_integer, 8}, {0, 255}, {0, 255});
  check_integers<uint16_t>("S", {Kind::unsigned_integer, 16}, {0, 65535}, {0, 65535});
  check_integers<uint32_t>("I", {Kind::unsigned_integer, 32}, {0, 4294967295}, {0, UINT32_MAX});
  check_integers<uint64_t>("L", {Kind::unsigned_integer, 64}, {0, INT64_MAX}, {0, INT64_MAX});
}

TEST(ArrowExports, WriteDatesAndDecimals) {
  using Kind = ValueKind;
  check_integers<int32_t>("tdD", {Kind::date, 32}, {-1, {}, 18262}, {-1, 0, 18262});
  check_integers<int64_t>("tdm", {Kind::date, 64}, {-1, {}, 2}, {-86400000, 0, 172800000});
  check_integers<int32_t>("d:4,2,32", {Kind::decimal, 32, 4, 2}, {-9999, 9999}, {-9999, 9999});
  check_integers<int64_t>("d:18,2,64", {Kind::decimal, 64, 18, 2}, {-5, 5}, {-5, 5});
  check_integers<int64_t>("d:38,2", {Kind::decimal, 128, 38, 2}, {-5, {}, 5}, {-5, -1, 0, 0, 5, 0});
  check_integers<int64_t>("d:76,0,256", {Kind::decimal, 256, 76, 0}, {-5, 5},
                          {-5, -1, -1, -1, 5, 0, 0, 0});
  check_integers<int64_t>("d:38,0", {Kind::decimal, 128, 38, 0}, {INT64_MIN}, {INT64_MIN, -1});
}

TEST(ArrowExports, WriteFloatsAndDoubles) {
  const ArrowBatch doubles = exported(decoded(Doubles{0.1, {}, -INFINITY}));
  EXPECT_STREQ(doubles.schema->format, "g");
  EXPECT_EQ(elements<double>(*doubles.array, 1, 3), (std::vector<double>{0.1, 0, -INFINITY}));
  const ArrowBatch floats = exported(decoded(Doubles{0.1, {}, NAN}, {ValueKind::floating, 32}));
  EXPECT_STREQ(floats.schema->format, "f");
  const auto stored = elements<float>(*floats.array, 1, 3);
  EXPECT_EQ(stored[0], 0.1f);
  EXPECT_EQ(stored[1], 0.0f);
  EXPECT_TRUE(std::isnan(stored[2]));
}

TEST(ArrowExports, WriteTextBehindItsOffsets) {
  const Texts words{"pear", {}, "fig", ""};
  const ArrowBatch small = exported(decoded(words));
  EXPECT_STREQ(small.schema->format, "u");
  EXPECT_EQ(small.array->n_buffers, 3);
  EXPECT_EQ(elements<int32_t>(*small.array, 1, 5), (std::vector<int32_t>{0, 4, 4, 7, 7}));
  EXPECT_EQ(elements<char>(*small.array, 2, 7),
            (std::vector<char>{'p', 'e', 'a', 'r', 'f', 'i', 'g'}));
  const ArrowBatch large = exported(decoded(words, {ValueKind::text, 64}));
  EXPECT_STREQ(large.schema->format, "U");
  EXPECT_EQ(elements<int64_t>(*large.array, 1, 5), (std::vector<int64_t>{0, 4, 4, 7, 7}));
}

TEST(ArrowExports, BitsAboveTheRowsOfAScanLeaveClear) {
  RowBits hits(11);
  hits.words()[0] = 0xFFFFFFFFFFFFF405;
  DecodedColumn column{"hit", {ValueKind::boolean, 1}, std::move(hits), {}};
  const ArrowBatch batch = exported(column);
  EXPECT_STREQ(batch.schema->format, "b");
  EXPECT_EQ(elements<uint8_t>(*batch.array, 1, 2), (std::vector<uint8_t>{0x05, 0x04}));
  EXPECT_EQ(batch.array->length, 11);
}

TEST(ArrowExports, SayWhichRowsAreNull) {
  const ArrowBatch some = exported(decoded(Integers{1, {}, 3, {}, 5, 6, 7, 8, {}}));
  EXPECT_EQ(some.array->null_count, 3);
  EXPECT_EQ(elements<uint8_t>(*some.array, 0, 2), (std::vector<uint8_t>{0xF5, 0x00}));
  EXPECT_EQ(some.schema->flags, ARROW_FLAG_NULLABLE);
  const ArrowBatch none = exported(decoded(Integers{1, 2}));
  EXPECT_EQ(none.array->null_count, 0);
  EXPECT_EQ(none.array->buffers[0], nullptr);
  EXPECT_EQ(none.array->offset, 0);
  EXPECT_EQ(none.array->dictionary, nullptr);
  EXPECT_STREQ(none.schema->name, "made");
  EXPECT_EQ(none.schema->metadata, nullptr);
}

TEST(ArrowExports, BuffersAreAligned) {
  const ArrowBatch batch = exported(decoded(Texts{"a", {}}));
  for (int64_t buffer = 0; buffer < 3; ++buffer)
    EXPECT_EQ(reinterpret_cast<uintptr_t>(batch.array->buffers[buffer]) % 64, 0u);
}

TEST(ArrowExports, ColumnsOfNoRowsHaveTheirBuffers) {
  for (const ValueType& type :
       {ValueType{ValueKind::integer, 32}, ValueType{ValueKind::text, 32},
        ValueType{ValueKind::boolean, 1}, ValueType{ValueKind::floating, 64}}) {
    const ArrowBatch batch = exported(make_decoded_column("none", type, 0));
    EXPECT_EQ(batch.array->length, 0);
    for (int64_t buffer = 1; buffer < batch.array->n_buffers; ++buffer)
      EXPECT_NE(batch.array->buffers[buffer], nullptr);
    if (type.kind == ValueKind::text) {
      EXPECT_EQ(elements<int32_t>(*batch.array, 1, 1)[0], 0);
    }
  }
}

TEST(ArrowExports, RefuseValuesThatDoNotFitTheirType) {
  const auto refusal = [](int64_t value, ValueType type) {
    return refused(decoded(Integers{0, value}, type));
  };
  EXPECT_EQ(refusal(128, {ValueKind::integer, 8}),
            "column \"made\": row 1: 128 does not fit 8 bits");
  EXPECT_EQ(refusal(-129, {ValueKind::integer, 8}),
            "column \"made\": row 1: -129 does not fit 8 bits");
  EXPECT_EQ(refusal(-1, {ValueKind::unsigned_integer, 64}),
            "column \"made\": row 1: -1 does not fit 64 bits");
  EXPECT_EQ(refusal(256, {ValueKind::unsigned_integer, 8}),
            "column \"made\": row 1: 256 does not fit 8 bits");
  EXPECT_EQ(refusal(int64_t{1} << 31, {ValueKind::date, 32}),
            "column \"made\": row 1: 2147483648 does not fit 32 bits");
  EXPECT_EQ(refusal(INT64_MAX / 86'400'000 + 1, {ValueKind::date, 64}),
            "column \"made\": row 1: 106751991168 does not fit 64 bits");
  EXPECT_EQ(refusal(-10000, {ValueKind::decimal, 32, 4, 2}),
            "column \"made\": row 1: -10000 has more than 4 digits");
  EXPECT_EQ(refusal(INT64_MIN, {ValueKind::decimal, 64, 18, 2}),
            "column \"made\": row 1: -9223372036854775808 has more than 18 digits");
  EXPECT_EQ(refusal(INT64_MIN, {ValueKind::decimal, 64, 19, 2}), "exported");
  EXPECT_EQ(refused(decoded(Doubles{1e39}, {ValueKind::floating, 32})),
            "column \"made\": row 0: 9.9999999999999994e+38 is no floating number of 32 bits");
}

TEST(ArrowExports, RefuseTypesWithoutAFormat) {
  EXPECT_EQ(refused(decoded(Integers{1}, {ValueKind::integer, 24})),
            "column \"made\": no type of kind 1 has 24 bits and 0 digits");
  EXPECT_EQ(refused(decoded(Integers{1}, {ValueKind::decimal, 64, 0, 2})),
            "column \"made\": no type of kind 4 has 64 bits and 0 digits");
  EXPECT_EQ(refused(decoded(Texts{"a"}, {ValueKind::text, 128})),
            "column \"made\": text leaves with offsets of 32 or 64 bits, not as views");
  auto column = decoded(Integers{1});
  column.type = {ValueKind::floating, 64};
  EXPECT_EQ(refused(column), "column \"made\": the values are of another kind than the type says");
  auto bits = decoded(Integers{1});
  bits.present.emplace(2);
  EXPECT_EQ(refused(bits), "column \"made\": 1 values come with presence bits for 2 rows");
}

TEST(ArrowExports, TextBeyondOffsetsOf32BitsIsRefused) {
  const std::string block(1 << 20, 'x');
  const std::vector<std::string_view> texts(2048, block);
  const DecodedColumn column{"long", {ValueKind::text, 32}, texts, {}};
  EXPECT_EQ(refused(column),
            "column \"long\": 2147483648 bytes of text; offsets of 32 bits reach 2^31 - 1, use 64");
}

std::vector<DecodedColumn> two_columns(const Texts& words) {
  std::vector<DecodedColumn> columns;
  columns.push_back(decoded(Integers{7, {}, 9}));
  columns.push_back(decoded(words));
  columns[1].name = "word";
  return columns;
}

TEST(ArrowExports, ATableIsAStructOfItsColumns) {
  const Texts words{"a", "b", {}};
  const auto batch = export_arrow(two_columns(words)).value();
  EXPECT_STREQ(batch.schema->format, "+s");
  EXPECT_EQ(batch.schema->n_children, 2);
  EXPECT_STREQ(batch.schema->children[0]->name, "made");
  EXPECT_STREQ(batch.schema->children[1]->format, "u");
  EXPECT_EQ(batch.array->length, 3);
  EXPECT_EQ(batch.array->null_count, 0);
  EXPECT_EQ(batch.array->n_buffers, 1);
  EXPECT_EQ(batch.array->buffers[0], nullptr);
  EXPECT_EQ(batch.array->n_children, 2);
  EXPECT_EQ(batch.array->children[1]->null_count, 1);
  EXPECT_EQ(elements<int64_t>(*batch.array->children[0], 1, 3), (std::vector<int64_t>{7, 0, 9}));
  EXPECT_EQ(export_arrow({})->array->n_children, 0);

  auto uneven = two_columns(words);
  uneven[1] = decoded(Integers{1});
  uneven[1].name = "short";
  EXPECT_EQ(export_arrow(uneven).message(), "column \"short\" has 1 rows, column \"made\" 3");
}

TEST(ArrowExports, ReleasingAParentReleasesItsChildren) {
  const Texts words{"a", "b", {}};
  auto batch = export_arrow(two_columns(words)).value();
  ArrowArray array;
  ArrowSchema schema;
  batch.array.move_to(array);
  batch.schema.move_to(schema);
  schema.release(&schema);
  EXPECT_EQ(schema.release, nullptr);
  // The array does not need its schema.
  EXPECT_EQ(elements<int64_t>(*array.children[0], 1, 1)[0], 7);
  array.release(&array);
  EXPECT_EQ(array.release, nullptr);
}

TEST(ArrowExports, AMovedChildOutlivesItsParent) {
  const Texts words{"pear", "fig", {}};
  auto batch = export_arrow(two_columns(words)).value();
  ArrowArrayOwner child(*batch.array->children[1]);
  ArrowSchemaOwner type(*batch.schema->children[1]);
  EXPECT_EQ(batch.array->children[1]->release, nullptr);
  batch.array.reset();
  batch.schema.reset();
  EXPECT_STREQ(type->name, "word");
  const ArrowArray* arrays[] = {&*child};
  TypedReading reader;
  EXPECT_EQ(reader.read<std::string>(import_arrow_column(*type, arrays).value()), words);
}

struct ArrowRoundTrips : testing::Test, TypedReading {};

TEST_F(ArrowRoundTrips, WhatAScanFindsComesBack) {
  Integers numbers;
  Texts words;
  for (int64_t row = 0; row < 400; ++row) {
    numbers.push_back(row % 10 == 9 ? std::nullopt : std::optional(row * 37 % 101 - 50));
    words.push_back(row % 7 == 1 ? std::nullopt
                                 : std::optional("word " + std::to_string(row % 23)));
  }
  const auto number = store_typed_column(decoded(numbers), {.chunk_rows = 150}).value();
  const auto word = store_typed_column(decoded(words), {.chunk_rows = 150}).value();
  const auto scan = prepare_typed_scan(library, number, Compare::gt, int64_t{10}).value();
  std::vector<RowBits> hits;
  for (size_t chunk = 0; chunk < 3; ++chunk) {
    hits.emplace_back(number.column.chunks[chunk].rows);
    ASSERT_TRUE(scan.run(chunk, hits.back(), services));
  }
  Integers expected_numbers;
  Texts expected_words;
  for (size_t row = 0; row < 400; ++row)
    if (numbers[row] && *numbers[row] > 10) {
      expected_numbers.push_back(numbers[row]);
      expected_words.push_back(words[row]);
    }
  ASSERT_GT(expected_words.size(), 50u);

  std::vector<DecodedColumn> columns;
  columns.push_back(read_typed_column(library, services, number, hits).value());
  columns.push_back(read_typed_column(library, services, word, hits).value());
  const auto batch = export_arrow(columns).value();
  const ArrowArray* arrays[] = {&*batch.array};
  const auto back = import_arrow_table(*batch.schema, arrays).value();
  EXPECT_EQ(read<int64_t>(back[0]), expected_numbers);
  EXPECT_EQ(read<std::string>(back[1]), expected_words);
}

}  // namespace
}  // namespace colx::host
