// The examples of docs/formats.md about columns, dictionaries and streams: the host's encoders
// write these bytes, and the library reads them back.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <numeric>
#include <string>
#include <vector>

#include "host/code_set.h"
#include "host/compressed_column.h"
#include "host/encode_codes.h"
#include "host/encode_numbers.h"
#include "host/encode_rows.h"
#include "host/prefix_writer.h"
#include "host/prepared_scan.h"
#include "host/row_reader.h"
#include "host/stream_decoders.h"
#include "host/stream_validation.h"
#include "host/value_forms.h"
#include "host/value_reader.h"
#include "host/wpak_writer.h"
#include "tests/docs/page_examples.h"

namespace colx::test {
namespace {

using namespace host;

void append(std::string& list, const std::string& item, const char* between = " ") {
  if (!list.empty()) list += between;
  list += item;
}

std::string number_list(std::span<const uint64_t> numbers) {
  std::string text;
  for (const uint64_t number : numbers) append(text, std::to_string(number));
  return text;
}

std::span<const uint8_t> bytes_of(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

struct StoredColumns : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};

  // The codes of chunk 0 as the library unpacks them.
  std::vector<uint64_t> unpacked(const StoredColumn& column) {
    auto reader = ChunkReader::open(library, services, column, 0).value();
    std::vector<uint64_t> codes;
    for (;;) {
      const auto batch = reader.next_codes(64).value();
      if (batch.empty()) return codes;
      codes.insert(codes.end(), batch.begin(), batch.end());
    }
  }

  // The rows of chunk 0 that a predicate finds, as "0 2".
  std::string found(const PreparedScan& scan, uint32_t rows) {
    RowBits hits(rows);
    EXPECT_TRUE(scan.run(0, hits, services));
    std::string text;
    for (uint32_t row = 0; row < rows; ++row)
      if (hits.test(row)) append(text, std::to_string(row));
    return text;
  }
};

TEST_F(StoredColumns, BitVectors) {
  RowBits bits(70);
  for (const uint64_t row : {0, 3, 9, 69}) bits.set(row);
  const auto* bytes = reinterpret_cast<const uint8_t*>(bits.data());
  expect_example("column bit vectors", ExampleText()
                                           .add("rows", "0 3 9 69 of 70")
                                           .add("word 0", hex(bytes, 8))
                                           .add("word 1", hex(bytes + 8, 8))
                                           .add("bytes", hex(bytes, 9)));
  colx_lbiwv_ictx rows;
  library.record().colx_sctx_lbiwv_ictx_ini2(&rows, bits.data(), 70, 0, 0);
  for (const uint64_t row : {uint64_t{0}, uint64_t{3}, uint64_t{9}, uint64_t{69}, UINT64_MAX})
    EXPECT_EQ(library.record().colx_sctx_lbiwviter(&rows), row);
}

TEST_F(StoredColumns, PackedCodes) {
  const std::vector<std::pair<uint32_t, std::vector<uint64_t>>> examples = {
      {1, {1, 0, 1, 1, 0, 0, 0, 0, 1}},
      {3, {1, 2, 3, 4, 5, 6, 7, 0}},
      {4, {1, 2, 15}},
      {11, {1, 2, 2047}},
      {8, {1, 255}},
      {16, {1, 258}},
      {24, {1, 66051}},
      {32, {1, 16909060}}};
  ExampleText text;
  for (const auto& [width, codes] : examples) {
    const StoredColumn column = store_codes(codes, {.width_bits = width}).value();
    text.add(std::to_string(width) + (width == 1 ? " bit" : " bits"), number_list(codes));
    text.bytes("", column.chunks[0].data.bytes());
    EXPECT_EQ(unpacked(column), codes);
  }
  const StoredColumn wide =
      store_codes(std::vector<uint64_t>{1, 72623859790382856}, {.width_bits = 64}).value();
  text.add("64 bits", "1 72623859790382856").bytes("", wide.chunks[0].data.bytes());
  const auto scan = PreparedScan::on_codes(library, wide, {Compare::eq, 72623859790382856});
  EXPECT_EQ(found(scan.value(), 2), "1");
  expect_example("column packed codes", text);
}

TEST_F(StoredColumns, FixedRowsAndTieCodes) {
  using namespace std::string_view_literals;
  const std::vector<std::string_view> values = {"\x12"sv, "\x12\x34"sv, "\x12\x00"sv,
                                                "\xAA\xBB\xCC"sv};
  const StoredColumn column =
      store_fixed(values, {.width_bytes = 3, .lengths = ValueLengths::kept}).value();
  expect_example("column fixed rows", ExampleText()
                                          .add("values", "12 | 12 34 | 12 00 | AA BB CC")
                                          .bytes("rows", column.chunks[0].data.bytes())
                                          .bytes("tie codes", column.chunks[0].second.bytes()));
  const StoredConstant constant = stored_constant("\x12\x00"sv).value();
  const auto plain = PreparedScan::on_values(library, column, {Compare::eq, constant});
  const auto ties = PreparedScan::on_values(library, column, {Compare::eq, constant, {}, true});
  EXPECT_EQ(found(plain.value(), 4), "0 2");
  EXPECT_EQ(found(ties.value(), 4), "2");
}

TEST_F(StoredColumns, DynpRows) {
  using namespace std::string_view_literals;
  const std::vector<std::string_view> values = {"\x12"sv, "\x12\x34"sv, "\xAA\xBB\xCC"sv,
                                                "\x01\x02\x03\x04"sv};
  const std::vector<std::string_view> wide = {"\x11"sv, "\x22\x33\x44"sv};
  const std::vector<std::string_view> narrow = {"\x01"sv, "\x02\x03"sv, "\x04"sv};
  ExampleText text;
  const auto add = [&](uint32_t bytes, const char* rows, const std::vector<std::string_view>& of) {
    const StoredColumn column = store_dynp(of, {.max_bytes = bytes}).value();
    text.add(std::to_string(8 * bytes) + " bits", rows);
    text.bytes("  rows", column.chunks[0].data.bytes());
    text.bytes("  lengths", column.chunks[0].second.bytes());
    RowReader reader(column, 0);
    for (const std::string_view value : of) EXPECT_EQ(reader.next(), value);
    const StoredConstant last = stored_constant(of.back()).value();
    const auto scan = PreparedScan::on_values(library, column, {Compare::eq, last});
    EXPECT_EQ(found(scan.value(), static_cast<uint32_t>(of.size())), std::to_string(of.size() - 1));
  };
  add(2, "01 | 02 03 | 04", narrow);
  add(4, "12 | 12 34 | AA BB CC | 01 02 03 04", values);
  add(8, "11 | 22 33 44", wide);
  expect_example("column dynp rows", text);
}

TEST_F(StoredColumns, Numbers) {
  ExampleText text;
  const std::vector<float> floats = {1.0f, -1.0f, 0.0f, -0.0f};
  text.add("canonical floats", "1.0 -1.0 0.0 -0.0");
  text.bytes("", store_floats(floats).value().chunks[0].data.bytes());
  const std::vector<double> doubles = {2.0};
  text.add("canonical double", "2.0");
  text.bytes("", store_doubles(doubles).value().chunks[0].data.bytes());
  const std::vector<int64_t> integers = {1, -2};
  const StoredColumn dsb = store_dsb(integers, {.width_bits = 16}).value();
  text.add("dsb, 16 bits", "1 -2").bytes("", dsb.chunks[0].data.bytes());
  text.add("counted", "5 256 300 0 -300");
  std::string counted;
  for (const int64_t number : {5, 256, 300, 0, -300}) {
    std::array<uint8_t, 8> form;
    const size_t bytes = store_counted(form.data(), number);
    append(counted, hex(form.data(), bytes), " | ");
    EXPECT_EQ(counted_integer_of({reinterpret_cast<const char*>(form.data()), bytes}), number);
  }
  expect_example("column numbers", text.add("", counted));
  EXPECT_EQ(canonical_double_of({"\xC0\0\0\0\0\0\0\0", 8}), 2.0);
}

TEST_F(StoredColumns, NullVectors) {
  StoredColumn column =
      store_codes(std::vector<uint64_t>{2, 0, 1, 2}, {.width_bits = 2, .zero_is_null = true})
          .value();
  RowBits reportable(4);
  for (const uint64_t row : {0, 1, 2}) reportable.set(row);
  ASSERT_TRUE(column.set_reportable(reportable));
  const auto scan = PreparedScan::on_codes(library, column, {Compare::ne, 1}).value();
  expect_example("column null vectors",
                 ExampleText()
                     .add("codes", "2 0 1 2")
                     .bytes("colx_cv_data", column.chunks[0].data.bytes())
                     .add("colx_cv_nulls", hex(column.chunks[0].reportable->data(), 8))
                     .add("ne 1, _null", "row " + found(scan, 4)));
}

TEST_F(StoredColumns, RunLengthColumns) {
  const std::vector<uint64_t> codes = {7, 7, 7, 7, 2, 2, 5};
  ExampleText text;
  text.add("rows", number_list(codes));
  for (const uint32_t bits : {8u, 16u}) {
    const StoredColumn column =
        store_codes(codes, {.width_bits = 3, .runs = RunLengthOptions{bits, true}}).value();
    const Chunk& chunk = column.chunks[0];
    if (bits == 8) text.bytes("codes, 3 bits", chunk.data.bytes());
    text.bytes("lengths, " + std::to_string(bits), chunk.runs->lengths.bytes());
    if (bits == 16) text.bytes("positions", chunk.runs->positions.bytes());
    EXPECT_EQ(unpacked(column), codes);
    const auto scan = PreparedScan::on_codes(library, column, {Compare::eq, 7}).value();
    EXPECT_EQ(found(scan, 7), "0 1 2 3");
  }
  expect_example("column run lengths", text);
}

TEST_F(StoredColumns, DictionaryImages) {
  using namespace std::string_view_literals;
  ExampleText text;
  for (const auto& symbols : {std::vector<std::string_view>{"ab"sv, "cd"sv, "ef"sv},
                              std::vector<std::string_view>{""sv, "a"sv, "bcd"sv}}) {
    DictionaryImage image = DictionaryImage::write(symbols).value();
    colx_enc_ctx encoding{};
    image.describe(encoding);
    size_t bytes = 0;
    for (const std::string_view symbol : symbols) bytes += symbol.size();
    const bool one_length = encoding.colx_enc_ctx_layout == COLX_DICT_ONE_LENGTH;
    text.add(one_length ? "one length" : "cumulative",
             one_length ? R"("ab" "cd" "ef")" : R"(NULL "a" "bcd")");
    text.add("  symbols", hex(encoding.colx_enc_ctx_symbols, bytes));
    if (one_length) text.add("  length", hex(encoding.colx_enc_ctx_one_len, 2));
    if (!one_length) text.add("  offsets", hex(encoding.colx_enc_ctx_cla, 16));

    StoredColumn column = store_codes(std::vector<uint64_t>{2, 0}, {.width_bits = 2}).value();
    column.dictionary = std::make_shared<const DictionaryImage>(std::move(image));
    auto reader = ChunkReader::open(library, services, column, 0).value();
    const ValueBatch values = reader.next(2).value();
    EXPECT_EQ(values.bytes(0), symbols[2]);
    EXPECT_EQ(values.is_null(1), symbols[0].empty());
  }
  expect_example("column dictionaries", text);
}

TEST_F(StoredColumns, CodeTables) {
  const std::vector<int64_t> values = {10, 20, 30, 40, 20};
  const auto stored = store_dictionary_column<int64_t>(values).value();
  RowBits wanted(4);
  for (const uint64_t code : {1, 3}) wanted.set(code);
  RowBits hits(5);
  const auto set = CodeSet::bind(library, stored.column, wanted).value();
  EXPECT_EQ(set.run(0, hits, services).value(), 3u);
  expect_example("column code tables", ExampleText()
                                           .add("wanted", "codes 1 3 of 4")
                                           .add("table", hex(wanted.data(), 8))
                                           .add("codes", "0 1 2 3 1")
                                           .add("hits", hex(hits.data(), 8)));
}

TEST_F(StoredColumns, WpakStreams) {
  const std::string data = "abcdabab";
  const std::array<WpakSymbol, 3> symbols = {WpakSymbol("ab"), WpakSymbol("c"), WpakSymbol("d")};
  const StreamBuffer stream = write_wpak_with(bytes_of(data), symbols).value();
  const WpakStream sound = wpak_validate(stream.data(), stream.size()).value();
  const uint8_t* const at = stream.data();
  expect_example("column wpak", ExampleText()
                                    .add("data", "abcdabab")
                                    .add("magic", hex(at, 4))
                                    .add("version, flags", hex(at + 4, 2))
                                    .add("reserved", hex(at + 6, 4))
                                    .add("aux", hex(at + 10, 2))
                                    .add("decoded length", hex(at + 12, 4))
                                    .add("symbol count", hex(at + 16, 2))
                                    .add("symbol lengths", hex(at + 18, 2))
                                    .add("symbols", hex(at + 20, 4))
                                    .add("code count", hex(at + 24, 4))
                                    .add("codes, 2 bits", hex(at + 28, stream.size() - 28)));
  EXPECT_EQ(sound.codes_at, 28u);
  EXPECT_EQ(sound.code_bits, 2u);
  const StreamBuffer expanded = expand_wpak(stream.bytes(), services.env()).value();
  EXPECT_EQ(std::string(expanded.bytes().begin(), expanded.bytes().end()), data);
}

TEST_F(StoredColumns, CompressedColumns) {
  StoredColumn column = store_codes(std::vector<uint64_t>(4096, 7), {.width_bits = 8}).value();
  Chunk& chunk = column.chunks[0];
  ASSERT_TRUE(compress_chunk(chunk).value());
  const auto scan = PreparedScan::on_codes(library, column, {Compare::eq, 7}).value();
  ExampleText text;
  text.add("rows", "4096 codes 7 of 8 bits");
  text.add("colx_cv_data", hex(chunk.data.data(), 4) + " ..");
  text.add("colx_cv_image_len", std::to_string(chunk.image_bytes));
  text.add("slot, before", *chunk.slot->address() ? "a copy" : "null");
  RowBits hits(4096);
  EXPECT_EQ(scan.run(0, hits, services).value(), 4096u);
  const void* const copy = *chunk.slot->address();
  ASSERT_NE(copy, nullptr);
  text.add("slot, after", hex(copy, 4) + " ..");
  EXPECT_EQ(scan.run(0, hits, services).value(), 4096u);
  EXPECT_EQ(*chunk.slot->address(), copy) << "the copy stays";
  EXPECT_EQ(services.counters().cached_calls, 1u);
  expect_example("column compressed", text);
}

TEST_F(StoredColumns, PrefixGroups) {
  std::vector<uint8_t> values;
  for (uint8_t value = 0; value < 18; ++value)
    for (const uint8_t byte : {uint8_t{0x20}, uint8_t{0x24}, value}) values.push_back(byte);
  const PrefixGroups groups = write_prefix_groups(values, 3).value();
  const auto stream = groups.stream.bytes();
  expect_example("column prefix groups", ExampleText()
                                             .add("values", "20 24 00 | 20 24 01 | .. | 20 24 11")
                                             .bytes("group 0", stream.first(19))
                                             .bytes("group 1", stream.subspan(19)));
  const StreamBuffer expanded =
      expand_prefix_groups(groups, library.record().colx_sctx_prefix_decode).value();
  EXPECT_EQ(std::vector<uint8_t>(expanded.bytes().begin(), expanded.bytes().end()), values);
}

TEST(StoredColumnExamples, AreTheOnesOfThePage) {
  EXPECT_EQ(
      example_names("column "),
      (std::set<std::string>{"column bit vectors", "column packed codes", "column fixed rows",
                             "column dynp rows", "column numbers", "column null vectors",
                             "column run lengths", "column dictionaries", "column code tables",
                             "column wpak", "column compressed", "column prefix groups"}));
}

}  // namespace
}  // namespace colx::test
