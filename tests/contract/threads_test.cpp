// Calls at once: eight threads run different batches of the same columns and read one filter, each
// with records of its own. The answers are those of one thread. (Tables and row stores: the thread
// tests of the join.)
#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

#include "kernels/frame/colx_x86.h"
#include "tests/support/dict_batch.h"
#include "tests/support/seeded_random.h"
#include "tests/support/value_batch.h"

namespace colx::test {
namespace {

constexpr uint32_t threads_at_once = 8;
constexpr uint32_t rows = 20'000;
constexpr size_t words = (rows + 63) / 64;
constexpr uint32_t rounds = 10;

using Answer = std::vector<uint64_t>;
using Work = std::function<Answer(uint32_t thread)>;

// Every thread's answer in every round is the one that it gives alone.
void expect_the_same_at_once(const Work& work) {
  std::vector<Answer> alone(threads_at_once), at_once(threads_at_once);
  for (uint32_t i = 0; i < threads_at_once; ++i) alone[i] = work(i);
  for (uint32_t i = 1; i < threads_at_once; ++i) EXPECT_NE(alone[i], alone[0]) << "one batch twice";
  for (uint32_t round = 0; round < rounds; ++round) {
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < threads_at_once; ++i) {
      threads.emplace_back([&, i] { at_once[i] = work(i); });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_EQ(at_once, alone) << "round " << round;
  }
}

// A column that all threads read.
struct SharedColumn {
  std::vector<uint8_t> data, aux;
  std::vector<uint64_t> nulls, selection;
  colx_enc_ctx encoding = {};
  colx_cv cv = {};

  explicit SharedColumn(size_t bytes) {
    Random random(bytes);
    data = random.bytes(bytes + 16);
    aux = random.bytes(rows);
    for (uint8_t& byte : aux) byte &= 0x77;  // lengths of up to 8
    nulls = random.words(words);
    for (uint64_t& word : nulls) word |= random.next();
    selection = random.words(words);
    cv.colx_cv_data = data.data();
    cv.colx_cv_aux = aux.data();
    cv.colx_cv_nulls = nulls.data();
    cv.colx_cv_num_of_rows = rows;
    cv.colx_cv_encoding_context = &encoding;
  }
};

// A `>=` scan with a constant of the thread's own; every second thread walks a selection.
Answer scan_answer(const char* kernel, SharedColumn& column, const void* constant,
                   const colx_enc_ctx& width, bool selective) {
  Answer bits(words);
  colx_cv res = {};
  res.colx_cv_bits = bits.data();
  res.colx_cv_num_of_rows = rows;
  colx_kctx kctx = {};
  if (selective) {
    kctx.colx_kctx_selection = column.selection.data();
    kctx.colx_kctx_flags = COLX_KCTX_SELECTIVE;
  }
  const void* const args[] = {constant, nullptr, nullptr, &width};
  const auto scan = reinterpret_cast<colx_scan_fn>(kernel_named(kernel).kernel);
  const uint32_t status = scan(&res, &column.cv, args, &kctx);
  bits.push_back(status);
  bits.push_back(res.colx_cv_num_set);
  return bits;
}

TEST(Threads, PredicatesOnOneColumn) {
  const struct {
    const char* kernel;
    unsigned bits;  // of a constant
  } scans[] = {{"colx_ge_dict_13bit", 13},
               {"colx_ge_dict_8bit", 8},
               {"colx_ge_dict_5bit_null", 5},
               {"colx_ge_fixed_32bit", 32},
               {"colx_ge_dynp_64bit", 64}};
  for (const auto& scan : scans) {
    SharedColumn column(size_t{rows} * 8);
    column.encoding.colx_enc_ctx_width = scan.bits;
    expect_the_same_at_once([&](uint32_t thread) {
      const uint64_t constant = (uint64_t{thread} + 1) << (scan.bits - 4);
      const uint64_t stored = scan.bits == 64   ? __builtin_bswap64(constant)
                              : scan.bits == 32 ? __builtin_bswap32(uint32_t(constant))
                                                : constant;
      return scan_answer(scan.kernel, column, &stored, column.encoding, thread % 2 != 0);
    });
  }
}

TEST(Threads, UnpackingDifferentRangesOfOneColumn) {
  SharedColumn column(size_t{rows} * 2);
  expect_the_same_at_once([&](uint32_t thread) {
    std::vector<uint16_t> codes(1500);
    colx_cv res = {};
    res.colx_cv_data = codes.data();
    res.colx_cv_num_of_rows = 1500;
    colx_kctx kctx = {};
    kctx.colx_kctx_position = thread * 2003;
    if (thread % 2 != 0) kctx.colx_kctx_selection = column.selection.data();
    const auto unpack =
        reinterpret_cast<colx_decode_fn>(kernel_named("colx_decode_unpack_dict_11bit").kernel);
    Answer answer = {unpack(&res, &column.cv, &kctx), res.colx_cv_num_set, kctx.colx_kctx_position};
    answer.insert(answer.end(), codes.begin(), codes.end());
    return answer;
  });
}

TEST(Threads, ReadingOneFilter) {
  SharedColumn column(size_t{rows} * 8);
  column.encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
  column.encoding.colx_enc_ctx_width = 64;
  Random random(7);
  std::vector<uint64_t> filter_bits = random.words(1024 / 64, 2);
  colx_enc_ctx filter_encoding = {};
  filter_encoding.colx_enc_ctx_bloom_hash_mask = 1023;
  colx_cv filter = {};
  filter.colx_cv_bits = filter_bits.data();
  filter.colx_cv_encoding_context = &filter_encoding;
  expect_the_same_at_once([&](uint32_t thread) {
    Answer bits(words + 1);
    uint32_t ends[2];
    colx_cv res = {};
    res.colx_cv_bits = bits.data();
    res.colx_cv_data = ends;
    colx_kctx kctx = {};
    kctx.colx_kctx_start_row = thread * 1001;
    std::vector<uint64_t> selection = column.selection;
    selection.push_back(0);
    if (thread % 2 != 0) kctx.colx_kctx_selection = selection.data();
    bits.push_back(colx_bloom_dydi(&res, &column.cv, &filter, &kctx));
    bits.insert(bits.end(), {res.colx_cv_num_set, ends[0], ends[1]});
    return bits;
  });
}

TEST(Threads, IteratingOneVector) {
  SharedColumn column(64);
  expect_the_same_at_once([&](uint32_t thread) {
    colx_lbiwv_ictx ctx;
    colx_lbiwv_ictx_ini2_dydi(&ctx, column.selection.data(), rows, 0, thread * 1777);
    std::vector<uint32_t> found(3000);
    const uint64_t taken = colx_lbiwvones_dydi(&ctx, found.data(), found.size());
    Answer answer(found.begin(), found.begin() + static_cast<ptrdiff_t>(taken));
    answer.push_back(taken);
    return answer;
  });
}

}  // namespace
}  // namespace colx::test
