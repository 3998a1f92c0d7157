// Any bytes whose lengths a dynp column may have are scanned to what their rows say: by the steps,
// by the tail and by the walk along a selection.
//
//   input: kernel, 1 byte | rows, 2 bytes | constants, 8 bytes each | tie codes, 1 byte each |
//          selection, 16 bytes that repeat | length bytes of all groups | data
//
// Lengths decide how many bytes of data there are; missing ones are 0. Every buffer is a heap block
// of exactly the granted size, so that the address sanitizer sees the first byte beyond.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "host/big_endian.h"
#include "kernels/frame/colx_x86.h"
#include "kernels/frame/kernels.h"
#include "kernels/frame/registry.h"
#include "kernels/frame/slot_index.h"

namespace {

using colx::Op;
using colx::host::load_big_endian;

struct Kernel {
  colx_kernel_fn call;
  Op op;
  unsigned word;  // bytes
  bool ties;
};

#define COLX_FUZZED(form, name, op, enc, code, flag) \
  {reinterpret_cast<colx_kernel_fn>(name), Op::op, colx::code_width(colx::code) / 8, flag != 0},
using colx::width_code;
const Kernel kernels[] = {COLX_DYNP(COLX_FUZZED)};

constexpr size_t head_bytes = 3 + 2 * 8 + 2 + 16;
constexpr uint32_t most_rows = 1000;

void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "dynp_fuzz: %s\n", what);
  std::abort();
}

struct Row {
  uint64_t value;  // first byte on top
  unsigned code;
  bool operator==(const Row&) const = default;
  bool operator<(const Row& other) const {
    return value != other.value ? value < other.value : code < other.code;
  }
};

bool is_hit(Op op, Row row, Row lo, Row hi) {
  switch (op) {
    case Op::eq:
      return row == lo;
    case Op::ne:
      return !(row == lo);
    case Op::lt:
      return row < lo;
    case Op::gt:
      return lo < row;
    case Op::le:
      return !(lo < row);
    case Op::ge:
      return !(row < lo);
    case Op::gt_lt:
      return lo < row && row < hi;
    case Op::gt_le:
      return lo < row && !(hi < row);
    case Op::ge_lt:
      return !(row < lo) && row < hi;
    default:
      return !(row < lo) && !(hi < row);
  }
}

struct Column {
  std::vector<uint8_t> lengths;
  std::vector<uint8_t> data;
  size_t readable = 0;  // bytes of data: 16 from the last group's start
  std::vector<Row> rows;
};

// Groups as they stand: a length byte each, then rows of its codes plus one byte. Lengths above the
// longest row's are cut, which a host's writer does as well.
Column column_of(unsigned word, uint32_t count, const uint8_t* bytes, size_t size) {
  const unsigned code_bits = word / 2, group_rows = 16 / word;
  Column column;
  const uint32_t groups = (count + group_rows - 1) / group_rows;
  column.lengths.resize(groups);
  for (uint32_t g = 0; g < groups && g < size; ++g)
    column.lengths[g] = word == 8 ? bytes[g] & 0x77 : bytes[g];
  const size_t taken = std::min<size_t>(groups, size);
  column.data.assign(bytes + taken, bytes + size);
  size_t at = 0, group_at = 0;
  for (uint32_t row = 0; row < groups * group_rows; ++row) {
    const unsigned place = code_bits * (group_rows - 1 - row % group_rows);
    const unsigned code = column.lengths[row / group_rows] >> place & ((1u << code_bits) - 1);
    if (row % group_rows == 0) group_at = at;
    if (column.data.size() < at + 16) column.data.resize(at + 16);
    Row value = {0, code};
    for (unsigned k = 0; k <= code; ++k)
      value.value |= uint64_t{column.data[at + k]} << (56 - 8 * k);
    at += code + 1;
    if (row < count) column.rows.push_back(value);
  }
  column.readable = groups == 0 ? 0 : group_at + 16;
  column.data.resize(column.readable);
  return column;
}

template <class T>
std::unique_ptr<T[]> copied(const std::vector<T>& all) {
  auto copy = std::make_unique<T[]>(all.size());
  std::copy(all.begin(), all.end(), copy.get());
  return copy;
}

struct Constants {
  Row lo, hi;
  std::unique_ptr<uint8_t[]> lo_word, hi_word;
};

void check(const Kernel& kernel, const Column& column, const Constants& constants,
           const std::vector<uint64_t>* selection) {
  const auto rows = static_cast<uint32_t>(column.rows.size());
  const size_t words = (rows + 63) / 64;
  const auto data = copied(column.data);
  std::vector<uint8_t> padded = column.lengths;
  if (kernel.ties) padded.resize(padded.size() + 12, 0xEE);
  const auto lengths = copied(padded);
  const auto bits = std::make_unique<uint64_t[]>(words);
  std::memset(bits.get(), 0xA5, words * 8);

  colx_enc_ctx encoding = {};
  colx_cv src = {}, res = {};
  src.colx_cv_data = data.get();
  src.colx_cv_aux = lengths.get();
  src.colx_cv_num_of_rows = res.colx_cv_num_of_rows = rows;
  src.colx_cv_encoding_context = &encoding;
  res.colx_cv_bits = bits.get();
  colx_kctx kctx = {};
  std::unique_ptr<uint64_t[]> selected;
  if (selection) {
    selected = copied(*selection);
    kctx.colx_kctx_selection = selected.get();
    kctx.colx_kctx_flags = COLX_KCTX_SELECTIVE;
  }
  const auto lo_code = static_cast<uint8_t>(constants.lo.code);
  const auto hi_code = static_cast<uint8_t>(constants.hi.code);
  const void* const lo_args[] = {constants.lo_word.get(), &lo_code};
  const void* const hi_args[] = {constants.hi_word.get(), &hi_code};
  const uint32_t status =
      kernel.op >= Op::gt_lt
          ? reinterpret_cast<colx_range_scan_fn>(kernel.call)(&res, &src, lo_args, hi_args, &kctx)
          : reinterpret_cast<colx_scan_fn>(kernel.call)(&res, &src, lo_args, &kctx);

  uint32_t count = 0;
  for (uint32_t row = 0; row < rows; ++row) {
    Row value = column.rows[row];
    Row lo = constants.lo, hi = constants.hi;
    if (!kernel.ties) value.code = lo.code = hi.code = 0;
    const bool looked_at = !selection || ((*selection)[row / 64] >> (row % 64) & 1) != 0;
    const bool hit = looked_at && is_hit(kernel.op, value, lo, hi);
    count += hit;
    require((bits[row / 64] >> (row % 64) & 1) == uint64_t{hit}, "a row has the other answer");
  }
  require(res.colx_cv_num_set == count, "the count is not that of the hits");
  require(status == (count == 0 ? COLX_NOTHING_FOUND : COLX_DONE), "the status is another");
}

// A constant of the kernel's word; its tie code is one that a row may have.
Row constant(const uint8_t* bytes, uint8_t tie, unsigned word, std::unique_ptr<uint8_t[]>& stored) {
  stored = std::make_unique<uint8_t[]>(word);
  std::memcpy(stored.get(), bytes, word);
  return {load_big_endian(bytes, word) << (64 - 8 * word), tie % word};
}

}  // namespace

extern "C" void host_raise_internal(void*, void*, const char* text, uint64_t) {
  require(false, text);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < head_bytes) return 0;
  const Kernel& kernel = kernels[data[0] % std::size(kernels)];
  const auto rows = static_cast<uint32_t>(load_big_endian(data + 1, 2) % most_rows);
  Constants constants;
  constants.lo = constant(data + 3, data[19], kernel.word, constants.lo_word);
  constants.hi = constant(data + 11, data[20], kernel.word, constants.hi_word);
  const Column column = column_of(kernel.word, rows, data + head_bytes, size - head_bytes);
  std::vector<uint64_t> selection((rows + 63) / 64);
  for (size_t w = 0; w < selection.size(); ++w)
    std::memcpy(&selection[w], data + 21 + w % 2 * 8, 8);
  check(kernel, column, constants, nullptr);
  check(kernel, column, constants, &selection);
  return 0;
}
