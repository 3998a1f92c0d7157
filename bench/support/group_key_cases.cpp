#include "bench/support/group_key_cases.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "bench/support/random_stream.h"
#include "bench/support/scalar_unpack.h"
#include "bench/support/scalar_xlate.h"
#include "kernels/frame/colx_x86.h"

namespace colx::bench {
namespace {

constexpr uint64_t chunk_rows = 4096;
constexpr uint64_t rows_checked = 5000;

void* allocated(void*, uint64_t bytes, const char*, uint32_t, uint32_t, uint64_t*) {
  return new uint8_t[bytes];
}

void released(void*, void* buffer, uint64_t) {
  delete[] static_cast<uint8_t*>(buffer);
}

// The codes of a window lie column by column behind its keys.
struct GroupKeyCall {
  std::vector<unsigned> widths;
  bool multiplied;
  SizeClass size;
  uint64_t rows;
  std::vector<uint32_t> chunk = std::vector<uint32_t>(chunk_rows);
  std::vector<colx_enc_ctx> encodings;
  std::vector<colx_cv> columns;
  uint32_t key_space;
  colx_env env = {};
  colx_cv res = {}, scratch = {};
  colx_kctx kctx = {};

  uint32_t* keys(unsigned window) const {
    return reinterpret_cast<uint32_t*>(output_bytes(size)) + window * rows;
  }
  const uint8_t* codes(unsigned window, size_t column) const {
    uint64_t row_bits = 0, bits_before = 0;
    for (size_t c = 0; c < widths.size(); ++c) {
      if (c < column) bits_before += widths[c];
      row_bits += widths[c];
    }
    return random_bytes(size) + window * (rows * row_bits / 8) + rows * bits_before / 8;
  }
  uint32_t factor(size_t column) const {
    return multiplied ? uint32_t{1} << widths[column] : widths[column];
  }

  void run(unsigned window) {
    for (size_t c = 0; c < columns.size(); ++c)
      columns[c].colx_cv_data = const_cast<uint8_t*>(codes(window, c));
    res.colx_cv_data = keys(window);
    colx_groupkey_dydi(&res, &key_space, columns.data(), static_cast<uint32_t>(columns.size()),
                       &scratch, &kctx);
  }

  // Column by column in chunks as well, each code taken out of its stream without vectors.
  void run_scalar(unsigned window) {
    for (uint64_t row = 0; row < rows; row += chunk_rows) {
      const uint64_t count = std::min(chunk_rows, rows - row);
      uint32_t* const out = keys(window) + row;
      for (size_t c = 0; c < widths.size(); ++c) {
        const ScalarUnpack unpack = scalar_unpack(widths[c], 4);
        unpack(codes(window, c) + row * widths[c] / 8, c == 0 ? out : chunk.data(), count);
        if (c != 0) scalar_compose(out, chunk.data(), factor(c), multiplied, count);
      }
    }
  }
};

std::shared_ptr<GroupKeyCall> group_key_call(const std::vector<unsigned>& widths, bool multiplied,
                                             const SizeClass& size, uint64_t rows) {
  auto call = std::make_shared<GroupKeyCall>();
  call->widths = widths;
  call->multiplied = multiplied;
  call->size = size;
  call->rows = rows;
  call->encodings.resize(widths.size());
  call->columns.resize(widths.size());
  for (size_t c = 0; c < widths.size(); ++c) {
    colx_enc_ctx& encoding = call->encodings[c];
    encoding.colx_enc_ctx_key =
        colx_column_key(COLX_ENC_DICT, colx_width_code(widths[c]), COLX_FORM_PLAIN);
    encoding.colx_enc_ctx_flags = COLX_DICT;
    encoding.colx_enc_ctx_width = widths[c];
    encoding.colx_enc_ctx_num_symbols = uint32_t{1} << widths[c];
    call->columns[c].colx_cv_encoding_context = &encoding;
    call->columns[c].colx_cv_num_of_rows = static_cast<uint32_t>(rows);
  }
  call->env.colx_env_alloc = allocated;
  call->env.colx_env_free = released;
  call->kctx.colx_kctx_env = &call->env;
  call->kctx.colx_kctx_flags = multiplied ? uint32_t{COLX_KCTX_MULTIPLY_KEYS} : 0;
  call->scratch.colx_cv_data = call->chunk.data();
  call->scratch.colx_cv_num_of_rows = chunk_rows;
  call->res.colx_cv_num_of_rows = static_cast<uint32_t>(rows);
  return call;
}

// The scalar loop against codes taken bit by bit, then the kernel against the scalar loop.
std::string fault_of(GroupKeyCall& call) {
  call.run_scalar(0);
  const uint32_t* const keys = call.keys(0);
  for (uint64_t row = 0; row < std::min(call.rows, rows_checked); ++row) {
    uint64_t key = 0;
    for (size_t c = 0; c < call.widths.size(); ++c)
      key = key << call.widths[c] | code_at(call.codes(0, c), call.widths[c], row);
    if (keys[row] != key) return "the scalar loop differs from the reference";
  }
  const std::vector<uint32_t> expected(keys, keys + call.rows);
  std::memset(call.keys(0), 0x5A, 4 * call.rows);
  call.run(0);
  const bool same = call.res.colx_cv_num_set == call.rows &&
                    std::equal(expected.begin(), expected.end(), call.keys(0));
  return same ? "" : "the entry differs from the scalar loop";
}

}  // namespace

Case group_key_case(const std::vector<unsigned>& widths, bool multiplied, const SizeClass& size) {
  unsigned row_bits = 0;
  std::string name = "colx_groupkey_dydi ";
  for (const unsigned width : widths) {
    if (row_bits != 0) name += "+";
    name += std::to_string(width);
    row_bits += width;
  }
  name += multiplied ? " bits, multiplied" : " bits, shifted";
  const uint64_t rows = size.bytes * 8 / (row_bits + 32) / 512 * 512;
  const auto prepare = [=] {
    const auto call = group_key_call(widths, multiplied, size, rows);
    Contest contest;
    contest.fault = fault_of(*call);
    contest.kernel = [=](unsigned window) { call->run(window); };
    contest.scalar = [=](unsigned window) { call->run_scalar(window); };
    return contest;
  };
  return {name, "", size, rows, rows * (row_bits + 32) / 8, prepare};
}

}  // namespace colx::bench
