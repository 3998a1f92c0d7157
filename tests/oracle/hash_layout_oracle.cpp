#include "tests/oracle/hash_layout_oracle.h"

#include "tests/oracle/native_numbers.h"
#include "tests/oracle/stored_numbers.h"

namespace colx::oracle {
namespace {

constexpr KeyLayout hash_order[] = {KeyLayout::fixed, KeyLayout::dict,   KeyLayout::lv_sep,
                                    KeyLayout::lv,    KeyLayout::lp_sep, KeyLayout::lp};

const uint8_t* data_of(const colx_cv& cv) {
  return static_cast<const uint8_t*>(cv.colx_cv_data);
}

uint16_t separate_length(const colx_cv& src, uint64_t row) {
  return static_cast<uint16_t>(
      native_at(static_cast<const uint8_t*>(src.colx_cv_aux) + 2 * row, 2));
}

// Widths count bits in 16 bits.
uint16_t fixed_length(const colx_cv& src) {
  return static_cast<uint16_t>(
      static_cast<uint16_t>(src.colx_cv_encoding_context->colx_enc_ctx_width) >> 3);
}

// Four bytes are read for a code of any width, and the symbol's length is cut to 16 bits.
KeyBytes symbol_of(const colx_cv& src, uint64_t row) {
  const colx_enc_ctx& encoding = *src.colx_cv_encoding_context;
  const uint32_t width = encoding.colx_enc_ctx_width;
  const uint64_t bit = row * width;
  const auto four = static_cast<uint32_t>(big_endian_at(data_of(src) + bit / 8, 4));
  const uint32_t code = (four << bit % 8) >> ((32 - width) & 31);
  const auto* const cla = static_cast<const uint8_t*>(encoding.colx_enc_ctx_cla);
  const uint64_t begin = big_endian_at(cla + 4 * uint64_t{code}, 4);
  const uint64_t end = big_endian_at(cla + 4 * (uint64_t{code} + 1), 4);
  return {static_cast<const uint8_t*>(encoding.colx_enc_ctx_symbols) + begin,
          static_cast<uint16_t>(end - begin)};
}

KeyBytes row_key(KeyLayout layout, const colx_cv& src, uint64_t row) {
  const uint8_t* const data = data_of(src);
  switch (layout) {
    case KeyLayout::fixed:
      return {data + row * fixed_length(src), fixed_length(src)};
    case KeyLayout::gd:
      return {data + row * 4, 4};
    case KeyLayout::dict:
      return symbol_of(src, row);
    case KeyLayout::lp:
      return {address_at(data + row * 16 + 8),
              static_cast<uint16_t>(native_at(data + row * 16, 2))};
    case KeyLayout::lp_sep:
      return {address_at(data + row * 8), separate_length(src, row)};
    default:
      return {nullptr, 0};
  }
}

}  // namespace

uint32_t layout_flag(KeyLayout layout) {
  switch (layout) {
    case KeyLayout::fixed:
      return COLX_FIXED;
    case KeyLayout::dict:
      return COLX_DICT;
    case KeyLayout::lv_sep:
      return COLX_LV_SEP;
    case KeyLayout::lv:
      return COLX_LV;
    case KeyLayout::lp_sep:
      return COLX_LP_SEP;
    case KeyLayout::lp:
      return COLX_LP;
    case KeyLayout::hash_values:
      return COLX_HASH_VALUES;
    case KeyLayout::hashrid:
      return COLX_HASHRID;
    case KeyLayout::gd:
      return COLX_GD;
    case KeyLayout::hashgdrid:
      return COLX_HASHGD;
  }
  return 0;
}

KeyRun keys_of(KeyLayout layout, const colx_cv& src, uint64_t first, uint64_t stream_offset,
               uint64_t rows) {
  KeyRun run;
  if (is_stream(layout)) run.starts.push_back(0);
  for (uint64_t row = first; row < first + rows; ++row) {
    if (!is_stream(layout)) {
      run.keys.push_back(row_key(layout, src, row));
      continue;
    }
    const uint64_t start = run.starts.back();
    const uint8_t* const at = data_of(src) + stream_offset + start;
    const bool inline_length = layout == KeyLayout::lv;
    const uint16_t length =
        inline_length ? static_cast<uint16_t>(native_at(at, 2)) : separate_length(src, row);
    run.keys.push_back({inline_length ? at + 2 : at, length});
    run.starts.push_back(start + length + (inline_length ? 2 : 0));
  }
  return run;
}

std::optional<HashKernel> hash_kernel(const colx_cv& src, const colx_cv& seeds) {
  const uint32_t seed_flags = seeds.colx_cv_encoding_context->colx_enc_ctx_flags;
  if ((seed_flags & COLX_HASH_VALUES) == 0) return {};
  const SeedMode mode = seeds.colx_cv_num_of_rows == 1 ? SeedMode::one : SeedMode::per_row;
  for (const KeyLayout layout : hash_order) {
    if ((src.colx_cv_encoding_context->colx_enc_ctx_flags & layout_flag(layout)) != 0) {
      return HashKernel{layout, mode};
    }
  }
  return {};
}

std::vector<HashCall> hash_calls(HashKernel kernel, const colx_cv& src, const colx_cv& seeds) {
  const KeyRun run = keys_of(kernel.layout, src, 0, 0, src.colx_cv_num_of_rows);
  std::vector<HashCall> calls;
  for (size_t row = 0; row < run.keys.size(); ++row) {
    const uint64_t seed =
        native_at(data_of(seeds) + (kernel.mode == SeedMode::one ? 0 : 8 * row), 8);
    calls.push_back({run.keys[row].at, run.keys[row].length, seed});
  }
  return calls;
}

}  // namespace colx::oracle
