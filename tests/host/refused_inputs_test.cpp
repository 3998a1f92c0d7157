// What the host layer refuses because kernels would leave it undefined: each with its message, and
// without a call of the library. Everything that could be called is a stand-in that counts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/bloom_filter.h"
#include "host/chunk_rows.h"
#include "host/encode_numbers.h"
#include "host/encode_rows.h"
#include "host/gathered_rows.h"
#include "host/group_keys.h"
#include "host/group_sums.h"
#include "host/join_table.h"
#include "host/partition_set.h"
#include "host/prepared_scan.h"
#include "host/stream_decoders.h"
#include "host/translation.h"
#include "host/value_reader.h"
#include "host/wpak_writer.h"

namespace colx::host {
namespace {

size_t calls = 0;

// Stands for a kernel or an exported function, whatever its arguments.
template <class Fn>
struct StandIn;
template <class... Args>
struct StandIn<uint32_t(Args...)> {
  static uint32_t call(Args...) {
    ++calls;
    return 0;
  }
};
uint32_t called_kernel() {
  ++calls;
  return 0;
}
template <class... Fn>
void replace(Fn*&... entries) {
  ((entries = StandIn<Fn>::call), ...);
}

struct RefusedInputs : testing::Test {
  Library real = Library::open(COLX_LIBRARY_FILE).value();
  std::vector<colx_kernel_fn> slots{COLX_DISPATCH_SLOTS,
                                    reinterpret_cast<colx_kernel_fn>(called_kernel)};
  colx_specialized_ctx record = real.record();
  Library library = real.through(record);
  HostServices services{slots.data(), StandIn<colx_wpak_decode_call>::call};

  RefusedInputs() {
    calls = 0;
    record.colx_sctx_dispatch = slots.data();
    replace(record.colx_sctx_bloom, record.colx_sctx_groupkey, record.colx_sctx_gby_sum,
            record.colx_sctx_convert, record.colx_sctx_prefix_decode, record.colx_sctx_hash,
            record.colx_sctx_ht_build, record.colx_sctx_ht_probe, record.colx_sctx_partition,
            record.colx_sctx_gather, record.colx_sctx_transpose_reference,
            record.colx_sctx_transpose_convert, record.colx_sctx_wpak_decode);
  }
};

TEST_F(RefusedInputs, WouldBeSeenIfTheyReachedAKernel) {
  const auto column = store_codes(std::vector<uint64_t>{5}, {.width_bits = 8}).value();
  RowBits hits(1);
  ASSERT_TRUE(PreparedScan::on_codes(library, column, {Compare::eq, 5})->run(0, hits, services));
  EXPECT_EQ(calls, 1u);
  const std::vector<uint64_t> hash{1};
  ASSERT_TRUE(BloomFilter::create(library, {})->test(HashColumn::of(hash), hits));
  EXPECT_EQ(calls, 2u);
  const auto stream = write_wpak(std::vector<uint8_t>{1}).value();
  EXPECT_FALSE(expand_wpak(stream.bytes(), services.env()));  // no byte was written
  EXPECT_EQ(calls, 3u);
}

TEST_F(RefusedInputs, AreConstantsThatDoNotFitTheCodes) {
  for (const uint32_t width : {2u, 7u, 9u, 15u, 17u, 20u, 24u}) {
    const auto column = store_codes(std::vector<uint64_t>{1}, {.width_bits = width}).value();
    const std::string range = " does not fit the column's " + std::to_string(width) +
                              "-bit codes; the largest is " + std::to_string((1u << width) - 1);
    const std::string constant = "constant " + std::to_string(1u << width);
    for (const CodePredicate& predicate :
         {CodePredicate{Compare::lt, 1u << width}, CodePredicate{Compare::gt_le, 0, 1u << width}})
      EXPECT_EQ(PreparedScan::on_codes(library, column, predicate).message(), constant + range);
  }
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreOneBitScansThatTakeEveryRowOfNone) {
  StoredColumn column;
  column.format = {Encoding::dict, 1};
  column.chunks.emplace_back().data = StreamBuffer(0);
  RowBits hits(0);
  for (const CodePredicate& predicate :
       {CodePredicate{Compare::le, 1}, CodePredicate{Compare::ge, 0},
        CodePredicate{Compare::ge_le, 0, 1}})
    EXPECT_EQ(PreparedScan::on_codes(library, column, predicate)->run(0, hits, services).message(),
              "chunk 0 has no rows; a one-bit scan that takes every row needs one");
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreWidthsAndChunksWithoutKernels) {
  const std::vector<uint64_t> codes{0, 1};
  EXPECT_EQ(store_codes(codes, {.chunk_rows = 65537}).message(),
            "chunks of 65537 rows: use 1 to 65536");
  EXPECT_EQ(store_codes(codes, {.runs = RunLengthOptions{.length_bits = 32}}).message(),
            "run lengths of 32 bits: use 8 or 16");
  EXPECT_EQ((ColumnFormat{Encoding::fixed, 12}).check().message(),
            "fixed rows of 12 bits have no kernel; use 1 to 8 whole bytes");
  EXPECT_EQ((ColumnFormat{Encoding::fixed, 72}).check().message(),
            "fixed rows of 72 bits have no kernel; use 1 to 8 whole bytes");
}

TEST_F(RefusedInputs, AreListedRowsThatTheChunkLacksOrThatFallAndEmptyListsAreAnswered) {
  const std::vector<int64_t> values{4, 4, 2, 2};
  const std::vector<uint32_t> beyond{3, 4}, falling{2, 1};
  for (const bool runs : {false, true}) {
    DictionaryColumnOptions options;
    if (runs) options.runs = RunLengthOptions{};
    const auto stored = store_dictionary_column<int64_t>(values, options).value();
    auto reader = ChunkReader::open(library, services, stored.column, 0).value();
    EXPECT_EQ(reader.rows(beyond).message(), "entry 1 asks for row 4 of a chunk of 4 rows");
    EXPECT_EQ(reader.rows({})->size(), 0u);
    if (runs) {
      EXPECT_EQ(reader.rows(falling).message(),
                "entry 1 asks for row 1 behind row 2; rows of a run-length chunk rise");
    }
  }
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreDamagedStreams) {
  StreamBuffer stream = write_wpak(std::vector<uint8_t>(9, 'x')).value();
  stream.data()[15] += 1;
  EXPECT_NE(expand_wpak(stream.bytes(), services.env()).message().find("decoded length 10"),
            std::string::npos);
  auto groups = write_prefix_groups(std::vector<uint8_t>{'1', '2', '1', '3'}, 2).value();
  groups.stream.data()[0] = 3;
  EXPECT_EQ(expand_prefix_groups(groups, record.colx_sctx_prefix_decode).message(),
            "prefix stream: group 0 at offset 0 has a prefix of 3 bytes, but values have 2");
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreFieldsOfHashesThatThereAreNot) {
  EXPECT_EQ(PartitionSet::create(library, {.highest_bit = 64, .shift = 60}).message(),
            "partitions by hash bits 60 to 64: use bits of 0 to 63, the lower one first");
  EXPECT_EQ(PartitionSet::create(library, {.highest_bit = 66, .shift = 64}).message(),
            "partitions by hash bits 64 to 66: use bits of 0 to 63, the lower one first");
  EXPECT_EQ(
      JoinTable::create(library, {uint64_t{1} << 52, BucketForm::k4v8}).message(),
      "4503599627370496 rows in 2^0 partitions want 2^51 buckets each; a hash has no bits for "
      "as many beside a tag of 32");
  EXPECT_EQ(BloomFilter::create(library, {.partition_bits = 17}).message(),
            "2^17 partitions: use up to 2^16");
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreEntriesAndPagesThatAStoreLacks) {
  const std::vector<uint8_t> values(40);
  const std::vector<KeyRows> columns{KeyRows::fixed(values, 4).value()};
  const auto build = [&](uint32_t page_bits) {
    return RowStore::build(library, columns, {.page_bits = page_bits}).message();
  };
  EXPECT_EQ(build(0), "pages of 2^0 entries: use 2^1 to 2^24");
  EXPECT_EQ(build(25), "pages of 2^25 entries: use 2^1 to 2^24");
  const std::vector<uint32_t> entries{9, 10};
  for (const StoreForm form : {StoreForm::lp, StoreForm::dlp, StoreForm::cla}) {
    const RowStore store = RowStore::build(real, columns, {form}).value();
    for (const GatherLayout layout :
         {GatherLayout::pointers, GatherLayout::copies, GatherLayout::fixed})
      EXPECT_EQ(GatheredRows::open(library, store, EntryList::of(entries), layout).message(),
                "reference 1 asks for entry 10 of a store of 10");
  }
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreCodesAsJoinKeys) {
  const auto codes = store_codes(std::vector<uint64_t>{1}).value();
  EXPECT_EQ(KeyRows::chunk(codes, 0).message(),
            "keys are taken from columns of fixed rows; decode others first");
}

TEST_F(RefusedInputs, AreStartRowsBehindTheLast) {
  const auto filter = BloomFilter::create(library, {}).value();
  const std::vector<uint64_t> hashes{1, 2};
  RowBits hits(2);
  EXPECT_EQ(filter.test(HashColumn::of(hashes), hits, nullptr, 3).message(),
            "start row 3 of 2 rows");
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreGroupsThatThereAreNot) {
  const auto numbers = store_dsb(std::vector<int64_t>{1, 2, 3}).value();
  auto sums = GroupSums::create(library, COLX_TYPE_DSB, 2).value();
  const std::vector<uint32_t> keys{0, 2, 1};
  EXPECT_EQ(sums.add(number_rows(numbers, 0).value(), keys).message(),
            "row 1 has group key 2, but there are 2 groups");
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreKeysAndCodesThatATranslationTableLacks) {
  const auto stored =
      store_fixed_numbers(std::vector<uint64_t>{7, 5, 9}, {.width_bytes = 4}).value();
  const KeyColumn keys = KeyColumn::of(stored).value();
  for (const TableForm form : {TableForm::flat, TableForm::offset, TableForm::paged}) {
    const uint32_t first = form == TableForm::offset ? 5 : 0;
    const auto table = TranslationTable::build(
        {}, {.form = form, .first_key = first, .last_key = 8, .page_shift = 1});
    ASSERT_TRUE(table) << table.message();
    EXPECT_EQ(
        Translation::bind(library, keys, *table, Translation::Output::rows).message(),
        "the column's keys go from 5 to 9, the table's from " + std::to_string(first) + " to 8");
  }
  for (const uint32_t shift : {0u, 32u, 64u})
    EXPECT_EQ(
        TranslationTable::build({}, {.form = TableForm::paged, .page_shift = shift}).message(),
        "pages of 2^" + std::to_string(shift) + " elements: use a page shift of 1 to 31");
  const auto shares = TranslationTable::build(std::vector<KeyCode>{{0, 5}, {1, 6}},
                                              {.element = ElementWidth::one_byte})
                          .value();
  const std::vector<uint32_t> codes{0, 2};
  std::vector<uint32_t> group_keys{1, 2};
  EXPECT_EQ(add_group_share(library, shares, codes, 1, group_keys).message(),
            "row 1 has code 2, but the table ends at 1");
  EXPECT_EQ(calls, 0u);
}

TEST_F(RefusedInputs, AreGroupKeysOfNoColumnsOfWideCodesAndWithoutAKernel) {
  const auto bind = [&](std::vector<const StoredColumn*> columns) {
    return GroupKeys::bind(library, services, std::move(columns)).message();
  };
  EXPECT_EQ(bind({}), "group keys of no columns: give one or more");
  const std::vector<int64_t> values{4, 2, 4};
  const auto wide = store_dictionary_column<int64_t>(values, {.width_bits = 64}).value();
  EXPECT_EQ(bind({&wide.column}), "column 0 holds no dictionary codes of up to 32 bits");
  const auto narrow = store_dictionary_column<int64_t>(values, {.width_bits = 3}).value();
  slots[colx_column_index(COLX_OPC_DECODE_UNPACK, narrow.column.format.key())] = nullptr;
  EXPECT_NE(bind({&narrow.column}).find(": has no kernel colx_decode_unpack_dict_3bit"),
            std::string::npos);
  EXPECT_EQ(calls, 0u);
}

}  // namespace
}  // namespace colx::host
