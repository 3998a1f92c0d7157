// Word bit vectors: AND with count, population count, and the rows of the set bits in batches.

#include <cstring>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/scalar_bits.h"
#include "bench/support/stream_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr Target targets[] = {
    {"AND with count, of the limit", "colx_lbiwvand_dydi", &in_l2, Figure::of_limit, 0.75},
    {"population count, times the plain word loop", "colx_lbiwvpopcnt_dydi", &in_l2,
     Figure::times_scalar, 2.5},
    {"AND and population count out of cache", "colx_lbiwv(and|popcnt)_dydi", &in_memory,
     Figure::out_of_cache, 0.8},
    {"rows of set bits in 256s at 0.1, 1, 10 percent, times scalar",
     "colx_lbiwvones_dydi (0[.]1|1|10)%", &in_l2, Figure::times_scalar, 1.0},
    {"rows of set bits in 256s at 50 percent, times scalar", "colx_lbiwvones_dydi 50%", &in_l2,
     Figure::times_scalar, 2.5},
};

const uint64_t* words_at(const uint8_t* bytes) {
  return reinterpret_cast<const uint64_t*>(bytes);
}
uint64_t* words_at(uint8_t* bytes) {
  return reinterpret_cast<uint64_t*>(bytes);
}

// Two inputs and an output, a third of the working set each.
Case and_case(const SizeClass& size) {
  const uint64_t bytes = size.bytes / 3 / 128 * 128;
  const uint64_t rows = 8 * bytes;
  const auto prepare = [=] {
    const uint8_t* const in = random_bytes(size);
    uint8_t* const out = output_bytes(size);
    const auto a = [=](unsigned window) { return in + window * size.bytes; };
    const auto b = [=](unsigned window) { return in + window * size.bytes + bytes; };
    const auto dst = [=](unsigned window) { return out + window * bytes; };
    Contest contest;
    contest.kernel = [=](unsigned w) {
      uint32_t count;
      colx_lbiwvand_dydi(words_at(dst(w)), &count, words_at(a(w)), words_at(b(w)), rows);
    };
    contest.scalar = [=](unsigned w) {
      scalar_and_count(words_at(dst(w)), words_at(a(w)), words_at(b(w)), bytes / 8);
    };
    contest.limit = [=](unsigned w) { combine_limit(dst(w), a(w), b(w), bytes); };

    const uint64_t expected_count =
        scalar_and_count(words_at(out), words_at(a(0)), words_at(b(0)), bytes / 8);
    const std::vector<uint8_t> expected(out, out + bytes);
    std::memset(out, 0, bytes);
    uint32_t count = 0;
    colx_lbiwvand_dydi(words_at(out), &count, words_at(a(0)), words_at(b(0)), rows);
    if (count != expected_count || std::memcmp(out, expected.data(), bytes) != 0)
      contest.fault = "the words or their count differ from the scalar loop's";
    return contest;
  };
  return {"colx_lbiwvand_dydi", "", size, rows, 3 * bytes, prepare};
}

Case popcnt_case(const SizeClass& size) {
  const uint64_t bytes = size.bytes;
  const auto prepare = [=] {
    const uint8_t* const in = random_bytes(size);
    Contest contest;
    contest.kernel = [=](unsigned w) {
      uint32_t count;
      colx_lbiwvpopcnt_dydi(&count, words_at(in + w * bytes), 8 * bytes);
    };
    contest.scalar = [=](unsigned w) {
      asm volatile("" : : "r"(scalar_count(words_at(in + w * bytes), bytes / 8)));
    };
    contest.limit = [=](unsigned w) { read_limit(in + w * bytes, bytes); };

    uint32_t count = 0;
    colx_lbiwvpopcnt_dydi(&count, words_at(in), 8 * bytes);
    if (count != scalar_count(words_at(in), bytes / 8))
      contest.fault = "the count differs from the scalar loop's";
    return contest;
  };
  return {"colx_lbiwvpopcnt_dydi", "", size, 8 * bytes, bytes, prepare};
}

// Bits that are set with a chance of `per_mille` in a thousand, from random bytes.
void thin_out(uint64_t* words, const uint8_t* random, uint64_t count, unsigned per_mille) {
  uint64_t state = 1;
  for (uint64_t i = 0; i < count; ++i) {
    uint64_t word = 0;
    if (per_mille == 500) {
      std::memcpy(&word, random + 8 * i, sizeof word);
    } else {
      for (unsigned bit = 0; bit < 64; ++bit) {
        state = state * 6364136223846793005 + 1442695040888963407;
        word |= uint64_t{(state >> 33) % 1000 < per_mille} << bit;
      }
    }
    words[i] = word;
  }
}

// Calls `colx_lbiwvones_dydi` for batches of 256 until the vector is exhausted.
uint64_t kernel_ones(const uint64_t* bits, uint64_t nbits) {
  uint32_t rows[batch_rows];
  colx_lbiwv_ictx ctx;
  colx_lbiwv_ictx_ini2_dydi(&ctx, bits, nbits, 0, 0);
  uint64_t count = 0;
  for (;;) {
    const uint64_t delivered = colx_lbiwvones_dydi(&ctx, rows, batch_rows);
    consume(rows, delivered);
    count += delivered;
    if (delivered < batch_rows) return count;
  }
}

std::string ones_fault(const uint64_t* bits, uint64_t nbits) {
  colx_lbiwv_ictx ctx;
  colx_lbiwv_ictx_ini2_dydi(&ctx, bits, nbits, 0, 0);
  uint32_t rows[batch_rows];
  uint64_t place = 0;
  uint64_t filled = 0;
  for (uint64_t row = 0; row < nbits; ++row) {
    if ((bits[row / 64] >> row % 64 & 1) == 0) continue;
    if (place == filled) {
      filled = colx_lbiwvones_dydi(&ctx, rows, batch_rows);
      place = 0;
    }
    if (place == filled || rows[place++] != row)
      return "row " + std::to_string(row) + " is not delivered in its turn";
  }
  const bool more = place != filled || colx_lbiwvones_dydi(&ctx, rows, batch_rows) != 0;
  return more ? "rows are delivered that are not set" : "";
}

// The vector is half of the working set at most: rows take more room than bits, but always the
// same 1 KiB.
Case ones_case(const SizeClass& size, unsigned per_mille) {
  const uint64_t bytes = size.bytes / 2;
  const uint64_t nbits = 8 * bytes;
  const auto prepare = [=] {
    auto* const bits = words_at(output_bytes(size));
    thin_out(bits, random_bytes(size), bytes / 8, per_mille);
    for (unsigned w = 1; w < size.windows; ++w) std::memcpy(bits + w * bytes / 8, bits, bytes);
    const auto window_at = [=](unsigned w) { return bits + w * bytes / 8; };
    Contest contest;
    contest.fault = ones_fault(bits, nbits);
    const uint64_t set = scalar_count(bits, bytes / 8);
    if (scalar_ones(bits, bytes / 8) != set) contest.fault = "the scalar loop is wrong";
    contest.kernel = [=](unsigned w) { kernel_ones(window_at(w), nbits); };
    contest.scalar = [=](unsigned w) { scalar_ones(window_at(w), bytes / 8); };
    contest.limit = [=](unsigned w) {
      alignas(16) uint8_t room[4 * batch_rows];
      spread_limit(reinterpret_cast<const uint8_t*>(window_at(w)), bytes, room, 4 * set);
    };
    return contest;
  };
  const std::string density = per_mille == 1 ? "0.1" : std::to_string(per_mille / 10);
  const uint64_t written = nbits * per_mille / 1000 * 4;
  return {"colx_lbiwvones_dydi " + density + "%", "", size, nbits, bytes + written, prepare};
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SizeClass& size : size_classes) {
    cases.push_back(and_case(size));
    cases.push_back(popcnt_case(size));
    for (const unsigned per_mille : {1, 10, 100, 500}) cases.push_back(ones_case(size, per_mille));
  }
  return {cases, targets};
}

}  // namespace colx::bench
