// Bloom tests against the plain row loop and, out of cache, against a loop of independent random
// reads of as many cache lines: a filter in L2 and one far out of cache, columns of 4 and 8 bytes,
// flat and partitioned, every row and selected rows.
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/bench_results.h"
#include "bench/support/random_reads.h"
#include "bench/support/random_stream.h"
#include "bench/support/scalar_bloom.h"
#include "bench/support/working_set.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

// A pass tests a window's rows. In memory each of the windows has values of its own, so that a
// filter of 256 MB shows a pass few lines that the one before has read.
constexpr SizeClass in_far_memory{"memory", 128 << 20, 4};

constexpr Target targets[] = {
    {"Bloom test, times the plain row loop", "colx_bloom_hash(32|64) .*", &in_l2,
     Figure::times_scalar, 2.0},
    {"Bloom test, times the plain row loop", "colx_bloom_hash(32|64) .*", &in_far_memory,
     Figure::times_scalar, 1.0},
};

struct Shape {
  unsigned width_bits;
  bool partitioned;
  bool selective;
  unsigned pass_percent;  // bits of the filter that are set

  std::string name() const {
    return "colx_bloom_hash" + std::to_string(width_bits) + (selective ? "_selective" : "") +
           (partitioned ? " partitioned" : " flat") + ", " + std::to_string(pass_percent) +
           "% pass";
  }
};

bool is_cached(const SizeClass& size) {
  return size.windows == 1;
}
unsigned filter_bits_log2(const SizeClass& size) {
  return is_cached(size) ? 21 : 31;  // 256 KB, 256 MB
}
uint32_t rows_of(const SizeClass& size) {
  return is_cached(size) ? 32768 : 4 << 20;
}

struct BloomCall {
  Shape shape;
  uint32_t rows;  // of a window
  std::vector<uint8_t> values;
  std::vector<uint64_t> bits;
  std::vector<uint64_t> selection;
  std::vector<const uint8_t*> partitions;
  LineNumbers lines;  // that each row reads; the area begins with partition 0
  uint32_t ends[2];
  BloomFilter filter;
  colx_cv res = {}, src = {}, filter_cv = {};
  colx_enc_ctx encoding = {}, filter_encoding = {};
  colx_kctx kctx = {};

  const uint8_t* window_values(unsigned window) const {
    return values.data() + uint64_t{window} * rows * (shape.width_bits / 8);
  }
  void run(unsigned window) {
    src.colx_cv_data = const_cast<uint8_t*>(window_values(window));
    res.colx_cv_bits = bits.data();
    std::memset(bits.data(), 0, bits.size() * 8);  // the kernels want a clear result
    colx_bloom_dydi(&res, &src, &filter_cv, &kctx);
  }
};

// The same filter for all cases of a size and density.
uint8_t* filter_bytes(const SizeClass& size, unsigned pass_percent) {
  const size_t bytes = size_t{1} << (filter_bits_log2(size) - 3);
  static uint8_t* areas[2] = {};
  uint8_t*& area = areas[is_cached(size) ? 0 : 1];
  if (area == nullptr) area = lasting_bytes(bytes);
  RandomNumbers random(bytes + pass_percent);
  // A few densities are all it takes: words of bits that are set with that chance, in random order.
  const std::vector<uint64_t> words = random_bits(64 * 65536, pass_percent, pass_percent);
  for (size_t at = 0; at < bytes; at += 8)
    std::memcpy(area + at, &words[random.next() % words.size()], 8);
  return area;
}

std::shared_ptr<BloomCall> bloom_call(const Shape& shape, const SizeClass& size) {
  const auto call = std::make_shared<BloomCall>();
  const unsigned bits_log2 = filter_bits_log2(size);
  uint8_t* const area = filter_bytes(size, shape.pass_percent);
  call->shape = shape;
  call->rows = rows_of(size);
  RandomNumbers random(shape.width_bits);
  const uint64_t values = uint64_t{call->rows} * size.windows;
  call->values.resize(values * (shape.width_bits / 8) + 16);
  for (size_t at = 0; at + 8 <= call->values.size(); at += 8) {
    const uint64_t word = random.next();
    std::memcpy(&call->values[at], &word, 8);
  }
  const unsigned part_log2 = shape.partitioned ? bits_log2 - 4 : bits_log2;  // 16 partitions
  for (size_t p = 0; p < size_t{1} << (bits_log2 - part_log2); ++p)
    call->partitions.push_back(area + (p << (part_log2 - 3)));
  call->filter = {call->partitions.data(), (uint32_t{1} << (bits_log2 - 1)) * 2 - 1, part_log2,
                  (uint32_t{1} << (part_log2 - 1)) * 2 - 1};
  for (uint64_t row = 0; row < values; ++row) {
    const unsigned bytes = shape.width_bits / 8;
    uint32_t stored;
    std::memcpy(&stored, &call->values[row * bytes + bytes - 4], 4);
    call->lines.push_back((__builtin_bswap32(stored) & call->filter.hash_mask) >> 9);
  }
  call->bits.resize(call->rows / 64);
  if (shape.selective) call->selection = random_bits(call->rows, 25, 1);
  call->encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
  call->encoding.colx_enc_ctx_width = shape.width_bits;
  call->src.colx_cv_encoding_context = &call->encoding;
  call->src.colx_cv_num_of_rows = call->rows;
  call->filter_encoding.colx_enc_ctx_bloom_partitioned = shape.partitioned ? 1 : 0;
  call->filter_encoding.colx_enc_ctx_bloom_hash_mask = call->filter.hash_mask;
  call->filter_encoding.colx_enc_ctx_bloom_part_shift = call->filter.part_shift;
  call->filter_encoding.colx_enc_ctx_bloom_bit_mask = call->filter.bit_mask;
  call->filter_cv.colx_cv_encoding_context = &call->filter_encoding;
  call->filter_cv.colx_cv_bits = shape.partitioned
                                     ? reinterpret_cast<uint64_t*>(call->partitions.data())
                                     : reinterpret_cast<uint64_t*>(area);
  call->res.colx_cv_data = call->ends;
  call->kctx.colx_kctx_selection = shape.selective ? call->selection.data() : nullptr;
  return call;
}

// Kernel and scalar loop against single rows.
std::string fault_of(BloomCall& call, ScalarBloom scalar) {
  const Shape& shape = call.shape;
  std::vector<uint64_t> expected(call.bits.size());
  BloomResult all = {0, 0xFFFFFFFF, 0xFFFFFFFF};
  for (uint32_t row = 0; row < call.rows; ++row) {
    if (shape.selective && (call.selection[row / 64] >> row % 64 & 1) == 0) continue;
    if (!bloom_passes(call.window_values(0), shape.width_bits, row, shape.partitioned, call.filter))
      continue;
    expected[row / 64] |= uint64_t{1} << row % 64;
    ++all.count;
    all.last = row;
    if (all.first == 0xFFFFFFFF) all.first = row;
  }
  call.run(0);
  if (call.bits != expected || call.res.colx_cv_num_set != all.count || call.ends[0] != all.first ||
      call.ends[1] != all.last)
    return "the kernel differs from the reference";
  if (shape.selective) return "";
  const BloomResult plain = scalar(call.window_values(0), call.bits.data(), call.rows, call.filter);
  const bool same = call.bits == expected && plain.count == all.count && plain.first == all.first &&
                    plain.last == all.last;
  return same ? "" : "the scalar loop differs from the reference";
}

Case bloom_case(const Shape& shape, const SizeClass& size) {
  const auto prepare = [=] {
    const auto call = bloom_call(shape, size);
    const ScalarBloom scalar = scalar_bloom(shape.width_bits, shape.partitioned);
    Contest contest;
    contest.fault = fault_of(*call, scalar);
    contest.kernel = [=](unsigned window) { call->run(window); };
    if (shape.selective) return contest;  // the lines test every row
    contest.scalar = [=](unsigned window) {
      const BloomResult result =
          scalar(call->window_values(window), call->bits.data(), call->rows, call->filter);
      asm volatile("" : : "r"(result.count));
    };
    contest.limit = [=](unsigned window) {
      const uint64_t sum = read_lines(
          call->partitions[0], call->lines.data() + uint64_t{window} * call->rows, call->rows);
      asm volatile("" : : "r"(sum));
    };
    return contest;
  };
  const uint64_t rows = rows_of(size);
  return {shape.name(), "", size, rows, rows * (shape.width_bits / 8 + 1), prepare};
}

void print_share(const std::vector<Result>& results) {
  std::printf(
      "\nBloom test out of cache, as a part of independent random reads of as many lines\n");
  for (const Result& result : results)
    if (result.of_limit && result.size.windows > 1)
      std::printf("%-52s %.2f\n", result.kernel.c_str(), result.of_limit->median);
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SizeClass* size : {&in_l2, &in_far_memory})
    for (const unsigned width_bits : {32u, 64u})
      for (const bool partitioned : {false, true})
        for (const unsigned pass_percent : {2u, 50u})
          for (const bool selective : {false, true}) {
            if (selective && pass_percent != 50) continue;
            cases.push_back(bloom_case({width_bits, partitioned, selective, pass_percent}, *size));
          }
  return {cases, targets, print_share};
}

}  // namespace colx::bench
