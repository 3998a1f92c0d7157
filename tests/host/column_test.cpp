#include "host/column.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "host/encode_codes.h"
#include "host/services.h"

namespace colx::host {
namespace {

TEST(StreamBuffer, IsAlignedAndFollowedByZeroedSlack) {
  for (const size_t size : {0, 1, 63, 64, 65, 1000}) {
    StreamBuffer stream(size);
    ASSERT_NE(stream.data(), nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(stream.data()) % 64, 0u);
    EXPECT_EQ(stream.size(), size);
    for (size_t at = 0; at < size + 16; ++at) ASSERT_EQ(stream.data()[at], 0) << at;
  }
  EXPECT_EQ(StreamBuffer().data(), nullptr);
}

TEST(StreamBuffer, AMovedFromStreamIsEmpty) {
  StreamBuffer stream(8);
  StreamBuffer moved(std::move(stream));
  EXPECT_EQ(moved.size(), 8u);
  EXPECT_EQ(stream.size(), 0u);
  EXPECT_EQ(stream.data(), nullptr);
}

TEST(ColumnFormat, KnowsItsKernels) {
  EXPECT_EQ((ColumnFormat{Encoding::dict, 13}).key(), (1 | 12 << 2));
  EXPECT_EQ((ColumnFormat{Encoding::dict, 13}).key(true), (1 | 12 << 2 | 1 << 7));
  EXPECT_EQ((ColumnFormat{Encoding::fixed, 24}).kernel_bits(), 32u);
  EXPECT_EQ((ColumnFormat{Encoding::fixed, 40}).kernel_bits(), 64u);
  EXPECT_EQ((ColumnFormat{Encoding::fixed, 16}).kernel_bits(), 16u);
  EXPECT_EQ((ColumnFormat{Encoding::fixed, 24}).key(), 21 << 2);
  EXPECT_EQ((ColumnFormat{Encoding::dynp, 16}).key(), (2 | 15 << 2));
}

TEST(ColumnFormat, RefusesWidthsWithoutKernels) {
  EXPECT_TRUE((ColumnFormat{Encoding::fixed, 56}).check());
  EXPECT_EQ((ColumnFormat{Encoding::fixed, 12}).check().message(),
            "fixed rows of 12 bits have no kernel; use 1 to 8 whole bytes");
  EXPECT_FALSE((ColumnFormat{Encoding::fixed, 72}).check());
  EXPECT_FALSE((ColumnFormat{Encoding::fixed, 0}).check());
  EXPECT_TRUE((ColumnFormat{Encoding::dynp, 64}).check());
  EXPECT_EQ((ColumnFormat{Encoding::dynp, 8}).check().message(),
            "dynp rows of up to 8 bits have no kernel; use 16, 32 or 64");
  EXPECT_EQ((ColumnFormat{static_cast<Encoding>(3), 8}).check().message(),
            "encoding 3 does not exist");
}

TEST(ChunkVector, DescribesAChunkOfCodes) {
  const auto column = store_codes(std::vector<uint64_t>{1, 2, 3, 4, 5}, {.chunk_rows = 3}).value();
  ChunkVector vector(column, 1);
  const colx_cv& cv = *vector.cv();
  EXPECT_EQ(cv.colx_cv_data, column.chunks[1].data.data());
  EXPECT_EQ(cv.colx_cv_aux, nullptr);
  EXPECT_EQ(cv.colx_cv_nulls, nullptr);
  EXPECT_EQ(cv.colx_cv_num_of_rows, 2u);
  EXPECT_EQ(cv.colx_cv_encoding_context, vector.encoding());
  EXPECT_EQ(vector.encoding()->colx_enc_ctx_key, colx_column_key(COLX_ENC_DICT, 2, 0));
  EXPECT_EQ(vector.encoding()->colx_enc_ctx_flags, uint32_t{COLX_DICT});
  EXPECT_EQ(vector.encoding()->colx_enc_ctx_width, 3u);
  EXPECT_EQ(vector.run_bits().size(), 0u);
}

TEST(ChunkVector, KeepsThePlainKeyOfANullableColumn) {
  const auto column =
      store_codes(std::vector<uint64_t>{0, 1}, {.width_bits = 8, .zero_is_null = true}).value();
  EXPECT_EQ(ChunkVector(column, 0).encoding()->colx_enc_ctx_key, colx_column_key(1, 7, 0));
}

TEST(ChunkVector, DescribesRunsWithBitsOfItsOwn) {
  auto column = store_codes(std::vector<uint64_t>{1, 2}).value();
  Chunk& chunk = column.chunks[0];
  chunk.rows = 30;
  chunk.runs = Runs{2, 16, StreamBuffer(4), StreamBuffer(12)};
  ChunkVector one(column, 0), other(column, 0);
  const colx_enc_ctx& encoding = *one.encoding();
  EXPECT_EQ(encoding.colx_enc_ctx_flags, uint32_t{COLX_DICT | COLX_RLE});
  EXPECT_EQ(encoding.colx_enc_ctx_rle_runs, chunk.runs->lengths.data());
  EXPECT_EQ(encoding.colx_enc_ctx_rle_width, 16);
  EXPECT_EQ(encoding.colx_enc_ctx_rle_rows, 2u);
  EXPECT_EQ(encoding.colx_enc_ctx_rle_cla, chunk.runs->positions.data());
  EXPECT_EQ(encoding.colx_enc_ctx_rle_expand, expand_runs);
  EXPECT_EQ(encoding.colx_enc_ctx_rle_bits, one.run_bits().data());
  EXPECT_NE(one.run_bits().data(), other.run_bits().data());
  EXPECT_EQ(one.cv()->colx_cv_num_of_rows, 30u);
  EXPECT_EQ(column.stream_bytes(), 1u + 4u + 12u);
  chunk.runs->positions = StreamBuffer();
  EXPECT_EQ(ChunkVector(column, 0).encoding()->colx_enc_ctx_rle_cla, nullptr);
}

TEST(ChunkVector, DescribesACompressedChunkWithItsSlot) {
  auto column = store_codes(std::vector<uint64_t>{1, 2}).value();
  column.chunks[0].image_bytes = 77;
  ChunkVector vector(column, 0);
  EXPECT_EQ(vector.encoding()->colx_enc_ctx_flags, uint32_t{COLX_DICT | COLX_COMPRESSED});
  EXPECT_EQ(vector.cv()->colx_cv_image_len, 77u);
  EXPECT_EQ(vector.cv()->colx_cv_decomp_slot, column.chunks[0].slot->address());
  EXPECT_EQ(*vector.cv()->colx_cv_decomp_slot, nullptr);
}

TEST(ChunkVector, HandsOutReportableRows) {
  auto column = store_codes(std::vector<uint64_t>{1, 2}).value();
  column.chunks[0].reportable = RowBits(2);
  EXPECT_EQ(ChunkVector(column, 0).cv()->colx_cv_nulls, column.chunks[0].reportable->data());
}

TEST(StoredColumn, SpreadsReportableRowsOverItsChunks) {
  auto column = store_codes(std::vector<uint64_t>(250), {.chunk_rows = 100}).value();
  RowBits rows(250);
  for (const uint64_t row : {0, 99, 100, 249}) rows.set(row);
  ASSERT_TRUE(column.set_reportable(rows));
  const auto set = [&](size_t chunk, uint64_t row) {
    return column.chunks[chunk].reportable->test(row);
  };
  EXPECT_TRUE(set(0, 0) && set(0, 99) && set(1, 0) && set(2, 49));
  EXPECT_EQ(column.chunks[0].reportable->count(), 2u);
  EXPECT_EQ(column.chunks[1].reportable->count(), 1u);
  EXPECT_EQ(column.chunks[2].reportable->count(), 1u);
  EXPECT_EQ(column.chunks[2].reportable->size(), 50u);
}

TEST(StoredColumn, RefusesReportableRowsThatDoNotFitAndStaysAsItIs) {
  auto column = store_codes(std::vector<uint64_t>(10)).value();
  EXPECT_EQ(column.set_reportable(RowBits(11)).message(),
            "bits for 11 rows, but the column has 10");
  auto runs = store_codes(std::vector<uint64_t>(10), {.runs = RunLengthOptions{}}).value();
  EXPECT_EQ(runs.set_reportable(RowBits(10)).message(),
            "chunk 0 is run-length coded, where the bits would be taken as runs");
  EXPECT_FALSE(column.chunks[0].reportable);
  EXPECT_FALSE(runs.chunks[0].reportable);
}

TEST(DecompressionSlot, OneThreadFillsIt) {
  colx_kernel_fn no_kernels[COLX_DISPATCH_SLOTS] = {};
  HostServices services(no_kernels, nullptr);
  {
    DecompressionSlot slot;
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k)
      threads.emplace_back([&] {
        const auto touch = slot.touch();
        if (*slot.address()) return;
        colx_env* env = services.env();
        *slot.address() = env->colx_env_alloc_cached(env->colx_env_host, env->colx_env_heap, 10,
                                                     "first touch", 8, 16, 10);
      });
    for (std::thread& thread : threads) thread.join();
    EXPECT_NE(*slot.address(), nullptr);
    EXPECT_EQ(services.counters().cached_calls, 1u);
    EXPECT_EQ(services.counters().cached_blocks, 1u);
  }
  EXPECT_EQ(services.counters().cached_blocks, 0u);  // the slot releases its copy
}

}  // namespace
}  // namespace colx::host
