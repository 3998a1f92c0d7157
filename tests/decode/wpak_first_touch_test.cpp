// Columns held as wpak streams, expanded by the library's own decoder when the first kernel touches
// them.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/oracle/packed_codes_oracle.h"
#include "tests/oracle/wpak_oracle.h"
#include "tests/support/dict_batch.h"
#include "tests/support/kernel_library.h"
#include "tests/support/seeded_random.h"

namespace colx::test {
namespace {

using oracle::DictScan;
using oracle::WpakParts;
using Order = std::vector<std::string>;

constexpr DictScan lt11 = {COLX_OPC_LT, 11, false};
constexpr uint32_t rows = 700;
constexpr uint64_t bound = 900;

std::vector<uint64_t> column_codes() {
  Random random(4);
  std::vector<uint64_t> codes(rows);
  for (uint64_t& code : codes) code = random.bits(11);
  return codes;
}

// A stream that expands to these bytes: 256 symbols of a byte and 44 of eight, which come first.
WpakParts parts_of(const Bytes& plain) {
  WpakParts parts;
  for (unsigned byte = 0; byte < 256; ++byte) parts.symbols.push_back({uint8_t(byte)});
  for (size_t i = 0; i < 44; ++i) {
    parts.symbols.emplace_back(plain.begin() + ptrdiff_t(8 * i),
                               plain.begin() + ptrdiff_t(8 * i + 8));
    parts.codes.push_back(256 + i);
  }
  for (size_t at = 8 * 44; at < plain.size(); ++at) parts.codes.push_back(plain[at]);
  return parts;
}

// A scan of a column that is a wpak image, by a host whose decoder is `decode`.
struct ImageScan {
  explicit ImageScan(colx_wpak_decode_call* decode = colx_wpak_decode_dydi)
      : batch(dict_batch(lt11, column_codes(), bound)), parts(parts_of(batch.stream)) {
    batch.store = Store::compressed;
    env.colx_env_decode = decode;
  }

  ScanRun run(const ScanKernel& kernel = dict_kernel(lt11)) {
    stage.set(batch);
    colx_env own = stage.host.env;
    own.colx_env_decode = env.colx_env_decode;
    env = own;
    stage.kctx.colx_kctx_env = &env;
    stage.src.colx_cv_data = image.place(oracle::wpak_stream(parts), 16, Edge::end);
    if (image_len != 0) stage.src.colx_cv_image_len = image_len;
    return stage.call(kernel);
  }

  // What the scan must find in the bytes that the slot has now.
  oracle::ScanOutcome due_from_slot() const {
    const auto* const plain = static_cast<const uint8_t*>(stage.decomp_slot);
    return oracle::dict_outcome(lt11, {plain, batch.stream.size()}, bound, 0, stage.res, stage.src,
                                &stage.kctx);
  }

  ScanBatch batch;
  WpakParts parts;
  uint32_t image_len = 0;  // unless it is the length of the rows
  colx_env env = {};
  GuardedPages image;
  ScanStage& stage = scan_stage();
};

uint32_t rows_below_bound() {
  const std::vector<uint64_t> codes = column_codes();
  return static_cast<uint32_t>(
      std::count_if(codes.begin(), codes.end(), [](uint64_t code) { return code < bound; }));
}

TEST(WpakFirstTouch, APredicateFindsTheRowsOfTheImage) {
  ImageScan scan;
  const ScanRun run = scan.run();
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.num_set, rows_below_bound());
  EXPECT_EQ(run.damage, "");
  const auto* const plain = static_cast<const uint8_t*>(scan.stage.decomp_slot);
  EXPECT_TRUE(std::equal(scan.batch.stream.begin(), scan.batch.stream.end(), plain));
  ScanBatch same = scan.batch;
  same.store = Store::plain;
  EXPECT_EQ(run.bits, scan.stage.run(dict_kernel(lt11), same).bits);
}

TEST(WpakFirstTouch, ScratchIsTakenAndGivenBackInsideTheScan) {
  ImageScan scan;
  scan.run();
  const RecordingHost& host = scan.stage.host;
  EXPECT_EQ(host.order, (Order{"alloc_cached", "alloc", "alloc", "free", "free"}));
  EXPECT_TRUE(host.misuse.empty());
  EXPECT_TRUE(host.raised.empty());
  ASSERT_EQ(host.scratch_allocations.size(), 2u);
  EXPECT_EQ(host.scratch_allocations[0].bytes, 301u);
  EXPECT_EQ(host.scratch_allocations[1].bytes, 2400u);
  for (const ScratchAllocation& a : host.scratch_allocations) EXPECT_TRUE(a.released) << a.label;
  EXPECT_EQ(host.cached_allocations.at(0).label, "colx_lt_dict_11bit: vec1_decomp");
}

TEST(WpakFirstTouch, TheNextKernelTakesTheCopy) {
  ImageScan scan;
  const uint32_t first = scan.run().num_set;
  scan.parts.magic[0] = 'X';  // whoever reads the image again meets this
  void* const copy = scan.stage.decomp_slot;
  scan.stage.set(scan.batch);
  scan.stage.decomp_slot = copy;
  scan.stage.src.colx_cv_data = scan.image.unreadable();
  EXPECT_EQ(scan.stage.call(dict_kernel(lt11)).num_set, first);
  EXPECT_TRUE(scan.stage.host.order.empty());
}

// All bytes are there, yet the decoder counts another number: the kernel says so and finds the
// rows.
TEST(WpakFirstTouch, AnotherLengthIsRaisedAndTheScanFindsItsRows) {
  ImageScan scan;
  scan.parts.decoded_length = static_cast<uint32_t>(scan.batch.stream.size()) - 1;
  const ScanRun run = scan.run();
  const RecordingHost& host = scan.stage.host;
  ASSERT_EQ(host.raised.size(), 1u);
  EXPECT_EQ(host.raised[0].text, "colx_lt_dict_11bit: colx_wpak_decode failed");
  EXPECT_EQ(host.raised[0].host, host.handle);
  EXPECT_EQ(host.raised[0].zero, 0u);
  EXPECT_EQ(host.order, (Order{"alloc_cached", "alloc", "alloc", "free", "free", "raise"}));
  EXPECT_TRUE(host.misuse.empty());
  EXPECT_EQ(run.status, 0u);
  EXPECT_EQ(run.num_set, rows_below_bound());
}

// Nothing is written into the copy; the scan goes over what the allocator left there.
void expect_scan_of_nothing(ImageScan& scan) {
  const ScanRun run = scan.run();
  const RecordingHost& host = scan.stage.host;
  EXPECT_EQ(host.order, (Order{"alloc_cached", "raise"}));
  ASSERT_EQ(host.raised.size(), 1u);
  EXPECT_EQ(host.raised[0].text, "colx_lt_dict_11bit: colx_wpak_decode failed");
  const oracle::ScanOutcome due = scan.due_from_slot();
  EXPECT_EQ(run.status, due.status);
  EXPECT_EQ(run.num_set, due.num_set);
  EXPECT_EQ(run.bits, due.words);
  EXPECT_EQ(run.damage, "");
}

TEST(WpakFirstTouch, AnImageThatIsNoStreamIsRaisedAndTheScanGoesOn) {
  ImageScan scan;
  scan.parts.magic = {'K', 'A', 'P', 'W'};
  expect_scan_of_nothing(scan);
}

TEST(WpakFirstTouch, AnImageLongerThanItsColumnSaysIsRaisedAndTheScanGoesOn) {
  ImageScan scan;
  scan.parts.decoded_length = static_cast<uint32_t>(scan.batch.stream.size()) + 1;
  expect_scan_of_nothing(scan);
}

TEST(WpakFirstTouch, TheDecoderOfTheExportedRecordServesItsKernels) {
  const KernelLibrary library(COLX_LIBRARY_FILE);
  ImageScan scan(library.record().colx_sctx_wpak_decode);
  const uint32_t slot = dict_index(lt11);
  const ScanRun run = scan.run({library.name(slot), library.kernel(slot), false});
  EXPECT_EQ(run.num_set, rows_below_bound());
  EXPECT_EQ(run.damage, "");
  EXPECT_TRUE(scan.stage.host.raised.empty());
}

// Kernels that are no scans expand their column the same way.
TEST(WpakFirstTouch, UnpackingExpandsTheImageToo) {
  const std::vector<uint64_t> codes = column_codes();
  const Bytes plain = oracle::pack_codes(codes, 11);
  GuardedPages image;
  GuardedOutput elements;
  RecordingHost host;
  host.expands_to({}, 16);  // of this decoder's work only the room behind the copy is used
  host.env.colx_env_decode = colx_wpak_decode_dydi;
  void* slot = nullptr;
  colx_enc_ctx encoding = {};
  encoding.colx_enc_ctx_flags = COLX_DICT | COLX_COMPRESSED;
  encoding.colx_enc_ctx_width = 11;
  colx_cv src = {};
  src.colx_cv_data = image.place(oracle::wpak_stream(parts_of(plain)), 16, Edge::end);
  src.colx_cv_encoding_context = &encoding;
  src.colx_cv_num_of_rows = rows;
  src.colx_cv_image_len = static_cast<uint32_t>(plain.size());
  src.colx_cv_decomp_slot = &slot;
  colx_cv res = {};
  res.colx_cv_data = elements.bytes(2 * rows + 64, Place::end);
  res.colx_cv_num_of_rows = rows;
  colx_kctx kctx = {};
  kctx.colx_kctx_env = &host.env;
  const auto unpack =
      reinterpret_cast<colx_decode_fn>(kernel_named("colx_decode_unpack_dict_11bit").kernel);
  EXPECT_EQ(unpack(&res, &src, &kctx), 0u);
  EXPECT_EQ(host.order, (Order{"alloc_cached", "alloc", "alloc", "free", "free"}));
  EXPECT_TRUE(host.misuse.empty());
  EXPECT_EQ(res.colx_cv_num_set, rows);
  const auto* const unpacked = static_cast<const uint16_t*>(res.colx_cv_data);
  EXPECT_TRUE(std::equal(codes.begin(), codes.end(), unpacked));
}

}  // namespace
}  // namespace colx::test
