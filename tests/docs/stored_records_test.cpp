// The examples of docs/formats.md about what joins, translations and groups store: the host toolkit
// and the library write these bytes, and the library reads them back.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "host/bloom_filter.h"
#include "host/encode_codes.h"
#include "host/encode_rows.h"
#include "host/gathered_rows.h"
#include "host/group_keys.h"
#include "host/join_probe.h"
#include "host/join_table.h"
#include "host/key_rows.h"
#include "host/partition_set.h"
#include "host/row_store.h"
#include "host/translation.h"
#include "host/value_dictionary.h"
#include "tests/docs/page_examples.h"

namespace colx::test {
namespace {

using namespace host;

// A value in machine byte order as it lies in memory.
template <class Number>
std::string stored(Number number) {
  return hex(&number, sizeof number);
}

// A hash function for keys whose bytes are to be seen: the key's length and its first byte.
std::vector<std::string> hashed_keys;
uint64_t note_key(const void* key, uint64_t length, uint64_t) {
  hashed_keys.push_back(hex(key, length));
  return length;
}

struct StoredRecords : testing::Test {
  Library library = Library::open(COLX_LIBRARY_FILE).value();
  HostServices services{library};

  std::vector<std::string> keys_of(uint32_t layout, const void* data, const void* aux,
                                   uint32_t rows, uint32_t width_bits = 0) {
    colx_enc_ctx encoding{}, seed_encoding{};
    encoding.colx_enc_ctx_flags = layout;
    encoding.colx_enc_ctx_width = width_bits;
    seed_encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
    colx_cv keys{}, seeds{}, result{};
    uint64_t seed = 0;
    std::vector<uint64_t> hashes(rows);
    keys.colx_cv_data = const_cast<void*>(data);
    keys.colx_cv_aux = const_cast<void*>(aux);
    keys.colx_cv_num_of_rows = rows;
    keys.colx_cv_encoding_context = &encoding;
    seeds.colx_cv_data = &seed;
    seeds.colx_cv_num_of_rows = 1;
    seeds.colx_cv_encoding_context = &seed_encoding;
    result.colx_cv_data = hashes.data();
    hashed_keys.clear();
    EXPECT_EQ(library.record().colx_sctx_hash(&result, &keys, &seeds, note_key, nullptr),
              uint32_t{COLX_DONE});
    return hashed_keys;
  }
};

TEST_F(StoredRecords, KeyLayouts) {
  const std::vector<std::string> keys = {"61 62", "63 64"};
  const std::array<uint8_t, 4> values = {'a', 'b', 'c', 'd'};
  const std::array<uint16_t, 2> lengths = {2, 2};
  const std::array<uint8_t, 8> lv = {2, 0, 'a', 'b', 2, 0, 'c', 'd'};
  const std::array<const uint8_t*, 2> pointers = {values.data(), values.data() + 2};
  struct Record {
    uint16_t length;
    uint8_t unused[6];
    const uint8_t* value;
  };
  const std::array<Record, 2> lp = {Record{2, {}, pointers[0]}, Record{2, {}, pointers[1]}};
  static_assert(sizeof(Record) == 16);
  expect_example("record key layouts",
                 ExampleText()
                     .add("keys", "\"ab\" \"cd\"")
                     .add("fixed", hex(values))
                     .add("lv", hex(lv))
                     .add("lv_sep, values", hex(values))
                     .add("lv_sep, lengths", hex(lengths.data(), 4))
                     .add("lp, record 0", hex(&lp[0], 2) + " (6 unused) " + "pointer to 61 62")
                     .add("lp_sep", "pointers to 61 62 and 63 64")
                     .add("lp_sep, lengths", hex(lengths.data(), 4)));
  EXPECT_EQ(keys_of(COLX_FIXED, values.data(), nullptr, 2, 16), keys);
  EXPECT_EQ(keys_of(COLX_LV, lv.data(), nullptr, 2), keys);
  EXPECT_EQ(keys_of(COLX_LV_SEP, values.data(), lengths.data(), 2), keys);
  EXPECT_EQ(keys_of(COLX_LP, lp.data(), nullptr, 2), keys);
  EXPECT_EQ(keys_of(COLX_LP_SEP, pointers.data(), lengths.data(), 2), keys);
}

TEST_F(StoredRecords, PartitionRecords) {
  const std::vector<uint64_t> hashes = {0x1122334455667788};
  const KeyRows keys = KeyRows::hashes(hashes).value();
  ExampleText text;
  text.add("hash", "1122334455667788, row 5");
  const auto records_of = [&](const PartitionOptions& options, auto payload) {
    PartitionSet set = PartitionSet::create(library, options).value();
    EXPECT_TRUE(set.add(keys, payload));
    const auto records = set.records(1, 0);  // partition 1: the top four bits of the hash
    return hex(records.data(), records.size());
  };
  text.add("row_ids (hashrid)", records_of({}, RowValues::numbered_from(5)));
  const std::array<uint8_t, 3> payload = {'a', 'b', 'c'};
  const KeyRows payloads = KeyRows::fixed(payload, 3).value();
  text.add("payloads (lv)", records_of({.form = RecordForm::payloads}, payloads));
  text.add("fixed", records_of({.form = RecordForm::fixed, .fixed_bytes = 3}, payloads));

  const std::vector<uint32_t> codes = {0x01020304};
  PartitionSet set =
      PartitionSet::create(library, {.form = RecordForm::codes, .highest_bit = 0, .shift = 0})
          .value();
  ASSERT_TRUE(set.add(KeyRows::codes(codes).value(), RowValues::numbered_from(5)));
  const uint32_t partition = set.rows(0) ? 0 : 1;
  const uint8_t* const record = set.records(partition, 0).data();
  ASSERT_EQ(set.records(partition, 0).size(), 24u);
  text.add("codes (hashgdrid)",
           "(8 hash) " + hex(record + 8, 4) + " (4 unwritten) " + hex(record + 16, 8));
  expect_example("record partitions", text);
  EXPECT_TRUE(JoinTable::create(library, {.form = BucketForm::k4v8, .exact_codes = true})
                  ->build(set.keys(partition, 0).value(), RowValues::numbered_from(0)));
}

TEST_F(StoredRecords, HashBuckets) {
  // Tag and bucket number of both rows: 0x55667788, bucket 0.
  const std::vector<uint64_t> hashes = {0x55667788, 0x55667788};
  const KeyRows keys = KeyRows::hashes(hashes).value();
  ExampleText text;
  text.add("hash", "0000000055667788, values 5 and 6");
  const auto add = [&](const char* name, BucketForm form, size_t key, size_t value) {
    JoinTable table = JoinTable::create(library, {.expected_rows = 1, .form = form}).value();
    ASSERT_TRUE(table.build(keys, RowValues::numbered_from(5)));
    const auto* bucket = static_cast<const uint8_t*>(table.descriptor_of(0).colx_ht_buckets[0]);
    const size_t key_bytes = tag_bits(form) / 8, bytes = value_bytes(form);
    text.add(std::string(name) + ", byte 0", hex(bucket, 1));
    for (size_t slot = 0; slot < 2; ++slot) {
      const size_t key_at = key + slot * key_bytes, value_at = value + slot * bytes;
      text.add("  byte " + std::to_string(key_at), hex(bucket + key_at, key_bytes));
      text.add("  byte " + std::to_string(value_at), hex(bucket + value_at, bytes));
    }
    auto probe = JoinProbe::open(library, table, keys, RowValues::numbered_from(0),
                                 [](uint64_t, uint64_t) { return true; });
    const auto matches = probe->next().value();
    ASSERT_EQ(matches.size(), 4u);
    EXPECT_EQ(matches[1].probe_value, 0u);
    EXPECT_EQ(matches[1].build_value, 6u);
    if (form == BucketForm::k4v8) text.add("match (ridvalue)", hex(&matches[1], 16));
  };
  add("k2v4", BucketForm::k2v4, 2, 20);
  add("k2v8", BucketForm::k2v8, 2, 16);
  add("k4v4", BucketForm::k4v4, 4, 32);
  add("k4v8", BucketForm::k4v8, 4, 24);
  expect_example("record buckets", text);
}

TEST_F(StoredRecords, BloomFilters) {
  // Two hash values of 32 bits, big-endian: 0x0000000B and 0x00000100.
  const std::array<uint8_t, 8> hashes = {0, 0, 0, 0x0B, 0, 0, 1, 0};
  std::array<uint8_t, 2> flat = {0x00, 0x08};
  std::array<uint8_t, 1> low = {0x00}, high = {0x08};
  std::array<uint8_t*, 2> partitions = {low.data(), high.data()};
  ExampleText text;
  text.add("hash values", hex(hashes));
  for (const bool partitioned : {false, true}) {
    colx_enc_ctx encoding{}, filter_encoding{};
    encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
    encoding.colx_enc_ctx_width = 32;
    filter_encoding.colx_enc_ctx_bloom_hash_mask = 0xF;
    filter_encoding.colx_enc_ctx_bloom_partitioned = partitioned;
    filter_encoding.colx_enc_ctx_bloom_part_shift = 3;
    filter_encoding.colx_enc_ctx_bloom_bit_mask = 7;
    colx_cv column{}, filter{}, result{};
    column.colx_cv_data = const_cast<uint8_t*>(hashes.data());
    column.colx_cv_num_of_rows = 2;
    column.colx_cv_encoding_context = &encoding;
    uint64_t storage[2] = {};
    std::memcpy(storage, partitioned ? static_cast<void*>(partitions.data()) : flat.data(),
                partitioned ? 16 : 2);
    filter.colx_cv_bits = storage;
    filter.colx_cv_encoding_context = &filter_encoding;
    uint64_t bits = 0;
    uint32_t ends[2];
    result.colx_cv_bits = &bits;
    result.colx_cv_data = ends;
    colx_kctx kctx{};
    EXPECT_EQ(library.record().colx_sctx_bloom(&result, &column, &filter, &kctx),
              uint32_t{COLX_DONE});
    EXPECT_EQ(bits, 1u) << "row 0 passes: bit 11";
    if (partitioned)
      text.add("partitions", "pointers to " + hex(low) + " and " + hex(high));
    else
      text.add("flat", hex(flat));
  }
  expect_example("record bloom filters", text);
}

TEST_F(StoredRecords, RowStores) {
  const std::array<const char*, 2> starts = {"ab", "cde"};
  const std::array<uint16_t, 2> lengths = {2, 3};
  const KeyRows column = KeyRows::pointers(starts, lengths).value();
  const auto all_of = [&](const RowStore& store) {
    const std::vector<uint32_t> entries = {1, 0};
    auto rows = GatheredRows::open(library, store, EntryList::of(entries)).value();
    const GatheredValues values = rows.next().value();
    return std::string(values[0]) + " " + std::string(values[1]);
  };
  ExampleText text;
  text.add("values", "\"ab\" \"cde\"");
  const RowStore lp = RowStore::build(library, {&column, 1}, {.form = StoreForm::lp}).value();
  const auto* record = static_cast<const uint8_t*>(lp.describe().colx_store_lp_pages[0]) + 16;
  const uint8_t* value;
  std::memcpy(&value, record + 8, sizeof value);
  text.add("lp, record 1", hex(record, 2) + " (6 unwritten) pointer to " + hex(value, 3));
  EXPECT_EQ(all_of(lp), "cde ab");

  const RowStore cla = RowStore::build(library, {&column, 1}, {.form = StoreForm::cla}).value();
  text.add("cla, offsets", hex(cla.describe().colx_store_cla_pages[0], 12));
  text.add("cla, values", hex(cla.describe().colx_store_data_bases[0], 5));
  EXPECT_EQ(all_of(cla), "cde ab");

  const RowStore dlp = RowStore::build(library, {&column, 1}, {.form = StoreForm::dlp}).value();
  text.add("dlp, word 1",
           hex(static_cast<const uint8_t*>(dlp.describe().colx_store_dlp_pages[0]) + 8, 8));

  const std::array<KeyRows, 2> columns = {column, column};
  const RowStore rows = RowStore::build(library, columns, {.form = StoreForm::cla}).value();
  text.add("row form, cla", hex(rows.describe().colx_store_cla_pages[0], 12));
  text.add("row form, row 0", hex(rows.describe().colx_store_data_bases[0], 8));
  const auto* row = static_cast<const char*>(rows.describe().colx_store_data_bases[0]);
  EXPECT_EQ(row_value(row, 1), "ab");
  expect_example("record row stores", text);
}

TEST_F(StoredRecords, TranslationTables) {
  const std::vector<KeyCode> pairs = {{1, 3}, {4, 0}};
  ExampleText text;
  text.add("pairs", "key 1 code 3, key 4 code 0");
  for (const ElementWidth width : {ElementWidth::four_bits, ElementWidth::one_byte,
                                   ElementWidth::two_bytes, ElementWidth::four_bytes}) {
    const TranslationTable table =
        TranslationTable::build(pairs, {.element = width, .last_key = 5}).value();
    text.add("flat, " + std::to_string(element_bits(width)) + " bits",
             hex(table.elements(), 6 * element_bits(width) / 8));
  }
  const std::vector<KeyCode> members = {{1, 0}, {4, 0}};
  const TranslationTable bits =
      TranslationTable::build(members, {.element = ElementWidth::one_bit, .last_key = 5}).value();
  text.add("flat, 1 bit", hex(bits.elements(), 1));
  const TranslationTable offset =
      TranslationTable::build(pairs, {.form = TableForm::offset, .first_key = 1, .last_key = 5})
          .value();
  text.add("offset, 8 bits", hex(offset.elements(), 5) + ", first key 1");
  const TranslationTable paged =
      TranslationTable::build(pairs, {.form = TableForm::paged, .last_key = 5, .page_shift = 2})
          .value();
  colx_cv record;
  colx_enc_ctx encoding;
  colx_kctx kctx{};
  paged.describe(record, encoding, kctx);
  const auto* const* pages = reinterpret_cast<const uint8_t* const*>(record.colx_cv_bits);
  text.add("paged, 8 bits", "pointers to " + hex(pages[0], 4) + " and " + hex(pages[1], 4));
  expect_example("record translation tables", text);

  const StoredColumn column =
      store_fixed_numbers(std::vector<uint64_t>{4, 5, 1}, {.width_bytes = 4}).value();
  EXPECT_EQ(hex(column.chunks[0].data.bytes()), "00 00 00 04 00 00 00 05 00 00 00 01");
  const KeyColumn keys = KeyColumn::of(column).value();
  for (const TranslationTable* table : {&offset, &paged}) {
    const auto translation =
        Translation::bind(library, keys, *table, Translation::Output::rows_and_codes).value();
    RowBits hits(3);
    std::array<uint8_t, 3> codes{};
    EXPECT_EQ(translation.run(0, hits, codes)->hits, 2u);
    EXPECT_EQ(hex(codes), "00 FF 03");
  }
}

TEST_F(StoredRecords, GroupKeys) {
  const std::vector<int64_t> cities = {0, 1, 2, 2}, years = {0, 4, 3, 0};
  const std::vector<int64_t> all_years = {0, 1, 2, 3, 4};
  const auto city = store_dictionary_column<int64_t>(cities, {.width_bits = 2}).value();
  auto year_codes = Dictionary<int64_t>::build(all_years).value();
  StoredColumn year = store_codes(std::vector<uint64_t>{0, 4, 3, 0}, {.width_bits = 3}).value();
  year.dictionary = std::make_shared<const DictionaryImage>(year_codes.image().value());
  ExampleText text;
  text.add("codes", "0 1 2 2 of 3 in 2 bits, 0 4 3 0 of 5 in 3 bits");
  for (const bool multiplied : {true, false}) {
    const auto keys =
        GroupKeys::bind(library, services, {&city.column, &year},
                        multiplied ? KeyComposition::multiplied : KeyComposition::shifted)
            .value();
    std::array<uint32_t, 4> found{};
    ASSERT_EQ(keys.run(0, found).value(), 4u);
    std::string numbers;
    for (const uint32_t key : found) numbers += std::to_string(key) + " ";
    text.add(multiplied ? "multiplied" : "shifted",
             numbers + "below " + std::to_string(keys.key_space()));
    if (multiplied) text.add("  in memory", hex(found.data(), 16));
  }
  expect_example("record group keys", text);
}

TEST(StoredRecordExamples, AreTheOnesOfThePage) {
  EXPECT_EQ(example_names("record "),
            (std::set<std::string>{"record key layouts", "record partitions", "record buckets",
                                   "record bloom filters", "record row stores",
                                   "record translation tables", "record group keys"}));
}

}  // namespace
}  // namespace colx::test
