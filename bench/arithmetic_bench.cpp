// add, sub and mul of floats and doubles in all forms, stored and summed, on arrays and with a
// constant on one side, against the row-by-row loop and a loop that reads and writes as much.

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "bench/support/bench_program.h"
#include "bench/support/scalar_numbers.h"
#include "bench/support/stream_limit.h"
#include "bench/support/unpack_limit.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

#define STORED "colx_(add|sub|mul)_(float|double)_[nc]_[nc]"
constexpr Target targets[] = {
    {"stored, out of cache, of the same reads and writes", STORED, &in_memory, Figure::of_limit,
     0.8},
    {"stored, with a constant, out of cache, likewise", STORED " .* constant", &in_memory,
     Figure::of_limit, 0.8},
    {"sums of floats with canonical rows, times scalar", "colx_.*_float_(c_n|n_c|c_c)_sum", &in_l2,
     Figure::times_scalar, 3},
    {"sums of doubles with canonical rows, times scalar", "colx_.*_double_(c_n|n_c|c_c)_sum",
     &in_l2, Figure::times_scalar, 3},
};
#undef STORED

enum class Constant { none, left, right };

struct ArithmeticCase {
  uint32_t slot;
  Constant constant;

  bool sums() const { return slot >> 12 != 0; }
  uint64_t bytes() const { return (slot >> 7 & COLX_WIDTH_DOUBLE) != 0 ? 8 : 4; }
  uint64_t arrays() const { return constant == Constant::none ? 2 : 1; }
  std::string name() const {
    const char* const sides[] = {"", " left constant", " right constant"};
    return colx_dispatch_func_names[slot] + std::string(sides[static_cast<int>(constant)]);
  }
  // Rows whose operands and results fill a working set: a multiple of 512.
  uint64_t rows(const SizeClass& size) const {
    const uint64_t bytes_a_row = (arrays() + (sums() ? 0 : 1)) * bytes();
    return size.bytes / bytes_a_row / 512 * 512;
  }
  uint64_t bytes_of_pass(const SizeClass& size) const {
    return (arrays() + (sums() ? 0 : 1)) * bytes() * rows(size);
  }
};

// The records of a call, with the operands of a window one behind the other.
struct ArithmeticCall {
  ArithmeticCase kind;
  SizeClass size;
  colx_enc_ctx encodings[2] = {};
  colx_cv operands[2] = {};
  colx_cv result = {};

  ArithmeticCall(const ArithmeticCase& arithmetic, const SizeClass& size_class)
      : kind(arithmetic), size(size_class) {
    for (int i = 0; i < 2; ++i) {
      operands[i].colx_cv_encoding_context = &encodings[i];
      operands[i].colx_cv_num_of_rows = static_cast<uint32_t>(kind.rows(size));
    }
    if (kind.constant == Constant::none) return;
    const int side = kind.constant == Constant::left ? 0 : 1;
    encodings[side].colx_enc_ctx_flags = COLX_CONST;
    operands[side].colx_cv_num_of_rows = 1;
  }

  const uint8_t* left(unsigned window) const { return number_bytes(size) + window * size.bytes; }
  const uint8_t* right(unsigned window) const {
    return left(window) + (kind.constant == Constant::none ? kind.rows(size) * kind.bytes() : 0);
  }
  uint8_t* out(unsigned window) const {
    return output_bytes(size) + (kind.sums() ? 0 : window * size.bytes);
  }

  void run(unsigned window) {
    operands[0].colx_cv_data = const_cast<uint8_t*>(left(window));
    operands[1].colx_cv_data = const_cast<uint8_t*>(right(window));
    result.colx_cv_data = out(window);
    const auto kernel = reinterpret_cast<colx_binary_fn>(colx_dispatch_table[kind.slot]);
    kernel(&result, &operands[0], &operands[1], nullptr);
  }
};

// The sum that the kernels' lanes give, of results that the scalar line stores.
template <class T>
std::vector<uint8_t> lane_sum(const uint8_t* results, uint64_t rows) {
  constexpr uint64_t lanes = 16 / sizeof(T);
  T lane[lanes] = {};
  for (uint64_t row = 0; row < rows; ++row) {
    T result;
    std::memcpy(&result, results + row * sizeof(T), sizeof result);
    lane[row % lanes] += result;
  }
  T sum = lane[0] + lane[1];
  if constexpr (lanes == 4) sum += lane[2] + lane[3];
  std::vector<uint8_t> bytes(sizeof sum);
  std::memcpy(bytes.data(), &sum, sizeof sum);
  return bytes;
}

// The kernel against the scalar line, on the first window. Rows are whole steps.
std::string fault_of(const ArithmeticCase& kind, const SizeClass& size) {
  ArithmeticCall call(kind, size);
  const uint64_t rows = kind.rows(size);
  const uint64_t bytes = kind.bytes();
  std::vector<uint8_t> repeated;
  const uint8_t* operands[] = {call.left(0), call.right(0)};
  if (kind.constant != Constant::none) {
    const uint8_t*& constant = operands[kind.constant == Constant::left ? 0 : 1];
    for (uint64_t row = 0; row < rows; ++row)
      repeated.insert(repeated.end(), constant, constant + bytes);
    constant = repeated.data();
  }
  std::vector<uint8_t> expected(rows * bytes);
  scalar_arithmetic(kind.slot & 0xFFF)(operands[0], operands[1], rows, expected.data());
  if (kind.sums())
    expected = bytes == 8 ? lane_sum<double>(expected.data(), rows)
                          : lane_sum<float>(expected.data(), rows);
  std::memset(call.out(0), 0, expected.size());
  call.run(0);
  if (std::memcmp(call.out(0), expected.data(), expected.size()) != 0)
    return "the kernel differs from the scalar loop";
  return "";
}

// A loop over the same arrays that computes nothing.
Pass limit_pass(const std::shared_ptr<ArithmeticCall>& call) {
  const uint64_t bytes = call->kind.rows(call->size) * call->kind.bytes();
  if (call->kind.sums())
    return [=](unsigned window) { read_limit(call->left(window), call->kind.arrays() * bytes); };
  if (call->kind.constant == Constant::none)
    return [=](unsigned window) {
      combine_limit(call->out(window), call->left(window), call->right(window), bytes);
    };
  return [=, copy = unpack_limit(32, 4)](unsigned window) {
    copy(call->left(window), call->out(window), bytes / 4);
  };
}

Case arithmetic_case(const ArithmeticCase& kind, const SizeClass& size) {
  const auto prepare = [=] {
    const auto call = std::make_shared<ArithmeticCall>(kind, size);
    Contest contest;
    contest.fault = fault_of(kind, size);
    contest.kernel = [=](unsigned window) { call->run(window); };
    if (kind.constant == Constant::none)
      contest.scalar = [=, line = scalar_arithmetic(kind.slot)](unsigned window) {
        line(call->left(window), call->right(window), kind.rows(size), call->out(window));
      };
    contest.limit = limit_pass(call);
    return contest;
  };
  return {kind.name(), "", size, kind.rows(size), kind.bytes_of_pass(size), prepare};
}

std::vector<uint32_t> arithmetic_slots(uint32_t form) {
  std::vector<uint32_t> slots;
  for (const uint32_t opc : {COLX_OPC_ADD, COLX_OPC_SUB, COLX_OPC_MUL})
    for (const uint32_t code : {0, 4, 8, 12, 1, 5, 9, 13})
      slots.push_back(colx_slot_index(opc, 0, code, form));
  return slots;
}

}  // namespace

BenchProgram bench_program(bool /*quick*/) {
  std::vector<Case> cases;
  for (const SizeClass& size : {in_l2, in_memory})
    for (const uint32_t slot : arithmetic_slots(COLX_FORM_PLAIN))
      for (const Constant constant : {Constant::none, Constant::left, Constant::right})
        cases.push_back(arithmetic_case({slot, constant}, size));
  for (const SizeClass& size : {in_l2, in_memory})
    for (const uint32_t slot : arithmetic_slots(COLX_FORM_VARIANT))
      cases.push_back(arithmetic_case({slot, Constant::none}, size));
  return {cases, targets};
}

}  // namespace colx::bench
