// What the tests of both vector forms share: the sweep of a combining kernel over placements and
// aliasings of its output.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/oracle/bit_vectors.h"
#include "tests/support/crash_note.h"
#include "tests/support/guarded_pages.h"
#include "tests/support/seeded_random.h"

namespace colx::test {

// A combining kernel behind one argument list; inputs that it does not have are not looked at.
struct BitKernel {
  const char* name;
  oracle::BitOp op;
  void (*call)(uint8_t* dst, uint32_t* count, const uint8_t* a, const uint8_t* b, const uint8_t* c,
               uint64_t nbits);
};

// The output, as GuardedOutput::bytes takes it.
struct OutputPlace {
  Place place;
  size_t shift;
};

// An input, `gap` bytes away from an unreadable page.
struct InputPlace {
  Edge edge;
  size_t gap;
};

inline uint8_t* lay(GuardedPages& pages, InputPlace place, size_t bytes) {
  return place.edge == Edge::end ? pages.at_end(bytes + place.gap)
                                 : pages.at_begin(bytes + place.gap) + place.gap;
}

// Which inputs are the output itself.
enum class Alias { none, a, b, c, all };

class BitSweep {
 public:
  static constexpr uint64_t seed = 20;

  explicit BitSweep(oracle::BitForm form) : form_(form) {
    Random random(seed);
    for (auto& content : contents_) content = random.bytes(4096);
  }

  // Runs `kernel` with and without a count; compares what it stored, the bytes around that, the
  // inputs and the count.
  void check(const BitKernel& kernel, uint64_t nbits, OutputPlace output, InputPlace inputs,
             Alias alias) {
    const size_t length = oracle::stored_bytes(form_, nbits);
    ASSERT_LE(length, contents_[0].size());
    uint8_t* const dst = output_.bytes(length, output.place, output.shift);
    std::array<uint8_t*, 3> in;
    for (size_t i = 0; i < in.size(); ++i) {
      const bool shared = alias == Alias::all || alias == Alias(i + 1);
      in[i] = shared ? dst : lay(inputs_[i], inputs, length);
      if (length != 0) std::memcpy(in[i], contents_[i].data(), length);
    }
    const auto inputs_before = copies(in, length);
    const auto expected = oracle::combined(form_, kernel.op, in[0], in[1], in[2], nbits);
    const uint32_t expected_count = oracle::count_bits(expected.data(), nbits);

    for (const bool counted : {true, false}) {
      for (size_t i = 0; i < in.size() && length != 0; ++i)
        std::memcpy(in[i], inputs_before[i].data(), length);
      const std::string what = describe(kernel, nbits, output, inputs, alias, counted);
      set_crash_note("%s", what.c_str());
      uint32_t count = untouched_count;
      kernel.call(dst, counted ? &count : nullptr, in[0], in[1], in[2], nbits);

      ASSERT_EQ(count, counted ? expected_count : untouched_count) << what;
      ASSERT_EQ(std::vector<uint8_t>(dst, dst + length), expected) << what;
      ASSERT_EQ(output_.damage(), "") << what;
      for (size_t i = 0; i < in.size(); ++i)
        ASSERT_TRUE(in[i] == dst || copies(in, length)[i] == inputs_before[i]) << what << ": input";
    }
  }

 private:
  static constexpr uint32_t untouched_count = 0xDEADBEEF;

  static std::array<std::vector<uint8_t>, 3> copies(const std::array<uint8_t*, 3>& in,
                                                    size_t length) {
    return {std::vector<uint8_t>(in[0], in[0] + length),
            std::vector<uint8_t>(in[1], in[1] + length),
            std::vector<uint8_t>(in[2], in[2] + length)};
  }

  static std::string describe(const BitKernel& kernel, uint64_t nbits, OutputPlace output,
                              InputPlace inputs, Alias alias, bool counted) {
    return std::string(kernel.name) + " over " + std::to_string(nbits) + " bits, output place " +
           std::to_string(int(output.place)) + " shift " + std::to_string(output.shift) +
           ", inputs edge " + std::to_string(int(inputs.edge)) + " gap " +
           std::to_string(inputs.gap) + ", alias " + std::to_string(int(alias)) +
           (counted ? ", counted" : ", not counted") + ", seed " + std::to_string(seed);
  }

  oracle::BitForm form_;
  GuardedOutput output_;
  std::array<GuardedPages, 3> inputs_;
  std::array<std::vector<uint8_t>, 3> contents_;
};

}  // namespace colx::test
