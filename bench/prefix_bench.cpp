// Prefix groups at every value length against the plain copy loop.

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/scalar_streams.h"
#include "host/prefix_writer.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr Target targets[] = {
    {"prefix groups, times the plain copy loop", "colx_prefix_decode_dydi .*", &in_l2,
     Figure::times_scalar, 8},
};

constexpr size_t values_bytes = 384 << 10;  // fits in_l2 with its stream

// Values whose groups share `prefix` bytes and differ in the rest.
std::vector<uint8_t> values_of(uint32_t value_bytes, uint32_t prefix) {
  const size_t values = values_bytes / value_bytes;
  const uint8_t* const random = random_bytes(in_l2);
  std::vector<uint8_t> all(values * value_bytes);
  for (size_t i = 0; i < all.size(); ++i)
    all[i] = i % value_bytes < prefix ? static_cast<uint8_t>(i / value_bytes / 16) : random[i];
  return all;
}

Contest contest_of(uint32_t value_bytes, uint32_t prefix) {
  const auto values = std::make_shared<std::vector<uint8_t>>(values_of(value_bytes, prefix));
  const auto groups =
      std::make_shared<host::PrefixGroups>(host::write_prefix_groups(*values, value_bytes).value());
  uint8_t* const out = output_bytes(in_l2);
  Contest contest;
  contest.kernel = [=](unsigned) {
    colx_cv source{};
    colx_enc_ctx encoding{};
    groups->describe(source, encoding);
    colx_cv result{};
    result.colx_cv_data = out;
    colx_prefix_decode_dydi(&result, &source, nullptr);
  };
  contest.scalar = [=](unsigned) {
    scalar_prefix_copies(groups->stream.data(), groups->values, value_bytes, out);
  };
  contest.limit = [=](unsigned) { std::memcpy(out, values->data(), values->size()); };
  for (const Pass& line : {contest.kernel, contest.scalar}) {
    std::memset(out, 0, values->size());
    line(0);
    if (std::memcmp(out, values->data(), values->size()) != 0)
      contest.fault = "the values differ from what was written";
  }
  return contest;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (uint32_t value_bytes = 1; value_bytes <= 8; ++value_bytes)
    for (uint32_t prefix = 0; prefix <= value_bytes; ++prefix) {
      const std::string name = "colx_prefix_decode_dydi " + std::to_string(value_bytes) +
                               " bytes, prefix " + std::to_string(prefix);
      const uint64_t rows = values_bytes / value_bytes;
      cases.push_back({name, "", in_l2, rows, 2 * rows * value_bytes,
                       [=] { return contest_of(value_bytes, prefix); }});
    }
  return {cases, targets};
}

}  // namespace colx::bench
