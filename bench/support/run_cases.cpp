#include "bench/support/run_cases.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "bench/support/random_stream.h"
#include "bench/support/scalar_runs.h"
#include "kernels/decode/inner_forms.h"

namespace colx::bench {
namespace {

// Rows of `runs` runs around the mean: 1 to 2 * mean - 1, or as far below the longest byte length
// as that is above the mean.
std::vector<uint32_t> random_lengths(uint64_t runs, unsigned mean_rows, unsigned length_bits) {
  RandomNumbers random(mean_rows);
  const uint32_t longest = length_bits == 8 ? std::min(2 * mean_rows - 1, 255u) : 2 * mean_rows - 1;
  const uint32_t shortest = 2 * mean_rows - longest;
  std::vector<uint32_t> lengths(runs);
  for (uint32_t& length : lengths)
    length = shortest + static_cast<uint32_t>(random.below(longest - shortest + 1));
  return lengths;
}

std::vector<uint8_t> big_endian_array(const std::vector<uint32_t>& numbers, unsigned bytes) {
  std::vector<uint8_t> stored;
  for (const uint32_t number : numbers)
    for (unsigned b = bytes; b-- > 0;) stored.push_back(static_cast<uint8_t>(number >> 8 * b));
  return stored;
}

// A column of runs and the result of its burst, in one working set.
struct BurstCall {
  std::vector<uint32_t> lengths;
  std::vector<uint8_t> places;  // lengths as stored, or first rows
  std::vector<uint64_t> run_bits;
  uint64_t rows = 0;
  uint64_t* bits = nullptr;
  uint32_t length_bits = 0;  // 0: places are first rows
  colx_decode_fn kernel;
  colx_cv res = {};
  colx_cv src = {};
  colx_enc_ctx enc = {};
  colx_kctx kctx = {};

  void run() {
    src.colx_cv_encoding_context = &enc;
    enc.colx_enc_ctx_rle_runs = enc.colx_enc_ctx_rle_cla = places.data();
    kctx.colx_kctx_selection = run_bits.data();
    kernel(&res, &src, &kctx);
  }
  uint64_t run_loop(ScalarBurst loop) {
    return loop(places.data(), run_bits.data(), lengths.size(), bits, rows);
  }
};

std::shared_ptr<BurstCall> burst_call(uint32_t width_code, unsigned percent, unsigned mean_rows,
                                      uint64_t runs, const SizeClass& size) {
  auto call = std::make_shared<BurstCall>();
  const bool listed =
      width_code == COLX_WIDTH_BURST_8BIT_CLA || width_code == COLX_WIDTH_BURST_16BIT_CLA;
  const unsigned stored_bits = width_code <= COLX_WIDTH_BURST_8BIT_CLA ? 8 : 16;
  call->length_bits = listed ? 0 : stored_bits;
  call->lengths = random_lengths(runs, mean_rows, stored_bits);
  std::vector<uint32_t> first_rows = {0};
  for (const uint32_t length : call->lengths) first_rows.push_back(first_rows.back() + length);
  call->rows = first_rows.back();
  call->places =
      listed ? big_endian_array(first_rows, 4) : big_endian_array(call->lengths, stored_bits / 8);
  call->run_bits = random_bits(runs, percent, mean_rows);
  call->bits = reinterpret_cast<uint64_t*>(output_bytes(size));

  const uint32_t slot = colx_slot_index(COLX_OPC_BURST, COLX_ENC_RLE, width_code, 0);
  call->kernel = reinterpret_cast<colx_decode_fn>(colx_dispatch_table[slot]);
  call->enc.colx_enc_ctx_flags = COLX_RLE;
  call->enc.colx_enc_ctx_rle_rows = static_cast<uint32_t>(runs);
  call->res.colx_cv_bits = call->bits;
  call->res.colx_cv_num_of_rows = static_cast<uint32_t>(call->rows);
  for (const uint64_t word : call->run_bits)
    call->kctx.colx_kctx_aux_set += static_cast<uint64_t>(__builtin_popcountll(word));
  return call;
}

std::string fault_of(BurstCall& call) {
  const uint64_t words = (call.rows + 63) / 64;
  const uint64_t count = call.run_loop(scalar_burst(call.length_bits));
  uint64_t row = 0;
  for (size_t run = 0; run < call.lengths.size(); ++run)
    for (uint32_t i = 0; i < call.lengths[run]; ++i, ++row)
      if ((call.bits[row / 64] >> row % 64 & 1) != (call.run_bits[run / 64] >> run % 64 & 1))
        return "the plain loop differs from the runs";
  const std::vector<uint64_t> expected(call.bits, call.bits + words);
  const auto same = [&] { return std::memcmp(call.bits, expected.data(), 8 * words) == 0; };
  std::memset(call.bits, 0x5A, 8 * words);
  if (call.run_loop(clever_burst(call.length_bits)) != count || !same())
    return "the clever loop differs from the plain one";
  std::memset(call.bits, 0x5A, 8 * words);
  call.run();
  if (call.res.colx_cv_num_set != count || !same()) return "the kernel differs from the plain loop";
  return "";
}

using Expander = void (*)(const colx_cv*, const colx_cv*, const void*, uint32_t, uint32_t);

Expander expander(unsigned length_bits, unsigned element_bytes) {
  if (length_bits == 8) {
    return element_bytes == 1   ? colx_rle8_expand_ub1
           : element_bytes == 2 ? colx_rle8_expand_ub2
                                : colx_rle8_expand_ub4;
  }
  return element_bytes == 1   ? colx_rle16_expand_ub1
         : element_bytes == 2 ? colx_rle16_expand_ub2
                              : colx_rle16_expand_ub4;
}

// Values and lengths of runs, and room for what they expand to.
struct ExpandCall {
  std::vector<uint32_t> lengths;
  std::vector<uint8_t> stored_lengths;
  std::vector<uint8_t> values;
  uint64_t out_bytes = 0;
  uint8_t* out = nullptr;
  Expander kernel;
  colx_cv res = {};
  colx_cv src = {};

  void run() {
    src.colx_cv_data = values.data();
    res.colx_cv_data = out;
    kernel(&res, &src, stored_lengths.data(), lengths[0], 0);
  }
};

std::string fault_of(ExpandCall& call, ScalarExpand scalar, unsigned element_bytes) {
  scalar(call.values.data(), call.stored_lengths.data(), call.lengths.size(), call.out);
  const uint8_t* at = call.out;
  for (size_t run = 0; run < call.lengths.size(); ++run)
    for (uint32_t i = 0; i < call.lengths[run]; ++i, at += element_bytes)
      if (std::memcmp(at, call.values.data() + run * element_bytes, element_bytes) != 0)
        return "the plain fills differ from the runs";
  const std::vector<uint8_t> expected(call.out, call.out + call.out_bytes);
  std::memset(call.out, 0x5A, call.out_bytes);
  call.run();
  const bool same = std::memcmp(call.out, expected.data(), call.out_bytes) == 0;
  return same ? "" : "the kernel differs from the plain fills";
}

// Fills as the standard library and the compiler make them, with vectors.
template <class Element>
void fill_all(const ExpandCall& call) {
  auto* out = reinterpret_cast<Element*>(call.out);
  for (size_t run = 0; run < call.lengths.size(); ++run) {
    Element value;
    std::memcpy(&value, call.values.data() + run * sizeof value, sizeof value);
    out = std::fill_n(out, call.lengths[run], value);
  }
}

}  // namespace

Case burst_case(uint32_t width_code, unsigned percent, unsigned mean_rows, const SizeClass& size) {
  const uint32_t slot = colx_slot_index(COLX_OPC_BURST, COLX_ENC_RLE, width_code, 0);
  const bool listed =
      width_code == COLX_WIDTH_BURST_8BIT_CLA || width_code == COLX_WIDTH_BURST_16BIT_CLA;
  const uint64_t place_bits = listed ? 32 : width_code == COLX_WIDTH_BURST_8BIT ? 8 : 16;
  const uint64_t runs = size.bytes * 8 / (place_bits + 1 + mean_rows + 1) / 64 * 64;
  const auto prepare = [=] {
    const auto call = burst_call(width_code, percent, mean_rows, runs, size);
    Contest contest;
    contest.fault = fault_of(*call);
    contest.kernel = [=](unsigned) { call->run(); };
    const auto pass_of = [=](ScalarBurst loop) {
      return [=](unsigned) {
        const uint64_t count = call->run_loop(loop);
        asm volatile("" : : "r"(count));
      };
    };
    contest.scalar = pass_of(scalar_burst(call->length_bits));
    contest.peer = pass_of(clever_burst(call->length_bits));
    return contest;
  };
  const std::string name = std::string(colx_dispatch_func_names[slot]) + " " +
                           std::to_string(percent) + "%, runs of " + std::to_string(mean_rows);
  const uint64_t bytes = runs * (place_bits + 1 + mean_rows) / 8;
  return {name, "clever loop", size, runs * mean_rows, bytes, prepare};
}

Case expand_case(unsigned length_bits, unsigned element_bytes, unsigned mean_rows,
                 const SizeClass& size) {
  const uint64_t run_bytes = length_bits / 8 + element_bytes + element_bytes * mean_rows;
  const uint64_t runs = size.bytes / (run_bytes + element_bytes);
  const auto prepare = [=] {
    const auto call = std::make_shared<ExpandCall>();
    call->lengths = random_lengths(runs, mean_rows, length_bits);
    call->stored_lengths = big_endian_array(call->lengths, length_bits / 8);
    const uint8_t* const values = random_bytes(size);
    call->values.assign(values, values + runs * element_bytes);
    for (const uint32_t length : call->lengths) call->out_bytes += length * element_bytes;
    call->out = output_bytes(size);
    call->kernel = expander(length_bits, element_bytes);
    call->src.colx_cv_num_of_rows = static_cast<uint32_t>(runs);

    const ScalarExpand scalar = scalar_expand(length_bits, element_bytes);
    Contest contest;
    contest.fault = fault_of(*call, scalar, element_bytes);
    contest.kernel = [=](unsigned) { call->run(); };
    contest.scalar = [=](unsigned) {
      scalar(call->values.data(), call->stored_lengths.data(), runs, call->out);
    };
    contest.peer = [=](unsigned) {
      element_bytes == 1   ? fill_all<uint8_t>(*call)
      : element_bytes == 2 ? fill_all<uint16_t>(*call)
                           : fill_all<uint32_t>(*call);
    };
    return contest;
  };
  const std::string name = "colx_rle" + std::to_string(length_bits) + "_expand_ub" +
                           std::to_string(element_bytes) + ", runs of " + std::to_string(mean_rows);
  return {name, "vector fills", size, runs * mean_rows, runs * run_bytes, prepare};
}

}  // namespace colx::bench
