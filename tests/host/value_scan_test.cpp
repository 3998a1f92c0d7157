// Scans of stored values and of compressed chunks: what the kernels are given.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "host/encode_rows.h"
#include "host/prepared_scan.h"

namespace colx::host {
namespace {

using Values = std::vector<std::string_view>;

// What a scan kernel was called with.
struct Call {
  std::string low, high;
  uint8_t low_tie = 0, high_tie = 0;
  uint32_t low_width = 0, high_width = 0, column_width = 0;
  const void *data = nullptr, *aux = nullptr;
  uint32_t flags = 0;
} seen;

std::string word(const void* at) {
  return {static_cast<const char*>(at), 8};
}
uint32_t width(const void* at) {
  return static_cast<const colx_enc_ctx*>(at)->colx_enc_ctx_width;
}

uint32_t see_scan(colx_cv* res, colx_cv* src, const void* const* args, colx_kctx*) {
  seen = {};
  seen.low = word(args[0]);
  seen.low_tie = *static_cast<const uint8_t*>(args[1]);
  seen.low_width = width(args[3]);
  seen.column_width = src->colx_cv_encoding_context->colx_enc_ctx_width;
  seen.data = src->colx_cv_data;
  seen.aux = src->colx_cv_aux;
  seen.flags = src->colx_cv_encoding_context->colx_enc_ctx_flags;
  res->colx_cv_num_set = 77;
  return COLX_DONE;
}

uint32_t see_range(colx_cv* res, colx_cv* src, const void* const* lo_args,
                   const void* const* hi_args, colx_kctx* kctx) {
  see_scan(res, src, lo_args, kctx);
  seen.high = word(hi_args[0]);
  seen.high_tie = *static_cast<const uint8_t*>(hi_args[1]);
  seen.high_width = width(hi_args[3]);
  return COLX_DONE;
}

uint32_t refuse_scan(colx_cv*, colx_cv*, const void* const*, colx_kctx*) {
  return COLX_NOT_SERVED;
}

struct ValueScans : testing::Test {
  std::vector<colx_kernel_fn> slots = std::vector<colx_kernel_fn>(COLX_DISPATCH_SLOTS);
  std::vector<const char*> names = std::vector<const char*>(COLX_DISPATCH_SLOTS, "seen");
  colx_specialized_ctx record{};
  HostServices services{slots.data(), nullptr};

  ValueScans() {
    record.colx_sctx_magic = COLX_SCTX_MAGIC;
    record.colx_sctx_version = COLX_SCTX_VERSION;
    record.colx_sctx_name = COLX_SCTX_NAME;
    record.colx_sctx_dispatch = slots.data();
  }
  Library library() { return Library::attach(record, names.data(), "made up").value(); }
  void fill(Compare compare, Encoding encoding, uint32_t kernel_bits, bool variant) {
    const uint32_t slot =
        colx_slot_index(static_cast<uint32_t>(compare), static_cast<uint32_t>(encoding),
                        colx_width_code(kernel_bits), variant);
    slots[slot] = is_range(compare) ? reinterpret_cast<colx_kernel_fn>(see_range)
                                    : reinterpret_cast<colx_kernel_fn>(see_scan);
  }
  uint32_t run(const StoredColumn& column, const ValuePredicate& predicate) {
    const auto scan = PreparedScan::on_values(library(), column, predicate);
    EXPECT_TRUE(scan) << scan.message();
    RowBits hits(column.chunks[0].rows);
    return scan->run(0, hits, services).value();
  }
};

StoredConstant constant(std::string_view bytes) {
  return stored_constant(bytes).value();
}
std::string padded(std::string bytes) {
  bytes.resize(8, '\0');
  return bytes;
}

TEST_F(ValueScans, GiveAKernelItsWholeWordAndTheRowWidth) {
  fill(Compare::lt, Encoding::fixed, 32, false);
  const auto column = store_fixed(Values{"abc", "b"}).value();
  EXPECT_EQ(run(column, {Compare::lt, constant("ab")}), 77u);
  EXPECT_EQ(seen.low, padded("ab"));
  EXPECT_EQ(seen.low_width, 24u);
  EXPECT_EQ(seen.column_width, 24u);
  EXPECT_EQ(seen.data, column.chunks[0].data.data());
  EXPECT_EQ(seen.aux, nullptr);
  EXPECT_EQ(seen.flags, uint32_t{COLX_FIXED});
}

TEST_F(ValueScans, GiveBothBoundsOfARangeTheirTieCodes) {
  fill(Compare::ge_lt, Encoding::dynp, 32, true);
  const auto column = store_dynp(Values{"abc", "b"}, {.lengths = ValueLengths::kept}).value();
  run(column, {Compare::ge_lt, constant("a"), constant("abc"), true});
  EXPECT_EQ(seen.low, padded("a"));
  EXPECT_EQ(seen.low_tie, 0);
  EXPECT_EQ(seen.high, padded("abc"));
  EXPECT_EQ(seen.high_tie, 2);
  EXPECT_EQ(seen.high_width, 32u);
  EXPECT_EQ(seen.aux, column.chunks[0].second.data());
  EXPECT_EQ(seen.flags, 0u);
}

TEST_F(ValueScans, ChangeTheComparisonOfAConstantLongerThanTheRows) {
  fill(Compare::le, Encoding::fixed, 16, false);
  const auto column = store_fixed(Values{"ab"}).value();
  run(column, {Compare::lt, constant("abc")});
  EXPECT_EQ(seen.low, padded("ab"));
}

TEST_F(ValueScans, RefuseColumnsOfCodes) {
  const auto codes = store_codes(std::vector<uint64_t>{1}).value();
  EXPECT_EQ(PreparedScan::on_values(library(), codes, {}).message(),
            "a predicate on values needs a column of fixed or dynp rows");
}

TEST_F(ValueScans, RefuseTiesThatWereNotStored) {
  const auto column = store_fixed(Values{"abc", "b"}).value();
  EXPECT_EQ(PreparedScan::on_values(library(), column, {.ties = true}).message(),
            "chunk 0 was written without tie codes; store the column with ValueLengths::kept");
  const auto bytes = store_fixed(Values{"a"}, {.lengths = ValueLengths::kept}).value();
  EXPECT_EQ(PreparedScan::on_values(library(), bytes, {.ties = true}).message(),
            "rows of 8 bits have no tie codes to compare");
}

TEST_F(ValueScans, NameAKernelThatTheLibraryLacks) {
  const auto column = store_dynp(Values{"abc"}).value();
  EXPECT_EQ(PreparedScan::on_values(library(), column, {Compare::ne, {}, {}, true}).message(),
            "made up: has no kernel colx_ne_dynp_32bit_tz");
}

TEST_F(ValueScans, PassOnAStatusThatNoScanShouldReturn) {
  slots[colx_slot_index(COLX_OPC_EQ, COLX_ENC_DYNP, colx_width_code(16), 0)] =
      reinterpret_cast<colx_kernel_fn>(refuse_scan);
  names[colx_slot_index(COLX_OPC_EQ, COLX_ENC_DYNP, colx_width_code(16), 0)] = "colx_eq_dynp_16bit";
  const auto column = store_dynp(Values{"a"}).value();
  RowBits hits(1);
  EXPECT_EQ(PreparedScan::on_values(library(), column, {})->run(0, hits, services).message(),
            "colx_eq_dynp_16bit returned status 2 for chunk 0");
}

std::atomic<uint32_t> decodes;
// The image is the plain stream.
uint32_t copy_image(colx_decode_env*, const void* image, void* out, uint32_t* out_len,
                    uint32_t capacity) {
  ++decodes;
  std::memcpy(out, image, capacity);
  *out_len = capacity;
  return 0;
}

TEST(CompressedChunks, AreDecompressedOnceWhicheverThreadComesFirst) {
  const Library library = Library::open(COLX_LIBRARY_FILE).value();
  std::vector<uint64_t> codes;
  for (uint64_t row = 0; row < 5000; ++row) codes.push_back(row * 13 % 1000);
  auto column = store_codes(codes).value();
  column.chunks[0].image_bytes = static_cast<uint32_t>(column.chunks[0].data.size());
  HostServices services(library.record().colx_sctx_dispatch, copy_image);
  const auto scan = PreparedScan::on_codes(library, column, {Compare::lt, 500}).value();
  decodes = 0;
  std::atomic<uint32_t> right{0};
  std::vector<std::thread> threads;
  for (int k = 0; k < 4; ++k)
    threads.emplace_back([&] {
      RowBits hits(5000);
      for (int again = 0; again < 3; ++again)
        if (scan.run(0, hits, services).value() == 2500) ++right;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(right, 12u);
  EXPECT_EQ(decodes, 1u);
  EXPECT_EQ(services.counters().cached_blocks, 1u);
  column.chunks.clear();
  EXPECT_EQ(services.counters().cached_blocks, 0u);
}

}  // namespace
}  // namespace colx::host
