#include "host/value_reader.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "host/value_dictionary.h"
#include "host/value_forms.h"
#include "tests/host/oracle_decoders.h"

namespace colx::host {
namespace {

using Read = std::vector<std::optional<int64_t>>;

enum class Decoders { oracle, built };

// Everything is read twice: through the decoders' oracles, which tell what the readers ask of a
// library, and through the library as it was built.
struct Readers : testing::TestWithParam<Decoders> {
  OracleDecoders oracles;
  Library library =
      GetParam() == Decoders::oracle ? oracles.library() : Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};

  static void append(Read& read, const ValueBatch& batch) {
    for (size_t i = 0; i < batch.size(); ++i)
      read.push_back(batch.is_null(i) ? std::nullopt
                                      : std::optional<int64_t>(integer_of(batch.bytes(i))));
  }
  Read read_column(const StoredColumn& column, uint32_t batch_rows) {
    auto reader = ColumnReader::open(library, services, column, batch_rows);
    EXPECT_TRUE(reader) << reader.message();
    Read read;
    for (;;) {
      const auto batch = reader->next();
      EXPECT_TRUE(batch) << batch.message();
      if (!batch || batch->size() == 0) return read;
      EXPECT_LE(batch->size(), batch_rows);
      append(read, *batch);
    }
  }
  Read read_chunk(const StoredColumn& column, size_t chunk, Selection selection, uint32_t at_most) {
    auto reader = ChunkReader::open(library, services, column, chunk, selection);
    EXPECT_TRUE(reader) << reader.message();
    Read read;
    for (;;) {
      const auto batch = reader->next(at_most);
      EXPECT_TRUE(batch) << batch.message();
      if (!batch || batch->size() == 0) return read;
      EXPECT_LE(batch->size(), at_most);
      append(read, *batch);
    }
  }
};

// Some values in stretches, some of them NULL.
struct Sample {
  std::vector<int64_t> values;
  RowBits present;
  Read expected;
  explicit Sample(size_t rows, int64_t distinct) : present(rows) {
    for (size_t row = 0; row < rows; ++row) {
      values.push_back(static_cast<int64_t>(row / 3 * 7919 % 104729) % distinct * 100);
      if (row / 5 % 4) present.set(row);
      expected.push_back(present.test(row) ? std::optional(values.back()) : std::nullopt);
    }
  }
};

std::vector<DictionaryColumnOptions> forms(const RowBits* present) {
  return {{.present = present, .chunk_rows = 150},
          {.present = present, .chunk_rows = 150, .runs = RunLengthOptions{8, false}},
          {.present = present, .chunk_rows = 150, .runs = RunLengthOptions{16, true}}};
}

TEST_P(Readers, DecodeAColumnToItsValuesInBatchesOfAnySize) {
  for (const int64_t distinct : {1, 2, 7, 300}) {
    const Sample sample(400, distinct);
    for (const DictionaryColumnOptions& form : forms(&sample.present)) {
      const auto stored = store_dictionary_column<int64_t>(sample.values, form).value();
      for (const uint32_t batch_rows : {1u, 2u, 7u, 149u, 150u, 151u, 4096u})
        EXPECT_EQ(read_column(stored.column, batch_rows), sample.expected)
            << distinct << " values, runs " << form.runs.has_value() << ", batches of "
            << batch_rows;
    }
  }
}

TEST_P(Readers, DecodeSelectedRowsOfAChunk) {
  const Sample sample(400, 50);
  for (const DictionaryColumnOptions& form : forms(&sample.present)) {
    const auto stored = store_dictionary_column<int64_t>(sample.values, form).value();
    for (const uint64_t every : {1, 3, 149, 1000}) {
      RowBits selection(150);
      Read expected;
      for (uint64_t row = 1; row < 150; row += every) {
        selection.set(row);
        expected.push_back(sample.expected[150 + row]);
      }
      for (const bool walk : {false, true})
        for (const uint32_t at_most : {1u, 4u, 50u, 149u, 150u, 1000u})
          EXPECT_EQ(read_chunk(stored.column, 1, {&selection, walk}, at_most), expected)
              << "every " << every << ", walk " << walk << ", batches of " << at_most;
    }
    const RowBits none(150);
    EXPECT_EQ(read_chunk(stored.column, 0, {&none, false}, 10), Read{});
  }
}

TEST_P(Readers, DecodeListedRows) {
  const Sample sample(400, 50);
  for (const DictionaryColumnOptions& form : forms(&sample.present)) {
    const auto stored = store_dictionary_column<int64_t>(sample.values, form).value();
    auto reader = ChunkReader::open(library, services, stored.column, 2).value();
    const std::vector<uint32_t> rising{0, 0, 5, 6, 7, 99};
    Read read, expected;
    append(read, reader.rows(rising).value());
    for (const uint32_t row : rising) expected.push_back(sample.expected[300 + row]);
    EXPECT_EQ(read, expected);
    EXPECT_EQ(reader.rows({})->size(), 0u);
    EXPECT_EQ(reader.rows(std::vector<uint32_t>{3, 100}).message(),
              "entry 1 asks for row 100 of a chunk of 100 rows");
    // Reading by list does not disturb the batches.
    Read rest;
    append(rest, reader.next(100).value());
    EXPECT_EQ(rest, Read(sample.expected.begin() + 300, sample.expected.end()));
  }
}

TEST_P(Readers, ListedRowsMayFallOnlyWhereRowsAreStoredOneByOne) {
  const Sample sample(20, 5);
  const std::vector<uint32_t> falling{7, 3};
  const auto plain = store_dictionary_column<int64_t>(sample.values).value();
  Read read;
  append(read, ChunkReader::open(library, services, plain.column, 0)->rows(falling).value());
  EXPECT_EQ(read, (Read{sample.values[7], sample.values[3]}));
  const auto runs =
      store_dictionary_column<int64_t>(sample.values, {.runs = RunLengthOptions{}}).value();
  EXPECT_EQ(ChunkReader::open(library, services, runs.column, 0)->rows(falling).message(),
            "entry 1 asks for row 3 behind row 7; rows of a run-length chunk rise");
}

TEST_P(Readers, DecodeText) {
  const std::vector<std::string_view> words{"pear", "fig", "apple", "fig"};
  const auto stored = store_dictionary_column<std::string>(words).value();
  auto reader = ColumnReader::open(library, services, stored.column).value();
  const auto batch = reader.next().value();
  ASSERT_EQ(batch.size(), 4u);
  EXPECT_EQ(batch.bytes(0), "pear");
  EXPECT_EQ(batch.bytes(2), "apple");
  EXPECT_EQ(batch.codes[1], batch.codes[3]);
  EXPECT_EQ(stored.dictionary.value(batch.codes[1]), "fig");
}

TEST_P(Readers, DecodeAColumnOfNullsOnly) {
  const RowBits none(3);
  const std::vector<int64_t> values(3);
  const auto stored = store_dictionary_column<int64_t>(values, {.present = &none}).value();
  EXPECT_EQ(read_column(stored.column, 2), Read(3));
}

TEST_P(Readers, CodesWithoutADictionaryAreReadAsCodes) {
  const auto column = store_codes(std::vector<uint64_t>{3, 1, 2}).value();
  auto reader = ChunkReader::open(library, services, column, 0).value();
  EXPECT_EQ(reader.next(8).message(), "the column's codes have no dictionary; read next_codes()");
  EXPECT_FALSE(reader.rows({}));
  const auto codes = reader.next_codes(8).value();
  EXPECT_EQ(std::vector<uint32_t>(codes.begin(), codes.end()), (std::vector<uint32_t>{3, 1, 2}));
  EXPECT_TRUE(reader.next_codes(8)->empty());
  EXPECT_EQ(ColumnReader::open(library, services, column).message(),
            "the column's codes have no dictionary");
}

TEST_P(Readers, AnEmptyColumnHasNoValues) {
  const auto stored = store_dictionary_column<int64_t>({}).value();
  EXPECT_EQ(read_column(stored.column, 10), Read{});
}

TEST_P(Readers, RefuseWhatCannotBeRead) {
  const auto wide = store_codes(std::vector<uint64_t>{1}, {.width_bits = 64}).value();
  EXPECT_EQ(ChunkReader::open(library, services, wide, 0).message(),
            std::string{GetParam() == Decoders::oracle ? "oracles" : COLX_LIBRARY_FILE} +
                ": has no kernel colx_decode_unpack_dict_64bit");
  const auto codes = store_codes(std::vector<uint64_t>{1}).value();
  EXPECT_EQ(ChunkReader::open(library, services, codes, 1).message(),
            "chunk 1 of a column with 1 chunks");
  const RowBits two(2);
  EXPECT_EQ(ChunkReader::open(library, services, codes, 0, {&two, false}).message(),
            "chunk 0 has 1 rows, the selection 2");
  EXPECT_EQ(ChunkReader::open(library, services, codes, 0)->next_codes(0).message(),
            "a batch of 0 codes was asked for; ask for 1 or more");
  StoredColumn fixed;
  fixed.format = {Encoding::fixed, 32};
  EXPECT_EQ(ChunkReader::open(library, services, fixed, 0).message(),
            "only columns of dictionary codes are decoded");
  const auto stored = store_dictionary_column<int64_t>(std::vector<int64_t>{1}).value();
  EXPECT_EQ(ColumnReader::open(library, services, stored.column, 0).message(),
            "batches of 0 rows: use 1 or more");
}

INSTANTIATE_TEST_SUITE_P(, Readers, testing::Values(Decoders::oracle, Decoders::built),
                         [](const auto& decoders) {
                           return decoders.param == Decoders::oracle ? "Oracle" : "Built";
                         });

}  // namespace
}  // namespace colx::host
