#include "bench/support/unpack_cases.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "bench/support/random_stream.h"
#include "bench/support/scalar_unpack.h"
#include "bench/support/unpack_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

// One kernel with its records on the benchmark's random codes.
struct UnpackCall {
  UnpackCall(unsigned width, unsigned element, const SizeClass& size_class, uint64_t row_count)
      : width_bits(width), element_bytes(element), size(size_class), rows(row_count) {
    const uint32_t slot =
        colx_slot_index(COLX_OPC_DECODE_UNPACK, COLX_ENC_DICT, colx_width_code(width), 0);
    kernel = reinterpret_cast<colx_decode_fn>(colx_dispatch_table[slot]);
    name = colx_dispatch_func_names[slot];
    enc.colx_enc_ctx_flags = COLX_DICT;
    src.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
    res.colx_cv_num_of_rows = static_cast<uint32_t>(size.bytes / element);
    flags = element != natural_element_bytes(width) ? uint32_t{COLX_KCTX_WIDE_CODES} : 0;
  }

  const uint8_t* codes(unsigned window) const {
    return random_bytes(size) + window * (rows * width_bits / 8);
  }
  uint8_t* out(unsigned window) const {
    return output_bytes(size) + window * (rows * element_bytes);
  }

  void run(unsigned window) {
    src.colx_cv_data = const_cast<uint8_t*>(codes(window));
    src.colx_cv_encoding_context = &enc;
    res.colx_cv_data = out(window);
    colx_kctx kctx = {};
    kctx.colx_kctx_flags = flags;
    kctx.colx_kctx_selection = selection.empty() ? nullptr : selection.data();
    kernel(&res, &src, &kctx);
  }

  uint64_t element(uint64_t i) const {
    uint64_t value = 0;
    std::memcpy(&value, out(0) + i * element_bytes, element_bytes);
    return value;
  }

  unsigned width_bits;
  unsigned element_bytes;
  SizeClass size;
  uint64_t rows;
  colx_decode_fn kernel;
  std::string name;
  uint32_t flags;
  std::vector<uint64_t> selection;
  colx_cv res = {};
  colx_cv src = {};
  colx_enc_ctx enc = {};
};

// The first elements against codes taken bit by bit; the output holds `count` of them.
bool elements_right(const UnpackCall& call, uint64_t count) {
  uint64_t checked = 0;
  for (uint64_t row = 0; row < call.rows && checked < std::min<uint64_t>(count, 5000); ++row) {
    const bool chosen = call.selection.empty() || (call.selection[row / 64] >> row % 64 & 1) != 0;
    if (!chosen) continue;
    if (call.element(checked++) != code_at(call.codes(0), call.width_bits, row)) return false;
  }
  return true;
}

// `count` elements lie in the output, made by the scalar loop.
std::string fault_of(UnpackCall& call, uint64_t count) {
  if (!elements_right(call, count)) return "the scalar loop differs from the reference";
  const uint64_t bytes = count * call.element_bytes;
  const std::vector<uint8_t> expected(call.out(0), call.out(0) + bytes);
  std::memset(call.out(0), 0x5A, bytes);
  call.run(0);
  const bool same =
      call.res.colx_cv_num_set == count && std::memcmp(call.out(0), expected.data(), bytes) == 0;
  return same ? "" : "the kernel differs from the scalar loop";
}

std::string case_name(unsigned width_bits, unsigned element_bytes) {
  const uint32_t slot =
      colx_slot_index(COLX_OPC_DECODE_UNPACK, COLX_ENC_DICT, colx_width_code(width_bits), 0);
  return std::string(colx_dispatch_func_names[slot]) + " to " + std::to_string(element_bytes);
}

}  // namespace

Case unpack_case(unsigned width_bits, unsigned element_bytes, const SizeClass& size) {
  const uint64_t rows = size.bytes * 8 / (width_bits + 8 * element_bytes) / 512 * 512;
  const auto prepare = [=] {
    const auto call = std::make_shared<UnpackCall>(width_bits, element_bytes, size, rows);
    const ScalarUnpack scalar = scalar_unpack(width_bits, element_bytes);
    const UnpackLimit limit = unpack_limit(width_bits, element_bytes);
    Contest contest;
    scalar(call->codes(0), call->out(0), rows);
    contest.fault = fault_of(*call, rows);
    contest.kernel = [=](unsigned w) { call->run(w); };
    contest.scalar = [=](unsigned w) { scalar(call->codes(w), call->out(w), rows); };
    contest.limit = [=](unsigned w) { limit(call->codes(w), call->out(w), rows); };
    return contest;
  };
  const uint64_t bytes = rows * width_bits / 8 + rows * element_bytes;
  return {case_name(width_bits, element_bytes), "", size, rows, bytes, prepare};
}

Case unpack_selected_case(unsigned width_bits, unsigned percent, bool walked,
                          const SizeClass& size) {
  const unsigned element_bytes = natural_element_bytes(width_bits);
  const uint64_t row_bits = width_bits + 1 + 8 * element_bytes * percent / 100;
  const uint64_t rows = size.bytes * 8 / row_bits / 512 * 512;
  const auto prepare = [=] {
    const auto call = std::make_shared<UnpackCall>(width_bits, element_bytes, size, rows);
    call->selection = random_bits(rows, percent, width_bits);
    if (walked) call->flags |= COLX_KCTX_SELECTIVE;
    const ScalarUnpackSelected scalar = scalar_unpack_selected(width_bits, element_bytes);
    Contest contest;
    const uint64_t count = scalar(call->codes(0), call->selection.data(), call->out(0), rows);
    contest.fault = fault_of(*call, count);
    contest.kernel = [=](unsigned w) { call->run(w); };
    contest.scalar = [=](unsigned w) {
      const uint64_t selected = scalar(call->codes(w), call->selection.data(), call->out(w), rows);
      asm volatile("" : : "r"(selected));
    };
    return contest;
  };
  const std::string name = case_name(width_bits, element_bytes) + ", " + std::to_string(percent) +
                           "%" + (walked ? " walked" : "");
  return {name, "", size, rows, rows * row_bits / 8, prepare};
}

}  // namespace colx::bench
