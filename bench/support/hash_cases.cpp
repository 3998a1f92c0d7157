#include "bench/support/hash_cases.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/join_tables.h"
#include "bench/support/random_stream.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

struct HashCall {
  std::vector<uint8_t> data;
  std::vector<uint64_t> slots;
  uint64_t seed = 0;
  unsigned width_bits;
  uint32_t rows;
  colx_cv res = {}, src = {}, seeds = {};
  colx_enc_ctx encoding = {}, seeds_encoding = {};
};

uint64_t cheap_hash(const void* key, uint64_t length, uint64_t seed) {
  if (length < 8) return (hash_of_4_bytes(key, length, seed) ^ seed) + length;
  uint64_t number;
  std::memcpy(&number, key, 8);
  return (number ^ seed) * 0x9E3779B97F4A7C15;
}

}  // namespace

Case hash_case(unsigned width_bits, const SizeClass& size) {
  const auto rows = static_cast<uint32_t>(size.bytes / (width_bits / 8 + 8) / 2);
  const auto prepare = [=] {
    const auto call = std::make_shared<HashCall>();
    call->data.resize(size_t{rows} * width_bits / 8);
    RandomNumbers random(width_bits);
    for (uint8_t& byte : call->data) byte = static_cast<uint8_t>(random.next());
    call->slots.resize(rows);
    call->encoding.colx_enc_ctx_flags = COLX_FIXED;
    call->encoding.colx_enc_ctx_width = width_bits;
    call->seeds_encoding.colx_enc_ctx_flags = COLX_HASH_VALUES;
    call->src.colx_cv_data = call->data.data();
    call->src.colx_cv_num_of_rows = rows;
    call->src.colx_cv_encoding_context = &call->encoding;
    call->seeds.colx_cv_data = &call->seed;
    call->seeds.colx_cv_num_of_rows = 1;
    call->seeds.colx_cv_encoding_context = &call->seeds_encoding;
    call->res.colx_cv_data = call->slots.data();
    colx_hash_fn fn = cheap_hash;
    asm volatile("" : "+r"(fn));  // neither line may know the function
    Contest contest;
    contest.kernel = [=](unsigned) {
      colx_hash_dydi(&call->res, &call->src, &call->seeds, fn, nullptr);
    };
    contest.scalar = [=](unsigned) {
      for (uint32_t row = 0; row < rows; ++row)
        call->slots[row] =
            fn(call->data.data() + size_t{row} * (width_bits / 8), width_bits / 8, call->seed);
    };
    contest.scalar(0);
    const std::vector<uint64_t> expected = call->slots;
    std::fill(call->slots.begin(), call->slots.end(), 0);
    contest.kernel(0);
    if (call->slots != expected) contest.fault = "the kernel differs from the plain loop";
    return contest;
  };
  return {"colx_hash_hashfn_const_fixed " + std::to_string(width_bits / 8) + " bytes",
          "",
          size,
          rows,
          uint64_t{rows} * (width_bits / 8 + 8),
          prepare};
}

}  // namespace colx::bench
