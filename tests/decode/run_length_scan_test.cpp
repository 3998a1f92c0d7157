// A run-length column from end to end: scanned run by run, expanded to rows by the column's burst
// kernel, the hits unpacked to codes and resolved to values.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/oracle/dict_oracle.h"
#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/stored_numbers.h"
#include "tests/support/burst_stage.h"
#include "tests/support/code_patterns.h"
#include "tests/support/dict_batch.h"
#include "tests/support/recording_host.h"
#include "tests/support/seeded_random.h"
#include "tests/support/set_batch.h"
#include "tests/support/unpack_stage.h"
#include "tests/support/value_decode_stage.h"

namespace colx::test {
namespace {

// Which burst kernel a column has; a callback gets no word of the host's own.
uint32_t burst_code_of(const colx_enc_ctx& encoding) {
  const bool listed = encoding.colx_enc_ctx_rle_cla != nullptr;
  if (encoding.colx_enc_ctx_rle_width == 8) {
    return listed ? COLX_WIDTH_BURST_8BIT_CLA : COLX_WIDTH_BURST_8BIT;
  }
  return listed ? COLX_WIDTH_BURST_16BIT_CLA : COLX_WIDTH_BURST_16BIT;
}

uint32_t expand_by_burst(colx_env*, colx_cv* res, colx_cv* src, colx_kctx* run_hits) {
  return burst_entry(burst_code_of(*src->colx_cv_encoding_context)).kernel(res, src, run_hits);
}

// Runs of a few codes, and all that a host lays out for them.
class RunColumn {
 public:
  RunColumn(unsigned width_bits, unsigned length_bits, bool listed, bool compressed, uint32_t runs,
            Random& random)
      : width_bits_(width_bits) {
    uint32_t rows = 0;
    std::vector<uint32_t> lengths, first_rows = {0};
    for (uint32_t run = 0; run < runs; ++run) {
      const uint64_t code = random.below(std::min<uint64_t>(top_code(width_bits) + 1, 8));
      const uint64_t longest = length_bits == 16 && random.one_in(20) ? 3000 : 20;
      run_codes_.push_back(code);
      lengths.push_back(static_cast<uint32_t>(1 + random.below(longest)));
      row_codes_.insert(row_codes_.end(), lengths.back(), static_cast<uint32_t>(code));
      first_rows.push_back(rows += lengths.back());
    }
    stream_ = oracle::pack_codes(run_codes_, width_bits);
    const size_t stream_bytes = stream_.size();
    stream_.resize(stream_bytes + 16);
    lengths_ = oracle::big_endian_array(lengths, length_bits / 8);
    first_rows_ = oracle::big_endian_array(first_rows, 4);
    run_bits_.resize(words_of(runs));

    host_.expands_to({stream_.data(), stream_bytes}, 16);
    encoding.colx_enc_ctx_key = colx_column_key(COLX_ENC_DICT, colx_width_code(width_bits), 0);
    encoding.colx_enc_ctx_rle_runs = lengths_.data();
    encoding.colx_enc_ctx_rle_width = static_cast<uint8_t>(length_bits);
    encoding.colx_enc_ctx_rle_rows = runs;
    encoding.colx_enc_ctx_rle_cla = listed ? first_rows_.data() : nullptr;
    encoding.colx_enc_ctx_rle_expand = expand_by_burst;
    encoding.colx_enc_ctx_rle_bits = run_bits_.data();
    encoding.colx_enc_ctx_flags = COLX_DICT | COLX_RLE | (compressed ? COLX_COMPRESSED : 0);
    src.colx_cv_encoding_context = &encoding;
    src.colx_cv_data = compressed ? nullptr : stream_.data();
    src.colx_cv_decomp_slot = &slot_;
    src.colx_cv_image_len = static_cast<uint32_t>(stream_bytes);
    src.colx_cv_num_of_rows = rows;
    kctx.colx_kctx_env = &host_.env;
  }

  uint32_t rows() const { return static_cast<uint32_t>(row_codes_.size()); }
  unsigned width_bits() const { return width_bits_; }
  const std::vector<uint32_t>& row_codes() const { return row_codes_; }
  const std::vector<uint64_t>& run_codes() const { return run_codes_; }
  RecordingHost& host() { return host_; }

  colx_cv src = {};
  colx_enc_ctx encoding = {};
  colx_kctx kctx = {};

 private:
  unsigned width_bits_;
  std::vector<uint64_t> run_codes_;
  std::vector<uint32_t> row_codes_;
  Bytes stream_, lengths_, first_rows_;
  Words run_bits_;
  void* slot_ = nullptr;
  RecordingHost host_;
};

// A result of as many bits as the column has rows, and the seven spare bytes of a burst.
struct RowResult {
  explicit RowResult(const RunColumn& column) : bits(words_of(column.rows()) + 1, 0x5555) {
    res.colx_cv_bits = bits.data();
    res.colx_cv_num_of_rows = column.rows();
  }
  Words bits;
  colx_cv res = {};
};

template <class Wanted>
void expect_rows(const RunColumn& column, const RowResult& result, uint32_t status, Wanted wanted) {
  uint32_t hits = 0;
  for (uint32_t row = 0; row < column.rows(); ++row) {
    const bool hit = wanted(column.row_codes()[row]);
    hits += hit ? 1 : 0;
    ASSERT_EQ(oracle::bit_at(result.bits.data(), row), hit) << "row " << row;
  }
  EXPECT_EQ(result.res.colx_cv_num_set, hits);
  EXPECT_EQ(status, hits == 0 ? COLX_NOTHING_FOUND : COLX_DONE);
}

template <class Body>
void for_each_column(Body body) {
  for (const unsigned width : {2u, 3u, 8u, 11u, 16u, 19u, 24u, 32u}) {
    for (const unsigned length_bits : {8u, 16u}) {
      for (const bool listed : {false, true}) {
        for (const bool compressed : {false, true}) {
          for (const uint32_t runs : {1u, 63u, 64u, 65u, 500u}) {
            Random random(mixed_seed(width * 2 + listed, length_bits * runs));
            RunColumn column(width, length_bits, listed, compressed, runs, random);
            body(column);
          }
        }
      }
    }
  }
}

TEST(RunLengthScan, FindsTheRowsOfEveryPredicate) {
  for_each_column([](RunColumn& column) {
    for (const uint32_t opc : predicate_opcs) {
      const oracle::DictScan scan = {opc, column.width_bits(), false};
      const uint64_t lo = 1, hi = 3;
      const void* const lo_args[] = {&lo};
      const void* const hi_args[] = {&hi};
      RowResult result(column);
      const colx_kernel_fn kernel = dict_kernel(scan).kernel;
      const uint32_t status = oracle::is_range(opc)
                                  ? reinterpret_cast<colx_range_scan_fn>(kernel)(
                                        &result.res, &column.src, lo_args, hi_args, &column.kctx)
                                  : reinterpret_cast<colx_scan_fn>(kernel)(&result.res, &column.src,
                                                                           lo_args, &column.kctx);
      expect_rows(column, result, status,
                  [&](uint32_t code) { return oracle::selects(opc, code, lo, hi); });
    }
    EXPECT_LE(column.host().decodes.size(), 1u);
  });
}

TEST(RunLengthScan, FindsTheRowsOfASet) {
  for_each_column([](RunColumn& column) {
    for (const uint64_t wanted : {0x00, 0x01, 0x12, 0x55, 0xFE, 0xFF}) {
      // A bit for every code; of wide ones only those that occur are looked up.
      Words table(words_of(uint64_t{1} << std::min(column.width_bits(), 16u)));
      table[0] = wanted;
      colx_cv codes = {};
      codes.colx_cv_bits = table.data();
      RowResult result(column);
      const auto kernel = reinterpret_cast<colx_binary_fn>(set_kernel(column.width_bits()).kernel);
      const uint32_t status = kernel(&result.res, &column.src, &codes, &column.kctx);
      expect_rows(column, result, status, [&](uint32_t code) { return (wanted >> code & 1) != 0; });
    }
  });
}

// A selection of a run-length scan is one of runs.
TEST(RunLengthScan, ASelectionLeavesRunsOut) {
  for_each_column([](RunColumn& column) {
    if (column.width_bits() < 8) return;  // the constant has to fit
    Words even_runs(words_of(column.run_codes().size()), 0x5555555555555555);
    column.kctx.colx_kctx_selection = even_runs.data();
    const uint64_t none = 99;
    const void* const args[] = {&none};
    RowResult result(column);
    const auto kernel = reinterpret_cast<colx_scan_fn>(
        dict_kernel({COLX_OPC_NE, column.width_bits(), false}).kernel);
    EXPECT_EQ(kernel(&result.res, &column.src, args, &column.kctx), COLX_DONE);
    uint32_t row = 0;
    for (size_t run = 0; run < column.run_codes().size(); ++run) {
      const uint32_t length = oracle::stored_run_length(
          column.encoding.colx_enc_ctx_rle_runs, column.encoding.colx_enc_ctx_rle_width, run);
      for (uint32_t i = 0; i < length; ++i, ++row) {
        ASSERT_EQ(oracle::bit_at(result.bits.data(), row), run % 2 == 0) << "row " << row;
      }
    }
    EXPECT_EQ(column.kctx.colx_kctx_flags_out, COLX_OUT_SCAN_SELECTED);
  });
}

// The hits of a scan select the rows that are unpacked, and their codes become values.
TEST(RunLengthScan, ItsHitsAreUnpackedAndResolved) {
  const uint8_t length_3[] = {0, 3};
  for_each_column([&](RunColumn& column) {
    const uint64_t least = 2;
    const void* const args[] = {&least};
    RowResult hits(column);
    const auto scan = reinterpret_cast<colx_scan_fn>(
        dict_kernel({COLX_OPC_GE, column.width_bits(), false}).kernel);
    const uint32_t status = scan(&hits.res, &column.src, args, &column.kctx);
    if (status == COLX_NOTHING_FOUND) return;

    std::vector<uint32_t> codes(hits.res.colx_cv_num_set);
    colx_cv unpacked = {};
    unpacked.colx_cv_data = codes.data();
    unpacked.colx_cv_num_of_rows = hits.res.colx_cv_num_set;
    colx_kctx kctx = {};
    kctx.colx_kctx_env = column.kctx.colx_kctx_env;
    kctx.colx_kctx_selection = hits.bits.data();
    kctx.colx_kctx_flags = COLX_KCTX_WIDE_CODES;
    const auto unpack = unpack_kernel(column.width_bits()).kernel;
    ASSERT_EQ(unpack(&unpacked, &column.src, &kctx), COLX_DONE);
    ASSERT_EQ(unpacked.colx_cv_num_set, codes.size());

    std::vector<const uint8_t*> values(codes.size());
    std::vector<uint16_t> lengths(codes.size());
    const uint8_t symbols[24] = {};
    colx_enc_ctx dictionary = {};
    dictionary.colx_enc_ctx_symbols = symbols;
    dictionary.colx_enc_ctx_one_len = length_3;
    unpacked.colx_cv_encoding_context = &dictionary;
    unpacked.colx_cv_num_of_rows = unpacked.colx_cv_num_set;
    colx_cv decoded = {};
    decoded.colx_cv_data = values.data();
    decoded.colx_cv_aux = lengths.data();
    ASSERT_EQ(symbol_kernel(32).kernel(&decoded, &unpacked, &kctx), COLX_DONE);

    size_t hit = 0;
    for (const uint32_t code : column.row_codes()) {
      if (code < least) continue;
      ASSERT_EQ(codes[hit], code);
      ASSERT_EQ(values[hit], symbols + 3 * code);
      ASSERT_EQ(lengths[hit], 3u);
      ++hit;
    }
    EXPECT_EQ(hit, codes.size());
  });
}

}  // namespace
}  // namespace colx::test
