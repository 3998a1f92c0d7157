// What the host layer hands to kernels: never an input that kernels leave undefined, whatever the
// caller asks for. Each call is looked at on its way to the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "host/bloom_filter.h"
#include "host/chunk_rows.h"
#include "host/compressed_column.h"
#include "host/encode_rows.h"
#include "host/gathered_rows.h"
#include "host/group_keys.h"
#include "host/join_probe.h"
#include "host/partition_set.h"
#include "host/translation.h"
#include "host/value_reader.h"

namespace colx::host {
namespace {

// `real` behind something that looks at its arguments first; one of each `place` at a time.
template <auto place, class Fn>
struct Looked;
template <auto place, class... Args>
struct Looked<place, uint32_t (*)(Args...)> {
  static inline uint32_t (*real)(Args...) = nullptr;
  static inline std::function<void(Args...)> look;
  static uint32_t call(Args... args) {
    look(args...);
    return real(args...);
  }
};

struct KernelCalls : testing::Test {
  Library opened = Library::open(COLX_LIBRARY_FILE).value();
  std::vector<colx_kernel_fn> slots{opened.record().colx_sctx_dispatch,
                                    opened.record().colx_sctx_dispatch + COLX_DISPATCH_SLOTS};
  colx_specialized_ctx record = opened.record();
  Library library = opened.through(record);
  HostServices services{opened};
  size_t calls = 0;

  KernelCalls() { record.colx_sctx_dispatch = slots.data(); }

  // Looks at the calls of a function of the record; counts them.
  template <auto entry, class Look>
  void watch(Look look) {
    using Watch = Looked<entry, std::remove_reference_t<decltype(record.*entry)>>;
    Watch::real = record.*entry;
    Watch::look = [this, look](auto... args) {
      ++calls;
      look(args...);
    };
    record.*entry = Watch::call;
  }
  // The same for the kernel of a slot, which has the call shape Fn.
  template <uint32_t opc, class Fn, class Look>
  void watch_slot(uint8_t key, Look look) {
    using Watch = Looked<opc, Fn>;
    colx_kernel_fn& slot = slots[colx_column_index(opc, key)];
    Watch::real = reinterpret_cast<Fn>(slot);
    Watch::look = [this, look](auto... args) {
      ++calls;
      look(args...);
    };
    slot = reinterpret_cast<colx_kernel_fn>(Watch::call);
  }
  void expect_services(const colx_kctx* kctx) {
    ASSERT_NE(kctx, nullptr);
    EXPECT_EQ(kctx->colx_kctx_env, services.env());
  }
};

std::vector<uint32_t> numbers(uint32_t count) {
  std::vector<uint32_t> all(count);
  for (uint32_t i = 0; i < count; ++i) all[i] = i * 2654435761u;
  return all;
}
KeyRows keys_of(const std::vector<uint32_t>& numbers) {
  return KeyRows::fixed({reinterpret_cast<const uint8_t*>(numbers.data()), numbers.size() * 4}, 4)
      .value();
}

TEST_F(KernelCalls, ReadColumnsWithAKctxAndServices) {
  std::vector<int64_t> values;
  for (int64_t row = 0; row < 3000; ++row) values.push_back(row / 50 % 7);
  auto plain = store_dictionary_column<int64_t>(values, {.width_bits = 8}).value();
  auto runs =
      store_dictionary_column<int64_t>(values, {.width_bits = 8, .runs = RunLengthOptions{}})
          .value();
  ASSERT_GT(compress_column(plain.column), 0u);
  const uint8_t key = plain.column.format.key();
  watch_slot<COLX_OPC_EQ, colx_scan_fn>(
      key, [&](auto, auto, auto, colx_kctx* kctx) { expect_services(kctx); });
  watch_slot<COLX_OPC_GE_LE, colx_range_scan_fn>(
      key, [&](auto, auto, auto, auto, colx_kctx* kctx) { expect_services(kctx); });
  watch_slot<COLX_OPC_DECODE_UNPACK, colx_decode_fn>(
      key, [&](auto, auto, colx_kctx* kctx) { expect_services(kctx); });
  watch_slot<COLX_OPC_DECODE, colx_decode_fn>(
      key, [&](auto, auto, colx_kctx* kctx) { expect_services(kctx); });
  watch_slot<COLX_OPC_SET, colx_binary_fn>(
      key, [&](auto, auto, auto, colx_kctx* kctx) { expect_services(kctx); });
  watch<&colx_specialized_ctx::colx_sctx_groupkey>(
      [&](auto, auto, auto, auto, auto, colx_kctx* kctx) { expect_services(kctx); });
  for (const StoredColumn* column : {&plain.column, &runs.column}) {
    RowBits hits(3000);
    ASSERT_TRUE(PreparedScan::on_codes(library, *column, {Compare::eq, 3})->run(0, hits, services));
    ASSERT_TRUE(
        PreparedScan::on_codes(library, *column, {Compare::ge_le, 3, 4})->run(0, hits, services));
    auto reader = ChunkReader::open(library, services, *column, 0).value();
    ASSERT_TRUE(reader.next(3000));
    ASSERT_TRUE(reader.rows(std::vector<uint32_t>{1, 2}));
    ChunkRows left(library, services);
    left.start(0, 3000);
    std::vector<uint32_t> codes(3000);
    ASSERT_TRUE(CodeUnpack::bind(library, *column)->run(left, codes));
    ASSERT_TRUE(GroupKeys::bind(library, services, {column})->run(0, codes));
  }
  EXPECT_EQ(calls, 12u);
}

TEST_F(KernelCalls, PartitionIntoACursorAndAnEndForEveryNumberOfTheirField) {
  watch<&colx_specialized_ctx::colx_sctx_partition>(
      [&](colx_part_set* parts, colx_cv* source, auto, auto, colx_kctx* kctx) {
        ASSERT_NE(kctx, nullptr);
        ASSERT_LE(parts->colx_part_hi, 63);
        ASSERT_LE(parts->colx_part_shift, parts->colx_part_hi);
        const uint32_t bits = parts->colx_part_hi - parts->colx_part_shift + 1;
        for (uint32_t part = 0; part < uint32_t{1} << bits; ++part) {
          ASSERT_NE(parts->colx_part_cursors[part], nullptr);
          ASSERT_LE(parts->colx_part_cursors[part], parts->colx_part_ends[part]);
        }
        if (!(source->colx_cv_encoding_context->colx_enc_ctx_flags & COLX_LV)) return;
        const auto* at = static_cast<const uint8_t*>(source->colx_cv_data);
        for (uint32_t row = 0; row < source->colx_cv_num_of_rows; ++row) {
          const uint32_t length = at[0] | at[1] << 8;
          ASSERT_GE(length, 8u);
          at += 2 + length;
        }
      });
  const auto keys = numbers(5000);
  for (const uint32_t shift : {0u, 3u, 52u, 60u, 63u})
    for (const uint32_t highest : {shift, std::min(shift + 11, 63u)}) {
      PartitionOptions options{.highest_bit = highest, .shift = shift, .region_bytes = 64};
      auto row_ids = PartitionSet::create(library, options).value();
      ASSERT_TRUE(row_ids.add(keys_of(keys), RowValues::numbered_from(0)));
      options.form = RecordForm::payloads;
      auto payloads = PartitionSet::create(library, options).value();
      ASSERT_TRUE(payloads.add(keys_of(keys), keys_of(keys)));
      auto split = PartitionSet::create(library, options).value();
      ASSERT_TRUE(split.add(payloads, 0));
    }
  EXPECT_GT(calls, 100u);
}

TEST_F(KernelCalls, GatherByFieldsThatTheStoreHas) {
  const auto entries = numbers(300);
  watch<&colx_specialized_ctx::colx_sctx_gather>(
      [&](colx_cv* result, colx_cv* source, const colx_row_store* store, colx_kctx* kctx) {
        ASSERT_NE(kctx, nullptr);
        ASSERT_LE(store->colx_store_page_shift, 64);
        ASSERT_LE(store->colx_store_page_hi, 63);
        ASSERT_LE(result->colx_cv_encoding_context->colx_enc_ctx_dlp_bits, 63);
        ASSERT_LE(source->colx_cv_encoding_context->colx_enc_ctx_width, 64u);
      });
  std::vector<uint32_t> narrow;
  std::vector<uint64_t> wide;
  std::vector<Match> matches;
  for (uint32_t entry = 0; entry < 300; ++entry) {
    narrow.push_back(299 - entry);
    wide.push_back(entry);
    matches.push_back({entry, 299 - entry});
  }
  for (const StoreForm form : {StoreForm::lp, StoreForm::dlp, StoreForm::cla})
    for (const uint32_t page_bits : {1u, 8u, 24u}) {
      const std::vector<KeyRows> columns{keys_of(entries)};
      const auto store = RowStore::build(library, columns, {form, page_bits}).value();
      for (const EntryList& list : {EntryList::of(narrow), EntryList::of(wide),
                                    EntryList::build_side(matches), EntryList::probe_side(matches)})
        for (const GatherLayout layout :
             {GatherLayout::pointers, GatherLayout::copies, GatherLayout::fixed})
          ASSERT_TRUE(GatheredRows::open(library, store, list, layout)->next());
    }
  EXPECT_EQ(calls, 3u * 3 * 4 * 3);
}

TEST_F(KernelCalls, TransposeIntoBlocksWhoseOffsetsAreOneArray) {
  const void* first_offset = nullptr;
  watch<&colx_specialized_ctx::colx_sctx_transpose_reference>(
      [&](auto, auto, auto, int32_t block, auto) { ASSERT_GE(block, 0); });
  watch<&colx_specialized_ctx::colx_sctx_transpose_convert>(
      [&](colx_row_store* out, auto, auto, int32_t block, uint32_t from, auto, auto) {
        ASSERT_GE(block, 0);
        if (from == 0) first_offset = out->colx_store_cla_write[block];
        // Behind the leading one, at that of row `from`.
        const auto* offset = static_cast<const uint32_t*>(out->colx_store_cla_write[block]);
        if (from == 0) return;
        ASSERT_EQ(offset - static_cast<const uint32_t*>(first_offset), int64_t{from} + 1);
      });
  const auto values = numbers(1000);
  const std::vector<KeyRows> columns{keys_of(values), keys_of(values)};
  for (const uint32_t page_bytes : {1u, 100u, 0u})
    ASSERT_TRUE(RowStore::build(library, columns, {StoreForm::cla, 8, page_bytes}));
  EXPECT_GT(calls, 40u);
}

TEST_F(KernelCalls, HashWithOneSeed) {
  watch<&colx_specialized_ctx::colx_sctx_hash>(
      [&](auto, colx_cv* source, colx_cv* seeds, auto, auto) {
        EXPECT_EQ(seeds->colx_cv_num_of_rows, 1u);
        EXPECT_FALSE(source->colx_cv_encoding_context->colx_enc_ctx_flags & COLX_DICT);
      });
  const auto keys = numbers(100);
  std::vector<uint64_t> hashes(100);
  ASSERT_TRUE(hash_keys(library, keys_of(keys), hashes));
  EXPECT_EQ(calls, 1u);
}

// Of a table's descriptor in any call: fields that shifts take, room that is whole buckets.
void check_table(const colx_ht& ht, const JoinTable& table, uint32_t partitions) {
  ASSERT_LE(ht.colx_ht_part_shift, 63);
  ASSERT_EQ(ht.colx_ht_part_low_bits, 0);
  ASSERT_LE(ht.colx_ht_bucket_hi, ht.colx_ht_part_hi);
  ASSERT_EQ(uint64_t{1} << (ht.colx_ht_bucket_hi + 1 - tag_bits(table.form())), table.buckets());
  ASSERT_EQ(uint32_t{1} << (ht.colx_ht_part_hi - ht.colx_ht_bucket_hi), partitions);
  for (uint32_t part = 0; part < partitions; ++part) {
    const auto* at = static_cast<const uint8_t*>(ht.colx_ht_over_cur[part]);
    const auto* end = static_cast<const uint8_t*>(ht.colx_ht_over_end[part]);
    ASSERT_GE(end, at);
    ASSERT_EQ((end - at) % 64, 0);
  }
}

bool all_zero(const void* words, uint64_t count) {
  const auto* at = static_cast<const uint64_t*>(words);
  return std::all_of(at, at + count, [](uint64_t word) { return word == 0; });
}

TEST_F(KernelCalls, BuildAndProbeTablesThatTheirHashBitsFit) {
  const JoinTable* built = nullptr;
  bool first_call = true;
  watch<&colx_specialized_ctx::colx_sctx_ht_build>(
      [&](colx_ht* ht, colx_cv* source, auto, auto, auto, auto) {
        check_table(*ht, *built, built->partitions());
        EXPECT_FALSE(source->colx_cv_encoding_context->colx_enc_ctx_flags & COLX_LV);
        for (uint32_t part = 0; first_call && part < built->partitions(); ++part)
          ASSERT_TRUE(all_zero(ht->colx_ht_buckets[part], built->buckets() * 8));
        first_call = false;
      });
  uint32_t seen_partitions = 0;
  watch<&colx_specialized_ctx::colx_sctx_ht_probe>(
      [&](auto, colx_cv* source, auto, const colx_ht* ht, auto, auto) {
        check_table(*ht, *built, seen_partitions);
        EXPECT_FALSE(source->colx_cv_encoding_context->colx_enc_ctx_flags & COLX_LV);
      });
  const auto keys = numbers(4000);
  for (const BucketForm form :
       {BucketForm::k2v4, BucketForm::k2v8, BucketForm::k4v4, BucketForm::k4v8})
    for (const uint32_t partition_bits : {0u, 3u})
      for (const uint64_t expected : {uint64_t{0}, uint64_t{4000}}) {
        auto table = JoinTable::create(library, {expected, form, false, partition_bits}).value();
        built = &table;
        first_call = true;
        ASSERT_TRUE(table.build(keys_of(keys), RowValues::numbered_from(0)));
        const auto same = [](uint64_t probe, uint64_t build) { return probe == build; };
        const auto probe_all = [&](Result<JoinProbe> probe) {
          while (true) {
            const auto matches = probe->next();
            ASSERT_TRUE(matches);
            if (matches->empty()) return;
          }
        };
        seen_partitions = table.partitions();
        probe_all(
            JoinProbe::open(library, table, keys_of(keys), RowValues::numbered_from(0), same));
        seen_partitions = 1;
        probe_all(JoinProbe::open_partition(library, table, table.partitions() - 1, keys_of(keys),
                                            RowValues::numbered_from(0), same));
      }
  EXPECT_GT(calls, 60u);
}

TEST_F(KernelCalls, TestFiltersThatTheirMasksFitAndClearResults) {
  const BloomFilter* filter = nullptr;
  uint32_t partitions = 1;
  watch<&colx_specialized_ctx::colx_sctx_bloom>(
      [&](colx_cv* result, colx_cv* source, colx_cv* bits, colx_kctx* kctx) {
        ASSERT_NE(kctx, nullptr);
        ASSERT_LE(kctx->colx_kctx_start_row, source->colx_cv_num_of_rows);
        ASSERT_TRUE(all_zero(result->colx_cv_bits, (source->colx_cv_num_of_rows + 63) / 64));
        const colx_enc_ctx& encoding = *bits->colx_cv_encoding_context;
        ASSERT_EQ(uint64_t{encoding.colx_enc_ctx_bloom_hash_mask} + 1, filter->bits());
        ASSERT_EQ(encoding.colx_enc_ctx_bloom_partitioned != 0, partitions > 1);
        if (partitions == 1) return;
        ASSERT_LE(encoding.colx_enc_ctx_bloom_part_shift, 31u);
        ASSERT_EQ(filter->bits() >> encoding.colx_enc_ctx_bloom_part_shift, partitions);
        ASSERT_EQ(uint64_t{encoding.colx_enc_ctx_bloom_bit_mask} + 1, filter->bits() / partitions);
      });
  std::vector<uint64_t> hashes(500);
  for (uint64_t i = 0; i < 500; ++i) hashes[i] = i * 0x9E3779B97F4A7C15u;
  for (const uint32_t partition_bits : {0u, 1u, 9u})
    for (const uint64_t rows : {0u, 500u, 100000u}) {
      auto made =
          BloomFilter::create(library, {.expected_rows = rows, .partition_bits = partition_bits})
              .value();
      filter = &made;
      partitions = uint32_t{1} << partition_bits;
      ASSERT_TRUE(made.add(HashColumn::of(hashes)));
      for (const uint32_t start : {0u, 77u, 500u}) {
        RowBits hits(500), selection(500);
        hits.set_all();
        selection.set_all();
        ASSERT_EQ(made.test(HashColumn::of(hashes), hits, &selection, start)->count, 500 - start);
      }
    }
  EXPECT_EQ(calls, 27u);
}

TEST_F(KernelCalls, TranslateFromRow0WithAKctx) {
  const auto keys = store_fixed_numbers(std::vector<uint64_t>{7, 5, 9}, {.width_bytes = 4}).value();
  const auto column = KeyColumn::of(keys).value();
  const auto table = TranslationTable::build({}, {.last_key = 9}).value();
  watch_slot<COLX_OPC_XLATE, colx_binary_fn>(
      colx_column_key(COLX_XLATE_SIM, COLX_WIDTH_UB1, COLX_FORM_PLAIN),
      [&](auto, auto, auto, colx_kctx* kctx) {
        ASSERT_NE(kctx, nullptr);
        EXPECT_EQ(kctx->colx_kctx_start_row, 0u);
      });
  RowBits hits(3);
  const auto translation =
      Translation::bind(library, column, table, Translation::Output::rows).value();
  ASSERT_TRUE(translation.run(0, hits));
  EXPECT_EQ(calls, 1u);
}

TEST_F(KernelCalls, ComposeGroupKeysThroughRoomyScratchByNoLists) {
  watch<&colx_specialized_ctx::colx_sctx_groupkey>(
      [&](auto, auto, colx_cv* columns, uint32_t count, colx_cv* scratch, colx_kctx* kctx) {
        EXPECT_EQ(scratch->colx_cv_num_of_rows, 2048u);
        EXPECT_EQ(kctx->colx_kctx_rows, nullptr);
        ASSERT_GT(count, 0u);
        for (uint32_t i = 0; i < count; ++i)
          EXPECT_LE(columns[i].colx_cv_encoding_context->colx_enc_ctx_width, 32u);
      });
  const auto stored = store_dictionary_column<int64_t>(std::vector<int64_t>{4, 2, 4}).value();
  std::vector<uint32_t> keys(3);
  RowBits two(3);
  two.set(0);
  two.set(2);
  for (const KeyComposition form : {KeyComposition::multiplied, KeyComposition::shifted}) {
    const auto bound =
        GroupKeys::bind(library, services, {&stored.column, &stored.column}, form).value();
    ASSERT_EQ(bound.run(0, keys).value(), 3u);
    ASSERT_EQ(bound.run(0, keys, &two).value(), 2u);
  }
  EXPECT_EQ(calls, 4u);
}

}  // namespace
}  // namespace colx::host
