#include "bench/support/lookup_cases.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench/support/random_stream.h"
#include "bench/support/scalar_codes.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

// Dictionaries have a few thousand entries as a rule, however wide their codes are.
constexpr uint64_t most_codes = 4096;

uint64_t codes_below(unsigned width_bits) {
  return std::min(uint64_t{1} << width_bits, most_codes);
}

uint32_t slot_of(uint32_t opc, unsigned width_bits) {
  return colx_slot_index(opc, COLX_ENC_DICT, colx_width_code(width_bits), 0);
}

// A table for all codes of the width; of a wide one little is ever touched.
uint64_t* code_table(unsigned width_bits) {
  const size_t bytes = std::max<size_t>((size_t{1} << width_bits) / 8, 8);
  void* const table = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (table == MAP_FAILED) {
    std::fprintf(stderr, "benchmark: no memory for a code table of %u bits\n", width_bits);
    std::exit(1);
  }
  auto* const words = static_cast<uint64_t*>(table);
  const std::vector<uint64_t> wanted = random_bits(codes_below(width_bits), 50, width_bits);
  std::copy(wanted.begin(), wanted.end(), words);
  return words;
}

struct SetCall {
  std::vector<uint8_t> codes;
  uint64_t* bits;
  uint64_t rows;
  colx_binary_fn kernel;
  colx_cv res = {};
  colx_cv src = {};
  colx_cv table = {};
  colx_enc_ctx enc = {};

  void run() {
    src.colx_cv_data = codes.data();
    src.colx_cv_encoding_context = &enc;
    kernel(&res, &src, &table, nullptr);
  }
};

std::string fault_of(SetCall& call, ScalarSet scalar, unsigned width_bits) {
  const uint64_t* const table = call.table.colx_cv_bits;
  const uint32_t count = scalar(call.codes.data(), table, call.bits, call.rows);
  for (uint64_t row = 0; row < std::min<uint64_t>(call.rows, 5000); ++row) {
    const uint64_t code = code_at(call.codes.data(), width_bits, row);
    if ((call.bits[row / 64] >> row % 64 & 1) != (table[code / 64] >> code % 64 & 1))
      return "the scalar loop differs from the reference";
  }
  const std::vector<uint64_t> expected(call.bits, call.bits + call.rows / 64);
  std::memset(call.bits, 0x5A, call.rows / 8);
  call.run();
  const bool same = call.res.colx_cv_num_set == count &&
                    std::memcmp(call.bits, expected.data(), call.rows / 8) == 0;
  return same ? "" : "the kernel differs from the scalar loop";
}

// Rows in rising order, a dictionary, and the three arrays of the result.
struct DecodeCall {
  std::vector<uint8_t> codes;
  std::vector<uint32_t> rows;
  std::vector<uint32_t> offsets;         // in the machine's byte order
  std::vector<uint32_t> stored_offsets;  // big-endian
  std::vector<const uint8_t*> values;
  std::vector<uint16_t> lengths;
  std::vector<uint16_t> flags;
  uint8_t one_length[2] = {0, 12};
  colx_decode_fn kernel;
  colx_cv res = {};
  colx_cv src = {};
  colx_enc_ctx enc = {};
  colx_kctx kctx = {};

  void run() {
    src.colx_cv_data = codes.data();
    src.colx_cv_encoding_context = &enc;
    enc.colx_enc_ctx_one_len = one_length;
    enc.colx_enc_ctx_cla = stored_offsets.data();
    enc.colx_enc_ctx_symbols = codes.data();
    res.colx_cv_data = values.data();
    res.colx_cv_aux = lengths.data();
    res.colx_cv_row_flags = flags.data();
    kctx.colx_kctx_rows = rows.data();
    kctx.colx_kctx_num_rows = static_cast<uint32_t>(rows.size());
    kernel(&res, &src, &kctx);
  }

  DecodeTraffic traffic(unsigned width_bits) {
    const auto entries = static_cast<uint32_t>(std::bit_floor(codes_below(width_bits)));
    return {rows.data(), rows.size(),   codes.data(),   offsets.data(),
            entries,     values.data(), lengths.data(), flags.data()};
  }
};

std::string fault_of(DecodeCall& call, unsigned width_bits, bool cumulative) {
  call.run();
  for (size_t i = 0; i < call.rows.size(); ++i) {
    const uint64_t code = code_at(call.codes.data(), width_bits, call.rows[i]);
    const uint64_t offset = cumulative ? call.offsets[code] : 12 * code;
    const uint32_t length = cumulative ? call.offsets[code + 1] - call.offsets[code] : 12;
    if (call.values[i] != call.codes.data() + offset || call.lengths[i] != length ||
        call.flags[i] != (length == 0 ? 2 : 0))
      return "the kernel differs from the reference at element " + std::to_string(i);
  }
  return "";
}

}  // namespace

Case set_case(unsigned width_bits, const SizeClass& size) {
  const uint64_t rows = size.bytes * 8 / (width_bits + 1) / 512 * 512;
  const auto prepare = [=] {
    const auto call = std::make_shared<SetCall>();
    call->codes = random_codes(rows, width_bits, codes_below(width_bits), width_bits);
    call->bits = reinterpret_cast<uint64_t*>(output_bytes(size));
    call->rows = rows;
    call->kernel =
        reinterpret_cast<colx_binary_fn>(colx_dispatch_table[slot_of(COLX_OPC_SET, width_bits)]);
    call->res.colx_cv_bits = call->bits;
    call->res.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
    call->table.colx_cv_bits = code_table(width_bits);
    call->enc.colx_enc_ctx_flags = COLX_DICT;
    const ScalarSet scalar = scalar_set(width_bits);
    Contest contest;
    contest.fault = fault_of(*call, scalar, width_bits);
    contest.kernel = [=](unsigned) { call->run(); };
    contest.scalar = [=](unsigned) {
      const uint32_t count = scalar(call->codes.data(), call->table.colx_cv_bits, call->bits, rows);
      asm volatile("" : : "r"(count));
    };
    return contest;
  };
  const uint64_t bytes = rows * (width_bits + 1) / 8;
  return {
      colx_dispatch_func_names[slot_of(COLX_OPC_SET, width_bits)], "", size, rows, bytes, prepare};
}

Case decode_case(unsigned width_bits, bool cumulative, const SizeClass& size) {
  const uint64_t listed = size.bytes / (4 * width_bits / 8 + 4 + 12 + 1);
  const auto prepare = [=] {
    const auto call = std::make_shared<DecodeCall>();
    RandomNumbers random(width_bits);
    uint32_t row = 0;
    for (uint64_t i = 0; i < listed; ++i, row += 1 + static_cast<uint32_t>(random.below(7)))
      call->rows.push_back(row);
    call->codes = random_codes(row + 1, width_bits, codes_below(width_bits), width_bits);
    call->offsets.push_back(0);
    for (uint64_t code = 0; code < codes_below(width_bits); ++code)
      call->offsets.push_back(call->offsets.back() + static_cast<uint32_t>(random.below(25)));
    for (const uint32_t offset : call->offsets)
      call->stored_offsets.push_back(__builtin_bswap32(offset));
    call->values.resize(listed);
    call->lengths.resize(listed);
    call->flags.resize(listed);
    call->kernel =
        reinterpret_cast<colx_decode_fn>(colx_dispatch_table[slot_of(COLX_OPC_DECODE, width_bits)]);
    call->enc.colx_enc_ctx_layout = cumulative ? COLX_DICT_CUMULATIVE : COLX_DICT_ONE_LENGTH;
    call->enc.colx_enc_ctx_flags = COLX_DICT;
    Contest contest;
    contest.fault = fault_of(*call, width_bits, cumulative);
    contest.kernel = [=](unsigned) { call->run(); };
    const DecodeLimit limit = decode_limit(width_bits, cumulative);
    contest.peer = [=](unsigned) { limit(call->traffic(width_bits)); };
    return contest;
  };
  const std::string name =
      std::string(colx_dispatch_func_names[slot_of(COLX_OPC_DECODE, width_bits)]) +
      (cumulative ? " cumulative" : " one length");
  const uint64_t bytes = listed * (4 + 12 + width_bits / 8);
  return {name, "loads and stores", size, listed, bytes, prepare};
}

}  // namespace colx::bench
